// What a restore comes to: the controller as it is afterwards, or as its plan sees it then, compared with what was
// saved.
#pragma once

#include "client/compare/compare.h"

namespace xyl::client {

struct RestorePlan;

// Whose fault a difference is.
enum Blame : UINT8 {
  blameNobody,  // no restore brings it back
  blamePlan,    // this one does not
  blameRestore, // it should have: the plan does not name it
  blameCount
};

struct Verdict {
  Differences differences;
  Blame *blames; // pool; for each difference, or blameCount for one that follows from others
  UINT64 *order; // pool; the differences by their objects
  UINT32 counts[blameCount];
  UINT32
  losses; // of those with a blame: virtual disks, hot spares, settings and keys that were saved and are not there
};

// Compares the saved document with the controller's: with one that the plan predicts, or with the present one after the
// restore, for which planned is the verdict on the prediction and was made from the same tree of the saved document.
// The caller gives *verdict, also of a failed call, to freeVerdict before it frees the trees.
EFI_STATUS makeVerdict(const RestorePlan &plan, const XML_NODE *saved, const XML_NODE *current, const Verdict *planned,
                       Verdict *verdict);
void freeVerdict(Verdict *verdict);

// Says what is left, of a restore to come or of one that was.
void sayVerdict(const Front *front, const Verdict &verdict, bool isToCome);
// The member "verdict" of an open object.
void writeVerdict(Json *json, const Verdict &verdict);

} // namespace xyl::client
