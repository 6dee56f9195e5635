// What would come of the commands of a plan: which the controller will refuse, and what could be imported instead.
#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "client/plan/plan_facts.h"
#include "client/steps/steps.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"
#include "raid_values.h"

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

bool isKnown(const RAID_PD_RECORD &disk) {
  return disk.WWN != 0 || isNamed(disk);
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
  UINT32 place = findId(plan.CurrentIndex, id);
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

static void putWithoutPartner(TEXT *why, const RESTORE_PLAN &plan, const RAID_VD_RECORD &virtualDisk) {
  putText(why, "no partner for saved disks");
  const CHAR8 *separator = " ";
  const UINT32 *members = virtualDisk.PDs;
  for (UINT32 j = members != nullptr ? virtualDisk.PDCount : 0; j-- > 0;) {
    if (hasNoPartner(plan, findId(plan.SavedIndex, members[j]))) {
      putText(why, separator);
      putNumber(why, members[j]);
      separator = ", ";
    }
  }
}

// Why no command for the virtual disk is sent.
static void putWhyNotSent(TEXT *why, const RESTORE_PLAN &plan, const RAID_VD_RECORD &virtualDisk, EFI_STATUS logged) {
  switch (logged) {
  case EFI_UNSUPPORTED:
    putText(why, "the adapter has no CacheCade");
    break;
  case EFI_OUT_OF_RESOURCES:
    putWithoutPartner(why, plan, virtualDisk);
    break;
  default:
    putText(why, "the restore ends before it");
  }
}

// Whether the virtual disk is on the controller now: one of its level on one of its disks, by its name or its place.
static bool isThere(const RESTORE_PLAN &plan, const RAID_VD_RECORD &virtualDisk, const RAID_PD_RECORD &disk) {
  const UINT32 *ids = disk.VDs;
  for (UINT32 i = 0; ids != nullptr && i < disk.VDCount; ++i) {
    UINT32 place = findId(plan.VirtualDiskIndex, ids[i]);
    const RAID_VD_RECORD *current = place != ID_NONE ? &currentVirtualDisks(plan)[place] : nullptr;
    if (current == nullptr || current->RAIDLevel != virtualDisk.RAIDLevel) {
      continue;
    }
    const CHAR16 *name = virtualDisk.Name;
    const CHAR16 *currentName = current->Name;
    bool sameName = name != nullptr && currentName != nullptr && textEqual(name, currentName);
    if (sameName || current->StartingLba == virtualDisk.StartingLba) {
      return true;
    }
  }
  return false;
}

// How many members a virtual disk can do without, at best.
static UINT32 dispensableMembers(const RAID_VD_RECORD &virtualDisk) {
  static constexpr UINT32 ONE = RAID_LEVEL_3 | RAID_LEVEL_4 | RAID_LEVEL_5 | RAID_LEVEL_30 | RAID_LEVEL_50;
  static constexpr UINT32 TWO = RAID_LEVEL_6 | RAID_LEVEL_60;
  UINT32 spans = virtualDisk.SpanDepth != 0 ? virtualDisk.SpanDepth : 1;
  bool isMirror = (virtualDisk.RAIDLevel & (RAID_LEVEL_1 | RAID_LEVEL_10)) != 0;
  return isMirror                             ? virtualDisk.PDCount / 2
         : (virtualDisk.RAIDLevel & ONE) != 0 ? spans
         : (virtualDisk.RAIDLevel & TWO) != 0 ? 2 * spans
                                              : 0;
}

static void judgeVirtualDisk(RESTORE_PLAN *plan, UINT32 index) {
  const RAID_VD_RECORD &virtualDisk = plan->Saved->logicalDisks[index];
  VIRTUAL_DISK_PLAN *judged = &plan->VirtualDiskPlans[index];
  if (judged->Command == 0 && !plan->PreservesVirtualDisks) {
    putWhyNotSent(&judged->WhyNot, *plan, virtualDisk, judged->Logged);
  }
  const UINT32 *members = virtualDisk.PDs;
  for (UINT32 j = 0; members != nullptr && j < virtualDisk.PDCount; ++j) {
    UINT32 place = findId(plan->SavedIndex, members[j]);
    UINT32 twin = place != ID_NONE ? plan->DiskPlans[place].Twin : 0;
    if (twin != 0) {
      const RAID_PD_RECORD &disk = currentDisks(*plan)[twin - 1];
      judged->ForeignMembers += disk.State == RAID_STATE_FOREIGN ? 1 : 0;
      judged->IsThere = judged->IsThere || isThere(*plan, virtualDisk, disk);
    }
  }
  UINT32 others = members != nullptr ? virtualDisk.PDCount - judged->ForeignMembers : 0;
  judged->MayBeImported = !judged->IsThere && judged->ForeignMembers != 0 && others <= dispensableMembers(virtualDisk);
}

// Brings each virtual disk together with its command and with its step, of which the log has one as far as it comes.
static void findCreations(RESTORE_PLAN *plan) {
  for (UINT32 i = 0; i < plan->Commands.count; ++i) {
    const PLAN_COMMAND &command = plan->Commands.items[i];
    if (command.Command == RAID_COMMAND_CREATE) {
      const RAID_VD_RECORD *virtualDisk = static_cast<const RAID_VD_RECORD *>(command.Data);
      plan->VirtualDiskPlans[virtualDisk - plan->Saved->logicalDisks].Command = i + 1;
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
      plan->VirtualDiskPlans[index++].Logged = step.Status;
    }
  }
  for (; index < plan->Saved->logicalDiskCount; ++index) {
    plan->VirtualDiskPlans[index].Logged = EFI_ABORTED;
  }
}

// --- Hot spares ---

static void judgeSpare(RESTORE_PLAN *plan, UINT32 index) {
  DISK_PLAN *judged = &plan->DiskPlans[index];
  bool isSent = judged->SpareCommand != 0;
  if (plan->Saved->physicalDisks[index].Hotspare != RAID_HOTSPARE_NONE && !plan->PreservesVirtualDisks && !isSent) {
    putText(&judged->WhyNoSpare, hasNoPartner(*plan, index) ? "no partner for it" : "the restore ends before it");
  }
}

// --- All of it ---

static void countUses(RESTORE_PLAN *plan) {
  for (UINT32 i = 0; plan->Map != nullptr && i < plan->Saved->physicalDiskCount; ++i) {
    UINT32 place = plan->Map[i] != 0 ? findId(plan->CurrentIndex, plan->Map[i] - 1) : ID_NONE;
    if (place != ID_NONE) {
      ++plan->Uses[place];
    }
  }
}

static void markLost(RESTORE_PLAN *plan, const UINT32 *ids, UINT32 count) {
  for (UINT32 i = 0; ids != nullptr && i < count; ++i) {
    UINT32 place = findId(plan->CurrentIndex, ids[i]);
    if (place != ID_NONE) {
      plan->LosesContents[place] = true;
    }
  }
}

static void findLostContents(RESTORE_PLAN *plan) {
  for (UINT32 i = 0; i < recordCount(&plan->VirtualDisks); ++i) {
    markLost(plan, currentVirtualDisks(*plan)[i].PDs, currentVirtualDisks(*plan)[i].PDCount);
  }
  for (UINT32 i = 0; i < plan->Commands.count; ++i) {
    if (plan->Commands.items[i].Command == RAID_COMMAND_CREATE) {
      markLost(plan, plan->Commands.items[i].Ids, plan->Commands.items[i].IdCount);
    }
  }
  for (UINT32 i = 0; i < recordCount(&plan->Disks); ++i) {
    plan->LosesContents[i] = plan->LosesContents[i] || isForeign(currentDisks(*plan)[i]);
  }
}

static EFI_STATUS makeRoom(RESTORE_PLAN *plan) {
  const RAID_CONFIG &saved = *plan->Saved;
  plan->VirtualDiskPlans = poolNew<VIRTUAL_DISK_PLAN>(UINTN{saved.logicalDiskCount} + 1);
  plan->DiskPlans = poolNew<DISK_PLAN>(UINTN{saved.physicalDiskCount} + 1);
  plan->Uses = poolNew<UINT32>(UINTN{recordCount(&plan->Disks)} + 1);
  plan->LosesContents = poolNew<bool>(UINTN{recordCount(&plan->Disks)} + 1);
  bool made = plan->VirtualDiskPlans != nullptr && plan->DiskPlans != nullptr && plan->Uses != nullptr &&
              plan->LosesContents != nullptr &&
              indexRecords(&plan->CurrentIndex, currentDisks(*plan), recordCount(&plan->Disks)) &&
              indexRecords(&plan->VirtualDiskIndex, currentVirtualDisks(*plan), recordCount(&plan->VirtualDisks)) &&
              indexRecords(&plan->SavedIndex, saved.physicalDisks, saved.physicalDiskCount) &&
              indexRecords(&plan->SavedVirtualDiskIndex, saved.logicalDisks, saved.logicalDiskCount);
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
  for (UINT32 i = 0; i < plan->Saved->logicalDiskCount; ++i) {
    judgeVirtualDisk(plan, i);
  }
  for (UINT32 i = 0; i < plan->Saved->physicalDiskCount; ++i) {
    judgeSpare(plan, i);
  }
  return EFI_SUCCESS;
}

bool losesKey(const RESTORE_PLAN &plan) {
  bool hasKey = (currentAdapter(plan)->Attributes & RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY) != 0;
  return plan.Saved->keyId != nullptr && (!plan.PreservesVirtualDisks || !hasKey);
}

bool losesSecurityMode(const RESTORE_PLAN &plan) {
  UINT32 saved = plan.Saved->adapter->SecurityMode & ~RAID_MODE_PRESENT;
  UINT32 current = currentAdapter(plan)->SecurityMode & ~RAID_MODE_PRESENT;
  return saved != 0 && (saved != current || losesKey(plan));
}

bool isPlanComplete(const RESTORE_PLAN &plan) {
  return !EFI_ERROR(plan.Status) && plan.Verdict.Losses == 0;
}

UINT32 foreignVirtualDisks(const RESTORE_PLAN &plan) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    count += plan.VirtualDiskPlans[i].ForeignMembers != 0 ? 1 : 0;
  }
  return count;
}

UINT32 importableVirtualDisks(const RESTORE_PLAN &plan) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    count += plan.VirtualDiskPlans[i].MayBeImported ? 1 : 0;
  }
  return count;
}
