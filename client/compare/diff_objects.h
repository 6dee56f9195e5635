// The objects of two documents: which is which, where they are and what they are called.
#pragma once

#include "client/compare/differences.h"
#include "client/compare/text_keys.h"

namespace xyl::client {

enum DiffSide { diffOld, diffNew, diffSideCount };

// An object of one document. Its partner is what it is compared with in the other document, or null.
struct DiffObject {
  const XML_NODE *node;
  const DiffObject *holder; // the enclosure or adapter that a disk is in
  DiffObject *partner;
};

struct DiffObjects {
  DiffObject *items; // pool
  UINT32 count;
  TextKeys ids; // the objects by their ids
};

struct Diff {
  DiffObjects objects[diffSideCount][differenceObjectCount];
  const XML_NODE *inventory[diffSideCount]; // null in a bare raidData
  Differences *out;
};

// Collects the objects below the documents' adapters; freeObjects gives them back, also after a failure.
EFI_STATUS collectObjects(Diff *diff, DiffSide side, const XML_NODE *adapter);
void freeObjects(Diff *diff);

// The object of that kind and id, or null.
const DiffObject *objectWithId(const Diff *diff, DiffSide side, DifferenceObject kind, const CHAR8 *id);

// Whether both elements have the child with the same text; sameChild wants a distinct one.
bool equalChild(const XML_NODE *a, const XML_NODE *b, const CHAR8 *name);
bool sameChild(const XML_NODE *a, const XML_NODE *b, const CHAR8 *name);
// Whether a text is not empty and no number 0.
bool isDistinct(const CHAR8 *text);

// Whether the disk's element stands in an enclosure's.
bool isInEnclosure(const DiffObject &disk);

// Whether two partners are two things all the same: another disk in a place, another adapter.
bool isReplaced(DifferenceObject kind, const DiffObject &object);
// Whether a disk stands elsewhere than its partner.
bool isMoved(const DiffObject &oldDisk);

// "disk 1003" and the like; where a disk is; what an object is, in a few words.
void putObjectName(Text *text, DifferenceObject kind, const XML_NODE *node);
void putPlace(Text *text, const DiffObject &disk);
void putDescription(Text *text, DifferenceObject kind, const XML_NODE *node);

} // namespace xyl::client
