// The objects of two documents: which is which, where they are and what they are called.
#pragma once

#include "client/compare/differences.h"
#include "client/compare/text_keys.h"

enum DIFF_SIDE { DIFF_OLD, DIFF_NEW, DIFF_SIDE_COUNT };

// An object of one document. Its partner is what it is compared with in the other document, or null.
struct DIFF_OBJECT {
  const XML_NODE *Node;
  const DIFF_OBJECT *Holder; // the enclosure or adapter that a disk is in
  DIFF_OBJECT *Partner;
};

struct DIFF_OBJECTS {
  DIFF_OBJECT *Items; // pool
  UINT32 Count;
  TEXT_KEYS Ids; // the objects by their ids
};

struct DIFF {
  DIFF_OBJECTS Objects[DIFF_SIDE_COUNT][DIFFERENCE_OBJECT_COUNT];
  const XML_NODE *Inventory[DIFF_SIDE_COUNT]; // null in a bare raidData
  DIFFERENCES *Out;
};

// Collects the objects below the documents' adapters; freeObjects gives them back, also after a failure.
EFI_STATUS collectObjects(DIFF *diff, DIFF_SIDE side, const XML_NODE *adapter);
void freeObjects(DIFF *diff);

// The object of that kind and id, or null.
const DIFF_OBJECT *objectWithId(const DIFF *diff, DIFF_SIDE side, DIFFERENCE_OBJECT kind, const CHAR8 *id);

// Whether both elements have the child with the same text; sameChild wants a distinct one.
bool equalChild(const XML_NODE *a, const XML_NODE *b, const CHAR8 *name);
bool sameChild(const XML_NODE *a, const XML_NODE *b, const CHAR8 *name);
// Whether a text is not empty and no number 0.
bool isDistinct(const CHAR8 *text);

// Whether the disk's element stands in an enclosure's.
bool isInEnclosure(const DIFF_OBJECT &disk);

// Whether two partners are two things all the same: another disk in a place, another adapter.
bool isReplaced(DIFFERENCE_OBJECT kind, const DIFF_OBJECT &object);
// Whether a disk stands elsewhere than its partner.
bool isMoved(const DIFF_OBJECT &oldDisk);

// "disk 1003" and the like; where a disk is; what an object is, in a few words.
void putObjectName(TEXT *text, DIFFERENCE_OBJECT kind, const XML_NODE *node);
void putPlace(TEXT *text, const DIFF_OBJECT &disk);
void putDescription(TEXT *text, DIFFERENCE_OBJECT kind, const XML_NODE *node);
