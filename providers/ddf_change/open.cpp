// Opening a set for a change: whether it may be changed at all, what its disks should hold, and what earlier changes
// left undone.

#include "providers/ddf_change/work.h"

namespace xyl::ddf_change {

bool isMarkedLost(const ddf::Pd &pd) {
  return (pd.entry->state & (ddf::pdFailed | ddf::pdMissing)) != 0;
}

// --- What forbids a change ---

static bool missesDisks(const ddf::Set &set, UINT32 without) {
  for (UINT32 i = 0; i < set.pdCount; ++i) {
    if (i != without && set.pds[i].disk == ddf::noIndex && !isMarkedLost(set.pds[i])) {
      return true;
    }
  }
  return false;
}

// Why a disk that was not recognised may be one of the set all the same: Linux looks only at the checksums of headers,
// and the next read may succeed.
static EFI_STATUS checkUnrecognised(Writer *writer, UINT32 number, const ddf::Set &set, bool misses) {
  const ddf::Disk &disk = writer->model->disks[number];
  if (disk.kind != ddf::DiskKind::unreadable && disk.kind != ddf::DiskKind::damaged) {
    return EFI_SUCCESS;
  }
  ddf::Header anchor;
  bool read = disk.kind == ddf::DiskKind::damaged &&
              !EFI_ERROR(disk.source.read(disk.source.context, disk.source.sectors - 1, 1, &anchor));
  if (read) {
    return ddf::sameGuid(anchor.guid, set.guid) ? refuse(writer, EFI_ACCESS_DENIED, number, disk.fault.what)
                                                : EFI_SUCCESS;
  }
  return misses
             ? refuse(writer, EFI_DEVICE_ERROR, number, "cannot be read, and its set may be the one that misses a disk")
             : EFI_SUCCESS;
}

static EFI_STATUS checkDisks(Writer *writer, UINT32 number, UINT32 without) {
  const ddf::Set &set = writer->model->sets[number];
  bool misses = missesDisks(set, without);
  for (UINT32 i = 0; i < writer->model->diskCount; ++i) {
    const ddf::Disk &disk = writer->model->disks[i];
    EFI_STATUS status = checkUnrecognised(writer, i, set, misses);
    if (EFI_ERROR(status)) {
      return status;
    }
    // It may hold what the user still wants, and Linux may stumble over its records.
    bool unknown = disk.kind == ddf::DiskKind::stale && disk.set == number && !ddf::isLeftover(*writer->model, i);
    if (unknown) {
      return refuse(writer, EFI_ACCESS_DENIED, i, disk.fault.what);
    }
    bool lost = disk.set == number && disk.kind == ddf::DiskKind::member &&
                (disk.pd == without || isMarkedLost(set.pds[disk.pd]));
    bool written = disk.set == number && !lost;
    if (written && !writer->targets[i].usable) {
      return refuse(writer, EFI_ACCESS_DENIED, i, "must not be written");
    }
    if (const CHAR8 *what = written ? ddf::faultOfDisk(*writer->model, i) : nullptr) {
      return refuse(writer, EFI_ACCESS_DENIED, i, what);
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS checkSet(Writer *writer, UINT32 number, UINT32 without) {
  const ddf::Set &set = writer->model->sets[number];
  const CHAR8 *what = ddf::faultOfSet(set);
  return what != nullptr ? refuse(writer, EFI_ACCESS_DENIED, set.newest, what) : checkDisks(writer, number, without);
}

EFI_STATUS checkTarget(Writer *writer, UINT32 set, Foreign foreign) {
  writer->trouble = {ddf::noIndex, nullptr};
  if (set >= writer->model->setCount) {
    return EFI_INVALID_PARAMETER;
  }
  const ddf::Set &target = writer->model->sets[set];
  return target.foreign && foreign == Foreign::refused
             ? refuse(writer, EFI_ACCESS_DENIED, target.newest, "belongs to a foreign set")
             : EFI_SUCCESS;
}

bool isOutside(const ddf::Model &model, UINT32 disk) {
  return model.disks[disk].kind == ddf::DiskKind::other || ddf::isLeftover(model, disk);
}

EFI_STATUS checkFresh(Writer *writer, UINT32 disk) {
  const ddf::Disk &judged = writer->model->disks[disk];
  EFI_STATUS status = ddf::searchDisk(writer->model, disk);
  if (EFI_ERROR(status)) {
    return status;
  }
  const CHAR8 *what = !isOutside(*writer->model, disk)               ? judged.fault.what
                      : judged.holds[0] != 0                         ? judged.holds
                      : !writer->targets[disk].usable                ? "must not be written"
                      : judged.source.sectors <= ddf::reserveSectors ? "too small"
                                                                     : nullptr;
  return what != nullptr ? refuse(writer, EFI_ACCESS_DENIED, disk, what) : EFI_SUCCESS;
}

// --- Which set ---

UINT32 chooseSet(const ddf::Model &model, const ddf::Guid &ours) {
  UINT32 ofLinux = ddf::noIndex, count = 0;
  for (UINT32 i = 0; i < model.setCount; ++i) {
    const ddf::Set &set = model.sets[i];
    if (set.foreign || set.stuck != nullptr) {
      continue;
    }
    if (ddf::sameGuid(set.controller->guid, ours)) {
      return i;
    }
    ofLinux = i;
    ++count;
  }
  return count == 1 ? ofLinux : ddf::noIndex;
}

// --- What the disks should hold ---

static EFI_STATUS addMember(Work *work, UINT32 number) {
  Writer *writer = work->writer;
  const ddf::Disk &disk = writer->model->disks[number];
  WorkDisk *added = &work->disks[work->count];
  EFI_STATUS status = ddf::makeCurrentCopy(*writer->model, number, &added->copy);
  if (status == EFI_OUT_OF_RESOURCES) {
    return status;
  }
  if (EFI_ERROR(status)) {
    return refuse(writer, EFI_ACCESS_DENIED, number, "its metadata has another layout than that of its set");
  }
  added->disk = number;
  added->held = disk.copy.header.sequence;
  added->first = disk.used == ddf::headerPrimary ? ddf::headerSecondary : ddf::headerPrimary;
  added->behind = disk.lagging;
  work->places[number] = work->count++;
  return EFI_SUCCESS;
}

// Entries without any record are what a cut left of a virtual disk, unless a disk that is not there has one.
static void dropEmptyVirtualDisks(Work *work) {
  const ddf::Set &set = *work->set;
  for (UINT32 i = 0; i < set.pdCount; ++i) {
    if (set.pds[i].disk == ddf::noIndex) {
      return;
    }
  }
  for (UINT32 i = 0; i < set.virtualDiskCount; ++i) {
    ddf::VdEntry *entry = ddf::vdEntryAt(leadCopy(work), i);
    if (set.virtualDisks[i].record == nullptr) {
      __builtin_memset(entry, 0xFF, sizeof(*entry));
      work->edited = true;
    }
  }
  tidyList(&leadCopy(work), ddf::sectionVds);
}

static bool canBeWritten(const Work &work, UINT32 number) {
  return work.writer->targets[number].usable && ddf::faultOfDisk(*work.writer->model, number) == nullptr;
}

// One that is lost need not be among them.
static EFI_STATUS addLost(Work *work, UINT32 number) {
  UINT32 count = work->count;
  EFI_STATUS status = canBeWritten(*work, number) ? addMember(work, number) : EFI_SUCCESS;
  if (status == EFI_ACCESS_DENIED) {
    work->writer->trouble = {ddf::noIndex, nullptr};
    return EFI_SUCCESS;
  }
  work->disks[count].lost = work->count != count;
  return status;
}

static EFI_STATUS addMembers(Work *work, UINT32 without) {
  const ddf::Set &set = *work->set;
  work->lead = ddf::noIndex;
  for (UINT32 i = 0; i < set.pdCount; ++i) {
    UINT32 disk = set.pds[i].disk;
    if (disk == ddf::noIndex || i == without) {
      continue;
    }
    bool lost = isMarkedLost(set.pds[i]);
    work->lead = lost || work->lead != ddf::noIndex ? work->lead : work->count;
    EFI_STATUS status = lost ? addLost(work, disk) : addMember(work, disk);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  if (work->lead == ddf::noIndex) {
    return refuse(work->writer, EFI_ACCESS_DENIED, set.newest, "its set has no disk that works");
  }
  work->members = work->count;
  work->sequence = set.sequence;
  tidyList(&leadCopy(work), ddf::sectionPds);
  tidyList(&leadCopy(work), ddf::sectionVds);
  dropEmptyVirtualDisks(work);
  return EFI_SUCCESS;
}

EFI_STATUS openWork(Writer *writer, UINT32 set, UINT32 room, UINT32 without, Work *work) {
  const ddf::Model &model = *writer->model;
  *work = {};
  work->writer = writer;
  writer->buffer = nullptr;
  work->set = set == ddf::noIndex ? nullptr : &model.sets[set];
  EFI_STATUS status = work->set != nullptr ? checkSet(writer, set, without) : EFI_SUCCESS;
  if (EFI_ERROR(status)) {
    return status;
  }
  work->disks = poolNew<WorkDisk>(UINTN{1} + room + (work->set != nullptr ? work->set->pdCount : 0));
  work->places = poolNew<UINT32>(model.diskCount + UINTN{1});
  writer->buffer = static_cast<UINT8 *>(poolAllocate(ddf::bufferSize));
  if (work->disks == nullptr || work->places == nullptr || writer->buffer == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < model.diskCount; ++i) {
    work->places[i] = ddf::noIndex;
  }
  return work->set != nullptr ? addMembers(work, without) : EFI_SUCCESS;
}

void closeWork(Work *work) {
  for (UINT32 i = 0; i < work->count; ++i) {
    ddf::freeCopy(&work->disks[i].copy);
  }
  poolFree(work->disks);
  poolFree(work->places);
  poolRelease(work->writer->buffer);
  *work = {};
}

} // namespace xyl::ddf_change
