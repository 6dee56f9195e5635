// Deleting virtual disks and sets: first the records from all disks, then the entry.

#include "providers/ddf_change/work.h"

namespace xyl::ddf_change {

// --- What a virtual disk has on a disk ---

// Without its last virtual disk a spare record goes, too: the disk is no spare any more.
static bool dropFromSpare(const ddf::Copy &copy, const ddf::Guid &virtualDisk) {
  ddf::SpareRecord *record = findSpareRecord(copy);
  if (record == nullptr) {
    return false;
  }
  UINTN room = (UINTN{copy.header.recordLength} * ddf::sectorSize - sizeof(*record)) / sizeof(ddf::SpareEntry);
  UINTN count = record->entries < room ? UINTN{record->entries} : room, kept = 0;
  ddf::SpareEntry *entries = reinterpret_cast<ddf::SpareEntry *>(record + 1);
  for (UINTN i = 0; i < count; ++i) {
    if (!ddf::sameGuid(entries[i].guid, virtualDisk)) {
      entries[kept++] = entries[i];
    }
  }
  if (kept == count) {
    return false;
  }
  __builtin_memset(&entries[kept], 0xFF, (count - kept) * sizeof(ddf::SpareEntry));
  record->entries = static_cast<UINT16>(kept);
  if (kept == 0) {
    freeSlot(copy, record);
  }
  return true;
}

static bool dropRecord(const ddf::Copy &copy, const ddf::Guid &virtualDisk) {
  ddf::Record *record = findRecord(copy, virtualDisk);
  if (record != nullptr) {
    freeSlot(copy, record);
  }
  return record != nullptr;
}

static EFI_STATUS writeWithoutRecords(Work *work, const ddf::Guid &virtualDisk) {
  bool changed = false;
  for (UINT32 i = 0; i < work->count; ++i) {
    changed = dropRecord(work->disks[i].copy, virtualDisk) || changed;
    changed = dropFromSpare(work->disks[i].copy, virtualDisk) || changed;
  }
  return changed ? writeStep(work) : EFI_SUCCESS;
}

// --- Lists ---

static void dropEntry(Work *work, const ddf::Guid &virtualDisk) {
  ddf::VdEntry *entry = findVirtualDiskEntry(leadCopy(work), virtualDisk);
  if (entry != nullptr) {
    __builtin_memset(entry, 0xFF, sizeof(*entry));
  }
  for (UINT32 i = 0; i < work->count; ++i) {
    ddf::noteDeleted(work->disks[i].copy, virtualDisk);
  }
}

// Disks without a part in another virtual disk are no members, those without a record of what they are for no spares.
static void renewTypes(Work *work, UINT32 virtualDisk) {
  const ddf::Set &set = *work->set;
  for (UINT32 i = 0; i < set.pdCount; ++i) {
    const ddf::Pd &pd = set.pds[i];
    ddf::PdEntry *entry = ddf::pdEntryAt(leadCopy(work), i);
    bool member = false;
    for (UINT32 j = 0; j < pd.partCount && !member; ++j) {
      member = pd.parts[j].virtualDisk != virtualDisk;
    }
    UINT32 type = entry->type;
    type = member ? type : type & ~UINT32{ddf::pdMember};
    UINT32 place = pd.disk != ddf::noIndex ? work->places[pd.disk] : ddf::noIndex;
    bool forNone = pd.spare == ddf::SpareKind::forVirtualDisks && place < work->count &&
                   findSpareRecord(work->disks[place].copy) == nullptr;
    entry->type = static_cast<UINT16>(forNone ? type & ~UINT32{ddf::pdSpare} : type);
  }
}

// --- Changes ---

static EFI_STATUS removeVirtualDisk(Work *work, const ddf::Guid &virtualDisk) {
  EFI_STATUS status = evictLost(work, &virtualDisk);
  if (!EFI_ERROR(status)) {
    status = writeWithoutRecords(work, virtualDisk);
  }
  if (!EFI_ERROR(status)) {
    dropEntry(work, virtualDisk);
  }
  return status;
}

EFI_STATUS deleteVirtualDisk(Writer *writer, UINT32 set, UINT32 virtualDisk) {
  EFI_STATUS status = checkTarget(writer, set, Foreign::refused);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (virtualDisk >= writer->model->sets[set].virtualDiskCount) {
    return EFI_INVALID_PARAMETER;
  }
  Work work;
  status = openWork(writer, set, 0, ddf::noIndex, &work);
  if (!EFI_ERROR(status)) {
    status = beginWriting(&work);
  }
  if (!EFI_ERROR(status)) {
    status = removeVirtualDisk(&work, writer->model->sets[set].virtualDisks[virtualDisk].entry->guid);
  }
  if (!EFI_ERROR(status)) {
    renewTypes(&work, virtualDisk);
    status = writeLeaving(&work, leaveUnused);
  }
  closeWork(&work);
  return status;
}

// The last virtual disk's entry goes with the step in which the disks leave.
static EFI_STATUS removeAll(Work *work) {
  const ddf::Set &set = *work->set;
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < set.virtualDiskCount && !EFI_ERROR(status); ++i) {
    status = removeVirtualDisk(work, set.virtualDisks[i].entry->guid);
    if (!EFI_ERROR(status) && i + 1 < set.virtualDiskCount) {
      status = writeStep(work);
    }
  }
  return EFI_ERROR(status) ? status : writeLeaving(work, leaveAll);
}

EFI_STATUS deleteSet(Writer *writer, UINT32 set) {
  EFI_STATUS status = checkTarget(writer, set, Foreign::welcome);
  if (EFI_ERROR(status)) {
    return status;
  }
  Work work;
  status = openWork(writer, set, 0, ddf::noIndex, &work);
  if (!EFI_ERROR(status)) {
    status = beginWriting(&work);
  }
  if (!EFI_ERROR(status)) {
    status = removeAll(&work);
  }
  closeWork(&work);
  return status;
}

EFI_STATUS freeFailed(Writer *writer, UINT32 set, UINT32 pd) {
  EFI_STATUS status = checkTarget(writer, set, Foreign::refused);
  if (EFI_ERROR(status)) {
    return status;
  }
  const ddf::Set &target = writer->model->sets[set];
  if (pd >= target.pdCount || target.pds[pd].disk == ddf::noIndex || !isMarkedLost(target.pds[pd])) {
    return EFI_INVALID_PARAMETER;
  }
  if (!writer->targets[target.pds[pd].disk].usable) {
    return refuse(writer, EFI_ACCESS_DENIED, target.pds[pd].disk, "must not be written");
  }
  Work work;
  status = openWork(writer, set, 0, ddf::noIndex, &work);
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

} // namespace xyl::ddf_change
