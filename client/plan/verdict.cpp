#include "client/plan/verdict.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "client/plan/plan_facts.h"

namespace {

// What a difference means.
enum MEANING : UINT8 {
  FOLLOWS,   // it follows from another one, or comes with virtual disks that are made anew
  OTHERWISE, // other hardware or software, which no restore changes
  STANDS_IN, // a disk does what another one did
  LOST,      // gone, and no restore brings it back
  LEFT       // this restore leaves it so
};

} // namespace

// Indexed by MEANING.
static constexpr struct {
  BLAME Blame;
  bool IsLoss;
  bool IsPlanned; // or the restore went wrong
} g_meanings[] = {{BLAME_COUNT, false, false},
                  {BLAME_NOBODY, false, false},
                  {BLAME_NOBODY, false, true},
                  {BLAME_NOBODY, true, true},
                  {BLAME_PLAN, true, true}};

static UINT32 idOf(const XML_NODE *node) {
  return static_cast<UINT32>(parseDecimal(childText(node, "ObjectID")));
}

static bool isOneOf(const CHAR8 *text, const CHAR8 *const *names) {
  while (*names != nullptr && !textEqual(*names, text)) {
    ++names;
  }
  return *names != nullptr;
}

static MEANING meaningOfAdapter(const DIFFERENCE &difference) {
  static constexpr const CHAR8 *keys[] = {"Keyid", "SecurityMode", nullptr};
  if (difference.Element == nullptr) {
    return OTHERWISE;
  }
  return isOneOf(difference.Element, keys) ? LOST : isSetting(difference.Element) ? LEFT : OTHERWISE;
}

// --- Disks ---

static bool isSpare(const XML_NODE *disk) {
  return *childText(disk, "Hotspare") != 0;
}

static MEANING meaningOfSpare(const RESTORE_PLAN &plan, const DIFFERENCE &difference) {
  UINT32 place = findId(plan.SavedIndex, idOf(difference.OldNode));
  if (plan.PreservesVirtualDisks || place == ID_NONE) {
    return LEFT;
  }
  bool standsIn =
      !isSpare(difference.OldNode) || plan.Map == nullptr || plan.Map[place] != idOf(difference.NewNode) + 1;
  return plan.DiskPlans[place].WhyNoSpare.Length == 0 && standsIn ? STANDS_IN : LEFT;
}

// Of a saved disk that is gone or of no use any more.
static MEANING meaningOfLostDisk(const RESTORE_PLAN &plan, const XML_NODE *saved) {
  UINT32 place = findId(plan.SavedIndex, idOf(saved));
  bool comesBack = !plan.PreservesVirtualDisks && place != ID_NONE && plan.DiskPlans[place].WhyNoSpare.Length == 0;
  return isSpare(saved) && !comesBack ? LOST : OTHERWISE;
}

