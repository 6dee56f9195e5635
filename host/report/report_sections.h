// The page and its sections.
#pragma once

#include <ctime>
#include <string>

#include "host/report/report_changes.h"
#include "host/report/report_markup.h"
#include "host/report/report_model.h"

// A page in the making.
struct REPORT {
  std::string page;
  REPORT_MODEL model;
  std::string source;            // what is shown: a file, or the controller
  std::string written;           // when the file was written, or empty
  std::string comparedWith;      // the older document's file
  std::string logSource;         // the log's file
  bool isWhole = true;           // the controller told all that it has
  const XML_NODE *log = nullptr; // its root
  const REPORT_CHANGES *changes = nullptr;
};

// "2026-11-25 10:58 UTC".
std::string dateText(std::time_t seconds);

// How every page begins, up to the body's start.
void putPageHead(std::string &page, const std::string &title);

// The sections, in the page's order, each in the file of its subject.
void putPageStart(REPORT &report);
void putSummary(REPORT &report);
void putLog(REPORT &report);
void putDifferences(REPORT &report);
void putEnclosures(REPORT &report);
void putVirtualDisks(REPORT &report);
void putSpares(REPORT &report);
void putDisks(REPORT &report);
void putAdapter(REPORT &report);
void putPageEnd(REPORT &report);

// Failed steps of a log and all of them.
struct REPORT_STEPS {
  size_t all;
  size_t failed;
};
REPORT_STEPS countSteps(const XML_NODE *log);
