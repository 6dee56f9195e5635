#include "providers/disk_controller/commands/volume_commands.h"

#include "base/log.h"
#include "base/pool.h"
#include "base/sort.h"
#include "providers/disk_controller/commands/disk_check.h"
#include "providers/disk_controller/commands/volume_request.h"
#include "providers/disk_controller/model/kept_view.h"
#include "providers/disk_controller/model/objects.h"
#include "providers/disk_controller/model/records.h"

static void tellVolume(const CHAR8 (&name)[16], const CHAR8 *what) {
  CHAR8 text[sizeof(name) + 1] = {};
  copyBytes(text, name, sizeof(name));
  LogPrint(LOG_WARN, RAID_DISKS, "virtual disk %a: %a", static_cast<const CHAR8 *>(text), what);
}

// --- Create ---

struct CREATION {
  const RAID_VD_RECORD *Wanted;
  const UINT32 *Ids;
  UINT32 *Disks; // room for Count
  UINT32 Count;
};

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

// The place that a saved volume had is a wish: where it is taken, the first gap that fits is as good.
static EFI_STATUS writeVolume(CHANGE *change, DDF_NEW_VOLUME *volume, UINT64 wish) {
  EFI_STATUS status = EFI_VOLUME_FULL;
  if (wish != 0) {
    volume->start = wish;
    status = ddfCreateVolume(&change->Writer, *volume);
  }
  if (status == EFI_VOLUME_FULL) {
    volume->start = DDF_ANYWHERE;
    status = ddfCreateVolume(&change->Writer, *volume);
  }
  return status;
}

