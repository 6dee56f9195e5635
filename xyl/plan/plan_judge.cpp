// What would come of the commands of a plan: which the controller will refuse, and what could be imported instead.
#include "base/pool.h"
#include "base/text.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"
#include "raid_values.h"
#include "xyl/plan/plan_facts.h"
#include "xyl/steps/steps.h"

// --- The same disk, wherever it is ---

// Equal for a disk's records of all times.
static UINT32 identityHash(const RAID_PD_RECORD &disk) {
  if (disk.WWN != 0) {
    return static_cast<UINT32>(disk.WWN ^ disk.WWN >> 32);
  }
  UINT32 hash = 0;
  for (CHAR8 letter : disk.SerialNumber) {
    hash = hash * 31 + static_cast<UINT8>(letter);
  }
  return hash;
}

static bool isNamed(const RAID_PD_RECORD &disk) {
  for (CHAR8 letter : disk.SerialNumber) {
    if (letter != 0 && letter != ' ') {
      return true;
    }
  }
  return false;
}

static bool isSameDisk(const RAID_PD_RECORD &a, const RAID_PD_RECORD &b) {
  if (a.WWN != 0 || b.WWN != 0) {
    return a.WWN == b.WWN;
  }
  return isNamed(a) && __builtin_memcmp(a.SerialNumber, b.SerialNumber, sizeof(a.SerialNumber)) == 0;
}

