// What differs from an older document, in words.
#include "host/report/report_sections.h"

// Where on the page an object of the shown document is, or "".
static std::string anchorOf(const REPORT &report, const XML_NODE *node) {
  for (const REPORT_DISK &disk : report.model.disks) {
    if (disk.node == node) {
      return disk.anchor;
    }
  }
  for (const REPORT_VIRTUAL_DISK &virtualDisk : report.model.virtualDisks) {
    if (virtualDisk.node == node) {
      return virtualDisk.anchor;
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
  put(page, list.All.count == 0 ? "<p class=\"call\">Nothing differs from %.</p>\n" : "<p class=\"call open\">From %: ",
      {report.comparedWith});
  if (list.All.count != 0) {
    put(page, "%. The pictures show the newer configuration with marks.</p>\n",
        {countText(list.All.count, "difference")});
    HtmlTable table(page, "What differs, object by object", {"Object", "Kind", "What", "Before", "Now"});
    for (UINT32 i = 0; i < list.All.count; ++i) {
      putDifference(table, report, list.All.items[i]);
    }
  }
  put(page, "</section>\n");
}
