// The page's frame, its styles, and the small pieces that all sections use.
#include <ctime>

#include "host/report/report_sections.h"

// Light colours hold for paper too; the dark ones are for screens only. Every pair of text and background that is used
// has a contrast of at least 4.5.
static constexpr const char *STYLE_COLOURS = R"css(
:root { color-scheme: light dark;
  --page: #f4f6f8; --panel: #ffffff; --ink: #17202b; --muted: #4c5968; --line: #ccd4dd; --link: #0b539b; --head: #e9edf2;
  --online: #ddf0e1; --online-edge: #2f7d44; --ready: #edf1f5; --ready-edge: #6c7a8a; --spare: #dfe9fb;
  --spare-edge: #2f62b5; --degraded: #fdedc4; --degraded-edge: #96650a; --failed: #fbdcda; --failed-edge: #b3251e;
  --foreign: #ece0f9; --foreign-edge: #7441ab; --offline: #dcdcdc; --offline-edge: #4a4a4a; --mark: #17202b;
  --mark-ink: #ffffff; --hatch: rgba(179, 37, 30, .16); }
@media screen and (prefers-color-scheme: dark) { :root {
  --page: #10141a; --panel: #181e26; --ink: #e5eaf1; --muted: #a9b5c3; --line: #36414f; --link: #86bdf5; --head: #212934;
  --online: #16341f; --online-edge: #58b672; --ready: #252d37; --ready-edge: #8795a5; --spare: #182f57;
  --spare-edge: #7ba7ef; --degraded: #43320a; --degraded-edge: #dba53a; --failed: #4f1815; --failed-edge: #f4827a;
  --foreign: #37214f; --foreign-edge: #bb90ee; --offline: #3a3a3a; --offline-edge: #b5b5b5; --mark: #e5eaf1;
  --mark-ink: #10141a; --hatch: rgba(244, 130, 122, .18); } }
)css";

static constexpr const char *STYLE_PAGE = R"css(
* { box-sizing: border-box; }
html { scroll-padding: 1rem 0 7rem; }
body { margin: 0; background: var(--page); color: var(--ink); font: .9375rem/1.45 system-ui, "Segoe UI", Roboto,
  "Helvetica Neue", "DejaVu Sans", sans-serif; overflow-wrap: anywhere; }
.wrap { max-width: 80rem; margin: 0 auto; padding: 0 1rem; }
a { color: var(--link); }
a:focus-visible, tr:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; }
.skip { position: absolute; left: -99rem; }
.skip:focus { left: 1rem; top: .5rem; padding: .5rem 1rem; background: var(--panel); z-index: 3; }
h1 { font-size: 1.5rem; line-height: 1.2; margin: 1.25rem 0 .25rem; }
h2 { font-size: 1.125rem; margin: 1.75rem 0 .6rem; }
h3 { font-size: 1rem; margin: 0 0 .15rem; }
p { margin: .3rem 0 .6rem; }
.note, caption, small { color: var(--muted); font-size: .8125rem; }
nav ul, .legend, .slots { list-style: none; margin: 0; padding: 0; }
nav ul { display: flex; flex-wrap: wrap; gap: .1rem 1rem; padding: .4rem 0; border-block: 1px solid var(--line); }
nav a { display: inline-block; padding: .15rem 0; }
footer { margin: 2rem 0 1.5rem; border-top: 1px solid var(--line); padding-top: .5rem; }
.signs { position: absolute; width: 0; height: 0; }
.sign { width: .8em; height: .8em; fill: currentColor; flex: none; vertical-align: -.05em; }
.facts { display: grid; grid-template-columns: repeat(auto-fit, minmax(11.5rem, 1fr)); gap: 1px; margin: .5rem 0;
  background: var(--panel); border: 1px solid var(--line); border-radius: .4rem; overflow: hidden; }
.facts div { padding: .45rem .7rem; box-shadow: 0 0 0 1px var(--line); }
.facts dt { color: var(--muted); font-size: .8125rem; }
.facts dd { margin: 0; font-variant-numeric: tabular-nums; }
.stats dd b { font-size: 1.25rem; font-weight: 600; }
.call { border: 1px solid var(--line); border-left: .35rem solid var(--online-edge); background: var(--panel);
  border-radius: .3rem; padding: .5rem .8rem; margin: .6rem 0; }
.call.bad { border-left-color: var(--failed-edge); }
.call.open { border-left-color: var(--line); }
.call ul { margin: .2rem 0 0; padding-left: 1.2rem; }
)css";

