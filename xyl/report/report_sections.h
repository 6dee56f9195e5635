// What the sources of the report page share: the configuration as the page sees it, and its sections.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "xyl/diff/diff.h"
#include "xyl/report/report_html.h"

// How a disk or a virtual disk is doing: a style class, which also names its sign, and words.
struct REPORT_STATUS {
  const char *style;
  const char *words;
  bool wantsAttention;
};

struct REPORT_DISK {
  const XML_NODE *node;
  const XML_NODE *enclosure;   // null: attached to the adapter
  std::vector<size_t> volumes; // indices, in the controller's order
  const REPORT_STATUS *status;
  std::string place;  // "301:2", "direct:2"
  std::string anchor; // of its row in the table; its slot's is this behind an "s"
};

struct REPORT_VOLUME {
  const XML_NODE *node;
  std::string letter;                    // marks it in the pictures
  std::vector<size_t> disks;             // indices of its members, in the controller's order
  std::vector<std::string> missingDisks; // ids of members that the document does not have
  const REPORT_STATUS *status;
  std::string anchor;
};

// An inventory document. Its nodes are the tree's.
struct REPORT_MODEL {
  const XML_NODE *inventory; // null in a bare raidData
  const XML_NODE *adapter;
  std::vector<const XML_NODE *> enclosures;
  std::vector<REPORT_DISK> disks;
  std::vector<REPORT_VOLUME> volumes;
};

// The differences of two documents, by the elements of the one that is shown.
struct REPORT_CHANGES {
  const DIFFERENCES *list;
  std::map<const XML_NODE *, const DIFFERENCE *> first; // by NewNode; the object's weightiest
  std::vector<const DIFFERENCE *> removedDisks;
  std::vector<const DIFFERENCE *> removedVolumes;
};

// A page in the making.
struct REPORT {
  std::string page;
  REPORT_MODEL model;
  std::string source;            // what is shown: a file, or the controller
  std::string comparedWith;      // the older document's file
  std::string logSource;         // the log's file
  const XML_NODE *log = nullptr; // its root
  const REPORT_CHANGES *changes = nullptr;
};

REPORT_MODEL readModel(const XML_NODE *root);

// The text of a child element, as UTF-8; its number; the texts of the child elements of an element, with ", " between.
std::string fieldOf(const XML_NODE *node, const CHAR8 *name);
UINT64 numberOf(const XML_NODE *node, const CHAR8 *name);
std::string listOf(const XML_NODE *node);
std::string sizeOf(const XML_NODE *node, const CHAR8 *name);

// "Physical Disk" texts in words: maker and model; "SAS hard disk"; "dedicated hot spare" or "".
std::string modelOfDisk(const XML_NODE *disk);
std::string kindOfDisk(const XML_NODE *disk);
std::string spareWords(const XML_NODE *disk);
std::string enclosureTitle(const XML_NODE *enclosure);
std::string volumeTitle(const REPORT_VOLUME &volume);

// Pieces of markup: the sign and the words of a status; the letter of a volume; links.
void putStatus(std::string &page, const REPORT_STATUS &status);
void putSign(std::string &page, std::string_view style);
void putBadge(std::string &page, const REPORT &report, size_t volume);
void putDiskLink(std::string &page, const REPORT_DISK &disk);
void putVolumeLink(std::string &page, const REPORT &report, size_t volume);
// The mark of an object that differs, or nothing.
void putMark(std::string &page, const REPORT &report, const XML_NODE *node);
// "new", "changed", "moved" or "replaced" in the words of the pictures, or "".
std::string markWords(const REPORT &report, const XML_NODE *node);

// The sections, in the page's order, each in the file of its subject.
void putPageStart(REPORT &report);
void putSummary(REPORT &report);
void putLog(REPORT &report);
void putDifferences(REPORT &report);
void putEnclosures(REPORT &report);
void putVolumes(REPORT &report);
void putSpares(REPORT &report);
void putDisks(REPORT &report);
void putAdapter(REPORT &report);
void putPageEnd(REPORT &report);

REPORT_CHANGES readChanges(const DIFFERENCES &list);
// Failed steps of a log and all of them.
struct REPORT_STEPS {
  size_t all;
  size_t failed;
};
REPORT_STEPS countSteps(const XML_NODE *log);
