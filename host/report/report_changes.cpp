#include "host/report/report_changes.h"

#include "host/report/report_html.h"

static constexpr struct {
  const char *sign;
  const char *words;
} g_marks[DIFFERENCE_KIND_COUNT] = {{"\xE2\x89\xA0", "changed"},
                                    {"+", "new"},
                                    {"\xE2\x88\x92", "removed"},
                                    {"\xE2\x86\x92", "moved"},
                                    {"\xE2\x86\x94", "replaced"}};

REPORT_CHANGES readChanges(const DIFFERENCES &list) {
  REPORT_CHANGES changes = {&list, {}, {}, {}};
  for (UINT32 i = 0; i < list.All.count; ++i) {
    const DIFFERENCE *difference = &list.All.items[i];
    if (difference->NewNode == nullptr) {
      if (difference->Object == DIFFERENCE_DISK) {
        changes.removedDisks.push_back(difference);
      } else if (difference->Object == DIFFERENCE_VIRTUAL_DISK) {
        changes.removedVirtualDisks.push_back(difference);
      }
      continue;
    }
    // A thing that is another one now says so, whatever fields differ besides.
    auto [place, isFirst] = changes.first.emplace(difference->NewNode, difference);
    if (!isFirst && place->second->Kind == DIFFERENCE_CHANGED) {
      place->second = difference;
    }
  }
  return changes;
}

static const DIFFERENCE *differenceOf(const REPORT_CHANGES *changes, const XML_NODE *node) {
  if (changes == nullptr) {
    return nullptr;
  }
  auto found = changes->first.find(node);
  return found != changes->first.end() ? found->second : nullptr;
}

std::string markWords(const REPORT_CHANGES *changes, const XML_NODE *node) {
  const DIFFERENCE *difference = differenceOf(changes, node);
  return difference != nullptr ? g_marks[difference->Kind].words : "";
}

void putKind(std::string &page, DIFFERENCE_KIND kind) {
  put(page, R"(<span class="mark">% %</span>)", {g_marks[kind].sign, g_marks[kind].words});
}

void putMark(std::string &page, const REPORT_CHANGES *changes, const XML_NODE *node) {
  const DIFFERENCE *difference = differenceOf(changes, node);
  if (difference != nullptr) {
    putKind(page, difference->Kind);
  }
}
