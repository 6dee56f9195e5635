// Deleting virtual disks and sets: first the records from all disks, then the entry.

#include "providers/ddf_change/work.h"

// --- What a virtual disk has on a disk ---

// Without its last virtual disk a spare record goes, too: the disk is no spare any more.
static bool dropFromSpare(const DDF_COPY &copy, const DDF_GUID &virtualDisk) {
  DDF_SPARE_RECORD *record = findSpareRecord(copy);
  if (record == nullptr) {
    return false;
  }
  UINTN room = (UINTN{copy.header.recordLength} * DDF_SECTOR - sizeof(*record)) / sizeof(DDF_SPARE_ENTRY);
  UINTN count = record->entries < room ? UINTN{record->entries} : room, kept = 0;
  DDF_SPARE_ENTRY *entries = reinterpret_cast<DDF_SPARE_ENTRY *>(record + 1);
  for (UINTN i = 0; i < count; i++) {
    if (!ddfSameGuid(entries[i].guid, virtualDisk)) {
      entries[kept++] = entries[i];
    }
  }
  if (kept == count) {
    return false;
  }
  __builtin_memset(&entries[kept], 0xFF, (count - kept) * sizeof(DDF_SPARE_ENTRY));
  record->entries = static_cast<UINT16>(kept);
  if (kept == 0) {
    freeSlot(copy, record);
  }
  return true;
}

static bool dropRecord(const DDF_COPY &copy, const DDF_GUID &virtualDisk) {
  DDF_RECORD *record = findRecord(copy, virtualDisk);
  if (record != nullptr) {
    freeSlot(copy, record);
  }
  return record != nullptr;
}

static EFI_STATUS writeWithoutRecords(WORK *work, const DDF_GUID &virtualDisk) {
  bool changed = false;
  for (UINT32 i = 0; i < work->count; i++) {
    changed = dropRecord(work->disks[i].copy, virtualDisk) || changed;
    changed = dropFromSpare(work->disks[i].copy, virtualDisk) || changed;
  }
  return changed ? writeStep(work) : EFI_SUCCESS;
}

// --- Lists ---

static void dropEntry(WORK *work, const DDF_GUID &virtualDisk) {
  DDF_VD_ENTRY *entry = findVirtualDiskEntry(lead(work), virtualDisk);
  if (entry != nullptr) {
    __builtin_memset(entry, 0xFF, sizeof(*entry));
  }
  for (UINT32 i = 0; i < work->count; i++) {
    ddfNoteDeleted(work->disks[i].copy, virtualDisk);
  }
}

// Disks without a part in another virtual disk are no members, those without a record of what they are for no spares.
static void renewTypes(WORK *work, UINT32 virtualDisk) {
  const DDF_SET &set = *work->set;
  for (UINT32 i = 0; i < set.pdCount; i++) {
    const DDF_PD &pd = set.pds[i];
    DDF_PD_ENTRY *entry = ddfPdEntry(lead(work), i);
    bool member = false;
    for (UINT32 j = 0; j < pd.partCount && !member; j++) {
      member = pd.parts[j].virtualDisk != virtualDisk;
    }
    UINT32 type = entry->type;
    type = member ? type : type & ~UINT32{DDF_PD_MEMBER};
    UINT32 place = pd.disk != DDF_NONE ? work->places[pd.disk] : DDF_NONE;
    bool forNone = pd.spare == DDF_SPARE_FOR_VIRTUAL_DISKS && place < work->count &&
                   findSpareRecord(work->disks[place].copy) == nullptr;
    entry->type = static_cast<UINT16>(forNone ? type & ~UINT32{DDF_PD_SPARE} : type);
  }
}

// --- Changes ---

static EFI_STATUS removeVirtualDisk(WORK *work, const DDF_GUID &virtualDisk) {
  EFI_STATUS status = evictLost(work, &virtualDisk);
  if (!EFI_ERROR(status)) {
    status = writeWithoutRecords(work, virtualDisk);
  }
  if (!EFI_ERROR(status)) {
    dropEntry(work, virtualDisk);
  }
  return status;
}

EFI_STATUS ddfDeleteVirtualDisk(DDF_WRITER *writer, UINT32 set, UINT32 virtualDisk) {
  EFI_STATUS status = checkTarget(writer, set, FOREIGN_REFUSED);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (virtualDisk >= writer->model->sets[set].virtualDiskCount) {
    return EFI_INVALID_PARAMETER;
  }
  WORK work;
  status = openWork(writer, set, 0, DDF_NONE, &work);
  if (!EFI_ERROR(status)) {
    status = beginWriting(&work);
  }
  if (!EFI_ERROR(status)) {
    status = removeVirtualDisk(&work, writer->model->sets[set].virtualDisks[virtualDisk].entry->guid);
  }
  if (!EFI_ERROR(status)) {
    renewTypes(&work, virtualDisk);
    status = writeLeaving(&work, LEAVE_UNUSED);
  }
  closeWork(&work);
  return status;
}

// The last virtual disk's entry goes with the step in which the disks leave.
static EFI_STATUS removeAll(WORK *work) {
  const DDF_SET &set = *work->set;
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < set.virtualDiskCount && !EFI_ERROR(status); i++) {
    status = removeVirtualDisk(work, set.virtualDisks[i].entry->guid);
    if (!EFI_ERROR(status) && i + 1 < set.virtualDiskCount) {
      status = writeStep(work);
    }
  }
  return EFI_ERROR(status) ? status : writeLeaving(work, LEAVE_ALL);
}

EFI_STATUS ddfDeleteSet(DDF_WRITER *writer, UINT32 set) {
  EFI_STATUS status = checkTarget(writer, set, FOREIGN_WELCOME);
  if (EFI_ERROR(status)) {
    return status;
  }
  WORK work;
  status = openWork(writer, set, 0, DDF_NONE, &work);
  if (!EFI_ERROR(status)) {
    status = beginWriting(&work);
  }
  if (!EFI_ERROR(status)) {
    status = removeAll(&work);
  }
  closeWork(&work);
  return status;
}

EFI_STATUS ddfFreeFailed(DDF_WRITER *writer, UINT32 set, UINT32 pd) {
  EFI_STATUS status = checkTarget(writer, set, FOREIGN_REFUSED);
  if (EFI_ERROR(status)) {
    return status;
  }
  const DDF_SET &target = writer->model->sets[set];
  if (pd >= target.pdCount || target.pds[pd].disk == DDF_NONE || !isMarkedLost(target.pds[pd])) {
    return EFI_INVALID_PARAMETER;
  }
  if (!writer->targets[target.pds[pd].disk].usable) {
    return refuse(writer, EFI_ACCESS_DENIED, target.pds[pd].disk, "must not be written");
  }
  WORK work;
  status = openWork(writer, set, 0, DDF_NONE, &work);
  if (!EFI_ERROR(status)) {
    status = beginWriting(&work);
  }
  if (!EFI_ERROR(status)) {
    status = evictOne(&work, pd);
  }
  if (!EFI_ERROR(status)) {
    status = target.pds[pd].partCount == 0 ? writeLeaving(&work, pd) : writeStep(&work);
  }
  closeWork(&work);
  return status;
}
