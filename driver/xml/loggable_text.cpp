#include "driver/xml/xml.h"

namespace xyl::driver {

const CHAR8 *loggableText(const CHAR8 *text, LoggableText &buffer) {
  if (text == nullptr) {
    return nullptr;
  }
  UINTN length = 0;
  for (; length < sizeof(buffer.text) - 1 && text[length] != 0; ++length) {
    bool isPrintable = text[length] >= ' ' && text[length] <= '~';
    buffer.text[length] = isPrintable ? text[length] : '?';
  }
  buffer.text[length] = 0;
  return buffer.text;
}

} // namespace xyl::driver
