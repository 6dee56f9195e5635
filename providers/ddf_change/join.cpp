// Disks that come and go.

#include "providers/ddf_change/step.h"

namespace xyl::ddf_change {

// --- Coming ---

// Where count references in a row can begin: none of them is 0, nor the number that means none.
static UINT32 inRange(UINT32 from, UINT32 count) {
  return from == 0 || from + count < from ? 1 : from;
}

// The first of count references in a row that no disk of the list has; a row that meets one goes on behind it.
static UINT32 newReferences(const ddf::Copy &copy, UINT32 used, UINT32 count, UINT32 from) {
  from = inRange(from, count);
  for (UINT32 i = 0; i < used; ++i) {
    UINT32 reference = ddf::pdEntryAt(copy, i)->reference;
    if (reference - from < count) {
      from = inRange(reference + 1, count);
      i = ddf::noIndex; // once more from the start
    }
  }
  return from;
}

static EFI_STATUS makeCopy(Work *work, UINT32 number, UINT32 reference, const ddf::Guid &set, ddf::Copy *copy) {
  const Writer &writer = *work->writer;
  const ddf::ControllerData &maker = work->count != 0 ? *ddf::controllerDataOf(leadCopy(work)) : *writer.maker;
  ddf::NewCopy wanted = {};
  wanted.sectors = writer.model->disks[number].source.sectors;
  wanted.limits = ddf::linuxLimits;
  if (work->count != 0) {
    const ddf::Header &header = leadCopy(work).header;
    wanted.limits = {header.maxPds, header.maxVds, header.maxPartitions, header.maxElements};
  }
  wanted.set = set;
  wanted.controller = maker.guid;
  wanted.disk = writer.targets[number].guid;
  wanted.reference = reference;
  for (UINT32 i = 0; i < 4; ++i) {
    wanted.type[i] = maker.type[i];
  }
  copyBytes(wanted.product, maker.product, sizeof(wanted.product));
  EFI_STATUS status = ddf::makeNewCopy(wanted, copy);
  if (!EFI_ERROR(status) && work->count == 0) {
    copyBytes(ddf::controllerDataOf(*copy)->vendorData, maker.vendorData, sizeof(maker.vendorData));
  }
  return status;
}

static EFI_STATUS makeMark(Work *work, UINT32 number, ddf::FreeMark *mark) {
  const ddf::Disk &disk = work->writer->model->disks[number];
  EFI_STATUS status = disk.released ? EFI_SUCCESS : ddf::makeFreeMark(disk.source, work->writer->buffer, mark);
  return EFI_ERROR(status) ? refuse(work->writer, EFI_ACCESS_DENIED, number, "cannot be read") : status;
}

static EFI_STATUS joinDisk(Work *work, UINT32 number, UINT32 reference, const ddf::Guid &set) {
  WorkDisk *added = &work->disks[work->count];
  EFI_STATUS status = makeMark(work, number, &added->mark);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = makeCopy(work, number, reference, set, &added->copy);
  if (status == EFI_OUT_OF_RESOURCES) {
    return status;
  }
  if (EFI_ERROR(status) || (work->count != 0 && !ddf::sameLayout(added->copy.header, leadCopy(work).header))) {
    ddf::freeCopy(&added->copy);
    return refuse(work->writer, EFI_ACCESS_DENIED, number, "cannot have the layout of its set's metadata");
  }
  if (work->count != 0) {
    added->copy.header.foreignFlag = leadCopy(work).header.foreignFlag;
    ddf::passDeleted(leadCopy(work), added->copy);
  }
  added->disk = number;
  added->first = ddf::headerSecondary;
  work->places[number] = work->count++;
  return EFI_SUCCESS;
}

static void enter(Work *work, const WorkDisk &disk, UINT32 at) {
  ddf::PdEntry *entry = ddf::pdEntryAt(leadCopy(work), at);
  const ddf::DiskData *identity = ddf::diskDataOf(disk.copy);
  __builtin_memset(entry, 0xFF, sizeof(*entry));
  entry->guid = identity->guid;
  entry->reference = identity->reference;
  entry->type = 0;
  entry->state = ddf::pdOnline;
  entry->configuredSize = work->writer->model->disks[disk.disk].source.sectors - ddf::reserveSectors;
  zeroBytes(entry->path, sizeof(entry->path));
}

EFI_STATUS joinDisks(Work *work, const UINT32 *disks, UINT32 count) {
  UINT32 used = work->set != nullptr ? work->set->pdCount : 0;
  UINT32 capacity = work->set != nullptr ? ddf::pdCapacity(leadCopy(work)) : ddf::linuxLimits.pds;
  if (count > capacity - used) {
    return refuse(work->writer, EFI_VOLUME_FULL, ddf::noIndex, "the set has no room for more disks");
  }
  ddf::Guid set = work->set != nullptr ? work->set->guid : newGuid(*work->writer);
  UINT32 random = work->writer->random();
  UINT32 reference = used != 0 ? newReferences(leadCopy(work), used, count, random) : inRange(random, count);
  for (UINT32 i = 0; i < count; ++i) {
    EFI_STATUS status = joinDisk(work, disks[i], reference + i, set);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

// Calls act for disks that are marked as failed, are there, and come before the leading one in the list.
template <class Act> static EFI_STATUS eachLostBefore(Work *work, Act act) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < work->lead && !EFI_ERROR(status); ++i) {
    status = work->disks[i].gone ? EFI_SUCCESS : act(&work->disks[i]);
  }
  return status;
}

// Makes the list of disks as long on all disks as it will be, before others come. Meanwhile the leading disk is the
// newest one, and of those that are there the first.
static EFI_STATUS lengthenList(Work *work) {
  ddf::ListHead *head = reinterpret_cast<ddf::ListHead *>(leadCopy(work).sections[ddf::sectionPds]);
  UINT32 length = work->set->pdCount + work->count - work->members;
  if (head->used >= length) {
    return EFI_SUCCESS;
  }
  head->used = static_cast<UINT16>(length);
  shareLists(work);
  for (UINT32 i = 0; i < work->members; ++i) {
    ddf::seal(&work->disks[i].copy);
    work->disks[i].behind = i > work->lead;
  }
  ++work->sequence;
  EFI_STATUS status = eachLostBefore(work, [=](WorkDisk *disk) { return zeroAnchor(work->writer, disk->disk); });
  if (!EFI_ERROR(status)) {
    status = writeMember(work, &work->disks[work->lead], work->sequence);
  }
  if (!EFI_ERROR(status)) {
    status = catchUp(work);
  }
  return EFI_ERROR(status) ? status : eachLostBefore(work, [=](WorkDisk *disk) { return writeReturning(work, disk); });
}

// A disk that joins has the lists as they are before it is in them: whoever reads it meanwhile sees a disk that its set
// does not know. A new set is at first that of its first disk alone.
static EFI_STATUS writeJoining(Work *work) {
  EFI_STATUS status = EFI_SUCCESS;
  if (work->set == nullptr) {
    enter(work, work->disks[0], 0);
    tidyList(&leadCopy(work), ddf::sectionPds);
    work->sequence = 1;
  } else {
    status = lengthenList(work);
  }
  shareLists(work);
  for (UINT32 i = work->members; i < work->count && !EFI_ERROR(status); ++i) {
    WorkDisk *disk = &work->disks[i];
    ddf::seal(&disk->copy);
    if (!work->writer->model->disks[disk->disk].released) {
      status = writeFreeMark(work->writer, disk->disk, disk->mark);
    }
    if (!EFI_ERROR(status)) {
      status = writeDisk(work, disk, work->sequence);
    }
    if (!EFI_ERROR(status)) {
      status = writeAnchor(work, *disk);
    }
  }
  UINT32 at = work->set != nullptr ? work->set->pdCount : 1;
  for (UINT32 i = work->members + (work->set == nullptr ? 1 : 0); i < work->count; ++i) {
    enter(work, work->disks[i], at++);
  }
  return status;
}

// --- Being put out ---

static EFI_STATUS evict(Work *work, UINT32 pd) {
  ddf::PdEntry *entry = ddf::pdEntryAt(leadCopy(work), pd);
  UINT32 disk = work->set->pds[pd].disk;
  entry->state = entry->state | ddf::pdMissing;
  if (work->places[disk] < work->count) {
    work->disks[work->places[disk]].gone = true;
  }
  work->places[disk] = evicted;
  return freeDisk(work->writer, disk);
}

static bool isLostOne(const Work &work, UINT32 pd) {
  UINT32 disk = work.set->pds[pd].disk;
  UINT32 place = disk != ddf::noIndex ? work.places[disk] : evicted;
  return place == ddf::noIndex || (place < work.count && work.disks[place].lost);
}

EFI_STATUS evictLost(Work *work, const ddf::Guid *virtualDisk) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < work->set->pdCount && !EFI_ERROR(status); ++i) {
    if (isLostOne(*work, i) &&
        (virtualDisk == nullptr ||
         findRecord(work->writer->model->disks[work->set->pds[i].disk].copy, *virtualDisk) != nullptr)) {
      status = evict(work, i);
    }
  }
  return status;
}

