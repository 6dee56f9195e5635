// What differs between two configuration documents, in plain words.
#pragma once

#include "xyl/documents/documents.h"
#include "xyl/output/output.h"

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
  DIFFERENCE_VOLUME,
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
  DIFFERENCE *Items; // pool; adapter, enclosures, disks and volumes in this order
  UINT32 Count;
  UINT32 Capacity;
};

// "changed", "added" and so on; "adapter", "enclosure", "disk", "virtual disk".
const CHAR8 *differenceKindName(DIFFERENCE_KIND kind);
const CHAR8 *differenceObjectName(DIFFERENCE_OBJECT object);

// Writes the name of an element in words: "MaxPDsPerSpan" as "max PDs per span".
void putElementWords(TEXT *text, const CHAR8 *element);

// Compares two documents by the field tables. Disks are the same that have the same WWN or serial number wherever they
// are, else the same place; virtual disks that have the same FQDD and name, the same name, the same members, or the
// same FQDD and a member in common. Ids do not count as differences. The caller gives *differences, also of a failed
// call, to freeDifferences before it frees the trees.
//   EFI_INVALID_PARAMETER  a document has no adapter
//   EFI_OUT_OF_RESOURCES   no memory
EFI_STATUS diffDocuments(const XML_NODE *oldRoot, const XML_NODE *newRoot, DIFFERENCES *differences);

void freeDifferences(DIFFERENCES *differences);

// The commands diff and verify.
XYL_RESULT runDiff(const XYL_CONTEXT &context);
XYL_RESULT runVerify(const XYL_CONTEXT &context);
