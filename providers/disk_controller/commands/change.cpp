#include "providers/disk_controller/commands/change.h"

#include "base/log.h"
#include "base/pool.h"
#include "providers/disk_controller/io/file_systems.h"
#include "providers/disk_controller/io/shown_volumes.h"
#include "providers/disk_controller/model/clock.h"
#include "providers/disk_controller/model/disk_guid.h"
#include "providers/disk_controller/model/kept_view.h"
#include "providers/disk_controller/model/names.h"
#include "providers/disk_controller/model/objects.h"
#include "providers/disk_controller/model/random.h"

// --- The log ---

static UINT32 levelOf(EFI_STATUS status) {
  return status == EFI_DEVICE_ERROR ? LOG_ERROR : LOG_WARN;
}

EFI_STATUS refuseDisk(const VIEW &view, UINT32 disk, const CHAR8 *why, EFI_STATUS status) {
  CHAR16 fqdd[NAME_CAPACITY];
  diskFqdd(view, disk, fqdd);
  LogPrint(levelOf(status), RAID_DISKS, "%s: %a (%r)", fqdd, why, status);
  return status;
}

EFI_STATUS refuse(const CHAR8 *why, EFI_STATUS status) {
  LogPrint(levelOf(status), RAID_DISKS, "%a (%r)", why, status);
  return status;
}

void tellDisk(const VIEW &view, UINT32 disk, const CHAR8 *what) {
  CHAR16 fqdd[NAME_CAPACITY];
  diskFqdd(view, disk, fqdd);
  LogPrint(LOG_WARN, RAID_DISKS, "%s: %a", fqdd, what);
}

static void tellTrouble(const CHANGE &change, EFI_STATUS status) {
  const ddf_change::Trouble &trouble = change.Writer.trouble;
  if (trouble.what == nullptr) {
    return;
  }
  if (trouble.disk < change.View.List.Count) {
    refuseDisk(change.View, trouble.disk, trouble.what, status);
  } else {
    refuse(trouble.what, status);
  }
}

// --- A change ---

static void makeMaker(const VIEW &view, ddf::ControllerData *maker) {
  static constexpr CHAR8 product[] = "RAID over disks ";
  static_assert(sizeof(product) == sizeof(maker->product) + 1);
  __builtin_memset(maker, 0xFF, sizeof(*maker));
  maker->guid = ddf::ourController;
  copyBytes(maker->product, product, sizeof(maker->product));
  copyBytes(maker->vendorData, &view.Settings, sizeof(view.Settings));
}

static EFI_STATUS makeTargets(CHANGE *change) {
  const VIEW &view = change->View;
  change->Targets = poolNew<ddf_change::Target>(UINTN{view.List.Count} + 1);
  ddf::Guid *guids = poolNew<ddf::Guid>(UINTN{view.List.Count} + 1);
  bool fits = change->Targets != nullptr && guids != nullptr;
  EFI_STATUS status = fits ? makeDiskGuids(view, guids) : EFI_OUT_OF_RESOURCES;
  for (UINT32 i = 0; i < view.List.Count && !EFI_ERROR(status); ++i) {
    const DISK &disk = view.List.Items[i];
    bool mayJoin = disk.Unusable == nullptr && (!disk.HasFileSystem || memberOf(view, i) != nullptr);
    change->Targets[i] = {writeDisk, flushDisk, &view.Accesses[i], guids[i], mayJoin};
  }
  poolFree(guids);
  return status;
}

static EFI_STATUS openChange(DISK_CONTROLLER *controller, CHANGE *change) {
  zeroBytes(change, sizeof(*change));
  change->Left = ddf::noIndex;
  forgetView();
  EFI_STATUS status = openView(&change->View, controller->Settings);
  if (EFI_ERROR(status)) {
    return status;
  }
  controller->Settings = change->View.Settings;
  stirRandom(change->View);
  makeMaker(change->View, &change->Maker);
  status = makeTargets(change);
  change->Writer.model = change->View.Model;
  change->Writer.targets = change->Targets;
  change->Writer.maker = &change->Maker;
  change->Writer.time = secondsSince1980();
  change->Writer.random = nextRandom;
  change->Writer.trouble = {ddf::noIndex, nullptr};
  return status;
}

