// An inventory document as the page sees it: objects with places, members and statuses.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "client/documents/documents.h"
#include "host/report/report_html.h"

namespace xyl::host::report {

// How a disk or a virtual disk is doing: a style class, which also names its sign, and words.
struct Status {
  const char *style;
  const char *words;
  bool wantsAttention;
};

struct Disk {
  const XML_NODE *node;
  const XML_NODE *enclosure;        // null: attached to the adapter
  std::vector<size_t> virtualDisks; // indices, in the controller's order
  const Status *status;
  std::string place;  // "301:2", "direct:2"
  std::string anchor; // of its row in the table; its slot's is this behind an "s"
};

struct VirtualDisk {
  const XML_NODE *node;
  std::string letter;                    // marks it in the pictures
  std::vector<size_t> disks;             // indices of its members, in the controller's order
  std::vector<std::string> missingDisks; // ids of members that the document does not have
  const Status *status;
  std::string anchor;
};

// An inventory document. Its nodes are the tree's.
struct Model {
  const XML_NODE *inventory; // null in a bare raidData
  const XML_NODE *adapter;
  std::vector<const XML_NODE *> enclosures;
  std::vector<Disk> disks;
  std::vector<VirtualDisk> virtualDisks;
};

Model readModel(const XML_NODE *root);

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
std::string virtualDiskTitle(const VirtualDisk &virtualDisk);

} // namespace xyl::host::report
