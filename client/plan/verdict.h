// What a restore comes to: the controller as it is afterwards, or as its plan sees it then, compared with what was
// saved.
#pragma once

#include "client/compare/compare.h"

struct RESTORE_PLAN;

// Whose fault a difference is.
enum BLAME : UINT8 {
  BLAME_NOBODY,  // no restore brings it back
  BLAME_PLAN,    // this one does not
  BLAME_RESTORE, // it should have: the plan does not name it
  BLAME_COUNT
};

struct VERDICT {
  DIFFERENCES Differences;
  BLAME *Blames; // pool; for each difference, or BLAME_COUNT for one that follows from others
  UINT64 *Order; // pool; the differences by their objects
  UINT32 Counts[BLAME_COUNT];
  UINT32
  Losses; // of those with a blame: virtual disks, hot spares, settings and keys that were saved and are not there
};

// Compares the saved document with the controller's: with one that the plan predicts, or with the present one after the
// restore, for which planned is the verdict on the prediction and was made from the same tree of the saved document.
// The caller gives *verdict, also of a failed call, to freeVerdict before it frees the trees.
EFI_STATUS makeVerdict(const RESTORE_PLAN &plan, const XML_NODE *saved, const XML_NODE *current, const VERDICT *planned,
                       VERDICT *verdict);
void freeVerdict(VERDICT *verdict);

// Says what is left, of a restore to come or of one that was.
void sayVerdict(const XYL_FRONT *front, const VERDICT &verdict, bool isToCome);
// The member "verdict" of an open object.
void writeVerdict(JSON *json, const VERDICT &verdict);
