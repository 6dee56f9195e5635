// What a restore has come to: the controller read back and compared with what was saved.
#pragma once

#include "xyl/diff/diff.h"
#include "xyl/plan/plan.h"

// Whose fault a difference is.
enum BLAME : UINT8 {
  BLAME_NOBODY,  // no restore brings it back
  BLAME_PLAN,    // this one could not, as its plan said
  BLAME_RESTORE, // it should have
  BLAME_COUNT
};

struct VERDICT {
  DIFFERENCES Differences;
  BLAME *Blames; // pool; for each difference, or BLAME_COUNT for one that is none after a restore
  UINT32 Counts[BLAME_COUNT];
};

// Compares the saved document with the controller's present one after a restore that went by the plan. The caller gives
// *verdict, also of a failed call, to freeVerdict before it frees the trees.
EFI_STATUS makeVerdict(const RESTORE_PLAN &plan, const XML_NODE *saved, const XML_NODE *current, VERDICT *verdict);
void freeVerdict(VERDICT *verdict);

void sayVerdict(const XYL_HOST *host, const VERDICT &verdict);
// The member "verdict" of an open object.
void writeVerdict(JSON *json, const VERDICT &verdict);
