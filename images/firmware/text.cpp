#include "images/firmware/firmware.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/output/output.h"

namespace xyl::images {

CHAR8 *utf8FromWide(const CHAR16 *text) {
  CHAR8 *utf8 = static_cast<CHAR8 *>(poolAllocate(3 * textLength(text) + 1));
  if (utf8 == nullptr) {
    return nullptr;
  }
  UINTN length = 0;
  for (; *text != 0; ++text) {
    length += client::utf8Encode(utf8 + length, *text);
  }
  utf8[length] = 0;
  return utf8;
}

CHAR16 *wideFromUtf8(const CHAR8 *text, UINTN length, bool carriageReturns) {
  CHAR16 *wide = static_cast<CHAR16 *>(poolAllocate((2 * length + 1) * sizeof(CHAR16)));
  if (wide == nullptr) {
    return nullptr;
  }
  CHAR16 *at = wide;
  for (UINTN i = 0; i < length;) {
    UINT32 character = 0;
    UINTN bytes = client::utf8Decode(text + i, length - i, &character);
    i += bytes == 0 ? 1 : bytes;
    if (character == '\n' && carriageReturns) {
      *at++ = u'\r';
    }
    *at++ = character <= 0xFFFF ? static_cast<CHAR16>(character) : u'?';
  }
  *at = 0;
  return wide;
}

} // namespace xyl::images
