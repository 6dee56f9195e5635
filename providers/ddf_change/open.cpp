// Opening a set for a change: whether it may be changed at all, what its disks should hold, and what earlier changes
// left undone.

#include "providers/ddf_change/work.h"

bool isMarkedLost(const DDF_PD &pd) {
  return (pd.entry->state & (DDF_PD_FAILED | DDF_PD_MISSING)) != 0;
}

// --- What forbids a change ---

static bool missesDisks(const DDF_SET &set, UINT32 without) {
  for (UINT32 i = 0; i < set.pdCount; i++) {
    if (i != without && set.pds[i].disk == DDF_NONE && !isMarkedLost(set.pds[i])) {
      return true;
    }
  }
  return false;
}

// Why a disk that was not recognised may be one of the set all the same: Linux looks only at the checksums of headers,
// and the next read may succeed.
static EFI_STATUS checkUnrecognised(DDF_WRITER *writer, UINT32 number, const DDF_SET &set, bool misses) {
  const DDF_DISK &disk = writer->model->disks[number];
  if (disk.kind != DDF_DISK_UNREADABLE && disk.kind != DDF_DISK_DAMAGED) {
    return EFI_SUCCESS;
  }
  DDF_HEADER anchor;
  bool read = disk.kind == DDF_DISK_DAMAGED &&
              !EFI_ERROR(disk.source.read(disk.source.context, disk.source.sectors - 1, 1, &anchor));
  if (read) {
    return ddfSameGuid(anchor.guid, set.guid) ? refuse(writer, EFI_ACCESS_DENIED, number, disk.fault.what)
                                              : EFI_SUCCESS;
  }
  return misses
             ? refuse(writer, EFI_DEVICE_ERROR, number, "cannot be read, and its set may be the one that misses a disk")
             : EFI_SUCCESS;
}

