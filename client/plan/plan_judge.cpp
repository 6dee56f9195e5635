// What would come of the commands of a plan: which the controller will refuse, and what could be imported instead.
#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "client/plan/plan_facts.h"
#include "client/steps/steps.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"
#include "raid_values.h"

namespace xyl::client {

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

static EFI_STATUS findTwins(RestorePlan *plan) {
  UINT32 count = driver::recordCount(&plan->disks);
  UINT64 *keys = poolNew<UINT64>(UINTN{count} + 1);
  if (keys == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  const RAID_PD_RECORD *disks = currentDisks(*plan);
  for (UINT32 i = 0; i < count; ++i) {
    keys[i] = indexKey(identityHash(disks[i]), i);
  }
  sortKeys(keys, count);
  for (UINT32 i = 0; i < plan->saved->physicalDiskCount; ++i) {
    const RAID_PD_RECORD &saved = plan->saved->physicalDisks[i];
    UINT32 hash = identityHash(saved);
    for (UINTN at = lowerBound(keys, count, indexKey(hash, 0)); at < count && keys[at] >> 32 == hash; ++at) {
      UINT32 place = static_cast<UINT32>(keys[at]);
      if (isSameDisk(saved, disks[place])) {
        plan->diskPlans[i].twin = place + 1;
        break;
      }
    }
  }
  poolFree(keys);
  return EFI_SUCCESS;
}

// --- Virtual disks ---

const RAID_PD_RECORD *findCurrent(const RestorePlan &plan, UINT32 id) {
  UINT32 place = records::findId(plan.currentIndex, id);
  return place != records::noId ? &currentDisks(plan)[place] : nullptr;
}

bool isForeign(const RAID_PD_RECORD &disk) {
  return disk.State == RAID_STATE_FOREIGN || disk.SecureState == RAID_SECURE_STATE_FOREIGN;
}

bool isLost(const RAID_PD_RECORD &disk) {
  return disk.State == RAID_STATE_FAILED || disk.State == RAID_STATE_OFFLINE;
}

static bool hasNoPartner(const RestorePlan &plan, UINT32 savedPlace) {
  return savedPlace == records::noId || plan.map == nullptr || plan.map[savedPlace] == 0;
}

static void putWithoutPartner(Text *why, const RestorePlan &plan, const RAID_VD_RECORD &virtualDisk) {
  putText(why, "no partner for saved disks");
  const CHAR8 *separator = " ";
  const UINT32 *members = virtualDisk.PDs;
  for (UINT32 j = members != nullptr ? virtualDisk.PDCount : 0; j-- > 0;) {
    if (hasNoPartner(plan, records::findId(plan.savedIndex, members[j]))) {
      putText(why, separator);
      putNumber(why, members[j]);
      separator = ", ";
    }
  }
}

// Why no command for the virtual disk is sent.
static void putWhyNotSent(Text *why, const RestorePlan &plan, const RAID_VD_RECORD &virtualDisk, EFI_STATUS logged) {
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
static bool isThere(const RestorePlan &plan, const RAID_VD_RECORD &virtualDisk, const RAID_PD_RECORD &disk) {
  const UINT32 *ids = disk.VDs;
  for (UINT32 i = 0; ids != nullptr && i < disk.VDCount; ++i) {
    UINT32 place = records::findId(plan.virtualDiskIndex, ids[i]);
    const RAID_VD_RECORD *current = place != records::noId ? &currentVirtualDisks(plan)[place] : nullptr;
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
  static constexpr UINT32 one = RAID_LEVEL_3 | RAID_LEVEL_4 | RAID_LEVEL_5 | RAID_LEVEL_30 | RAID_LEVEL_50;
  static constexpr UINT32 two = RAID_LEVEL_6 | RAID_LEVEL_60;
  UINT32 spans = virtualDisk.SpanDepth != 0 ? virtualDisk.SpanDepth : 1;
  bool isMirror = (virtualDisk.RAIDLevel & (RAID_LEVEL_1 | RAID_LEVEL_10)) != 0;
  return isMirror                             ? virtualDisk.PDCount / 2
         : (virtualDisk.RAIDLevel & one) != 0 ? spans
         : (virtualDisk.RAIDLevel & two) != 0 ? 2 * spans
                                              : 0;
}

static void judgeVirtualDisk(RestorePlan *plan, UINT32 index) {
  const RAID_VD_RECORD &virtualDisk = plan->saved->logicalDisks[index];
  VirtualDiskPlan *judged = &plan->virtualDiskPlans[index];
  if (judged->command == 0 && !plan->preservesVirtualDisks) {
    putWhyNotSent(&judged->whyNot, *plan, virtualDisk, judged->logged);
  }
  const UINT32 *members = virtualDisk.PDs;
  for (UINT32 j = 0; members != nullptr && j < virtualDisk.PDCount; ++j) {
    UINT32 place = records::findId(plan->savedIndex, members[j]);
    UINT32 twin = place != records::noId ? plan->diskPlans[place].twin : 0;
    if (twin != 0) {
      const RAID_PD_RECORD &disk = currentDisks(*plan)[twin - 1];
      judged->foreignMembers += disk.State == RAID_STATE_FOREIGN ? 1 : 0;
      judged->isThere = judged->isThere || isThere(*plan, virtualDisk, disk);
    }
  }
  UINT32 others = members != nullptr ? virtualDisk.PDCount - judged->foreignMembers : 0;
  judged->mayBeImported = !judged->isThere && judged->foreignMembers != 0 && others <= dispensableMembers(virtualDisk);
}

// Brings each virtual disk together with its command and with its step, of which the log has one as far as it comes.
static void findCreations(RestorePlan *plan) {
  for (UINT32 i = 0; i < plan->commands.count; ++i) {
    const PlanCommand &command = plan->commands.items[i];
    if (command.command == RAID_COMMAND_CREATE) {
      const RAID_VD_RECORD *virtualDisk = static_cast<const RAID_VD_RECORD *>(command.data);
      plan->virtualDiskPlans[virtualDisk - plan->saved->logicalDisks].command = i + 1;
    } else if (command.command == RAID_COMMAND_CHANGE && command.objectType == RAID_OBJECT_PHYSICAL_DISK) {
      const RAID_PD_RECORD *disk = static_cast<const RAID_PD_RECORD *>(command.data);
      plan->diskPlans[disk - plan->saved->physicalDisks].spareCommand = i + 1;
    }
  }
  UINT32 index = 0;
  LogStep step;
  for (const XML_NODE *node = childNamed(plan->log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    if (textEqual(step.name, "CreateVD") && index < plan->saved->logicalDiskCount) {
      plan->virtualDiskPlans[index++].logged = step.status;
    }
  }
  for (; index < plan->saved->logicalDiskCount; ++index) {
    plan->virtualDiskPlans[index].logged = EFI_ABORTED;
  }
}

// --- Hot spares ---

static void judgeSpare(RestorePlan *plan, UINT32 index) {
  DiskPlan *judged = &plan->diskPlans[index];
  bool isSent = judged->spareCommand != 0;
  if (plan->saved->physicalDisks[index].Hotspare != RAID_HOTSPARE_NONE && !plan->preservesVirtualDisks && !isSent) {
    putText(&judged->whyNoSpare, hasNoPartner(*plan, index) ? "no partner for it" : "the restore ends before it");
  }
}

// --- All of it ---

static void countUses(RestorePlan *plan) {
  for (UINT32 i = 0; plan->map != nullptr && i < plan->saved->physicalDiskCount; ++i) {
    UINT32 place = plan->map[i] != 0 ? records::findId(plan->currentIndex, plan->map[i] - 1) : records::noId;
    if (place != records::noId) {
      ++plan->uses[place];
    }
  }
}

static void markLost(RestorePlan *plan, const UINT32 *ids, UINT32 count) {
  for (UINT32 i = 0; ids != nullptr && i < count; ++i) {
    UINT32 place = records::findId(plan->currentIndex, ids[i]);
    if (place != records::noId) {
      plan->losesContents[place] = true;
    }
  }
}

static void findLostContents(RestorePlan *plan) {
  for (UINT32 i = 0; i < driver::recordCount(&plan->virtualDisks); ++i) {
    markLost(plan, currentVirtualDisks(*plan)[i].PDs, currentVirtualDisks(*plan)[i].PDCount);
  }
  for (UINT32 i = 0; i < plan->commands.count; ++i) {
    if (plan->commands.items[i].command == RAID_COMMAND_CREATE) {
      markLost(plan, plan->commands.items[i].ids, plan->commands.items[i].idCount);
    }
  }
  for (UINT32 i = 0; i < driver::recordCount(&plan->disks); ++i) {
    plan->losesContents[i] = plan->losesContents[i] || isForeign(currentDisks(*plan)[i]);
  }
}

static EFI_STATUS makeRoom(RestorePlan *plan) {
  const RAID_CONFIG &saved = *plan->saved;
  plan->virtualDiskPlans = poolNew<VirtualDiskPlan>(UINTN{saved.logicalDiskCount} + 1);
  plan->diskPlans = poolNew<DiskPlan>(UINTN{saved.physicalDiskCount} + 1);
  plan->uses = poolNew<UINT32>(UINTN{driver::recordCount(&plan->disks)} + 1);
  plan->losesContents = poolNew<bool>(UINTN{driver::recordCount(&plan->disks)} + 1);
  bool made = plan->virtualDiskPlans != nullptr && plan->diskPlans != nullptr && plan->uses != nullptr &&
              plan->losesContents != nullptr &&
              records::indexRecords(&plan->currentIndex, currentDisks(*plan), driver::recordCount(&plan->disks)) &&
              records::indexRecords(&plan->virtualDiskIndex, currentVirtualDisks(*plan),
                                    driver::recordCount(&plan->virtualDisks)) &&
              records::indexRecords(&plan->savedIndex, saved.physicalDisks, saved.physicalDiskCount) &&
              records::indexRecords(&plan->savedVirtualDiskIndex, saved.logicalDisks, saved.logicalDiskCount);
  return made ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS judgePlan(RestorePlan *plan) {
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
  for (UINT32 i = 0; i < plan->saved->logicalDiskCount; ++i) {
    judgeVirtualDisk(plan, i);
  }
  for (UINT32 i = 0; i < plan->saved->physicalDiskCount; ++i) {
    judgeSpare(plan, i);
  }
  return EFI_SUCCESS;
}

bool losesKey(const RestorePlan &plan) {
  bool hasKey = (currentAdapter(plan)->Attributes & RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY) != 0;
  return plan.saved->keyId != nullptr && (!plan.preservesVirtualDisks || !hasKey);
}

bool losesSecurityMode(const RestorePlan &plan) {
  UINT32 saved = plan.saved->adapter->SecurityMode & ~RAID_MODE_PRESENT;
  UINT32 current = currentAdapter(plan)->SecurityMode & ~RAID_MODE_PRESENT;
  return saved != 0 && (saved != current || losesKey(plan));
}

bool isPlanComplete(const RestorePlan &plan) {
  return !EFI_ERROR(plan.status) && plan.verdict.losses == 0;
}

UINT32 foreignVirtualDisks(const RestorePlan &plan) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < plan.saved->logicalDiskCount; ++i) {
    count += plan.virtualDiskPlans[i].foreignMembers != 0 ? 1 : 0;
  }
  return count;
}

UINT32 importableVirtualDisks(const RestorePlan &plan) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < plan.saved->logicalDiskCount; ++i) {
    count += plan.virtualDiskPlans[i].mayBeImported ? 1 : 0;
  }
  return count;
}

} // namespace xyl::client
