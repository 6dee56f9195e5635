#include "providers/disk_controller/commands/volume_commands.h"

#include "base/log.h"
#include "base/pool.h"
#include "base/sort.h"
#include "providers/disk_controller/commands/disk_check.h"
#include "providers/disk_controller/commands/volume_request.h"
#include "providers/disk_controller/model/kept_view.h"
#include "providers/disk_controller/model/objects.h"
#include "providers/disk_controller/model/records.h"

static void tellVirtualDisk(const CHAR8 (&name)[16], const CHAR8 *what) {
  CHAR8 text[sizeof(name) + 1] = {};
  copyBytes(text, name, sizeof(name));
  LogPrint(LOG_WARN, RAID_DISKS, "virtual disk %a: %a", static_cast<const CHAR8 *>(text), what);
}

// --- Create ---

namespace {

struct CREATION {
  const RAID_VD_RECORD *Wanted;
  const UINT32 *Ids;
  UINT32 *Disks; // room for Count
  UINT32 Count;
};

} // namespace

// What the writer finds wrong with members is not looked for here.
static EFI_STATUS findMembers(const VIEW &view, const CREATION &creation) {
  EFI_STATUS status = findObjects(view, RAID_OBJECT_PHYSICAL_DISK, creation.Ids, creation.Count, creation.Disks);
  if (status == EFI_NOT_FOUND) {
    return refuse("a member that is no disk", EFI_INVALID_PARAMETER);
  }
  for (UINT32 i = 0; i < creation.Count && !EFI_ERROR(status); ++i) {
    status = checkDisk(view, creation.Disks[i]);
  }
  return status;
}

// The place that a saved virtual disk had is a wish: where it is taken, the first gap that fits is as good.
static EFI_STATUS writeVirtualDisk(CHANGE *change, ddf_change::NewVirtualDisk *virtualDisk, UINT64 wish) {
  EFI_STATUS status = EFI_VOLUME_FULL;
  if (wish != 0) {
    virtualDisk->start = wish;
    status = ddf_change::createVirtualDisk(&change->Writer, *virtualDisk);
  }
  if (status == EFI_VOLUME_FULL) {
    virtualDisk->start = ddf_change::anywhere;
    status = ddf_change::createVirtualDisk(&change->Writer, *virtualDisk);
  }
  return status;
}

