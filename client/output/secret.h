// Lines that are typed and not shown.
#pragma once

#include "base/pool.h"

// Starts as {buffer, its size}; the line is cut to it, with a NUL, but its length counts on.
struct SECRET_LINE {
  CHAR8 *Text;
  UINTN Capacity;
  UINTN Length;
};

enum SECRET_STATE { SECRET_OPEN, SECRET_ENTERED, SECRET_CANCELLED };

// Takes the next byte (UTF-8) from the keyboard. Enter ends the line, backspace takes the last character back, ESC and
// what ends an input or a program cancel.
inline SECRET_STATE typeSecret(SECRET_LINE *line, UINT8 byte) {
  if (byte == '\r' || byte == '\n') {
    return SECRET_ENTERED;
  }
  if (byte == 0x1B || byte == 0x03 || byte == 0x04) {
    return SECRET_CANCELLED;
  }
  bool erases = byte == '\b' || byte == 0x7F;
  if (!erases && byte >= ' ') {
    if (line->Length < line->Capacity - 1) {
      line->Text[line->Length] = static_cast<CHAR8>(byte);
    }
    ++line->Length;
  }
  // A character may have several bytes; what is beyond the buffer is a byte a character.
  for (bool goesOn = erases; goesOn && line->Length != 0;) {
    --line->Length;
    goesOn = line->Length < line->Capacity - 1 && (static_cast<UINT8>(line->Text[line->Length]) & 0xC0) == 0x80;
  }
  return SECRET_OPEN;
}

// Ends the line and says what XYL_HOST's AskSecret returns for it; without success nothing is left in the buffer.
inline EFI_STATUS endSecret(SECRET_LINE *line, SECRET_STATE state) {
  bool fits = line->Length < line->Capacity;
  EFI_STATUS status = fits ? EFI_SUCCESS : EFI_BAD_BUFFER_SIZE;
  status = state == SECRET_ENTERED ? status : EFI_ABORTED;
  if (EFI_ERROR(status)) {
    wipeBytes(line->Text, line->Capacity);
  } else {
    wipeBytes(line->Text + line->Length, line->Capacity - line->Length);
  }
  return status;
}