static constexpr const char *STYLE_TABLES = R"css(
table { border-collapse: collapse; width: 100%; background: var(--panel); margin: .4rem 0 1rem;
  font-variant-numeric: tabular-nums; }
caption { text-align: left; padding: .2rem 0; }
th, td { text-align: left; vertical-align: top; padding: .3rem .6rem; border: 1px solid var(--line); font-weight: 400; }
td, tbody th { min-width: 6.4rem; }
thead th { background: var(--head); font-size: .8125rem; font-weight: 600; white-space: nowrap; }
tbody th { font-weight: 600; }
td small, th small { display: block; font-weight: 400; }
tr:target > * { box-shadow: inset 0 3px var(--link), inset 0 -3px var(--link); }
.pair { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 24rem), 1fr)); gap: 0 1.5rem;
  align-items: start; }
.status { display: inline-flex; align-items: center; gap: .35em; white-space: nowrap; padding: 0 .45em;
  border: 1px solid; border-radius: .8em; }
.list { display: inline-flex; flex-wrap: wrap; gap: .1rem .6rem; align-items: center; }
@media screen and (min-width: 64rem) { .disks td:last-child { min-width: 13.5rem; } }
@media screen and (max-width: 52rem) {
  thead { position: absolute; left: -99rem; }
  table, tbody, tr, caption { display: block; }
  table { background: none; }
  tr { background: var(--panel); border: 1px solid var(--line); border-radius: .4rem; margin: 0 0 .6rem; }
  tbody th, td { display: grid; grid-template-columns: 6.5rem minmax(0, 1fr); gap: .5rem; border: 0;
    border-bottom: 1px solid var(--line); }
  tr > :last-child { border-bottom: 0; }
  tbody th::before, td::before { content: attr(data-column); color: var(--muted); font-size: .8125rem; font-weight: 400; }
  td .status, td .mark, .list { justify-self: start; }
}
)css";

static constexpr const char *STYLE_PICTURES = R"css(
.enclosure { background: var(--panel); border: 1px solid var(--line); border-radius: .5rem; padding: .7rem .8rem .8rem;
  margin: 0 0 .9rem; }
.slots { display: grid; grid-template-columns: repeat(12, minmax(0, 1fr)); gap: .35rem; margin-top: .5rem; }
.slots li { display: grid; min-width: 0; }
.slot { display: grid; min-width: 0; grid-template-rows: auto 1fr auto auto; min-height: 5.9rem; padding: .25rem .35rem;
  border: 1px solid; border-left-width: .3rem; border-radius: .25rem; text-decoration: none; color: var(--ink);
  font-size: .75rem; line-height: 1.3; }
a.slot:hover, a.slot:focus-visible { outline: 3px solid var(--link); outline-offset: 1px; }
.slot:target { outline: 3px dashed var(--link); outline-offset: 1px; }
.top { display: flex; flex-wrap: wrap; justify-content: space-between; align-items: start; gap: .2rem; }
.size { white-space: nowrap; }
.badges { padding: .15rem 0; display: flex; flex-wrap: wrap; align-content: center; gap: .15rem; }
.state { display: flex; gap: .25em; align-items: baseline; overflow-wrap: normal; }
.online { background: var(--online); border-color: var(--online-edge); }
.ready { background: var(--ready); border-color: var(--ready-edge); }
.spare { background: var(--spare); border-color: var(--spare-edge); border-style: double; }
.slot.spare { border-width: 3px 3px 3px .3rem; padding: calc(.25rem - 2px) calc(.35rem - 2px); }
.degraded { background: var(--degraded); border-color: var(--degraded-edge); }
.failed { background: repeating-linear-gradient(45deg, var(--hatch) 0 5px, transparent 5px 10px), var(--failed);
  border-color: var(--failed-edge); }
