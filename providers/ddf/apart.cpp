// Disks of a set that were changed while the newest one was away, which was changed too: each half has what the other
// one does not know, and neither is an older state of the other.

#include "providers/ddf/set_stages.h"

constexpr UINT16 LOST = DDF_PD_FAILED | DDF_PD_MISSING;

static const DDF_PD_ENTRY *findEntry(const DDF_COPY &copy, UINT32 reference) {
  UINT32 capacity = ddfPdCapacity(copy);
  for (UINT32 at = 0; at < capacity; at++) {
    const DDF_PD_ENTRY *entry = ddfPdEntry(copy, at);
    if (!ddfIsFree(entry->guid) && entry->reference == reference) {
      return entry;
    }
  }
  return nullptr;
}

// A disk that is lost for others is not written any more, or with their lists, by which it is lost, too.
static bool givesUp(const DDF_COPY &copy, const DDF_COPY &newest) {
  UINT32 reference = ddfDiskData(newest)->reference;
  const DDF_PD_ENTRY *own = findEntry(newest, reference), *entry = findEntry(copy, reference);
  return own != nullptr && entry != nullptr && (own->state & LOST) == 0 && (entry->state & LOST) != 0;
}

static bool lists(const DDF_COPY &copy, const DDF_GUID &virtualDisk) {
  UINT32 capacity = ddfVdCapacity(copy);
  for (UINT32 at = 0; at < capacity; at++) {
    if (ddfSameGuid(ddfVdEntry(copy, at)->guid, virtualDisk)) {
      return true;
    }
  }
  return false;
}

// Whether the disk has a part of a virtual disk that the newest one neither has nor had.
static bool hasOwnVirtualDisk(const DDF_SET &set, const SET_INDEX &index, const DDF_COPY &copy,
                              const DDF_COPY &newest) {
  UINT32 slots = ddfRecordCapacity(copy);
  for (UINT32 at = 0; at < slots; at++) {
    const DDF_RECORD *record = ddfRecordSlot(copy, at);
    if (record->signature == DDF_RECORD_SIGNATURE && findVirtualDisk(set, index, record->guid) == DDF_NONE &&
        !ddfIsDeleted(newest, record->guid) && lists(copy, record->guid)) {
      return true;
    }
  }
  return false;
}

void setApart(DDF_MODEL *model, DDF_SET *set, const SET_INDEX &index) {
  const DDF_COPY &newest = model->disks[set->newest].copy;
  for (UINT32 i = 0; i < set->pdCount; i++) {
    UINT32 number = set->pds[i].disk;
    if (number == DDF_NONE || number == set->newest) {
      continue;
    }
    DDF_DISK *disk = &model->disks[number];
    if (givesUp(disk->copy, newest) || hasOwnVirtualDisk(*set, index, disk->copy, newest)) {
      disk->kind = DDF_DISK_STALE;
      disk->fault = {"changed apart from its set", nullptr};
      set->pds[i].disk = DDF_NONE;
      set->apart++;
    }
  }
}