static EFI_STATUS createStep(CHANGE *change, void *context) {
  const CREATION &creation = *static_cast<CREATION *>(context);
  const VIEW &view = change->View;
  ddf_change::NewVirtualDisk virtualDisk;
  const CHAR8 *why = nullptr;
  EFI_STATUS status = decodeVirtualDisk(*creation.Wanted, creation.Count, &virtualDisk, &why);
  if (EFI_ERROR(status)) {
    return refuse(why, status);
  }
  status = findMembers(view, creation);
  if (!EFI_ERROR(status)) {
    const ddf::Set *set = joinedSet(view, creation.Disks, creation.Count);
    status = readyDisks(change, set, NO_VIRTUAL_DISK, creation.Disks, creation.Count);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  virtualDisk.disks = creation.Disks;
  status = writeVirtualDisk(change, &virtualDisk, creation.Wanted->StartingLba);
  if (!EFI_ERROR(status)) {
    tellVirtualDisk(virtualDisk.name, "created");
  }
  return status;
}

EFI_STATUS createVirtualDisk(DISK_CONTROLLER *controller, const RAID_VD_RECORD &wanted, const UINT32 *ids,
                             UINT32 count) {
  UINT32 *disks = poolNew<UINT32>(count);
  if (disks == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  CREATION creation = {&wanted, ids, disks, count};
  EFI_STATUS status = runChange(controller, createStep, &creation);
  poolFree(disks);
  return status;
}

// --- Several virtual disks, one after the other ---

// A virtual disk by what does not change when others come and go.
struct VIRTUAL_DISK_NAME {
  ddf::Guid Set;
  ddf::Guid VirtualDisk;
};

struct VIRTUAL_DISK_NAMES {
  VIRTUAL_DISK_NAME *Items; // pool
  UINT32 Count;
};

// One that is named twice counts once.
static EFI_STATUS nameVirtualDisks(const VIEW &view, const UINT32 *ids, UINT32 count, VIRTUAL_DISK_NAMES *names) {
  UINT32 *numbers = poolNew<UINT32>(count);
  names->Items = poolNew<VIRTUAL_DISK_NAME>(count);
  EFI_STATUS status = numbers == nullptr || names->Items == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  if (!EFI_ERROR(status)) {
    status = findObjects(view, RAID_OBJECT_VIRTUAL_DISK, ids, count, numbers);
  }
  if (!EFI_ERROR(status)) {
    sortArray(numbers, count, [](UINT32 a, UINT32 b) { return a < b; });
  }
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    if (i == 0 || numbers[i] != numbers[i - 1]) {
      const VIEW_VIRTUAL_DISK &virtualDisk = view.VirtualDisks[numbers[i]];
      names->Items[names->Count++] = {virtualDisk.Set->guid, virtualDisk.VirtualDisk->entry->guid};
    }
  }
  poolFree(numbers);
  return status == EFI_NOT_FOUND ? refuse("there is no such virtual disk", status) : status;
}

// A step for one of the virtual disks; also what it is told.
struct VIRTUAL_DISK_JOB {
  EFI_STATUS (*Change)(CHANGE *change, const VIEW_VIRTUAL_DISK &virtualDisk, const VIRTUAL_DISK_JOB &job);
  const RAID_VD_RECORD *Wanted; // of a Change
  VIRTUAL_DISK_NAME Name;
};

static EFI_STATUS virtualDiskStep(CHANGE *change, void *context) {
  const VIRTUAL_DISK_JOB &job = *static_cast<VIRTUAL_DISK_JOB *>(context);
  for (UINT32 i = 0; i < change->View.VirtualDiskCount; ++i) {
    const VIEW_VIRTUAL_DISK &virtualDisk = change->View.VirtualDisks[i];
    if (ddf::sameGuid(virtualDisk.Set->guid, job.Name.Set) &&
        ddf::sameGuid(virtualDisk.VirtualDisk->entry->guid, job.Name.VirtualDisk)) {
      return job.Change(change, virtualDisk, job);
    }
  }
  return refuse("a virtual disk is gone", EFI_NOT_FOUND);
}

static EFI_STATUS eachVirtualDisk(DISK_CONTROLLER *controller, const UINT32 *ids, UINT32 count,
                                  const VIRTUAL_DISK_JOB &what) {
  VIEW own;
  VIEW *view = nullptr;
  VIRTUAL_DISK_NAMES names = {};
  EFI_STATUS status = takeView(&own, controller->Settings, &view);
  if (!EFI_ERROR(status)) {
    status = nameVirtualDisks(*view, ids, count, &names);
  }
  closeView(&own);
  for (UINT32 i = 0; i < names.Count && !EFI_ERROR(status); ++i) {
    VIRTUAL_DISK_JOB job = what;
    job.Name = names.Items[i];
    status = runChange(controller, virtualDiskStep, &job);
  }
  poolFree(names.Items);
  return status;
}

static UINT32 setNumber(const CHANGE &change, const VIEW_VIRTUAL_DISK &virtualDisk) {
  return static_cast<UINT32>(virtualDisk.Set - change.View.Model->sets);
}

static UINT32 virtualDiskNumber(const VIEW_VIRTUAL_DISK &virtualDisk) {
  return static_cast<UINT32>(virtualDisk.VirtualDisk - virtualDisk.Set->virtualDisks);
}

// --- Delete ---

static EFI_STATUS deleteVirtualDisk(CHANGE *change, const VIEW_VIRTUAL_DISK &virtualDisk, const VIRTUAL_DISK_JOB &) {
  EFI_STATUS status = readyDisks(change, virtualDisk.Set, virtualDiskNumber(virtualDisk), /* disks= */ nullptr, 0);
  if (!EFI_ERROR(status)) {
    status =
        ddf_change::deleteVirtualDisk(&change->Writer, setNumber(*change, virtualDisk), virtualDiskNumber(virtualDisk));
  }
  if (!EFI_ERROR(status)) {
    tellVirtualDisk(virtualDisk.VirtualDisk->entry->name, "deleted");
  }
  return status;
}

EFI_STATUS deleteVirtualDisks(DISK_CONTROLLER *controller, const UINT32 *ids, UINT32 count) {
  return eachVirtualDisk(controller, ids, count, {deleteVirtualDisk, nullptr, {}});
}

// --- Change ---

// Whether the record asks for something else than the virtual disk is; 0 asks for nothing.
static bool asksForMore(const VIEW_VIRTUAL_DISK &virtualDisk, const RAID_VD_RECORD &wanted) {
  RAID_VD_RECORD now = {};
  describeLayout(*virtualDisk.VirtualDisk, &now);
  const struct {
    UINT64 Wanted;
    UINT64 Now;
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
    if (value.Wanted != 0 && value.Wanted != value.Now) {
      return true;
    }
  }
  return false;
}

static EFI_STATUS changeVirtualDisk(CHANGE *change, const VIEW_VIRTUAL_DISK &virtualDisk, const VIRTUAL_DISK_JOB &job) {
  ddf_change::VirtualDiskSettings settings;
  const CHAR8 *why = nullptr;
  EFI_STATUS status = decodeSettings(*job.Wanted, &settings, &why);
  if (EFI_ERROR(status)) {
    return refuse(why, status);
  }
  if (asksForMore(virtualDisk, *job.Wanted)) {
    return refuse("level, size and place of a virtual disk stay as they are", EFI_UNSUPPORTED);
  }
  status =
      settings.which == 0 ? EFI_SUCCESS : readyDisks(change, virtualDisk.Set, NO_VIRTUAL_DISK, /* disks= */ nullptr, 0);
  if (EFI_ERROR(status) || settings.which == 0) {
    return status;
  }
  status = ddf_change::changeVirtualDisk(&change->Writer, setNumber(*change, virtualDisk),
                                         virtualDiskNumber(virtualDisk), settings);
  if (!EFI_ERROR(status)) {
    tellVirtualDisk(virtualDisk.VirtualDisk->entry->name, "changed");
  }
  return status;
}

EFI_STATUS changeVirtualDisks(DISK_CONTROLLER *controller, const RAID_VD_RECORD &wanted, const UINT32 *ids,
                              UINT32 count) {
  return eachVirtualDisk(controller, ids, count, {changeVirtualDisk, &wanted, {}});
}