EFI_STATUS evictOne(Work *work, UINT32 pd) {
  return isLostOne(*work, pd) ? evict(work, pd) : EFI_SUCCESS;
}

// The same for those that were away while a virtual disk was deleted.
static EFI_STATUS evictReturned(Work *work) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; work->set != nullptr && i < work->set->pdCount && !EFI_ERROR(status); ++i) {
    if (isLostOne(*work, i) && ddf::holdingsOf(*work->writer->model, work->set->pds[i].disk).deleted != 0) {
      work->edited = true;
      status = evict(work, i);
    }
  }
  return status;
}

EFI_STATUS beginWriting(Work *work) {
  const ddf::Model &model = *work->writer->model;
  EFI_STATUS status = evictReturned(work);
  if (!EFI_ERROR(status)) {
    status = catchUp(work);
  }
  for (UINT32 i = 0; i < model.diskCount && work->set != nullptr && !EFI_ERROR(status); ++i) {
    const ddf::Disk &disk = model.disks[i];
    if (disk.kind == ddf::DiskKind::stale && &model.sets[disk.set] == work->set) {
      status = freeDisk(work->writer, i);
    }
  }
  UINT32 all = work->count;
  work->count = work->members;
  if (!EFI_ERROR(status) && work->edited) {
    status = writeStep(work);
  }
  work->count = all;
  return EFI_ERROR(status) || work->members == all ? status : writeJoining(work);
}

