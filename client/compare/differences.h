// The differences between two documents, as they are told.
#pragma once

#include "base/array.h"
#include "client/documents/documents.h"
#include "client/output/output.h"

enum DIFFERENCE_KIND {
  DIFFERENCE_CHANGED,  // a field of an object that both documents have
  DIFFERENCE_ADDED,    // an object that only the new document has
  DIFFERENCE_REMOVED,  // an object that only the old document has
  DIFFERENCE_MOVED,    // the same disk in another place
  DIFFERENCE_REPLACED, // another disk (or adapter) in the same place
  DIFFERENCE_KIND_COUNT
};

enum DIFFERENCE_OBJECT {
  DIFFERENCE_ADAPTER,
  DIFFERENCE_ENCLOSURE,
  DIFFERENCE_DISK,
  DIFFERENCE_VIRTUAL_DISK,
  DIFFERENCE_OBJECT_COUNT
};

struct DIFFERENCE {
  DIFFERENCE_KIND Kind;
  DIFFERENCE_OBJECT Object;
  const XML_NODE *OldNode; // the object's element in the old document; null when added
  const XML_NODE *NewNode; // in the new one; null when removed
  TEXT Name;               // the object: "disk 1003", "virtual disk 2 \"Data\""
  const CHAR8 *Element;    // the field's element as the documents name it; null for an object as a whole
  TEXT What;               // the field: "check consistency mode"; empty for an object as a whole
  TEXT Old;                // values or descriptions; empty where there is none
  TEXT New;
};

struct DIFFERENCES {
  POOL_ARRAY<DIFFERENCE> All; // adapter, enclosures, disks and virtual disks in this order
  EFI_STATUS Status;          // of what was added so far
};

// "changed", "added" and so on; "adapter", "enclosure", "disk", "virtual disk".
const CHAR8 *differenceKindName(DIFFERENCE_KIND kind);
const CHAR8 *differenceObjectName(DIFFERENCE_OBJECT object);

// Writes the name of an element in words: "MaxPDsPerSpan" as "max PDs per span".
void putElementWords(TEXT *text, const CHAR8 *element);

// Shows a difference as one line, and writes it as an object of an open array.
void sayDifference(const XYL_FRONT *front, const DIFFERENCE &difference);
void writeDifference(JSON *json, const DIFFERENCE &difference);

// Adds one difference of two partners, or of one object and null. It takes the texts over, also without memory.
void addDifference(DIFFERENCES *differences, const DIFFERENCE &difference);

void freeDifferences(DIFFERENCES *differences);
