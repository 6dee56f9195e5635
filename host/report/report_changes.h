// What differs from an older document, as marks on the objects that are shown.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "client/compare/compare.h"

// The differences of two documents, by the elements of the one that is shown.
struct REPORT_CHANGES {
  const DIFFERENCES *list;
  std::map<const XML_NODE *, const DIFFERENCE *> first; // by NewNode; the object's weightiest
  std::vector<const DIFFERENCE *> removedDisks;
  std::vector<const DIFFERENCE *> removedVirtualDisks;
};

REPORT_CHANGES readChanges(const DIFFERENCES &list);

// The mark of a kind; that of an object that differs, or nothing. changes may be null.
void putKind(std::string &page, DIFFERENCE_KIND kind);
void putMark(std::string &page, const REPORT_CHANGES *changes, const XML_NODE *node);
// "new", "changed", "moved" or "replaced" in the words of the pictures, or "".
std::string markWords(const REPORT_CHANGES *changes, const XML_NODE *node);