// --- Going ---

// Linux marks a disk that failed and lost its volumes as a spare.
static bool isNeeded(const ddf::PdEntry &entry) {
  bool lost = (entry.state & (ddf::pdFailed | ddf::pdMissing)) != 0;
  return (entry.type & ddf::pdMember) != 0 || (!lost && (entry.type & (ddf::pdGlobalSpare | ddf::pdSpare)) != 0);
}

static bool stays(Work *work, UINT32 pd, UINT32 who) {
  return who == leaveUnused ? isNeeded(*ddf::pdEntryAt(leadCopy(work), pd)) : who != leaveAll && who != pd;
}

static UINT32 placeOf(const Work &work, UINT32 pd) {
  UINT32 disk = work.set->pds[pd].disk;
  return disk != ddf::noIndex ? work.places[disk] : evicted;
}

static void removeEntry(Work *work, UINT32 pd) {
  ddf::PdEntry *entry = ddf::pdEntryAt(leadCopy(work), pd);
  __builtin_memset(entry, 0xFF, sizeof(*entry));
}

static bool anyStays(Work *work, UINT32 who) {
  for (UINT32 i = 0; i < work->set->pdCount; ++i) {
    UINT32 place = placeOf(*work, i);
    if (place < work->count && !work->disks[place].lost && stays(work, i, who)) {
      return true;
    }
  }
  return false;
}

// Marks who leaves and takes them out of the list. Disks marked as failed that are there stay in the list, or else
// would come back as disks that their set does not know.
static void markLeaving(Work *work, UINT32 who, bool keepLead) {
  for (UINT32 i = 0; i < work->set->pdCount; ++i) {
    UINT32 place = placeOf(*work, i);
    bool lost = place == ddf::noIndex || (place < work->count && work->disks[place].lost && who == leaveUnused);
    if (stays(work, i, who) || lost || (keepLead && place == work->lead)) {
      continue;
    }
    removeEntry(work, i);
    if (place < work->count) {
      work->disks[place].leaves = true;
    }
  }
}

// The disks that stay have the step before the others go. Without any, the leading one stays until the others are gone.
EFI_STATUS writeLeaving(Work *work, UINT32 who) {
  bool ends = !anyStays(work, who);
  EFI_STATUS status = ends ? evictLost(work, nullptr) : EFI_SUCCESS;
  markLeaving(work, who, ends);
  if (!EFI_ERROR(status)) {
    status = writeStep(work);
  }
  for (UINT32 i = 0; i < work->count && !EFI_ERROR(status); ++i) {
    if (work->disks[i].leaves && !work->disks[i].gone) {
      status = freeDisk(work->writer, work->disks[i].disk);
    }
  }
  return !ends || EFI_ERROR(status) ? status : freeDisk(work->writer, work->disks[work->lead].disk);
}

} // namespace xyl::ddf_change
