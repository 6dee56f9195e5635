#include "client/documents/documents.h"

#include "base/text.h"

namespace xyl::client {

void append(WordList &list, const CHAR8 *separator, const CHAR8 *text) {
  if (*text == 0) {
    return;
  }
  UINTN length = textLength(list.text);
  const CHAR8 *parts[] = {length != 0 ? separator : "", text};
  for (const CHAR8 *part : parts) {
    for (; *part != 0 && length < listCapacity - 1; ++part) {
      list.text[length++] = *part;
    }
  }
  list.text[length] = 0;
}

void appendNumber(WordList &list, const CHAR8 *separator, UINT64 number) {
  CHAR8 text[21];
  formatDecimal(text, number);
  append(list, separator, text);
}

void appendChildren(WordList &list, const XML_NODE *node, const CHAR8 *name) {
  for (const XML_NODE *child = childNamed(node, name); child != nullptr; child = nextSame(child)) {
    append(list, ", ", nodeText(child));
  }
}

void appendReversed(WordList &list, const XML_NODE *node, const CHAR8 *name) {
  const XML_NODE *child = node != nullptr ? node->FirstChild : nullptr;
  while (child != nullptr && child->NextSibling != nullptr) {
    child = child->NextSibling;
  }
  for (; child != nullptr; child = child->PrevSibling) {
    if (textEqual(child->Name, name)) {
      append(list, ", ", nodeText(child));
    }
  }
}

const CHAR8 *orNone(const CHAR8 *text) {
  return *text != 0 ? text : "-";
}

} // namespace xyl::client
