#include "providers/xml_service/parser.h"

namespace xyl::xml_service {

static int compareNames(const CHAR8 *a, const CHAR8 *b) {
  while (*a == *b && *a != 0) {
    ++a;
    ++b;
  }
  return *a - *b;
}

// Merges two runs that are linked by Prev and sorted by name. Returns null when they have a name in common.
static XML_ATTRIBUTE *mergeRuns(XML_ATTRIBUTE *a, XML_ATTRIBUTE *b) {
  XML_ATTRIBUTE *merged = nullptr;
  XML_ATTRIBUTE **end = &merged;
  while (a != nullptr && b != nullptr) {
    int order = compareNames(a->Name, b->Name);
    if (order == 0) {
      return nullptr;
    }
    XML_ATTRIBUTE *&lower = order < 0 ? a : b;
    *end = lower;
    end = &lower->Prev;
    lower = lower->Prev;
  }
  *end = a != nullptr ? a : b;
  return merged;
}

// Sorts, since comparing every pair would let one tag with very many attributes take forever; a sort also has no worst
// case that a document could aim at. runs[i] is null or a sorted run of 2^i attributes, as in a binary counter.
bool attributeNamesDiffer(XML_ATTRIBUTE *first) {
  if (first == nullptr || first->Next == nullptr) {
    return true;
  }
  XML_ATTRIBUTE *runs[48] = {};
  for (XML_ATTRIBUTE *attribute = first; attribute != nullptr; attribute = attribute->Next) {
    XML_ATTRIBUTE *run = attribute;
    run->Prev = nullptr;
    unsigned i = 0;
    for (; runs[i] != nullptr; ++i) {
      run = mergeRuns(runs[i], run);
      if (run == nullptr) {
        return false;
      }
      runs[i] = nullptr;
    }
    runs[i] = run;
  }
  XML_ATTRIBUTE *all = nullptr;
  for (XML_ATTRIBUTE *run : runs) {
    if (run != nullptr && all != nullptr) {
      all = mergeRuns(run, all);
      if (all == nullptr) {
        return false;
      }
    } else if (run != nullptr) {
      all = run;
    }
  }
  first->Prev = nullptr;
  for (XML_ATTRIBUTE *attribute = first; attribute->Next != nullptr; attribute = attribute->Next) {
    attribute->Next->Prev = attribute;
  }
  return true;
}

} // namespace xyl::xml_service
