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

namespace xyl::disk_controller {

// --- The log ---

static UINT32 levelOf(EFI_STATUS status) {
  return status == EFI_DEVICE_ERROR ? LOG_ERROR : LOG_WARN;
}

EFI_STATUS refuseDisk(const View &view, UINT32 disk, const CHAR8 *why, EFI_STATUS status) {
  CHAR16 fqdd[nameCapacity];
  diskFqdd(view, disk, fqdd);
  LogPrint(levelOf(status), logName, "%s: %a (%r)", fqdd, why, status);
  return status;
}

EFI_STATUS refuse(const CHAR8 *why, EFI_STATUS status) {
  LogPrint(levelOf(status), logName, "%a (%r)", why, status);
  return status;
}

void tellDisk(const View &view, UINT32 disk, const CHAR8 *what) {
  CHAR16 fqdd[nameCapacity];
  diskFqdd(view, disk, fqdd);
  LogPrint(LOG_WARN, logName, "%s: %a", fqdd, what);
}

static void tellTrouble(const Change &change, EFI_STATUS status) {
  const ddf_change::Trouble &trouble = change.writer.trouble;
  if (trouble.what == nullptr) {
    return;
  }
  if (trouble.disk < change.view.list.count) {
    refuseDisk(change.view, trouble.disk, trouble.what, status);
  } else {
    refuse(trouble.what, status);
  }
}

// --- A change ---

static void makeMaker(const View &view, ddf::ControllerData *maker) {
  static constexpr CHAR8 product[] = "RAID over disks ";
  static_assert(sizeof(product) == sizeof(maker->product) + 1);
  __builtin_memset(maker, 0xFF, sizeof(*maker));
  maker->guid = ddf::ourController;
  copyBytes(maker->product, product, sizeof(maker->product));
  copyBytes(maker->vendorData, &view.settings, sizeof(view.settings));
}

static EFI_STATUS makeTargets(Change *change) {
  const View &view = change->view;
  change->targets = poolNew<ddf_change::Target>(UINTN{view.list.count} + 1);
  ddf::Guid *guids = poolNew<ddf::Guid>(UINTN{view.list.count} + 1);
  bool fits = change->targets != nullptr && guids != nullptr;
  EFI_STATUS status = fits ? makeDiskGuids(view, guids) : EFI_OUT_OF_RESOURCES;
  for (UINT32 i = 0; i < view.list.count && !EFI_ERROR(status); ++i) {
    const Disk &disk = view.list.items[i];
    bool mayJoin = disk.unusable == nullptr && (!disk.hasFileSystem || memberOf(view, i) != nullptr);
    change->targets[i] = {writeDisk, flushDisk, &view.accesses[i], guids[i], mayJoin};
  }
  poolFree(guids);
  return status;
}

static EFI_STATUS openChange(DiskController *controller, Change *change) {
  zeroBytes(change, sizeof(*change));
  change->left = ddf::noIndex;
  forgetView();
  EFI_STATUS status = openView(&change->view, controller->settings);
  if (EFI_ERROR(status)) {
    return status;
  }
  controller->settings = change->view.settings;
  stirRandom(change->view);
  makeMaker(change->view, &change->maker);
  status = makeTargets(change);
  change->writer.model = change->view.model;
  change->writer.targets = change->targets;
  change->writer.maker = &change->maker;
  change->writer.time = secondsSince1980();
  change->writer.random = nextRandom;
  change->writer.trouble = {ddf::noIndex, nullptr};
  return status;
}

static void closeChange(Change *change) {
  poolRelease(change->targets);
  closeView(&change->view);
}

EFI_STATUS runChange(DiskController *controller, ChangeStep step, void *context) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 turn = 0; turn < 2; ++turn) {
    Change change;
    status = openChange(controller, &change);
    if (!EFI_ERROR(status)) {
      status = step(&change, context);
      if (EFI_ERROR(status)) {
        tellTrouble(change, status);
      }
    }
    bool again = change.again;
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
  for (UINT32 i = 0; i < pd.partCount && ending != allVirtualDisks; ++i) {
    const ddf::Part &part = pd.parts[i];
    if (part.virtualDisk != ending && set.virtualDisks[part.virtualDisk].members[part.member].start == 0) {
      return true;
    }
  }
  return false;
}

// Failed members are written to as far as they let themselves be, and stop nothing.
static bool mustBeWritten(const Change &change, UINT32 disk) {
  const ddf::Pd *member = memberOf(change.view, disk);
  bool isFailed = member != nullptr && (member->entry->state & (ddf::pdFailed | ddf::pdMissing)) != 0;
  return disk != change.left && !isFailed;
}

static EFI_STATUS readyDisk(Change *change, UINT32 disk, UINT32 ending) {
  const View &view = change->view;
  const ddf::Set *set = setOf(view, disk);
  bool isUsed = set != nullptr && holdsFirstBlock(*set, *memberOf(view, disk), ending);
  if (view.list.items[disk].hasFileSystem && !isUsed) {
    EFI_STATUS status = closeFileSystems(view.list.items[disk], &change->again);
    if (EFI_ERROR(status)) {
      change->again = false;
      return refuseDisk(view, disk, "a file system that firmware does not close", status);
    }
  }
  bool isStuck = mustBeWritten(*change, disk) && EFI_ERROR(flushDisk(&view.accesses[disk]));
  return isStuck ? refuseDisk(view, disk, "it cannot be flushed", EFI_DEVICE_ERROR) : EFI_SUCCESS;
}

// Nobody may read what is no more.
static EFI_STATUS hideVolumes(const ddf::Set &set, UINT32 ending) {
  for (UINT32 i = 0; i < set.virtualDiskCount; ++i) {
    if (ending == allVirtualDisks || ending == i) {
      EFI_STATUS status = hideVolume(set.virtualDisks[i]);
      if (EFI_ERROR(status)) {
        LogPrint(LOG_WARN, logName, "virtual disk %a: firmware uses it (%r)", set.virtualDisks[i].name, status);
        return status;
      }
    }
  }
  return EFI_SUCCESS;
}

EFI_STATUS readyDisks(Change *change, const ddf::Set *set, UINT32 ending, const UINT32 *disks, UINT32 count) {
  EFI_STATUS status = set != nullptr ? hideVolumes(*set, ending) : EFI_SUCCESS;
  bool again = false;
  for (UINT32 i = 0; set != nullptr && i < set->pdCount && !EFI_ERROR(status); ++i) {
    if (set->pds[i].disk != ddf::noIndex) {
      status = readyDisk(change, set->pds[i].disk, ending);
      again = again || change->again;
    }
  }
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    if (set == nullptr || setOf(change->view, disks[i]) != set) {
      status = readyDisk(change, disks[i], ending);
      again = again || change->again;
    }
  }
  change->again = again && !EFI_ERROR(status);
  return change->again ? EFI_NOT_READY : status;
}

} // namespace xyl::disk_controller
