// Print formatting with UEFI conversions, and the console.
#pragma once

#include "uefi/types.h"

// Formats into buffer, which has room for capacity units including the NUL (at least 1); longer output is cut. Returns
// the number of characters stored. Conversions: %d %u (32-bit; l or L: 64-bit), %x %X (upper-case digits; a width pads
// %X with zeros), %a (8-bit text), %s %S (UCS-2 text), %c, %r (EFI_STATUS as text), %p, %g (EFI_GUID *), %%; flags - 0
// and a width; a precision limits texts. Null texts print as "<null string>".
UINTN formatText(CHAR16 *buffer, UINTN capacity, const CHAR16 *format, EFI_VA_LIST arguments);

// The text of a status as %r prints it, or null for one without a name.
const CHAR8 *statusText(EFI_STATUS status);

// Formats at most 319 characters and writes them to the console, if there is one. Returns the number of characters
// formatted.
UINTN EFIAPI Print(const CHAR16 *format, ...);
