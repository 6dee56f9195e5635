#include "xyl/shell_front/shell_text.h"

#include "base/pool.h"
#include "base/text.h"

CHAR8 *utf8FromWide(const CHAR16 *text) {
  CHAR8 *utf8 = static_cast<CHAR8 *>(poolAllocate(3 * textLength(text) + 1));
  if (utf8 == nullptr) {
    return nullptr;
  }
  CHAR8 *at = utf8;
  for (; *text != 0; ++text) {
    UINT32 unit = *text;
    if (unit < 0x80) {
      *at++ = static_cast<CHAR8>(unit);
    } else if (unit < 0x800) {
      *at++ = static_cast<CHAR8>(0xC0 | unit >> 6);
      *at++ = static_cast<CHAR8>(0x80 | (unit & 0x3F));
    } else {
      *at++ = static_cast<CHAR8>(0xE0 | unit >> 12);
      *at++ = static_cast<CHAR8>(0x80 | (unit >> 6 & 0x3F));
      *at++ = static_cast<CHAR8>(0x80 | (unit & 0x3F));
    }
  }
  *at = 0;
  return utf8;
}

// The number of bytes that follow a lead byte, or 0 for any other byte.
static UINTN followers(UINT8 lead) {
  if (lead < 0xC2 || lead > 0xF4) {
    return 0;
  }
  return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

// Decodes the character at text and returns the bytes it takes.
static UINTN decode(const CHAR8 *text, UINTN length, CHAR16 *unit) {
  UINT8 lead = static_cast<UINT8>(text[0]);
  UINTN more = followers(lead);
  *unit = lead;
  if (more == 0 || more >= length) {
    return 1;
  }
  UINT32 value = lead & (0x3FU >> more);
  for (UINTN i = 1; i <= more; ++i) {
    UINT8 byte = static_cast<UINT8>(text[i]);
    if ((byte & 0xC0) != 0x80) {
      return 1;
    }
    value = value << 6 | (byte & 0x3FU);
  }
  *unit = value <= 0xFFFF ? static_cast<CHAR16>(value) : u'?';
  return more + 1;
}

CHAR16 *wideFromUtf8(const CHAR8 *text, UINTN length, bool carriageReturns) {
  CHAR16 *wide = static_cast<CHAR16 *>(poolAllocate((2 * length + 1) * sizeof(CHAR16)));
  if (wide == nullptr) {
    return nullptr;
  }
  CHAR16 *at = wide;
  for (UINTN i = 0; i < length;) {
    CHAR16 unit = 0;
    i += decode(text + i, length - i, &unit);
    if (unit == u'\n' && carriageReturns) {
      *at++ = u'\r';
    }
    *at++ = unit;
  }
  *at = 0;
  return wide;
}
