// Short lists of words in a fixed buffer.
#pragma once

#include "apps/xyl/core/document.h"

#define LIST_CAPACITY 256

struct WORD_LIST {
  CHAR8 Text[LIST_CAPACITY]; // starts empty
};

// Appends a text that is not empty, behind the separator when the list is not empty; what does not fit is cut.
void append(WORD_LIST &list, const CHAR8 *separator, const CHAR8 *text);
void appendNumber(WORD_LIST &list, const CHAR8 *separator, UINT64 number);

// Appends the texts of the node's children of that name.
void appendChildren(WORD_LIST &list, const XML_NODE *node, const CHAR8 *name);

// As appendChildren, from the last to the first: documents list ids in the reverse of the controller's order.
void appendReversed(WORD_LIST &list, const XML_NODE *node, const CHAR8 *name);

// "-" for an empty text.
const CHAR8 *orNone(const CHAR8 *text);
