// Spares.

#include "providers/ddf_change/work.h"

namespace xyl::ddf_change {

struct SparePlan {
  UINT32 disk;
  ddf::SpareKind kind;
  const UINT32 *virtualDisks;
  UINT32 virtualDiskCount;
};

// The last slot is where Linux puts its own.
static void *findSpareSlot(const ddf::Copy &copy) {
  if (ddf::SpareRecord *record = findSpareRecord(copy)) {
    return record;
  }
  for (UINT32 i = ddf::recordCapacity(copy); i-- > 0;) {
    if (ddf::recordAt(copy, i)->signature == ddf::freeRecordSignature) {
      return ddf::recordAt(copy, i);
    }
  }
  return nullptr;
}

static UINTN spareRoom(const ddf::Copy &copy) {
  return (UINTN{copy.header.recordLength} * ddf::sectorSize - sizeof(ddf::SpareRecord)) / sizeof(ddf::SpareEntry);
}

static void fillSpareRecord(Work *work, const SparePlan &plan, const ddf::Copy &copy) {
  void *slot = findSpareSlot(copy);
  freeSlot(copy, slot);
  ddf::SpareRecord *record = static_cast<ddf::SpareRecord *>(slot);
  record->signature = ddf::spareSignature;
  record->time = work->writer->time;
  record->type = ddf::spareDedicated;
  record->entries = static_cast<UINT16>(plan.virtualDiskCount);
  record->maximum = static_cast<UINT16>(spareRoom(copy));
  ddf::SpareEntry *entries = reinterpret_cast<ddf::SpareEntry *>(record + 1);
  for (UINT32 i = 0; i < plan.virtualDiskCount; ++i) {
    entries[i].guid = work->set->virtualDisks[plan.virtualDisks[i]].entry->guid;
    entries[i].secondaryElement = 0;
  }
}

// --- Checks ---

static EFI_STATUS checkDisk(Writer *writer, const SparePlan &plan, UINT32 *set) {
  const ddf::Disk &disk = writer->model->disks[plan.disk];
  if (disk.kind != ddf::DiskKind::member) {
    *set = *set == ddf::noIndex ? chooseSet(*writer->model, writer->maker->guid) : *set;
    EFI_STATUS status = checkFresh(writer, plan.disk);
    return EFI_ERROR(status) || *set != ddf::noIndex
               ? status
               : refuse(writer, EFI_NOT_FOUND, plan.disk, "there is no set for which it could wait");
  }
  if (*set != ddf::noIndex && *set != disk.set) {
    return refuse(writer, EFI_INVALID_PARAMETER, plan.disk, "belongs to another set");
  }
  *set = disk.set;
  const ddf::Pd &pd = writer->model->sets[disk.set].pds[disk.pd];
  bool works = (pd.entry->state & ddf::pdOnline) != 0 && !isMarkedLost(pd);
  return works ? EFI_SUCCESS : refuse(writer, EFI_ACCESS_DENIED, plan.disk, "has failed");
}

static EFI_STATUS checkVirtualDisks(Work *work, const SparePlan &plan) {
  for (UINT32 i = 0; i < plan.virtualDiskCount; ++i) {
    UINT32 virtualDisk = plan.virtualDisks[i];
    if (virtualDisk >= work->set->virtualDiskCount ||
        findVirtualDiskEntry(leadCopy(work), work->set->virtualDisks[virtualDisk].entry->guid) == nullptr) {
      return EFI_INVALID_PARAMETER;
    }
  }
  const ddf::Copy &copy = work->disks[work->places[plan.disk]].copy;
  bool room = plan.virtualDiskCount <= spareRoom(copy) && findSpareSlot(copy) != nullptr;
  return room ? EFI_SUCCESS : refuse(work->writer, EFI_VOLUME_FULL, plan.disk, "has no room for a spare's record");
}

// --- The change ---

// The disk itself is the first one that is written: its record and the list change together. One that joins is the last
// one, and has its record before the list names it.
static EFI_STATUS writeSpare(Work *work, const SparePlan &plan) {
  constexpr UINT32 spareBits = ddf::pdGlobalSpare | ddf::pdSpare;
  constexpr UINT32 bits[] = {0, ddf::pdGlobalSpare, ddf::pdSpare}; // by SpareKind
  const ddf::Disk &disk = work->writer->model->disks[plan.disk];
  bool joins = disk.kind != ddf::DiskKind::member;
  UINT32 pd = joins ? work->set->pdCount : disk.pd;
  if (!joins) {
    putFirst(work, work->places[plan.disk]);
  }
  ddf::PdEntry *entry = ddf::pdEntryAt(leadCopy(work), pd);
  entry->type = static_cast<UINT16>((entry->type & ~spareBits) | bits[static_cast<UINT32>(plan.kind)]);
  if (plan.kind == ddf::SpareKind::forVirtualDisks && !joins) {
    fillSpareRecord(work, plan, leadCopy(work));
  } else if (joins) {
    return writeStep(work);
  } else if (ddf::SpareRecord *record = findSpareRecord(leadCopy(work))) {
    freeSlot(leadCopy(work), record);
  }
  bool leaves = plan.kind == ddf::SpareKind::none && work->set->pds[pd].partCount == 0;
  return leaves ? writeLeaving(work, pd) : writeStep(work);
}

static EFI_STATUS changeSpare(Work *work, const SparePlan &plan) {
  bool joins = work->writer->model->disks[plan.disk].kind != ddf::DiskKind::member;
  EFI_STATUS status = joins ? joinDisks(work, &plan.disk, 1) : EFI_SUCCESS;
  if (!EFI_ERROR(status) && plan.kind == ddf::SpareKind::forVirtualDisks) {
    status = checkVirtualDisks(work, plan);
  }
  if (!EFI_ERROR(status) && plan.kind == ddf::SpareKind::forVirtualDisks && joins) {
    fillSpareRecord(work, plan, work->disks[work->places[plan.disk]].copy);
  }
  if (!EFI_ERROR(status)) {
    status = beginWriting(work);
  }
  return EFI_ERROR(status) ? status : writeSpare(work, plan);
}

EFI_STATUS setSpare(Writer *writer, UINT32 set, UINT32 disk, ddf::SpareKind kind, const UINT32 *virtualDisks,
                    UINT32 virtualDiskCount) {
  writer->trouble = {ddf::noIndex, nullptr};
  const ddf::Model &model = *writer->model;
  if (disk >= model.diskCount || (set != ddf::noIndex && set >= model.setCount) ||
      (kind == ddf::SpareKind::forVirtualDisks && virtualDiskCount == 0)) {
    return EFI_INVALID_PARAMETER;
  }
  if (kind == ddf::SpareKind::none && isOutside(model, disk)) {
    return EFI_SUCCESS;
  }
  SparePlan plan = {disk, kind, virtualDisks, virtualDiskCount};
  EFI_STATUS status = checkDisk(writer, plan, &set);
  if (!EFI_ERROR(status)) {
    status = checkTarget(writer, set, Foreign::refused);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  Work work;
  status = openWork(writer, set, 1, ddf::noIndex, &work);
  if (!EFI_ERROR(status)) {
    status = changeSpare(&work, plan);
  }
  closeWork(&work);
  return status;
}

} // namespace xyl::ddf_change
