#include "host/report/report_changes.h"

#include "host/report/report_html.h"

namespace xyl::host::report {

static constexpr struct {
  const char *sign;
  const char *words;
} g_marks[client::differenceKindCount] = {{"\xE2\x89\xA0", "changed"},
                                          {"+", "new"},
                                          {"\xE2\x88\x92", "removed"},
                                          {"\xE2\x86\x92", "moved"},
                                          {"\xE2\x86\x94", "replaced"}};

Changes readChanges(const client::Differences &list) {
  Changes changes = {&list, {}, {}, {}};
  for (UINT32 i = 0; i < list.all.count; ++i) {
    const client::Difference *difference = &list.all.items[i];
    if (difference->newNode == nullptr) {
      if (difference->object == client::differenceDisk) {
        changes.removedDisks.push_back(difference);
      } else if (difference->object == client::differenceVirtualDisk) {
        changes.removedVirtualDisks.push_back(difference);
      }
      continue;
    }
    // A thing that is another one now says so, whatever fields differ besides.
    auto [place, isFirst] = changes.first.emplace(difference->newNode, difference);
    if (!isFirst && place->second->kind == client::differenceChanged) {
      place->second = difference;
    }
  }
  return changes;
}

static const client::Difference *differenceOf(const Changes *changes, const XML_NODE *node) {
  if (changes == nullptr) {
    return nullptr;
  }
  auto found = changes->first.find(node);
  return found != changes->first.end() ? found->second : nullptr;
}

std::string markWords(const Changes *changes, const XML_NODE *node) {
  const client::Difference *difference = differenceOf(changes, node);
  return difference != nullptr ? g_marks[difference->kind].words : "";
}

void putKind(std::string &page, client::DifferenceKind kind) {
  put(page, R"(<span class="mark">% %</span>)", {g_marks[kind].sign, g_marks[kind].words});
}

void putMark(std::string &page, const Changes *changes, const XML_NODE *node) {
  const client::Difference *difference = differenceOf(changes, node);
  if (difference != nullptr) {
    putKind(page, difference->kind);
  }
}

} // namespace xyl::host::report