static EFI_STATUS checkDisks(DDF_WRITER *writer, UINT32 number, UINT32 without) {
  const DDF_SET &set = writer->model->sets[number];
  bool misses = missesDisks(set, without);
  for (UINT32 i = 0; i < writer->model->diskCount; i++) {
    const DDF_DISK &disk = writer->model->disks[i];
    EFI_STATUS status = checkUnrecognised(writer, i, set, misses);
    if (EFI_ERROR(status)) {
      return status;
    }
    // It may hold what the user still wants, and Linux may stumble over its records.
    bool unknown = disk.kind == DDF_DISK_STALE && disk.set == number && !ddfIsLeftover(*writer->model, i);
    if (unknown) {
      return refuse(writer, EFI_ACCESS_DENIED, i, disk.fault.what);
    }
    bool lost =
        disk.set == number && disk.kind == DDF_DISK_MEMBER && (disk.pd == without || isMarkedLost(set.pds[disk.pd]));
    bool written = disk.set == number && !lost;
    if (written && !writer->targets[i].usable) {
      return refuse(writer, EFI_ACCESS_DENIED, i, "must not be written");
    }
    if (const CHAR8 *what = written ? ddfDiskFault(*writer->model, i) : nullptr) {
      return refuse(writer, EFI_ACCESS_DENIED, i, what);
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS checkSet(DDF_WRITER *writer, UINT32 number, UINT32 without) {
  const DDF_SET &set = writer->model->sets[number];
  const CHAR8 *what = ddfSetFault(set);
  return what != nullptr ? refuse(writer, EFI_ACCESS_DENIED, set.newest, what) : checkDisks(writer, number, without);
}

EFI_STATUS checkTarget(DDF_WRITER *writer, UINT32 set, FOREIGN foreign) {
  writer->trouble = {DDF_NONE, nullptr};
  if (set >= writer->model->setCount) {
    return EFI_INVALID_PARAMETER;
  }
  const DDF_SET &target = writer->model->sets[set];
  return target.foreign && foreign == FOREIGN_REFUSED
             ? refuse(writer, EFI_ACCESS_DENIED, target.newest, "belongs to a foreign set")
             : EFI_SUCCESS;
}

bool isOutside(const DDF_MODEL &model, UINT32 disk) {
  return model.disks[disk].kind == DDF_DISK_OTHER || ddfIsLeftover(model, disk);
}

EFI_STATUS checkFresh(DDF_WRITER *writer, UINT32 disk) {
  const DDF_DISK &judged = writer->model->disks[disk];
  EFI_STATUS status = ddfSearch(writer->model, disk);
  if (EFI_ERROR(status)) {
    return status;
  }
  const CHAR8 *what = !isOutside(*writer->model, disk)       ? judged.fault.what
                      : judged.holds[0] != 0                 ? judged.holds
                      : !writer->targets[disk].usable        ? "must not be written"
                      : judged.source.sectors <= DDF_RESERVE ? "too small"
                                                             : nullptr;
  return what != nullptr ? refuse(writer, EFI_ACCESS_DENIED, disk, what) : EFI_SUCCESS;
}

// --- Which set ---

UINT32 ddfChooseSet(const DDF_MODEL &model, const DDF_GUID &ours) {
  UINT32 ofLinux = DDF_NONE, count = 0;
  for (UINT32 i = 0; i < model.setCount; i++) {
    const DDF_SET &set = model.sets[i];
    if (set.foreign || set.stuck != nullptr) {
      continue;
    }
    if (ddfSameGuid(set.controller->guid, ours)) {
      return i;
    }
    ofLinux = i;
    count++;
  }
  return count == 1 ? ofLinux : DDF_NONE;
}

// --- What the disks should hold ---

static EFI_STATUS addMember(WORK *work, UINT32 number) {
  DDF_WRITER *writer = work->writer;
  const DDF_DISK &disk = writer->model->disks[number];
  WORK_DISK *added = &work->disks[work->count];
  EFI_STATUS status = ddfCurrentCopy(*writer->model, number, &added->copy);
  if (status == EFI_OUT_OF_RESOURCES) {
    return status;
  }
  if (EFI_ERROR(status)) {
    return refuse(writer, EFI_ACCESS_DENIED, number, "its metadata has another layout than that of its set");
  }
  added->disk = number;
  added->held = disk.copy.header.sequence;
  added->first = disk.used == DDF_PRIMARY ? DDF_SECONDARY : DDF_PRIMARY;
  added->behind = disk.lagging;
  work->places[number] = work->count++;
  return EFI_SUCCESS;
}

// Entries without any record are what a cut left of a virtual disk, unless a disk that is not there has one.
static void dropEmptyVirtualDisks(WORK *work) {
  const DDF_SET &set = *work->set;
  for (UINT32 i = 0; i < set.pdCount; i++) {
    if (set.pds[i].disk == DDF_NONE) {
      return;
    }
  }
  for (UINT32 i = 0; i < set.virtualDiskCount; i++) {
    DDF_VD_ENTRY *entry = ddfVdEntry(lead(work), i);
    if (set.virtualDisks[i].record == nullptr) {
      __builtin_memset(entry, 0xFF, sizeof(*entry));
      work->edited = true;
    }
  }
  tidyList(&lead(work), DDF_VD_RECORDS);
}

static bool canBeWritten(const WORK &work, UINT32 number) {
  return work.writer->targets[number].usable && ddfDiskFault(*work.writer->model, number) == nullptr;
}

// One that is lost need not be among them.
static EFI_STATUS addLost(WORK *work, UINT32 number) {
  UINT32 count = work->count;
  EFI_STATUS status = canBeWritten(*work, number) ? addMember(work, number) : EFI_SUCCESS;
  if (status == EFI_ACCESS_DENIED) {
    work->writer->trouble = {DDF_NONE, nullptr};
    return EFI_SUCCESS;
  }
  work->disks[count].lost = work->count != count;
  return status;
}

static EFI_STATUS addMembers(WORK *work, UINT32 without) {
  const DDF_SET &set = *work->set;
  work->lead = DDF_NONE;
  for (UINT32 i = 0; i < set.pdCount; i++) {
    UINT32 disk = set.pds[i].disk;
    if (disk == DDF_NONE || i == without) {
      continue;
    }
    bool lost = isMarkedLost(set.pds[i]);
    work->lead = lost || work->lead != DDF_NONE ? work->lead : work->count;
    EFI_STATUS status = lost ? addLost(work, disk) : addMember(work, disk);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  if (work->lead == DDF_NONE) {
    return refuse(work->writer, EFI_ACCESS_DENIED, set.newest, "its set has no disk that works");
  }
  work->members = work->count;
  work->sequence = set.sequence;
  tidyList(&lead(work), DDF_PD_RECORDS);
  tidyList(&lead(work), DDF_VD_RECORDS);
  dropEmptyVirtualDisks(work);
  return EFI_SUCCESS;
}

EFI_STATUS openWork(DDF_WRITER *writer, UINT32 set, UINT32 room, UINT32 without, WORK *work) {
  const DDF_MODEL &model = *writer->model;
  *work = {};
  work->writer = writer;
  writer->buffer = nullptr;
  work->set = set == DDF_NONE ? nullptr : &model.sets[set];
  EFI_STATUS status = work->set != nullptr ? checkSet(writer, set, without) : EFI_SUCCESS;
  if (EFI_ERROR(status)) {
    return status;
  }
  work->disks = poolNew<WORK_DISK>(UINTN{1} + room + (work->set != nullptr ? work->set->pdCount : 0));
  work->places = poolNew<UINT32>(model.diskCount + UINTN{1});
  writer->buffer = static_cast<UINT8 *>(poolAllocate(DDF_BUFFER_SIZE));
  if (work->disks == nullptr || work->places == nullptr || writer->buffer == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < model.diskCount; i++) {
    work->places[i] = DDF_NONE;
  }
  return work->set != nullptr ? addMembers(work, without) : EFI_SUCCESS;
}

void closeWork(WORK *work) {
  for (UINT32 i = 0; i < work->count; i++) {
    ddfFreeCopy(&work->disks[i].copy);
  }
  poolFree(work->disks);
  poolFree(work->places);
  poolRelease(work->writer->buffer);
  *work = {};
}
