// What the fronts in firmware share: files, the console, and texts between firmware (UCS-2) and the command core
// (UTF-8).
#pragma once

#include "client/client.h"
#include "images/firmware/files.h"

namespace xyl::images {

// What these fronts keep behind XYL_HOST's Context.
struct FirmwareContext {
  FirmwareFiles *files;
  EFI_STATUS written; // of the console's output so far; the first failure stays
};

inline FirmwareContext *firmwareContext(const client::Front *front) {
  return static_cast<FirmwareContext *>(front->context);
}

// As XYL_HOST has them.
EFI_STATUS firmwareReadFile(const client::Front *front, const CHAR8 *name, CHAR8 **data, UINTN *size);
EFI_STATUS firmwareOpenOutput(const client::Front *front, const CHAR8 *name, UINTN room, bool replaces, void **output);
EFI_STATUS firmwareCloseOutput(const client::Front *front, void *output, const CHAR8 *data, UINTN size);
bool firmwareIsSameFile(const client::Front *front, const CHAR8 *a, const CHAR8 *b);
void firmwareWrite(const client::Front *front, const CHAR8 *text, UINTN length);
void firmwareBusy(const client::Front *front, bool begins, UINT32 steps);

// Behind the name of an output while it is written, and of the old file while both change places.
#define FIRMWARE_NEW_SUFFIX ".xyl-new"
#define FIRMWARE_OLD_SUFFIX ".xyl-old"

// A pool text in UTF-8 that the caller owns, or null without memory.
CHAR8 *utf8FromWide(const CHAR16 *text);

// A pool text in UCS-2 of length bytes that the caller owns, or null without memory. A byte that begins no valid
// sequence is taken as one character by itself, so any 8-bit text can be shown; characters above 0xFFFF become "?".
// With carriageReturns every line feed gets a carriage return in front, as consoles want it.
CHAR16 *wideFromUtf8(const CHAR8 *text, UINTN length, bool carriageReturns);

} // namespace xyl::images
