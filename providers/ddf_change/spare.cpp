// Spares.

#include "providers/ddf_change/work.h"

struct SPARE_PLAN {
  UINT32 disk;
  DDF_SPARE_KIND kind;
  const UINT32 *virtualDisks;
  UINT32 virtualDiskCount;
};

// The last slot is where Linux puts its own.
static void *findSpareSlot(const DDF_COPY &copy) {
  if (DDF_SPARE_RECORD *record = findSpareRecord(copy)) {
    return record;
  }
  for (UINT32 i = ddfRecordCapacity(copy); i-- > 0;) {
    if (ddfRecordSlot(copy, i)->signature == DDF_FREE_RECORD) {
      return ddfRecordSlot(copy, i);
    }
  }
  return nullptr;
}

static UINTN spareRoom(const DDF_COPY &copy) {
  return (UINTN{copy.header.recordLength} * DDF_SECTOR - sizeof(DDF_SPARE_RECORD)) / sizeof(DDF_SPARE_ENTRY);
}

static void fillSpareRecord(WORK *work, const SPARE_PLAN &plan, const DDF_COPY &copy) {
  void *slot = findSpareSlot(copy);
  freeSlot(copy, slot);
  DDF_SPARE_RECORD *record = static_cast<DDF_SPARE_RECORD *>(slot);
  record->signature = DDF_SPARE_SIGNATURE;
  record->time = work->writer->time;
  record->type = DDF_SPARE_DEDICATED;
  record->entries = static_cast<UINT16>(plan.virtualDiskCount);
  record->maximum = static_cast<UINT16>(spareRoom(copy));
  DDF_SPARE_ENTRY *entries = reinterpret_cast<DDF_SPARE_ENTRY *>(record + 1);
  for (UINT32 i = 0; i < plan.virtualDiskCount; i++) {
    entries[i].guid = work->set->virtualDisks[plan.virtualDisks[i]].entry->guid;
    entries[i].secondaryElement = 0;
  }
}

// --- Checks ---

static EFI_STATUS checkDisk(DDF_WRITER *writer, const SPARE_PLAN &plan, UINT32 *set) {
  const DDF_DISK &disk = writer->model->disks[plan.disk];
  if (disk.kind != DDF_DISK_MEMBER) {
    *set = *set == DDF_NONE ? ddfChooseSet(*writer->model, writer->maker->guid) : *set;
    EFI_STATUS status = checkFresh(writer, plan.disk);
    return EFI_ERROR(status) || *set != DDF_NONE
               ? status
               : refuse(writer, EFI_NOT_FOUND, plan.disk, "there is no set for which it could wait");
  }
  if (*set != DDF_NONE && *set != disk.set) {
    return refuse(writer, EFI_INVALID_PARAMETER, plan.disk, "belongs to another set");
  }
  *set = disk.set;
  const DDF_PD &pd = writer->model->sets[disk.set].pds[disk.pd];
  bool works = (pd.entry->state & DDF_PD_ONLINE) != 0 && !isMarkedLost(pd);
  return works ? EFI_SUCCESS : refuse(writer, EFI_ACCESS_DENIED, plan.disk, "has failed");
}

static EFI_STATUS checkVirtualDisks(WORK *work, const SPARE_PLAN &plan) {
  for (UINT32 i = 0; i < plan.virtualDiskCount; i++) {
    UINT32 virtualDisk = plan.virtualDisks[i];
    if (virtualDisk >= work->set->virtualDiskCount ||
        findVirtualDiskEntry(lead(work), work->set->virtualDisks[virtualDisk].entry->guid) == nullptr) {
      return EFI_INVALID_PARAMETER;
    }
  }
  const DDF_COPY &copy = work->disks[work->places[plan.disk]].copy;
  bool room = plan.virtualDiskCount <= spareRoom(copy) && findSpareSlot(copy) != nullptr;
  return room ? EFI_SUCCESS : refuse(work->writer, EFI_VOLUME_FULL, plan.disk, "has no room for a spare's record");
}

// --- The change ---

// The disk itself is the first one that is written: its record and the list change together. One that joins is the last
// one, and has its record before the list names it.
static EFI_STATUS writeSpare(WORK *work, const SPARE_PLAN &plan) {
  constexpr UINT32 SPARE_BITS = DDF_PD_GLOBAL_SPARE | DDF_PD_SPARE;
  constexpr UINT32 BITS[] = {0, DDF_PD_GLOBAL_SPARE, DDF_PD_SPARE}; // by DDF_SPARE_KIND
  const DDF_DISK &disk = work->writer->model->disks[plan.disk];
  bool joins = disk.kind != DDF_DISK_MEMBER;
  UINT32 pd = joins ? work->set->pdCount : disk.pd;
  if (!joins) {
    putFirst(work, work->places[plan.disk]);
  }
  DDF_PD_ENTRY *entry = ddfPdEntry(lead(work), pd);
  entry->type = static_cast<UINT16>((entry->type & ~SPARE_BITS) | BITS[plan.kind]);
  if (plan.kind == DDF_SPARE_FOR_VIRTUAL_DISKS && !joins) {
    fillSpareRecord(work, plan, lead(work));
  } else if (joins) {
    return writeStep(work);
  } else if (DDF_SPARE_RECORD *record = findSpareRecord(lead(work))) {
    freeSlot(lead(work), record);
  }
  bool leaves = plan.kind == DDF_NO_SPARE && work->set->pds[pd].partCount == 0;
  return leaves ? writeLeaving(work, pd) : writeStep(work);
}

static EFI_STATUS changeSpare(WORK *work, const SPARE_PLAN &plan) {
  bool joins = work->writer->model->disks[plan.disk].kind != DDF_DISK_MEMBER;
  EFI_STATUS status = joins ? joinDisks(work, &plan.disk, 1) : EFI_SUCCESS;
  if (!EFI_ERROR(status) && plan.kind == DDF_SPARE_FOR_VIRTUAL_DISKS) {
    status = checkVirtualDisks(work, plan);
  }
  if (!EFI_ERROR(status) && plan.kind == DDF_SPARE_FOR_VIRTUAL_DISKS && joins) {
    fillSpareRecord(work, plan, work->disks[work->places[plan.disk]].copy);
  }
  if (!EFI_ERROR(status)) {
    status = beginWriting(work);
  }
  return EFI_ERROR(status) ? status : writeSpare(work, plan);
}

EFI_STATUS ddfSetSpare(DDF_WRITER *writer, UINT32 set, UINT32 disk, DDF_SPARE_KIND kind, const UINT32 *virtualDisks,
                       UINT32 virtualDiskCount) {
  writer->trouble = {DDF_NONE, nullptr};
  const DDF_MODEL &model = *writer->model;
  if (disk >= model.diskCount || (set != DDF_NONE && set >= model.setCount) ||
      (kind == DDF_SPARE_FOR_VIRTUAL_DISKS && virtualDiskCount == 0)) {
    return EFI_INVALID_PARAMETER;
  }
  if (kind == DDF_NO_SPARE && isOutside(model, disk)) {
    return EFI_SUCCESS;
  }
  SPARE_PLAN plan = {disk, kind, virtualDisks, virtualDiskCount};
  EFI_STATUS status = checkDisk(writer, plan, &set);
  if (!EFI_ERROR(status)) {
    status = checkTarget(writer, set, FOREIGN_REFUSED);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  WORK work;
  status = openWork(writer, set, 1, DDF_NONE, &work);
  if (!EFI_ERROR(status)) {
    status = changeSpare(&work, plan);
  }
  closeWork(&work);
  return status;
}