static EFI_STATUS createStep(CHANGE *change, void *context) {
  const CREATION &creation = *static_cast<CREATION *>(context);
  const VIEW &view = change->View;
  DDF_NEW_VOLUME volume;
  const CHAR8 *why = nullptr;
  EFI_STATUS status = decodeVolume(*creation.Wanted, creation.Count, &volume, &why);
  if (EFI_ERROR(status)) {
    return refuse(why, status);
  }
  status = findMembers(view, creation);
  if (!EFI_ERROR(status)) {
    const DDF_SET *set = joinedSet(view, creation.Disks, creation.Count);
    status = readyDisks(change, set, NO_VOLUME, creation.Disks, creation.Count);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  volume.disks = creation.Disks;
  status = writeVolume(change, &volume, creation.Wanted->StartingLba);
  if (!EFI_ERROR(status)) {
    tellVolume(volume.name, "created");
  }
  return status;
}

EFI_STATUS createVolume(DISK_CONTROLLER *controller, const RAID_VD_RECORD &wanted, const UINT32 *ids, UINT32 count) {
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

// A volume by what does not change when others come and go.
struct VOLUME_NAME {
  DDF_GUID Set;
  DDF_GUID Volume;
};

struct VOLUME_NAMES {
  VOLUME_NAME *Items; // pool
  UINT32 Count;
};

// One that is named twice counts once.
static EFI_STATUS nameVolumes(const VIEW &view, const UINT32 *ids, UINT32 count, VOLUME_NAMES *names) {
  UINT32 *numbers = poolNew<UINT32>(count);
  names->Items = poolNew<VOLUME_NAME>(count);
  EFI_STATUS status = numbers == nullptr || names->Items == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  if (!EFI_ERROR(status)) {
    status = findObjects(view, RAID_OBJECT_VIRTUAL_DISK, ids, count, numbers);
  }
  if (!EFI_ERROR(status)) {
    sortArray(numbers, count, [](UINT32 a, UINT32 b) { return a < b; });
  }
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    if (i == 0 || numbers[i] != numbers[i - 1]) {
      const VIEW_VOLUME &volume = view.Volumes[numbers[i]];
      names->Items[names->Count++] = {volume.Set->guid, volume.Volume->entry->guid};
    }
  }
  poolFree(numbers);
  return status == EFI_NOT_FOUND ? refuse("there is no such virtual disk", status) : status;
}

// A step for one of the volumes; also what it is told.
struct VOLUME_JOB {
  EFI_STATUS (*Change)(CHANGE *change, const VIEW_VOLUME &volume, const VOLUME_JOB &job);
  const RAID_VD_RECORD *Wanted; // of a Change
  VOLUME_NAME Name;
};

static EFI_STATUS volumeStep(CHANGE *change, void *context) {
  const VOLUME_JOB &job = *static_cast<VOLUME_JOB *>(context);
  for (UINT32 i = 0; i < change->View.VolumeCount; ++i) {
    const VIEW_VOLUME &volume = change->View.Volumes[i];
    if (ddfSameGuid(volume.Set->guid, job.Name.Set) && ddfSameGuid(volume.Volume->entry->guid, job.Name.Volume)) {
      return job.Change(change, volume, job);
    }
  }
  return refuse("a virtual disk is gone", EFI_NOT_FOUND);
}

static EFI_STATUS eachVolume(DISK_CONTROLLER *controller, const UINT32 *ids, UINT32 count, const VOLUME_JOB &what) {
  VIEW own;
  VIEW *view = nullptr;
  VOLUME_NAMES names = {};
  EFI_STATUS status = takeView(&own, controller->Settings, &view);
  if (!EFI_ERROR(status)) {
    status = nameVolumes(*view, ids, count, &names);
  }
  closeView(&own);
  for (UINT32 i = 0; i < names.Count && !EFI_ERROR(status); ++i) {
    VOLUME_JOB job = what;
    job.Name = names.Items[i];
    status = runChange(controller, volumeStep, &job);
  }
  poolFree(names.Items);
  return status;
}

static UINT32 setNumber(const CHANGE &change, const VIEW_VOLUME &volume) {
  return static_cast<UINT32>(volume.Set - change.View.Model->sets);
}

static UINT32 volumeNumber(const VIEW_VOLUME &volume) {
  return static_cast<UINT32>(volume.Volume - volume.Set->volumes);
}

// --- Delete ---

static EFI_STATUS deleteVolume(CHANGE *change, const VIEW_VOLUME &volume, const VOLUME_JOB &) {
  EFI_STATUS status = readyDisks(change, volume.Set, volumeNumber(volume), /* disks= */ nullptr, 0);
  if (!EFI_ERROR(status)) {
    status = ddfDeleteVolume(&change->Writer, setNumber(*change, volume), volumeNumber(volume));
  }
  if (!EFI_ERROR(status)) {
    tellVolume(volume.Volume->entry->name, "deleted");
  }
  return status;
}

EFI_STATUS deleteVolumes(DISK_CONTROLLER *controller, const UINT32 *ids, UINT32 count) {
  return eachVolume(controller, ids, count, {deleteVolume, nullptr, {}});
}

// --- Change ---

// Whether the record asks for something else than the volume is; 0 asks for nothing.
static bool asksForMore(const VIEW_VOLUME &volume, const RAID_VD_RECORD &wanted) {
  RAID_VD_RECORD now = {};
  describeLayout(*volume.Volume, &now);
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

static EFI_STATUS changeVolume(CHANGE *change, const VIEW_VOLUME &volume, const VOLUME_JOB &job) {
  DDF_VOLUME_SETTINGS settings;
  const CHAR8 *why = nullptr;
  EFI_STATUS status = decodeSettings(*job.Wanted, &settings, &why);
  if (EFI_ERROR(status)) {
    return refuse(why, status);
  }
  if (asksForMore(volume, *job.Wanted)) {
    return refuse("level, size and place of a virtual disk stay as they are", EFI_UNSUPPORTED);
  }
  status = settings.which == 0 ? EFI_SUCCESS : readyDisks(change, volume.Set, NO_VOLUME, /* disks= */ nullptr, 0);
  if (EFI_ERROR(status) || settings.which == 0) {
    return status;
  }
  status = ddfChangeVolume(&change->Writer, setNumber(*change, volume), volumeNumber(volume), settings);
  if (!EFI_ERROR(status)) {
    tellVolume(volume.Volume->entry->name, "changed");
  }
  return status;
}

EFI_STATUS changeVolumes(DISK_CONTROLLER *controller, const RAID_VD_RECORD &wanted, const UINT32 *ids, UINT32 count) {
  return eachVolume(controller, ids, count, {changeVolume, &wanted, {}});
}
