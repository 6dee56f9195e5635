#include "xyl/verdict/verdict.h"

#include "base/pool.h"
#include "base/text.h"
#include "raid_values.h"

static UINT32 idOf(const XML_NODE *node) {
  return static_cast<UINT32>(parseDecimal(childText(node, "ObjectID")));
}

static bool isOneOf(const CHAR8 *text, const CHAR8 *const *names) {
  while (*names != nullptr && !textEqual(*names, text)) {
    ++names;
  }
  return *names != nullptr;
}

static bool sendsSettings(const RESTORE_PLAN &plan) {
  for (UINT32 i = 0; i < plan.CommandCount; ++i) {
    if (plan.Commands[i].Command == RAID_COMMAND_CHANGE && plan.Commands[i].ObjectType == RAID_OBJECT_ADAPTER) {
      return true;
    }
  }
  return false;
}

static BLAME blameAdapter(const RESTORE_PLAN &plan, const DIFFERENCE &difference) {
  if (difference.Element == nullptr || !isSetting(difference.Element)) {
    return BLAME_NOBODY;
  }
  // What the new adapter does not have cannot be set.
  return difference.New.Length != 0 && sendsSettings(plan) ? BLAME_RESTORE : BLAME_PLAN;
}

static BLAME blameSpare(const RESTORE_PLAN &plan, const DIFFERENCE &difference) {
  UINT32 place = placeOf(plan.SavedIndex, idOf(difference.OldNode));
  if (plan.PreservesVolumes || place == ID_NONE) {
    return BLAME_PLAN;
  }
  if (plan.Map == nullptr || plan.Map[place] != idOf(difference.NewNode) + 1) {
    return BLAME_NOBODY; // another disk stands in for it
  }
  return plan.DiskPlans[place].WhyNoSpare.Length != 0 ? BLAME_PLAN : BLAME_RESTORE;
}

static BLAME blameDisk(const RESTORE_PLAN &plan, const DIFFERENCE &difference) {
  // What virtual disks do to their members.
  static constexpr const CHAR8 *followers[] = {"State", "SecureState", "FreeSize", "UsedSize", nullptr};
  if (difference.Kind != DIFFERENCE_CHANGED) {
    return BLAME_NOBODY;
  }
  if (textEqual(difference.Element, "Hotspare") || textEqual(difference.Element, "VD")) {
    return blameSpare(plan, difference);
  }
  bool isFailed = textEqual(textOf(difference.New), "Failed");
  return isOneOf(difference.Element, followers) && !isFailed ? BLAME_COUNT : BLAME_NOBODY;
}

// --- Members ---

static UINT32 countIds(const XML_NODE *volume) {
  UINT32 count = 0;
  for (const XML_NODE *id = childNamed(volume, "PD"); id != nullptr; id = nextSame(id)) {
    ++count;
  }
  return count;
}

// Whether the volume's members are those ids, in whatever order.
static bool hasMembers(const XML_NODE *volume, const UINT32 *ids, UINT32 count) {
  UINT64 *keys = poolNew<UINT64>(UINTN{count} + 1);
  if (keys == nullptr || countIds(volume) != count) {
    poolFree(keys);
    return false;
  }
  for (UINT32 i = 0; i < count; ++i) {
    keys[i] = ids[i];
  }
  sortKeys(keys, count);
  bool all = true;
  for (const XML_NODE *id = childNamed(volume, "PD"); id != nullptr && all; id = nextSame(id)) {
    UINT64 key = parseDecimal(nodeText(id));
    UINTN at = lowerBound(keys, count, key);
    all = at < count && keys[at] == key;
  }
  poolFree(keys);
  return all;
}

// A restore turns the order of members round, and puts them on the disks that the plan chose.
static BLAME blameMembers(const RESTORE_PLAN &plan, const DIFFERENCE &difference, const VOLUME_PLAN &volume) {
  if (volume.Command == 0) {
    return BLAME_RESTORE;
  }
  const PLAN_COMMAND &command = plan.Commands[volume.Command - 1];
  if (!hasMembers(difference.NewNode, command.Ids, command.IdCount)) {
    return BLAME_RESTORE;
  }
  const RAID_VD_RECORD &saved = plan.Saved->logicalDisks[&volume - plan.VolumePlans];
  for (UINT32 i = 0; i < command.IdCount; ++i) {
    UINT32 place = placeOf(plan.SavedIndex, static_cast<const UINT32 *>(saved.PDs)[i]);
    UINT32 twin = place != ID_NONE ? plan.DiskPlans[place].Twin : 0;
    if (twin == 0 || static_cast<const RAID_PD_RECORD *>(plan.Disks.Data)[twin - 1].ObjectID != command.Ids[i]) {
      return BLAME_NOBODY; // other disks stand in
    }
  }
  return BLAME_COUNT;
}

