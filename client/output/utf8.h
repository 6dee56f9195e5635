// UTF-8, a character at a time.
#pragma once

#include "uefi/types.h"

namespace xyl::client {

// The number of bytes of the valid sequence that text of length bytes begins with, and its code point; 0 and the first
// byte for what begins none: stray, cut or overlong bytes, surrogates, what is above U+10FFFF.
UINTN utf8Decode(const CHAR8 *text, UINTN length, UINT32 *character);

// Writes the sequence of a code point, or of a unit of a 16-bit text, and returns its number of bytes, at most 4.
UINTN utf8Encode(CHAR8 *to, UINT32 character);

// Whether a terminal may take the character for a command: C0, DEL and C1.
inline bool isControl(UINT32 character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

} // namespace xyl::client
