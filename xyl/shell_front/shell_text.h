// Texts between the shell (UCS-2) and the command core (UTF-8).
#pragma once

#include "uefi/types.h"

// A pool text in UTF-8 that the caller owns, or null without memory.
CHAR8 *utf8FromWide(const CHAR16 *text);

// A pool text in UCS-2 of length bytes that the caller owns, or null without memory. A byte that begins no valid
// sequence is taken as one character by itself, so any 8-bit text can be shown; characters above 0xFFFF become "?".
// With carriageReturns every line feed gets a carriage return in front, as consoles want it.
CHAR16 *wideFromUtf8(const CHAR8 *text, UINTN length, bool carriageReturns);