// --- Virtual disks ---

static BLAME blameVolumeField(const RESTORE_PLAN &plan, const DIFFERENCE &difference, const VOLUME_PLAN &volume) {
  // What the controller hands out as it likes.
  static constexpr const CHAR8 *given[] = {"TargetID", "FQDD", "StartingLba", nullptr};
  if (textEqual(difference.Element, "State")) {
    bool isWell = textEqual(textOf(difference.New), "Online");
    return isWell ? BLAME_COUNT : plan.PreservesVolumes ? BLAME_NOBODY : BLAME_RESTORE;
  }
  if (plan.PreservesVolumes) {
    return BLAME_PLAN;
  }
  if (textEqual(difference.Element, "PD")) {
    return blameMembers(plan, difference, volume);
  }
  if (isOneOf(difference.Element, given) ||
      (textEqual(difference.Element, "Attributes") && plan.EncryptedVolumes != 0)) {
    return BLAME_NOBODY;
  }
  return BLAME_RESTORE;
}

static BLAME blameVolume(const RESTORE_PLAN &plan, const DIFFERENCE &difference) {
  if (difference.Kind == DIFFERENCE_ADDED) {
    return plan.PreservesVolumes ? BLAME_NOBODY : BLAME_RESTORE;
  }
  UINT32 place = placeOf(plan.SavedVolumeIndex, idOf(difference.OldNode));
  if (place == ID_NONE) {
    return BLAME_RESTORE;
  }
  const VOLUME_PLAN &volume = plan.VolumePlans[place];
  if (difference.Kind == DIFFERENCE_CHANGED) {
    return blameVolumeField(plan, difference, volume);
  }
  return plan.PreservesVolumes || volume.WhyNot.Length != 0 ? BLAME_PLAN : BLAME_RESTORE;
}

static BLAME blame(const RESTORE_PLAN &plan, const DIFFERENCE &difference) {
  if (difference.Kind == DIFFERENCE_CHANGED && difference.Old.Length == 0 && difference.Object != DIFFERENCE_DISK) {
    return BLAME_NOBODY; // it was not saved
  }
  switch (difference.Object) {
  case DIFFERENCE_ADAPTER:
    return blameAdapter(plan, difference);
  case DIFFERENCE_DISK:
    return blameDisk(plan, difference);
  case DIFFERENCE_VOLUME:
    return blameVolume(plan, difference);
  default:
    return BLAME_NOBODY;
  }
}

EFI_STATUS makeVerdict(const RESTORE_PLAN &plan, const XML_NODE *saved, const XML_NODE *current, VERDICT *verdict) {
  *verdict = {};
  EFI_STATUS status = diffDocuments(saved, current, &verdict->Differences);
  if (EFI_ERROR(status)) {
    return status;
  }
  verdict->Blames = poolNew<BLAME>(UINTN{verdict->Differences.Count} + 1);
  if (verdict->Blames == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < verdict->Differences.Count; ++i) {
    BLAME found = blame(plan, verdict->Differences.Items[i]);
    verdict->Blames[i] = found;
    if (found != BLAME_COUNT) {
      ++verdict->Counts[found];
    }
  }
  return EFI_SUCCESS;
}

void freeVerdict(VERDICT *verdict) {
  freeDifferences(&verdict->Differences);
  poolRelease(verdict->Blames);
}

// Indexed by BLAME.
static constexpr struct {
  const CHAR8 *Words;
  const CHAR8 *Member; // in JSON
} g_blames[BLAME_COUNT] = {{"What no restore brings back", "notRestorable"},
                           {"What this restore could not do", "notDone"},
                           {"What went wrong", "wrong"}};

void sayVerdict(const XYL_HOST *host, const VERDICT &verdict) {
  bool isSame = true;
  for (UINTN kind = 0; kind < BLAME_COUNT; ++kind) {
    if (verdict.Counts[kind] == 0) {
      continue;
    }
    isSame = false;
    say(host, "%a:\n", g_blames[kind].Words);
    for (UINT32 i = 0; i < verdict.Differences.Count; ++i) {
      if (verdict.Blames[i] == kind) {
        sayText(host, "  ");
        sayDifference(host, verdict.Differences.Items[i]);
      }
    }
  }
  if (isSame) {
    say(host, "the controller is as it was saved\n");
  }
}

void writeVerdict(JSON *json, const VERDICT &verdict) {
  jsonObject(json, "verdict");
  for (UINTN kind = 0; kind < BLAME_COUNT; ++kind) {
    jsonArray(json, g_blames[kind].Member);
    for (UINT32 i = 0; i < verdict.Differences.Count; ++i) {
      if (verdict.Blames[i] == kind) {
        writeDifference(json, verdict.Differences.Items[i]);
      }
    }
    jsonEnd(json);
  }
  jsonEnd(json);
}
