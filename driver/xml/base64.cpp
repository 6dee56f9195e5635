#include "driver/xml/base64.h"

#include "base/log.h"

namespace xyl::driver {

static unsigned sixBits(CHAR8 character) {
  if (character >= 'A' && character <= 'Z') {
    return static_cast<unsigned>(character - 'A');
  }
  if (character >= 'a' && character <= 'z') {
    return static_cast<unsigned>(character - 'a') + 26U;
  }
  if (character >= '0' && character <= '9') {
    return static_cast<unsigned>(character - '0') + 52U;
  }
  return character == '+' ? 62U : (character == '/' ? 63U : 0U);
}

// Returns the number of bytes; a null out only counts them.
static UINT64 decode(const CHAR8 *text, UINT8 *out) {
  UINT64 length = 0;
  while (*text != 0) {
    CHAR8 group[4];
    unsigned bits = 0;
    for (CHAR8 &character : group) {
      character = *text != 0 ? *text++ : '=';
      bits = bits << 6 | sixBits(character);
    }
    UINT64 count = group[2] == '=' ? 1 : (group[3] == '=' ? 2 : 3);
    for (UINT64 i = 0; out != nullptr && i < count; ++i) {
      out[length + i] = static_cast<UINT8>(bits >> (16 - 8 * i));
    }
    length += count;
  }
  return length;
}

UINT64 Base64DecodedLength(const CHAR8 *text) {
  return text == nullptr ? 0 : decode(text, /* out= */ nullptr);
}

void Base64Decode(const CHAR8 *text, UINT8 *out, UINT64 *outLength) {
  logEntered("Base64Decode");
  if (text == nullptr || out == nullptr || outLength == nullptr) {
    LogPrint(LOG_TRACE, "Base64Decode", "Exit. NULL params");
    return;
  }
  *outLength = decode(text, out);
  LogPrint(LOG_TRACE, "Base64Decode", "Exit. Done.");
}

} // namespace xyl::driver
