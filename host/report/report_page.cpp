// The page's frame and the small pieces that all sections use.
#include <ctime>

#include "host/report/report_files.h"
#include "host/report/report_sections.h"

namespace xyl::host::report {

static std::string titleOf(const Report &report) {
  std::string model = fieldOf(report.model.adapter, "Name");
  return "RAID configuration" + (model.empty() ? "" : " of " + model);
}

static void putContents(Report &report) {
  static constexpr struct {
    const char *anchor;
    const char *title;
  } sections[] = {{"summary", "Summary"},
                  {"log", "Log"},
                  {"differences", "Differences"},
                  {"picture", "Slots"},
                  {"volumes", "Virtual disks"},
                  {"spares", "Hot spares"},
                  {"disks", "Disks"},
                  {"adapter", "Adapter"}};
  put(report.page, "<nav aria-label=\"Contents\"><ul>\n");
  for (const auto &section : sections) {
    bool absent = (section.anchor == std::string("log") && report.log == nullptr) ||
                  (section.anchor == std::string("differences") && report.changes == nullptr);
    if (!absent) {
      put(report.page, R"(<li><a href="#%">%</a></li>)", {section.anchor, section.title});
    }
  }
  put(report.page, "</ul></nav>\n");
}

std::string dateText(std::time_t seconds) {
  char text[40] = "";
  std::tm fields = {};
  if (gmtime_r(&seconds, &fields) != nullptr) {
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M UTC", &fields);
  }
  return text;
}

void putPageHead(std::string &page, const std::string &title) {
  put(page, R"(<!DOCTYPE html>
<html lang="en" xml:lang="en" xmlns="http://www.w3.org/1999/xhtml">
<head>
<meta charset="utf-8"/>
<meta name="viewport" content="width=device-width, initial-scale=1"/>
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; img-src data:"/>
<link rel="icon" href="data:,"/>
)");
  put(page, "<title>%</title>\n<style>\n", {title});
  put(page, g_pageStyle);
  put(page, "</style>\n</head>\n<body>\n");
}

void putPageStart(Report &report) {
  std::string &page = report.page;
  putPageHead(page, titleOf(report));
  put(page, "<a class=\"skip\" href=\"#content\">Skip to the content</a>\n");
  putSigns(page);
  put(page, "<header class=\"wrap\">\n<h1>%</h1>\n<p class=\"note\">From %", {titleOf(report), report.source});
  put(page, report.written.empty() ? "%." : ", written %.", {report.written});
  if (!report.comparedWith.empty()) {
    put(page, " Compared with %, which is older.", {report.comparedWith});
  }
  if (!report.logSource.empty()) {
    put(page, " With the log %.", {report.logSource});
  }
  put(page, "</p>\n");
  putContents(report);
  put(page, "</header>\n<main class=\"wrap\" id=\"content\" tabindex=\"-1\">\n");
}

void putPageEnd(Report &report) {
  put(report.page, R"(</main>
<footer class="wrap note"><p>Made by xyl report, %. Sizes are decimal: 1 GB is 1000000000 bytes. Places are
enclosure:slot, with the enclosure's id.</p></footer>
</body>
</html>
)",
      {dateText(std::time(nullptr))});
}

} // namespace xyl::host::report
