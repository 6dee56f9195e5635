// What differs from an older document, as marks on the objects that are shown.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "client/compare/compare.h"

namespace xyl::host::report {

// The differences of two documents, by the elements of the one that is shown.
struct Changes {
  const client::Differences *list;
  std::map<const XML_NODE *, const client::Difference *> first; // by newNode; the object's weightiest
  std::vector<const client::Difference *> removedDisks;
  std::vector<const client::Difference *> removedVirtualDisks;
};

Changes readChanges(const client::Differences &list);

// The mark of a kind; that of an object that differs, or nothing. changes may be null.
void putKind(std::string &page, client::DifferenceKind kind);
void putMark(std::string &page, const Changes *changes, const XML_NODE *node);
// "new", "changed", "moved" or "replaced" in the words of the pictures, or "".
std::string markWords(const Changes *changes, const XML_NODE *node);

} // namespace xyl::host::report