.foreign { background: var(--foreign); border-color: var(--foreign-edge); border-style: dotted; }
.offline { background: var(--offline); border-color: var(--offline-edge); }
.unknown { background: var(--panel); border-color: var(--ink); border-style: dotted; }
.empty, .gone { background: var(--panel); border: 1px dashed var(--ready-edge); color: var(--muted); }
.gone { border: 2px dashed var(--failed-edge); }
.status { color: var(--ink); }
.badge { display: inline-block; min-width: 1.5em; padding: 0 .3em; border-radius: .25em; color: #ffffff; text-align: center;
  font-weight: 700; line-height: 1.45; }
.hue0 { background: #1c5aa3; } .hue1 { background: #8f3d0e; } .hue2 { background: #2a692e; } .hue3 { background: #7a2d90; }
.hue4 { background: #735600; } .hue5 { background: #0c6770; } .hue6 { background: #a1254f; } .hue7 { background: #494ea3; }
.mark { background: var(--mark); color: var(--mark-ink); border-radius: .2em; padding: 0 .3em; font-weight: 600;
  font-size: .6875rem; white-space: nowrap; }
.legend { display: flex; flex-wrap: wrap; gap: .3rem .5rem; margin: .3rem 0 .8rem; font-size: .8125rem; }
.card { position: fixed; left: 0; right: 0; bottom: 0; z-index: 2; visibility: hidden; padding: .6rem 1rem;
  background: var(--panel); border-top: 3px solid var(--link); font-size: .875rem; }
a.slot:focus-visible .card, a.slot:hover .card { visibility: visible; }
@media (hover: none) { a.slot:not(:focus-visible):hover .card { visibility: hidden; } }
@media screen and (max-width: 64rem) { .slots { grid-template-columns: repeat(6, minmax(0, 1fr)); } }
@media screen and (max-width: 36rem) { .slots { grid-template-columns: repeat(4, minmax(0, 1fr)); gap: .25rem; }
  .slot { padding: .2rem .2rem; font-size: .6875rem; } .mark { font-size: .625rem; } }
@media print {
  @page { margin: 14mm; }
  html { font-size: 11px; }
  a { outline: 0 !important; }
  body { background: none; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  nav, .skip, .card, .legend-how { display: none; }
  .wrap { max-width: none; padding: 0 2px; } /* what touches the edge of the paper's area is cut off there */
  a { color: inherit; text-decoration: none; }
  h2, h3, caption, h2 + p, h2 + .mark { break-after: avoid; }
  tr, .slot, .facts div, .call { break-inside: avoid; }
  .enclosure { break-inside: avoid; padding: .4rem .5rem; }
  .slots { gap: .2rem; }
  .slot { min-height: 4.8rem; padding: .1rem .2rem; font-size: .6875rem; }
  th, td { padding: .15rem .35rem; }
  tbody tr:first-child { break-before: avoid; }
  .disks td:last-child { min-width: 13.5rem; }
}
)css";

static std::string titleOf(const REPORT &report) {
  std::string model = fieldOf(report.model.adapter, "Name");
  return "RAID configuration" + (model.empty() ? "" : " of " + model);
}

static void putContents(REPORT &report) {
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

void putPageStart(REPORT &report) {
  std::string &page = report.page;
  put(page, R"(<!DOCTYPE html>
<html lang="en" xml:lang="en" xmlns="http://www.w3.org/1999/xhtml">
<head>
<meta charset="utf-8"/>
<meta name="viewport" content="width=device-width, initial-scale=1"/>
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; img-src data:"/>
<link rel="icon" href="data:,"/>
)");
  put(page, "<title>%</title>\n<style>", {titleOf(report)});
  for (const char *style : {STYLE_COLOURS, STYLE_PAGE, STYLE_TABLES, STYLE_PICTURES}) {
    put(page, style);
  }
  put(page, "</style>\n</head>\n<body>\n<a class=\"skip\" href=\"#content\">Skip to the content</a>\n");
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

void putPageEnd(REPORT &report) {
  put(report.page, R"(</main>
<footer class="wrap note"><p>Made by xyl report, %. Sizes are decimal: 1 GB is 1000000000 bytes. Places are
enclosure:slot, with the enclosure's id.</p></footer>
</body>
</html>
)",
      {dateText(std::time(nullptr))});
}
