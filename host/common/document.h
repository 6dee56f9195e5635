// A document that was read and its tree, given back at the end.
#pragma once

#include "client/documents/documents.h"

struct HOST_DOCUMENT {
  DOCUMENT_TEXT text = {};
  XML_NODE *root = nullptr; // null until it is parsed

  HOST_DOCUMENT() = default;
  HOST_DOCUMENT(const HOST_DOCUMENT &) = delete;
  HOST_DOCUMENT &operator=(const HOST_DOCUMENT &) = delete;
  ~HOST_DOCUMENT() {
    freeTree(root);
    releaseDocument(&text);
  }
};
