#include "providers/disk_controller/commands/volume_commands.h"

#include "base/log.h"
#include "base/pool.h"
#include "base/sort.h"
#include "providers/disk_controller/commands/disk_check.h"
#include "providers/disk_controller/commands/volume_request.h"
#include "providers/disk_controller/model/kept_view.h"
#include "providers/disk_controller/model/objects.h"
#include "providers/disk_controller/model/records.h"

namespace xyl::disk_controller {

static void tellVirtualDisk(const CHAR8 (&name)[16], const CHAR8 *what) {
  CHAR8 text[sizeof(name) + 1] = {};
  copyBytes(text, name, sizeof(name));
  LogPrint(LOG_WARN, logName, "virtual disk %a: %a", static_cast<const CHAR8 *>(text), what);
}

// --- Create ---

namespace {

struct Creation {
  const RAID_VD_RECORD *wanted;
  const UINT32 *ids;
  UINT32 *disks; // room for count
  UINT32 count;
};

} // namespace

// What the writer finds wrong with members is not looked for here.
static EFI_STATUS findMembers(const View &view, const Creation &creation) {
  EFI_STATUS status = findObjects(view, RAID_OBJECT_PHYSICAL_DISK, creation.ids, creation.count, creation.disks);
  if (status == EFI_NOT_FOUND) {
    return refuse("a member that is no disk", EFI_INVALID_PARAMETER);
  }
  for (UINT32 i = 0; i < creation.count && !EFI_ERROR(status); ++i) {
    status = checkDisk(view, creation.disks[i]);
  }
  return status;
}

// The place that a saved virtual disk had is a wish: where it is taken, the first gap that fits is as good.
static EFI_STATUS writeVirtualDisk(Change *change, ddf_change::NewVirtualDisk *virtualDisk, UINT64 wish) {
  EFI_STATUS status = EFI_VOLUME_FULL;
  if (wish != 0) {
    virtualDisk->start = wish;
    status = ddf_change::createVirtualDisk(&change->writer, *virtualDisk);
  }
  if (status == EFI_VOLUME_FULL) {
    virtualDisk->start = ddf_change::anywhere;
    status = ddf_change::createVirtualDisk(&change->writer, *virtualDisk);
  }
  return status;
}

static EFI_STATUS createStep(Change *change, void *context) {
  const Creation &creation = *static_cast<Creation *>(context);
  const View &view = change->view;
  ddf_change::NewVirtualDisk virtualDisk;
  const CHAR8 *why = nullptr;
  EFI_STATUS status = decodeVirtualDisk(*creation.wanted, creation.count, &virtualDisk, &why);
  if (EFI_ERROR(status)) {
    return refuse(why, status);
  }
  status = findMembers(view, creation);
  if (!EFI_ERROR(status)) {
    const ddf::Set *set = joinedSet(view, creation.disks, creation.count);
    status = readyDisks(change, set, noVirtualDisk, creation.disks, creation.count);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  virtualDisk.disks = creation.disks;
  status = writeVirtualDisk(change, &virtualDisk, creation.wanted->StartingLba);
  if (!EFI_ERROR(status)) {
    tellVirtualDisk(virtualDisk.name, "created");
  }
  return status;
}

EFI_STATUS createVirtualDisk(DiskController *controller, const RAID_VD_RECORD &wanted, const UINT32 *ids,
                             UINT32 count) {
  UINT32 *disks = poolNew<UINT32>(count);
  if (disks == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  Creation creation = {&wanted, ids, disks, count};
  EFI_STATUS status = runChange(controller, createStep, &creation);
  poolFree(disks);
  return status;
}

// --- Several virtual disks, one after the other ---

// A virtual disk by what does not change when others come and go.
struct VirtualDiskName {
  ddf::Guid set;
  ddf::Guid virtualDisk;
};

struct VirtualDiskNames {
  VirtualDiskName *items; // pool
  UINT32 count;
};

// One that is named twice counts once.
static EFI_STATUS nameVirtualDisks(const View &view, const UINT32 *ids, UINT32 count, VirtualDiskNames *names) {
  UINT32 *numbers = poolNew<UINT32>(count);
  names->items = poolNew<VirtualDiskName>(count);
  EFI_STATUS status = numbers == nullptr || names->items == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  if (!EFI_ERROR(status)) {
    status = findObjects(view, RAID_OBJECT_VIRTUAL_DISK, ids, count, numbers);
  }
  if (!EFI_ERROR(status)) {
    sortArray(numbers, count, [](UINT32 a, UINT32 b) { return a < b; });
  }
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    if (i == 0 || numbers[i] != numbers[i - 1]) {
      const ViewVirtualDisk &virtualDisk = view.virtualDisks[numbers[i]];
      names->items[names->count++] = {virtualDisk.set->guid, virtualDisk.virtualDisk->entry->guid};
    }
  }
  poolFree(numbers);
  return status == EFI_NOT_FOUND ? refuse("there is no such virtual disk", status) : status;
}

// A step for one of the virtual disks; also what it is told.
struct VirtualDiskJob {
  EFI_STATUS (*change)(Change *change, const ViewVirtualDisk &virtualDisk, const VirtualDiskJob &job);
  const RAID_VD_RECORD *wanted; // of a Change
  VirtualDiskName name;
};

static EFI_STATUS virtualDiskStep(Change *change, void *context) {
  const VirtualDiskJob &job = *static_cast<VirtualDiskJob *>(context);
  for (UINT32 i = 0; i < change->view.virtualDiskCount; ++i) {
    const ViewVirtualDisk &virtualDisk = change->view.virtualDisks[i];
    if (ddf::sameGuid(virtualDisk.set->guid, job.name.set) &&
        ddf::sameGuid(virtualDisk.virtualDisk->entry->guid, job.name.virtualDisk)) {
      return job.change(change, virtualDisk, job);
    }
  }
  return refuse("a virtual disk is gone", EFI_NOT_FOUND);
}

static EFI_STATUS eachVirtualDisk(DiskController *controller, const UINT32 *ids, UINT32 count,
                                  const VirtualDiskJob &what) {
  View own;
  View *view = nullptr;
  VirtualDiskNames names = {};
  EFI_STATUS status = takeView(&own, controller->settings, &view);
  if (!EFI_ERROR(status)) {
    status = nameVirtualDisks(*view, ids, count, &names);
  }
  closeView(&own);
  for (UINT32 i = 0; i < names.count && !EFI_ERROR(status); ++i) {
    VirtualDiskJob job = what;
    job.name = names.items[i];
    status = runChange(controller, virtualDiskStep, &job);
  }
  poolFree(names.items);
  return status;
}

static UINT32 setNumber(const Change &change, const ViewVirtualDisk &virtualDisk) {
  return static_cast<UINT32>(virtualDisk.set - change.view.model->sets);
}

static UINT32 virtualDiskNumber(const ViewVirtualDisk &virtualDisk) {
  return static_cast<UINT32>(virtualDisk.virtualDisk - virtualDisk.set->virtualDisks);
}

// --- Delete ---

static EFI_STATUS deleteVirtualDisk(Change *change, const ViewVirtualDisk &virtualDisk, const VirtualDiskJob &) {
  EFI_STATUS status = readyDisks(change, virtualDisk.set, virtualDiskNumber(virtualDisk), /* disks= */ nullptr, 0);
  if (!EFI_ERROR(status)) {
    status =
        ddf_change::deleteVirtualDisk(&change->writer, setNumber(*change, virtualDisk), virtualDiskNumber(virtualDisk));
  }
  if (!EFI_ERROR(status)) {
    tellVirtualDisk(virtualDisk.virtualDisk->entry->name, "deleted");
  }
  return status;
}

EFI_STATUS deleteVirtualDisks(DiskController *controller, const UINT32 *ids, UINT32 count) {
  return eachVirtualDisk(controller, ids, count, {deleteVirtualDisk, nullptr, {}});
}

// --- Change ---

// Whether the record asks for something else than the virtual disk is; 0 asks for nothing.
static bool asksForMore(const ViewVirtualDisk &virtualDisk, const RAID_VD_RECORD &wanted) {
  RAID_VD_RECORD now = {};
  describeLayout(*virtualDisk.virtualDisk, &now);
  const struct {
    UINT64 wanted;
    UINT64 now;
  } kept[] = {
      {wanted.RAIDLevel, now.RAIDLevel},
      {wanted.RLQ, now.RLQ},
      {wanted.SRL, now.SRL},
      {wanted.Size, now.Size},
      {wanted.StripeSize, now.StripeSize},
      {wanted.StartingLba, now.StartingLba},
      {wanted.SpanDepth, now.SpanDepth},
      {wanted.PDsPerSpan, now.PDsPerSpan},
  };
  for (const auto &value : kept) {
    if (value.wanted != 0 && value.wanted != value.now) {
      return true;
    }
  }
  return false;
}

static EFI_STATUS changeVirtualDisk(Change *change, const ViewVirtualDisk &virtualDisk, const VirtualDiskJob &job) {
  ddf_change::VirtualDiskSettings settings;
  const CHAR8 *why = nullptr;
  EFI_STATUS status = decodeSettings(*job.wanted, &settings, &why);
  if (EFI_ERROR(status)) {
    return refuse(why, status);
  }
  if (asksForMore(virtualDisk, *job.wanted)) {
    return refuse("level, size and place of a virtual disk stay as they are", EFI_UNSUPPORTED);
  }
  status =
      settings.which == 0 ? EFI_SUCCESS : readyDisks(change, virtualDisk.set, noVirtualDisk, /* disks= */ nullptr, 0);
  if (EFI_ERROR(status) || settings.which == 0) {
    return status;
  }
  status = ddf_change::changeVirtualDisk(&change->writer, setNumber(*change, virtualDisk),
                                         virtualDiskNumber(virtualDisk), settings);
  if (!EFI_ERROR(status)) {
    tellVirtualDisk(virtualDisk.virtualDisk->entry->name, "changed");
  }
  return status;
}

EFI_STATUS changeVirtualDisks(DiskController *controller, const RAID_VD_RECORD &wanted, const UINT32 *ids,
                              UINT32 count) {
  return eachVirtualDisk(controller, ids, count, {changeVirtualDisk, &wanted, {}});
}

} // namespace xyl::disk_controller
