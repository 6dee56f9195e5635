// The page and its sections.
#pragma once

#include <ctime>
#include <string>

#include "host/report/report_changes.h"
#include "host/report/report_markup.h"
#include "host/report/report_model.h"

namespace xyl::host::report {

// A page in the making.
struct Report {
  std::string page;
  Model model;
  std::string source;            // what is shown: a file, or the controller
  std::string written;           // when the file was written, or empty
  std::string comparedWith;      // the older document's file
  std::string logSource;         // the log's file
  bool isWhole = true;           // the controller told all that it has
  const XML_NODE *log = nullptr; // its root
  const Changes *changes = nullptr;
};

// "2026-11-25 10:58 UTC".
std::string dateText(std::time_t seconds);

// How every page begins, up to the body's start.
void putPageHead(std::string &page, const std::string &title);

// The sections, in the page's order, each in the file of its subject.
void putPageStart(Report &report);
void putSummary(Report &report);
void putLog(Report &report);
void putDifferences(Report &report);
void putEnclosures(Report &report);
void putVirtualDisks(Report &report);
void putSpares(Report &report);
void putDisks(Report &report);
void putAdapter(Report &report);
void putPageEnd(Report &report);

// Failed steps of a log and all of them.
struct Steps {
  size_t all;
  size_t failed;
};
Steps countSteps(const XML_NODE *log);

} // namespace xyl::host::report
