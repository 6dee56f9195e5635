// What differs from an older document: in words, and as marks on the objects that are shown.
#include "base/text.h"
#include "xyl/report/report_sections.h"

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
  for (UINT32 i = 0; i < list.Count; ++i) {
    const DIFFERENCE *difference = &list.Items[i];
    if (difference->NewNode == nullptr) {
      if (difference->Object == DIFFERENCE_DISK) {
        changes.removedDisks.push_back(difference);
      } else if (difference->Object == DIFFERENCE_VOLUME) {
        changes.removedVolumes.push_back(difference);
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

static const DIFFERENCE *differenceOf(const REPORT &report, const XML_NODE *node) {
  if (report.changes == nullptr) {
    return nullptr;
  }
  auto found = report.changes->first.find(node);
  return found != report.changes->first.end() ? found->second : nullptr;
}

std::string markWords(const REPORT &report, const XML_NODE *node) {
  const DIFFERENCE *difference = differenceOf(report, node);
  return difference != nullptr ? g_marks[difference->Kind].words : "";
}

static void putKind(std::string &page, DIFFERENCE_KIND kind) {
  put(page, R"(<span class="mark">% %</span>)", {g_marks[kind].sign, g_marks[kind].words});
}

void putMark(std::string &page, const REPORT &report, const XML_NODE *node) {
  const DIFFERENCE *difference = differenceOf(report, node);
  if (difference != nullptr) {
    putKind(page, difference->Kind);
  }
}

// Where on the page an object of the shown document is, or "".
static std::string anchorOf(const REPORT &report, const XML_NODE *node) {
  for (const REPORT_DISK &disk : report.model.disks) {
    if (disk.node == node) {
      return disk.anchor;
    }
  }
  for (const REPORT_VOLUME &volume : report.model.volumes) {
    if (volume.node == node) {
      return volume.anchor;
    }
  }
  return node == report.model.adapter ? "adapter" : "";
}

static void putDifference(HtmlTable &table, const REPORT &report, const DIFFERENCE &difference) {
  std::string anchor = anchorOf(report, difference.NewNode);
  std::string name = documentText(textOf(difference.Name));
  std::string markup;
  if (anchor.empty()) {
    put(markup, "%", {name});
  } else {
    put(markup, "<a href=\"#%\">%</a>", {anchor, name});
  }
  table.row();
  table.cell(markup);
  markup.clear();
  putKind(markup, difference.Kind);
  table.cell(markup);
  table.text(orDash(documentText(textOf(difference.What))));
  table.text(orDash(documentText(textOf(difference.Old))));
  table.text(orDash(documentText(textOf(difference.New))));
}

void putDifferences(REPORT &report) {
  if (report.changes == nullptr) {
    return;
  }
  const DIFFERENCES &list = *report.changes->list;
  std::string &page = report.page;
  put(page, "<section aria-labelledby=\"differences\"><h2 id=\"differences\">Differences</h2>\n");
  put(page, list.Count == 0 ? "<p class=\"call\">Nothing differs from %.</p>\n" : "<p class=\"call open\">From %: ",
      {report.comparedWith});
  if (list.Count != 0) {
    put(page, "%. The pictures show the newer configuration with marks.</p>\n", {countText(list.Count, "difference")});
    HtmlTable table(page, "What differs, object by object", {"Object", "Kind", "What", "Before", "Now"});
    for (UINT32 i = 0; i < list.Count; ++i) {
      putDifference(table, report, list.Items[i]);
    }
  }
  put(page, "</section>\n");
}
