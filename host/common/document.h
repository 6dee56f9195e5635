// A document that was read and its tree, given back at the end.
#pragma once

#include "client/documents/documents.h"

namespace xyl::host {

struct HostDocument {
  client::DocumentText text = {};
  XML_NODE *root = nullptr; // null until it is parsed

  HostDocument() = default;
  HostDocument(const HostDocument &) = delete;
  HostDocument &operator=(const HostDocument &) = delete;
  ~HostDocument() {
    client::freeTree(root);
    client::releaseDocument(&text);
  }
};

} // namespace xyl::host
