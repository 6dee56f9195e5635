// What differs from an older document, in words.
#include "host/report/report_sections.h"

namespace xyl::host::report {

// Where on the page an object of the shown document is, or "".
static std::string anchorOf(const Report &report, const XML_NODE *node) {
  for (const Disk &disk : report.model.disks) {
    if (disk.node == node) {
      return disk.anchor;
    }
  }
  for (const VirtualDisk &virtualDisk : report.model.virtualDisks) {
    if (virtualDisk.node == node) {
      return virtualDisk.anchor;
    }
  }
  return node == report.model.adapter ? "adapter" : "";
}

static void putDifference(HtmlTable &table, const Report &report, const client::Difference &difference) {
  std::string anchor = anchorOf(report, difference.newNode);
  std::string name = documentText(client::textOf(difference.name));
  std::string markup;
  if (anchor.empty()) {
    put(markup, "%", {name});
  } else {
    put(markup, "<a href=\"#%\">%</a>", {anchor, name});
  }
  table.row();
  table.cell(markup);
  markup.clear();
  putKind(markup, difference.kind);
  table.cell(markup);
  table.text(orDash(documentText(client::textOf(difference.what))));
  table.text(orDash(documentText(client::textOf(difference.older))));
  table.text(orDash(documentText(client::textOf(difference.newer))));
}

void putDifferences(Report &report) {
  if (report.changes == nullptr) {
    return;
  }
  const client::Differences &list = *report.changes->list;
  std::string &page = report.page;
  put(page, "<section aria-labelledby=\"differences\"><h2 id=\"differences\">Differences</h2>\n");
  put(page, list.all.count == 0 ? "<p class=\"call\">Nothing differs from %.</p>\n" : "<p class=\"call open\">From %: ",
      {report.comparedWith});
  if (list.all.count != 0) {
    put(page, "%. The pictures show the newer configuration with marks.</p>\n",
        {countText(list.all.count, "difference")});
    HtmlTable table(page, "What differs, object by object", {"Object", "Kind", "What", "Before", "Now"});
    for (UINT32 i = 0; i < list.all.count; ++i) {
      putDifference(table, report, list.all.items[i]);
    }
  }
  put(page, "</section>\n");
}

} // namespace xyl::host::report