static EFI_STATUS findTwins(RESTORE_PLAN *plan) {
  UINT32 count = recordCount(&plan->Disks);
  UINT64 *keys = poolNew<UINT64>(UINTN{count} + 1);
  if (keys == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  const RAID_PD_RECORD *disks = currentDisks(*plan);
  for (UINT32 i = 0; i < count; ++i) {
    keys[i] = indexKey(identityHash(disks[i]), i);
  }
  sortKeys(keys, count);
  for (UINT32 i = 0; i < plan->Saved->physicalDiskCount; ++i) {
    const RAID_PD_RECORD &saved = plan->Saved->physicalDisks[i];
    UINT32 hash = identityHash(saved);
    for (UINTN at = lowerBound(keys, count, indexKey(hash, 0)); at < count && keys[at] >> 32 == hash; ++at) {
      UINT32 place = static_cast<UINT32>(keys[at]);
      if (isSameDisk(saved, disks[place])) {
        plan->DiskPlans[i].Twin = place + 1;
        break;
      }
    }
  }
  poolFree(keys);
  return EFI_SUCCESS;
}

// --- Virtual disks ---

const RAID_PD_RECORD *findCurrent(const RESTORE_PLAN &plan, UINT32 id) {
  UINT32 place = placeOf(plan.CurrentIndex, id);
  return place != ID_NONE ? &currentDisks(plan)[place] : nullptr;
}

bool isForeign(const RAID_PD_RECORD &disk) {
  return disk.State == RAID_STATE_FOREIGN || disk.SecureState == RAID_SECURE_STATE_FOREIGN;
}

bool isLost(const RAID_PD_RECORD &disk) {
  return disk.State == RAID_STATE_FAILED || disk.State == RAID_STATE_OFFLINE;
}

static bool hasNoPartner(const RESTORE_PLAN &plan, UINT32 savedPlace) {
  return savedPlace == ID_NONE || plan.Map == nullptr || plan.Map[savedPlace] == 0;
}

static void putWithoutPartner(TEXT *why, const RESTORE_PLAN &plan, const RAID_VD_RECORD &volume) {
  putText(why, "no partner for saved disks");
  const CHAR8 *separator = " ";
  const UINT32 *members = volume.PDs;
  for (UINT32 j = members != nullptr ? volume.PDCount : 0; j-- > 0;) {
    if (hasNoPartner(plan, placeOf(plan.SavedIndex, members[j]))) {
      putText(why, separator);
      putNumber(why, members[j]);
      separator = ", ";
    }
  }
}

// Why no command for the virtual disk is sent.
static void putWhyNotSent(TEXT *why, const RESTORE_PLAN &plan, const RAID_VD_RECORD &volume, EFI_STATUS logged) {
  switch (logged) {
  case EFI_UNSUPPORTED:
    putText(why, "the adapter has no CacheCade");
    break;
  case EFI_OUT_OF_RESOURCES:
    putWithoutPartner(why, plan, volume);
    break;
  default:
    putText(why, "the restore ends before it");
  }
}

static void putDisk(TEXT *text, UINT32 id, const CHAR8 *is) {
  putText(text, "disk ");
  putNumber(text, id);
  putText(text, is);
}

// Why the controller will refuse the command; nothing when it has no reason to.
static void putWhyRefused(TEXT *why, const RESTORE_PLAN &plan, const RAID_VD_RECORD &volume,
                          const PLAN_COMMAND &command) {
  if (recordCount(&plan.Disks) == 0) {
    putText(why, "the controller has no disks");
    return;
  }
  if (command.IdCount == 0) {
    putText(why, "it was saved without members");
    return;
  }
  if ((currentAdapter(plan)->SupportedRAIDLevels & volume.RAIDLevel) == 0) {
    putText(why, "the adapter has no ");
    putText(why, GetNameFromValue(volume.RAIDLevel, g_raidLevelTable));
    return;
  }
  for (UINT32 j = 0; j < command.IdCount; ++j) {
    const RAID_PD_RECORD *disk = findCurrent(plan, command.Ids[j]);
    if (disk == nullptr) {
      putDisk(why, command.Ids[j], " is not there");
      return;
    }
    if (isLost(*disk)) {
      putDisk(why, disk->ObjectID, " is ");
      putText(why, GetNameFromValue(disk->State, g_stateTable));
      return;
    }
    if (plan.Uses[disk - currentDisks(plan)] > 1) {
      putDisk(why, disk->ObjectID, " would stand in for several saved ones");
      return;
    }
  }
}

// Whether the virtual disk is on the controller now: one of its level on one of its disks, by its name or its place.
static bool isThere(const RESTORE_PLAN &plan, const RAID_VD_RECORD &volume, const RAID_PD_RECORD &disk) {
  const UINT32 *ids = disk.VDs;
  for (UINT32 i = 0; ids != nullptr && i < disk.VDCount; ++i) {
    UINT32 place = placeOf(plan.VolumeIndex, ids[i]);
    const RAID_VD_RECORD *current = place != ID_NONE ? &currentVolumes(plan)[place] : nullptr;
    if (current == nullptr || current->RAIDLevel != volume.RAIDLevel) {
      continue;
    }
    const CHAR16 *name = volume.Name;
    const CHAR16 *currentName = current->Name;
    bool sameName = name != nullptr && currentName != nullptr && textEqual(name, currentName);
    if (sameName || current->StartingLba == volume.StartingLba) {
      return true;
    }
  }
  return false;
}

static void judgeVolume(RESTORE_PLAN *plan, UINT32 index) {
  const RAID_VD_RECORD &volume = plan->Saved->logicalDisks[index];
  VOLUME_PLAN *judged = &plan->VolumePlans[index];
  if (judged->Command != 0) {
    putWhyRefused(&judged->WhyNot, *plan, volume, plan->Commands[judged->Command - 1]);
  } else if (!plan->PreservesVolumes) {
    putWhyNotSent(&judged->WhyNot, *plan, volume, judged->Logged);
  }
  const UINT32 *members = volume.PDs;
  for (UINT32 j = 0; members != nullptr && j < volume.PDCount; ++j) {
    UINT32 place = placeOf(plan->SavedIndex, members[j]);
    UINT32 twin = place != ID_NONE ? plan->DiskPlans[place].Twin : 0;
    if (twin != 0) {
      const RAID_PD_RECORD &disk = currentDisks(*plan)[twin - 1];
      judged->ForeignMembers += isForeign(disk) ? 1 : 0;
      judged->IsThere = judged->IsThere || isThere(*plan, volume, disk);
    }
  }
}

// Brings each virtual disk together with its command and with its step, of which the log has one as far as it comes.
static void findCreations(RESTORE_PLAN *plan) {
  for (UINT32 i = 0; i < plan->CommandCount; ++i) {
    const PLAN_COMMAND &command = plan->Commands[i];
    if (command.Command == RAID_COMMAND_CREATE) {
      const RAID_VD_RECORD *volume = static_cast<const RAID_VD_RECORD *>(command.Data);
      plan->VolumePlans[volume - plan->Saved->logicalDisks].Command = i + 1;
    } else if (command.Command == RAID_COMMAND_CHANGE && command.ObjectType == RAID_OBJECT_PHYSICAL_DISK) {
      const RAID_PD_RECORD *disk = static_cast<const RAID_PD_RECORD *>(command.Data);
      plan->DiskPlans[disk - plan->Saved->physicalDisks].SpareCommand = i + 1;
    }
  }
  UINT32 index = 0;
  LOG_STEP step;
  for (const XML_NODE *node = childNamed(plan->Log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    if (textEqual(step.Name, "CreateVD") && index < plan->Saved->logicalDiskCount) {
      plan->VolumePlans[index++].Logged = step.Status;
    }
  }
  for (; index < plan->Saved->logicalDiskCount; ++index) {
    plan->VolumePlans[index].Logged = EFI_ABORTED;
  }
}

// --- Hot spares ---

// A dedicated spare is sent with the ids that its virtual disks had. They have them again only when all are created.
static bool hasItsVolumes(const RESTORE_PLAN &plan, const RAID_PD_RECORD &spare) {
  if (spare.Hotspare != RAID_HOTSPARE_DEDICATED) {
    return true;
  }
  const UINT32 *ids = spare.VDs;
  for (UINT32 i = 0; ids != nullptr && i < spare.VDCount; ++i) {
    UINT32 place = placeOf(plan.SavedVolumeIndex, ids[i]);
    if (place == ID_NONE || plan.VolumePlans[place].WhyNot.Length != 0) {
      return false;
    }
  }
  return ids != nullptr;
}

static void judgeSpare(RESTORE_PLAN *plan, UINT32 index) {
  const RAID_PD_RECORD &saved = plan->Saved->physicalDisks[index];
  DISK_PLAN *judged = &plan->DiskPlans[index];
  TEXT *why = &judged->WhyNoSpare;
  if (saved.Hotspare == RAID_HOTSPARE_NONE || plan->PreservesVolumes) {
    return;
  }
  if (judged->SpareCommand == 0) {
    putText(why, hasNoPartner(*plan, index) ? "no partner for it" : "the restore ends before it");
    return;
  }
  const RAID_PD_RECORD *disk = findCurrent(*plan, plan->Commands[judged->SpareCommand - 1].Ids[0]);
  if (disk == nullptr || isLost(*disk)) {
    putDisk(why, plan->Commands[judged->SpareCommand - 1].Ids[0], " is ");
    putText(why, disk != nullptr ? GetNameFromValue(disk->State, g_stateTable) : "not there");
  } else if (plan->Uses[disk - currentDisks(*plan)] > 1) {
    putDisk(why, disk->ObjectID, " would stand in for several saved ones");
  } else if (!hasItsVolumes(*plan, saved)) {
    putText(why, "not all its virtual disks come back");
  } else if (saved.Hotspare == RAID_HOTSPARE_DEDICATED && plan->VolumesShift) {
    putText(why, "its virtual disk gets another id, since one before it does not come back");
  }
}

// --- All of it ---

static void countUses(RESTORE_PLAN *plan) {
  for (UINT32 i = 0; plan->Map != nullptr && i < plan->Saved->physicalDiskCount; ++i) {
    UINT32 place = plan->Map[i] != 0 ? placeOf(plan->CurrentIndex, plan->Map[i] - 1) : ID_NONE;
    if (place != ID_NONE) {
      ++plan->Uses[place];
    }
  }
}

static void markLost(RESTORE_PLAN *plan, const UINT32 *ids, UINT32 count) {
  for (UINT32 i = 0; ids != nullptr && i < count; ++i) {
    UINT32 place = placeOf(plan->CurrentIndex, ids[i]);
    if (place != ID_NONE) {
      plan->LosesContents[place] = true;
    }
  }
}

static void findLostContents(RESTORE_PLAN *plan) {
  for (UINT32 i = 0; i < recordCount(&plan->Volumes); ++i) {
    markLost(plan, currentVolumes(*plan)[i].PDs, currentVolumes(*plan)[i].PDCount);
  }
  for (UINT32 i = 0; i < plan->CommandCount; ++i) {
    if (plan->Commands[i].Command == RAID_COMMAND_CREATE) {
      markLost(plan, plan->Commands[i].Ids, plan->Commands[i].IdCount);
    }
  }
  for (UINT32 i = 0; i < recordCount(&plan->Disks); ++i) {
    plan->LosesContents[i] = plan->LosesContents[i] || isForeign(currentDisks(*plan)[i]);
  }
}

static EFI_STATUS makeRoom(RESTORE_PLAN *plan) {
  const RAID_CONFIG &saved = *plan->Saved;
  plan->VolumePlans = poolNew<VOLUME_PLAN>(UINTN{saved.logicalDiskCount} + 1);
  plan->DiskPlans = poolNew<DISK_PLAN>(UINTN{saved.physicalDiskCount} + 1);
  plan->Uses = poolNew<UINT32>(UINTN{recordCount(&plan->Disks)} + 1);
  plan->LosesContents = poolNew<bool>(UINTN{recordCount(&plan->Disks)} + 1);
  bool made = plan->VolumePlans != nullptr && plan->DiskPlans != nullptr && plan->Uses != nullptr &&
              plan->LosesContents != nullptr &&
              makeIndex(&plan->CurrentIndex, currentDisks(*plan), recordCount(&plan->Disks)) &&
              makeIndex(&plan->VolumeIndex, currentVolumes(*plan), recordCount(&plan->Volumes)) &&
              makeIndex(&plan->SavedIndex, saved.physicalDisks, saved.physicalDiskCount) &&
              makeIndex(&plan->SavedVolumeIndex, saved.logicalDisks, saved.logicalDiskCount);
  return made ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS judgePlan(RESTORE_PLAN *plan) {
  EFI_STATUS status = makeRoom(plan);
  if (!EFI_ERROR(status)) {
    status = findTwins(plan);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  countUses(plan);
  findLostContents(plan);
  findCreations(plan);
  bool isShort = false;
  for (UINT32 i = 0; i < plan->Saved->logicalDiskCount; ++i) {
    judgeVolume(plan, i);
    plan->VolumesShift = plan->VolumesShift || plan->VolumePlans[i].WhyNot.Length != 0;
    isShort = isShort || plan->VolumePlans[i].WhyNot.Failed;
  }
  for (UINT32 i = 0; i < plan->Saved->physicalDiskCount; ++i) {
    judgeSpare(plan, i);
    isShort = isShort || plan->DiskPlans[i].WhyNoSpare.Failed;
  }
  return isShort ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

bool losesKey(const RESTORE_PLAN &plan) {
  bool hasKey = (currentAdapter(plan)->Attributes & RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY) != 0;
  return plan.Saved->keyId != nullptr && (!plan.PreservesVolumes || !hasKey);
}

bool losesSecurityMode(const RESTORE_PLAN &plan) {
  UINT32 saved = plan.Saved->adapter->SecurityMode & ~RAID_MODE_PRESENT;
  UINT32 current = currentAdapter(plan)->SecurityMode & ~RAID_MODE_PRESENT;
  return saved != 0 && (saved != current || losesKey(plan));
}

static bool comesBack(const RESTORE_PLAN &plan, const VOLUME_PLAN &volume) {
  return plan.PreservesVolumes ? volume.IsThere : volume.WhyNot.Length == 0;
}

bool isPlanComplete(const RESTORE_PLAN &plan) {
  SETTINGS settings;
  findSettings(plan, &settings);
  bool isShort =
      EFI_ERROR(plan.Status) || losesKey(plan) || losesSecurityMode(plan) ||
      (!plan.PreservesVolumes && plan.EncryptedVolumes != 0) ||
      (settings.Count != 0 && findCommand(plan, RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, nullptr) == nullptr);
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    isShort = isShort || !comesBack(plan, plan.VolumePlans[i]);
  }
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    isShort = isShort || plan.DiskPlans[i].WhyNoSpare.Length != 0;
  }
  return !isShort;
}

UINT32 foreignVolumes(const RESTORE_PLAN &plan) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    count += plan.VolumePlans[i].ForeignMembers != 0 ? 1 : 0;
  }
  return count;
}
