#include "client/plan/verdict.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "client/plan/plan_facts.h"

namespace xyl::client {

namespace {

// What a difference means.
enum StepMeaning : UINT8 {
  meaningFollows,   // it follows from another one, or comes with virtual disks that are made anew
  meaningOtherwise, // other hardware or software, which no restore changes
  meaningStandsIn,  // a disk does what another one did
  meaningLost,      // gone, and no restore brings it back
  meaningLeft       // this restore leaves it so
};

} // namespace

// Indexed by MEANING.
static constexpr struct {
  Blame blame;
  bool isLoss;
  bool isPlanned; // or the restore went wrong
} g_meanings[] = {{blameCount, false, false},
                  {blameNobody, false, false},
                  {blameNobody, false, true},
                  {blameNobody, true, true},
                  {blamePlan, true, true}};

static UINT32 idOf(const XML_NODE *node) {
  return static_cast<UINT32>(parseDecimal(childText(node, "ObjectID")));
}

static bool isOneOf(const CHAR8 *text, const CHAR8 *const *names) {
  while (*names != nullptr && !textEqual(*names, text)) {
    ++names;
  }
  return *names != nullptr;
}

static StepMeaning meaningOfAdapter(const Difference &difference) {
  static constexpr const CHAR8 *keys[] = {"Keyid", "SecurityMode", nullptr};
  if (difference.element == nullptr) {
    return meaningOtherwise;
  }
  return isOneOf(difference.element, keys) ? meaningLost
         : isSetting(difference.element)   ? meaningLeft
                                           : meaningOtherwise;
}

// --- Disks ---

static bool isSpare(const XML_NODE *disk) {
  return *childText(disk, "Hotspare") != 0;
}

static StepMeaning meaningOfSpare(const RestorePlan &plan, const Difference &difference) {
  UINT32 place = records::findId(plan.savedIndex, idOf(difference.oldNode));
  if (plan.preservesVirtualDisks || place == records::noId) {
    return meaningLeft;
  }
  bool standsIn =
      !isSpare(difference.oldNode) || plan.map == nullptr || plan.map[place] != idOf(difference.newNode) + 1;
  return plan.diskPlans[place].whyNoSpare.length == 0 && standsIn ? meaningStandsIn : meaningLeft;
}

// Of a saved disk that is gone or of no use any more.
static StepMeaning meaningOfLostDisk(const RestorePlan &plan, const XML_NODE *saved) {
  UINT32 place = records::findId(plan.savedIndex, idOf(saved));
  bool comesBack =
      !plan.preservesVirtualDisks && place != records::noId && plan.diskPlans[place].whyNoSpare.length == 0;
  return isSpare(saved) && !comesBack ? meaningLost : meaningOtherwise;
}

static StepMeaning meaningOfDisk(const RestorePlan &plan, const Difference &difference) {
  // What virtual disks do to their members.
  static constexpr const CHAR8 *followers[] = {"SecureState", "FreeSize", "UsedSize", nullptr};
  static constexpr const CHAR8 *useful[] = {"Online", "Ready", nullptr};
  if (difference.kind == differenceRemoved) {
    return meaningOfLostDisk(plan, difference.oldNode);
  }
  if (difference.kind != differenceChanged) {
    return meaningOtherwise;
  }
  if (textEqual(difference.element, "Hotspare") || textEqual(difference.element, "VD")) {
    return meaningOfSpare(plan, difference);
  }
  if (!textEqual(difference.element, "State")) {
    return isOneOf(difference.element, followers) ? meaningFollows : meaningOtherwise;
  }
  bool wasOnline = textEqual(textOf(difference.older), "Online");
  bool isForeign = textEqual(textOf(difference.newer), "Foreign");
  if (isOneOf(textOf(difference.newer), useful) || (wasOnline && isForeign)) {
    return meaningFollows;
  }
  return isForeign ? meaningOtherwise : meaningOfLostDisk(plan, difference.oldNode);
}

// --- Virtual disks ---

static UINT32 countIds(const XML_NODE *virtualDisk) {
  UINT32 count = 0;
  for (const XML_NODE *id = childNamed(virtualDisk, "PD"); id != nullptr; id = nextSame(id)) {
    ++count;
  }
  return count;
}

// Whether the virtual disk's members are those ids, in whatever order.
static bool hasMembers(const XML_NODE *virtualDisk, const UINT32 *ids, UINT32 count) {
  UINT64 *keys = poolNew<UINT64>(UINTN{count} + 1);
  if (keys == nullptr || countIds(virtualDisk) != count) {
    poolFree(keys);
    return false;
  }
  for (UINT32 i = 0; i < count; ++i) {
    keys[i] = ids[i];
  }
  sortKeys(keys, count);
  bool all = true;
  for (const XML_NODE *id = childNamed(virtualDisk, "PD"); id != nullptr && all; id = nextSame(id)) {
    UINT64 key = parseDecimal(nodeText(id));
    UINTN at = lowerBound(keys, count, key);
    all = at < count && keys[at] == key;
  }
  poolFree(keys);
  return all;
}

static bool missesMember(const RestorePlan &plan, const XML_NODE *virtualDisk) {
  const XML_NODE *id = childNamed(virtualDisk, "PD");
  while (id != nullptr &&
         records::findId(plan.currentIndex, static_cast<UINT32>(parseDecimal(nodeText(id)))) != records::noId) {
    id = nextSame(id);
  }
  return id != nullptr;
}

static StepMeaning meaningOfMembers(const RestorePlan &plan, const Difference &difference,
                                    const VirtualDiskPlan &virtualDisk) {
  if (plan.preservesVirtualDisks) {
    return missesMember(plan, difference.newNode) ? meaningLost : meaningLeft;
  }
  const PlanCommand *command = virtualDisk.command != 0 ? &plan.commands.items[virtualDisk.command - 1] : nullptr;
  bool isAsPlanned = command != nullptr && hasMembers(difference.newNode, command->ids, command->idCount);
  return isAsPlanned ? meaningOtherwise : meaningLeft;
}

static StepMeaning meaningOfVirtualDiskField(const RestorePlan &plan, const Difference &difference,
                                             const VirtualDiskPlan &virtualDisk) {
  // What the controller hands out as it likes.
  static constexpr const CHAR8 *given[] = {"TargetID", "FQDD", "StartingLba", nullptr};
  if (textEqual(difference.element, "State")) {
    return textEqual(textOf(difference.newer), "Online") ? meaningFollows : meaningLost;
  }
  if (textEqual(difference.element, "PD")) {
    return meaningOfMembers(plan, difference, virtualDisk);
  }
  if (plan.preservesVirtualDisks) {
    return meaningLeft;
  }
  if (isOneOf(difference.element, given)) {
    return meaningFollows;
  }
  return textEqual(difference.element, "Attributes") && plan.encryptedVirtualDisks != 0 ? meaningLost : meaningLeft;
}

static StepMeaning meaningOfVirtualDisk(const RestorePlan &plan, const Difference &difference) {
  if (difference.kind == differenceAdded) {
    return plan.preservesVirtualDisks ? meaningLeft : meaningStandsIn; // a rebuild would remove it
  }
  UINT32 place = records::findId(plan.savedVirtualDiskIndex, idOf(difference.oldNode));
  return difference.kind == differenceChanged && place != records::noId
             ? meaningOfVirtualDiskField(plan, difference, plan.virtualDiskPlans[place])
             : meaningLeft;
}

static StepMeaning meaningOf(const RestorePlan &plan, const Difference &difference) {
  if (difference.kind == differenceChanged && difference.older.length == 0 && difference.object != differenceDisk) {
    return meaningOtherwise; // it was not saved
  }
  switch (difference.object) {
  case differenceAdapter:
    return meaningOfAdapter(difference);
  case differenceDisk:
    return meaningOfDisk(plan, difference);
  case differenceVirtualDisk:
    return meaningOfVirtualDisk(plan, difference);
  default:
    return meaningOtherwise;
  }
}

// --- The verdict ---

// Equal for the differences of one object in both verdicts.
static UINT32 objectHash(const Difference &difference) {
  UINTN address = reinterpret_cast<UINTN>(difference.oldNode);
  return address != 0 ? static_cast<UINT32>(address >> 4) : idOf(difference.newNode);
}

static bool sameDifference(const Difference &a, const Difference &b) {
  return a.oldNode == b.oldNode && a.kind == b.kind && a.element == b.element && a.object == b.object &&
         textEqual(textOf(a.what), textOf(b.what)) && textEqual(textOf(a.newer), textOf(b.newer));
}

static bool names(const Verdict &verdict, const Difference &difference) {
  UINT32 hash = objectHash(difference);
  UINT32 count = verdict.differences.all.count;
  for (UINTN at = lowerBound(verdict.order, count, indexKey(hash, 0)); at < count && verdict.order[at] >> 32 == hash;
       ++at) {
    if (sameDifference(verdict.differences.all.items[static_cast<UINT32>(verdict.order[at])], difference)) {
      return true;
    }
  }
  return false;
}

EFI_STATUS makeVerdict(const RestorePlan &plan, const XML_NODE *saved, const XML_NODE *current, const Verdict *planned,
                       Verdict *verdict) {
  *verdict = {};
  EFI_STATUS status = diffDocuments(saved, current, &verdict->differences);
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT32 count = verdict->differences.all.count;
  verdict->blames = poolNew<Blame>(UINTN{count} + 1);
  verdict->order = poolNew<UINT64>(UINTN{count} + 1);
  if (verdict->blames == nullptr || verdict->order == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < count; ++i) {
    const Difference &difference = verdict->differences.all.items[i];
    auto meaning = g_meanings[meaningOf(plan, difference)];
    bool isWrong = planned != nullptr && meaning.isPlanned && !names(*planned, difference);
    verdict->blames[i] = isWrong ? blameRestore : meaning.blame;
    verdict->order[i] = indexKey(objectHash(difference), i);
    verdict->losses += meaning.isLoss ? 1 : 0;
    if (verdict->blames[i] != blameCount) {
      ++verdict->counts[verdict->blames[i]];
    }
  }
  sortKeys(verdict->order, count);
  return EFI_SUCCESS;
}

void freeVerdict(Verdict *verdict) {
  freeDifferences(&verdict->differences);
  poolRelease(verdict->blames);
  poolRelease(verdict->order);
}

// Indexed by Blame.
static constexpr struct {
  const CHAR8 *words; // of a restore that was
  const CHAR8 *wordsToCome;
  const CHAR8 *member; // in JSON
} g_blames[blameCount] = {{"What no restore brings back", "What no restore brings back", "notRestorable"},
                          {"What this restore could not do", "What this restore does not do", "notDone"},
                          {"What went wrong", "", "wrong"}}; // which no plan knows

static void sayBlamed(const Front *front, const Verdict &verdict, UINTN blame) {
  for (UINT32 i = 0; i < verdict.differences.all.count; ++i) {
    if (verdict.blames[i] == blame) {
      sayText(front, "  ");
      sayDifference(front, verdict.differences.all.items[i]);
    }
  }
}

void sayVerdict(const Front *front, const Verdict &verdict, bool isToCome) {
  bool namesAny = false;
  for (UINTN blame = 0; blame < blameCount; ++blame) {
    if (verdict.counts[blame] != 0) {
      namesAny = true;
      say(front, "%a:\n", isToCome ? g_blames[blame].wordsToCome : g_blames[blame].words);
      sayBlamed(front, verdict, blame);
    }
  }
  if (namesAny) {
    return;
  }
  if (verdict.differences.all.count == 0) {
    say(front, "the controller %a as it was saved\n", isToCome ? "will be" : "is");
  } else {
    say(front, "all that was saved %a back; 'xyl diff' finds %d differences that come with virtual disks made anew\n",
        isToCome ? "comes" : "is", verdict.differences.all.count);
  }
}

void writeVerdict(Json *json, const Verdict &verdict) {
  jsonObject(json, "verdict");
  for (UINTN kind = 0; kind < blameCount; ++kind) {
    jsonArray(json, g_blames[kind].member);
    for (UINT32 i = 0; i < verdict.differences.all.count; ++i) {
      if (verdict.blames[i] == kind) {
        writeDifference(json, verdict.differences.all.items[i]);
      }
    }
    jsonEnd(json);
  }
  jsonEnd(json);
}

} // namespace xyl::client
