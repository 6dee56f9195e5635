// The differences between two documents, as they are told.
#pragma once

#include "base/array.h"
#include "client/documents/documents.h"
#include "client/output/output.h"

namespace xyl::client {

enum DifferenceKind {
  differenceChanged,  // a field of an object that both documents have
  differenceAdded,    // an object that only the new document has
  differenceRemoved,  // an object that only the old document has
  differenceMoved,    // the same disk in another place
  differenceReplaced, // another disk (or adapter) in the same place
  differenceKindCount
};

enum DifferenceObject {
  differenceAdapter,
  differenceEnclosure,
  differenceDisk,
  differenceVirtualDisk,
  differenceObjectCount
};

struct Difference {
  DifferenceKind kind;
  DifferenceObject object;
  const XML_NODE *oldNode; // the object's element in the old document; null when added
  const XML_NODE *newNode; // in the new one; null when removed
  Text name;               // the object: "disk 1003", "virtual disk 2 \"Data\""
  const CHAR8 *element;    // the field's element as the documents name it; null for an object as a whole
  Text what;               // the field: "check consistency mode"; empty for an object as a whole
  Text older;              // values or descriptions; empty where there is none
  Text newer;
};

struct Differences {
  PoolArray<Difference> all; // adapter, enclosures, disks and virtual disks in this order
  EFI_STATUS status;         // of what was added so far
};

// "changed", "added" and so on; "adapter", "enclosure", "disk", "virtual disk".
const CHAR8 *differenceKindName(DifferenceKind kind);
const CHAR8 *differenceObjectName(DifferenceObject object);

// Writes the name of an element in words: "MaxPDsPerSpan" as "max PDs per span".
void putElementWords(Text *text, const CHAR8 *element);

// Shows a difference as one line, and writes it as an object of an open array.
void sayDifference(const Front *front, const Difference &difference);
void writeDifference(Json *json, const Difference &difference);

// Adds one difference of two partners, or of one object and null. It takes the texts over, also without memory.
void addDifference(Differences *differences, const Difference &difference);

void freeDifferences(Differences *differences);

} // namespace xyl::client