static MEANING meaningOfDisk(const RESTORE_PLAN &plan, const DIFFERENCE &difference) {
  // What virtual disks do to their members.
  static constexpr const CHAR8 *followers[] = {"SecureState", "FreeSize", "UsedSize", nullptr};
  static constexpr const CHAR8 *useful[] = {"Online", "Ready", nullptr};
  if (difference.Kind == DIFFERENCE_REMOVED) {
    return meaningOfLostDisk(plan, difference.OldNode);
  }
  if (difference.Kind != DIFFERENCE_CHANGED) {
    return OTHERWISE;
  }
  if (textEqual(difference.Element, "Hotspare") || textEqual(difference.Element, "VD")) {
    return meaningOfSpare(plan, difference);
  }
  if (!textEqual(difference.Element, "State")) {
    return isOneOf(difference.Element, followers) ? FOLLOWS : OTHERWISE;
  }
  bool wasOnline = textEqual(textOf(difference.Old), "Online");
  bool isForeign = textEqual(textOf(difference.New), "Foreign");
  if (isOneOf(textOf(difference.New), useful) || (wasOnline && isForeign)) {
    return FOLLOWS;
  }
  return isForeign ? OTHERWISE : meaningOfLostDisk(plan, difference.OldNode);
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

static bool missesMember(const RESTORE_PLAN &plan, const XML_NODE *virtualDisk) {
  const XML_NODE *id = childNamed(virtualDisk, "PD");
  while (id != nullptr && findId(plan.CurrentIndex, static_cast<UINT32>(parseDecimal(nodeText(id)))) != ID_NONE) {
    id = nextSame(id);
  }
  return id != nullptr;
}

static MEANING meaningOfMembers(const RESTORE_PLAN &plan, const DIFFERENCE &difference,
                                const VIRTUAL_DISK_PLAN &virtualDisk) {
  if (plan.PreservesVirtualDisks) {
    return missesMember(plan, difference.NewNode) ? LOST : LEFT;
  }
  const PLAN_COMMAND *command = virtualDisk.Command != 0 ? &plan.Commands.items[virtualDisk.Command - 1] : nullptr;
  bool isAsPlanned = command != nullptr && hasMembers(difference.NewNode, command->Ids, command->IdCount);
  return isAsPlanned ? OTHERWISE : LEFT;
}

static MEANING meaningOfVirtualDiskField(const RESTORE_PLAN &plan, const DIFFERENCE &difference,
                                         const VIRTUAL_DISK_PLAN &virtualDisk) {
  // What the controller hands out as it likes.
  static constexpr const CHAR8 *given[] = {"TargetID", "FQDD", "StartingLba", nullptr};
  if (textEqual(difference.Element, "State")) {
    return textEqual(textOf(difference.New), "Online") ? FOLLOWS : LOST;
  }
  if (textEqual(difference.Element, "PD")) {
    return meaningOfMembers(plan, difference, virtualDisk);
  }
  if (plan.PreservesVirtualDisks) {
    return LEFT;
  }
  if (isOneOf(difference.Element, given)) {
    return FOLLOWS;
  }
  return textEqual(difference.Element, "Attributes") && plan.EncryptedVirtualDisks != 0 ? LOST : LEFT;
}

static MEANING meaningOfVirtualDisk(const RESTORE_PLAN &plan, const DIFFERENCE &difference) {
  if (difference.Kind == DIFFERENCE_ADDED) {
    return plan.PreservesVirtualDisks ? LEFT : STANDS_IN; // a rebuild would remove it
  }
  UINT32 place = findId(plan.SavedVirtualDiskIndex, idOf(difference.OldNode));
  return difference.Kind == DIFFERENCE_CHANGED && place != ID_NONE
             ? meaningOfVirtualDiskField(plan, difference, plan.VirtualDiskPlans[place])
             : LEFT;
}

static MEANING meaningOf(const RESTORE_PLAN &plan, const DIFFERENCE &difference) {
  if (difference.Kind == DIFFERENCE_CHANGED && difference.Old.Length == 0 && difference.Object != DIFFERENCE_DISK) {
    return OTHERWISE; // it was not saved
  }
  switch (difference.Object) {
  case DIFFERENCE_ADAPTER:
    return meaningOfAdapter(difference);
  case DIFFERENCE_DISK:
    return meaningOfDisk(plan, difference);
  case DIFFERENCE_VIRTUAL_DISK:
    return meaningOfVirtualDisk(plan, difference);
  default:
    return OTHERWISE;
  }
}

// --- The verdict ---

// Equal for the differences of one object in both verdicts.
static UINT32 objectHash(const DIFFERENCE &difference) {
  UINTN address = reinterpret_cast<UINTN>(difference.OldNode);
  return address != 0 ? static_cast<UINT32>(address >> 4) : idOf(difference.NewNode);
}

static bool sameDifference(const DIFFERENCE &a, const DIFFERENCE &b) {
  return a.OldNode == b.OldNode && a.Kind == b.Kind && a.Element == b.Element && a.Object == b.Object &&
         textEqual(textOf(a.What), textOf(b.What)) && textEqual(textOf(a.New), textOf(b.New));
}

static bool names(const VERDICT &verdict, const DIFFERENCE &difference) {
  UINT32 hash = objectHash(difference);
  UINT32 count = verdict.Differences.All.count;
  for (UINTN at = lowerBound(verdict.Order, count, indexKey(hash, 0)); at < count && verdict.Order[at] >> 32 == hash;
       ++at) {
    if (sameDifference(verdict.Differences.All.items[static_cast<UINT32>(verdict.Order[at])], difference)) {
      return true;
    }
  }
  return false;
}

EFI_STATUS makeVerdict(const RESTORE_PLAN &plan, const XML_NODE *saved, const XML_NODE *current, const VERDICT *planned,
                       VERDICT *verdict) {
  *verdict = {};
  EFI_STATUS status = diffDocuments(saved, current, &verdict->Differences);
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT32 count = verdict->Differences.All.count;
  verdict->Blames = poolNew<BLAME>(UINTN{count} + 1);
  verdict->Order = poolNew<UINT64>(UINTN{count} + 1);
  if (verdict->Blames == nullptr || verdict->Order == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < count; ++i) {
    const DIFFERENCE &difference = verdict->Differences.All.items[i];
    auto meaning = g_meanings[meaningOf(plan, difference)];
    bool isWrong = planned != nullptr && meaning.IsPlanned && !names(*planned, difference);
    verdict->Blames[i] = isWrong ? BLAME_RESTORE : meaning.Blame;
    verdict->Order[i] = indexKey(objectHash(difference), i);
    verdict->Losses += meaning.IsLoss ? 1 : 0;
    if (verdict->Blames[i] != BLAME_COUNT) {
      ++verdict->Counts[verdict->Blames[i]];
    }
  }
  sortKeys(verdict->Order, count);
  return EFI_SUCCESS;
}

void freeVerdict(VERDICT *verdict) {
  freeDifferences(&verdict->Differences);
  poolRelease(verdict->Blames);
  poolRelease(verdict->Order);
}

// Indexed by BLAME.
static constexpr struct {
  const CHAR8 *Words; // of a restore that was
  const CHAR8 *WordsToCome;
  const CHAR8 *Member; // in JSON
} g_blames[BLAME_COUNT] = {{"What no restore brings back", "What no restore brings back", "notRestorable"},
                           {"What this restore could not do", "What this restore does not do", "notDone"},
                           {"What went wrong", "", "wrong"}}; // which no plan knows

static void sayBlamed(const XYL_FRONT *front, const VERDICT &verdict, UINTN blame) {
  for (UINT32 i = 0; i < verdict.Differences.All.count; ++i) {
    if (verdict.Blames[i] == blame) {
      sayText(front, "  ");
      sayDifference(front, verdict.Differences.All.items[i]);
    }
  }
}

void sayVerdict(const XYL_FRONT *front, const VERDICT &verdict, bool isToCome) {
  bool namesAny = false;
  for (UINTN blame = 0; blame < BLAME_COUNT; ++blame) {
    if (verdict.Counts[blame] != 0) {
      namesAny = true;
      say(front, "%a:\n", isToCome ? g_blames[blame].WordsToCome : g_blames[blame].Words);
      sayBlamed(front, verdict, blame);
    }
  }
  if (namesAny) {
    return;
  }
  if (verdict.Differences.All.count == 0) {
    say(front, "the controller %a as it was saved\n", isToCome ? "will be" : "is");
  } else {
    say(front, "all that was saved %a back; 'xyl diff' finds %d differences that come with virtual disks made anew\n",
        isToCome ? "comes" : "is", verdict.Differences.All.count);
  }
}

void writeVerdict(JSON *json, const VERDICT &verdict) {
  jsonObject(json, "verdict");
  for (UINTN kind = 0; kind < BLAME_COUNT; ++kind) {
    jsonArray(json, g_blames[kind].Member);
    for (UINT32 i = 0; i < verdict.Differences.All.count; ++i) {
      if (verdict.Blames[i] == kind) {
        writeDifference(json, verdict.Differences.All.items[i]);
      }
    }
    jsonEnd(json);
  }
  jsonEnd(json);
}
