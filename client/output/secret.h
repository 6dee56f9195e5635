// Lines that are typed and not shown.
#pragma once

#include "base/pool.h"

namespace xyl::client {

// Starts as {buffer, its size}; the line is cut to it, with a NUL, but its length counts on.
struct SecretLine {
  CHAR8 *text;
  UINTN capacity;
  UINTN length;
};

enum class SecretState { open, entered, cancelled };

// Takes the next byte (UTF-8) from the keyboard. Enter ends the line, backspace takes the last character back, ESC and
// what ends an input or a program cancel.
inline SecretState typeSecret(SecretLine *line, UINT8 byte) {
  if (byte == '\r' || byte == '\n') {
    return SecretState::entered;
  }
  if (byte == 0x1B || byte == 0x03 || byte == 0x04) {
    return SecretState::cancelled;
  }
  bool erases = byte == '\b' || byte == 0x7F;
  if (!erases && byte >= ' ') {
    if (line->length < line->capacity - 1) {
      line->text[line->length] = static_cast<CHAR8>(byte);
    }
    ++line->length;
  }
  // A character may have several bytes; what is beyond the buffer is a byte a character.
  for (bool goesOn = erases; goesOn && line->length != 0;) {
    --line->length;
    goesOn = line->length < line->capacity - 1 && (static_cast<UINT8>(line->text[line->length]) & 0xC0) == 0x80;
  }
  return SecretState::open;
}

// Ends the line and says what the front's askSecret returns for it; without success nothing is left in the buffer.
inline EFI_STATUS endSecret(SecretLine *line, SecretState state) {
  bool fits = line->length < line->capacity;
  EFI_STATUS status = fits ? EFI_SUCCESS : EFI_BAD_BUFFER_SIZE;
  status = state == SecretState::entered ? status : EFI_ABORTED;
  if (EFI_ERROR(status)) {
    wipeBytes(line->text, line->capacity);
  } else {
    wipeBytes(line->text + line->length, line->capacity - line->length);
  }
  return status;
}

} // namespace xyl::client
