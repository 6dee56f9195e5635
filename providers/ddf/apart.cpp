// Disks of a set that were changed while the newest one was away, which was changed too: each half has what the other
// one does not know, and neither is an older state of the other.

#include "providers/ddf/set_stages.h"

namespace xyl::ddf {

constexpr UINT16 lost = pdFailed | pdMissing;

static const PdEntry *findEntry(const Copy &copy, UINT32 reference) {
  UINT32 capacity = pdCapacity(copy);
  for (UINT32 at = 0; at < capacity; ++at) {
    const PdEntry *entry = pdEntryAt(copy, at);
    if (!isFree(entry->guid) && entry->reference == reference) {
      return entry;
    }
  }
  return nullptr;
}

// A disk that is lost for others is not written any more, or with their lists, by which it is lost, too.
static bool givesUp(const Copy &copy, const Copy &newest) {
  UINT32 reference = diskDataOf(newest)->reference;
  const PdEntry *own = findEntry(newest, reference), *entry = findEntry(copy, reference);
  return own != nullptr && entry != nullptr && (own->state & lost) == 0 && (entry->state & lost) != 0;
}

static bool lists(const Copy &copy, const Guid &virtualDisk) {
  UINT32 capacity = vdCapacity(copy);
  for (UINT32 at = 0; at < capacity; ++at) {
    if (sameGuid(vdEntryAt(copy, at)->guid, virtualDisk)) {
      return true;
    }
  }
  return false;
}

// Whether the disk has a part of a virtual disk that the newest one neither has nor had.
static bool hasOwnVirtualDisk(const Set &set, const SetIndex &index, const Copy &copy, const Copy &newest) {
  UINT32 slots = recordCapacity(copy);
  for (UINT32 at = 0; at < slots; ++at) {
    const Record *record = recordAt(copy, at);
    if (record->signature == recordSignature && findVirtualDisk(set, index, record->guid) == noIndex &&
        !isDeleted(newest, record->guid) && lists(copy, record->guid)) {
      return true;
    }
  }
  return false;
}

void setApart(Model *model, Set *set, const SetIndex &index) {
  const Copy &newest = model->disks[set->newest].copy;
  for (UINT32 i = 0; i < set->pdCount; ++i) {
    UINT32 number = set->pds[i].disk;
    if (number == noIndex || number == set->newest) {
      continue;
    }
    Disk *disk = &model->disks[number];
    if (givesUp(disk->copy, newest) || hasOwnVirtualDisk(*set, index, disk->copy, newest)) {
      disk->kind = DiskKind::stale;
      disk->fault = {"changed apart from its set", nullptr};
      set->pds[i].disk = noIndex;
      ++set->apart;
    }
  }
}

} // namespace xyl::ddf
