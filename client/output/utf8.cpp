#include "client/output/utf8.h"

namespace xyl::client {

// The lowest code points that take so many bytes, and the marks of the lead byte.
static constexpr UINT32 g_lowest[] = {0, 0, 0x80, 0x800, 0x10000};
static constexpr UINT8 g_marks[] = {0, 0, 0xC0, 0xE0, 0xF0};

static UINTN lengthOf(UINT8 lead) {
  return lead < 0x80 ? 1 : lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 0;
}

UINTN utf8Decode(const CHAR8 *text, UINTN length, UINT32 *character) {
  UINT8 lead = length == 0 ? 0 : static_cast<UINT8>(text[0]);
  UINTN bytes = lengthOf(lead);
  *character = lead;
  if (bytes <= 1 || bytes > length) {
    return bytes == 1 && length != 0 ? 1 : 0;
  }
  UINT32 value = lead & (0x3FU >> (bytes - 1));
  for (UINTN i = 1; i < bytes; ++i) {
    UINT8 byte = static_cast<UINT8>(text[i]);
    if ((byte & 0xC0) != 0x80) {
      return 0;
    }
    value = value << 6 | (byte & 0x3FU);
  }
  bool isSurrogate = value >= 0xD800 && value < 0xE000;
  if (value < g_lowest[bytes] || isSurrogate || value > 0x10FFFF) {
    return 0;
  }
  *character = value;
  return bytes;
}

UINTN utf8Encode(CHAR8 *to, UINT32 character) {
  UINTN bytes = character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
  for (UINTN i = bytes - 1; i != 0; --i) {
    to[i] = static_cast<CHAR8>(0x80 | (character & 0x3F));
    character >>= 6;
  }
  to[0] = static_cast<CHAR8>(bytes == 1 ? character : g_marks[bytes] | character);
  return bytes;
}

} // namespace xyl::client
