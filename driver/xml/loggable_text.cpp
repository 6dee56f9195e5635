#include "driver/xml/xml.h"

const CHAR8 *loggableText(const CHAR8 *text, LOGGABLE_TEXT &buffer) {
  if (text == nullptr) {
    return nullptr;
  }
  UINTN length = 0;
  for (; length < sizeof(buffer.Text) - 1 && text[length] != 0; ++length) {
    bool isPrintable = text[length] >= ' ' && text[length] <= '~';
    buffer.Text[length] = isPrintable ? text[length] : '?';
  }
  buffer.Text[length] = 0;
  return buffer.Text;
}