static void closeChange(CHANGE *change) {
  poolRelease(change->Targets);
  closeView(&change->View);
}

EFI_STATUS runChange(DISK_CONTROLLER *controller, CHANGE_STEP step, void *context) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 turn = 0; turn < 2; ++turn) {
    CHANGE change;
    status = openChange(controller, &change);
    if (!EFI_ERROR(status)) {
      status = step(&change, context);
      if (EFI_ERROR(status)) {
        tellTrouble(change, status);
      }
    }
    bool again = change.Again;
    closeChange(&change);
    if (!again) {
      refreshVirtualDisks();
      break;
    }
  }
  return status;
}

// --- Disks before they are written to ---

static bool holdsFirstBlock(const ddf::Set &set, const ddf::Pd &pd, UINT32 ending) {
  for (UINT32 i = 0; i < pd.partCount && ending != ALL_VIRTUAL_DISKS; ++i) {
    const ddf::Part &part = pd.parts[i];
    if (part.virtualDisk != ending && set.virtualDisks[part.virtualDisk].members[part.member].start == 0) {
      return true;
    }
  }
  return false;
}

// Failed members are written to as far as they let themselves be, and stop nothing.
static bool mustBeWritten(const CHANGE &change, UINT32 disk) {
  const ddf::Pd *member = memberOf(change.View, disk);
  bool isFailed = member != nullptr && (member->entry->state & (ddf::pdFailed | ddf::pdMissing)) != 0;
  return disk != change.Left && !isFailed;
}

static EFI_STATUS readyDisk(CHANGE *change, UINT32 disk, UINT32 ending) {
  const VIEW &view = change->View;
  const ddf::Set *set = setOf(view, disk);
  bool isUsed = set != nullptr && holdsFirstBlock(*set, *memberOf(view, disk), ending);
  if (view.List.Items[disk].HasFileSystem && !isUsed) {
    EFI_STATUS status = closeFileSystems(view.List.Items[disk], &change->Again);
    if (EFI_ERROR(status)) {
      change->Again = false;
      return refuseDisk(view, disk, "a file system that firmware does not close", status);
    }
  }
  bool isStuck = mustBeWritten(*change, disk) && EFI_ERROR(flushDisk(&view.Accesses[disk]));
  return isStuck ? refuseDisk(view, disk, "it cannot be flushed", EFI_DEVICE_ERROR) : EFI_SUCCESS;
}

// Nobody may read what is no more.
static EFI_STATUS hideVolumes(const ddf::Set &set, UINT32 ending) {
  for (UINT32 i = 0; i < set.virtualDiskCount; ++i) {
    if (ending == ALL_VIRTUAL_DISKS || ending == i) {
      EFI_STATUS status = hideVolume(set.virtualDisks[i]);
      if (EFI_ERROR(status)) {
        LogPrint(LOG_WARN, RAID_DISKS, "virtual disk %a: firmware uses it (%r)", set.virtualDisks[i].name, status);
        return status;
      }
    }
  }
  return EFI_SUCCESS;
}

EFI_STATUS readyDisks(CHANGE *change, const ddf::Set *set, UINT32 ending, const UINT32 *disks, UINT32 count) {
  EFI_STATUS status = set != nullptr ? hideVolumes(*set, ending) : EFI_SUCCESS;
  bool again = false;
  for (UINT32 i = 0; set != nullptr && i < set->pdCount && !EFI_ERROR(status); ++i) {
    if (set->pds[i].disk != ddf::noIndex) {
      status = readyDisk(change, set->pds[i].disk, ending);
      again = again || change->Again;
    }
  }
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    if (set == nullptr || setOf(change->View, disks[i]) != set) {
      status = readyDisk(change, disks[i], ending);
      again = again || change->Again;
    }
  }
  change->Again = again && !EFI_ERROR(status);
  return change->Again ? EFI_NOT_READY : status;
}
