// Which disks of a set wait as spares, and for which virtual disks.

#include "providers/ddf/set_stages.h"

namespace xyl::ddf {

static bool isReady(const Pd &pd) {
  UINT32 state = pd.entry->state;
  return pd.disk != noIndex && (state & pdOnline) != 0 && (state & (pdFailed | pdMissing)) == 0;
}

// The disk's own spare record, or null.
static const SpareRecord *findSpareRecord(const Copy &copy) {
  UINT32 slots = recordCapacity(copy);
  for (UINT32 at = 0; at < slots; ++at) {
    const Record *slot = recordAt(copy, at);
    if (slot->signature == spareSignature) {
      return reinterpret_cast<const SpareRecord *>(slot);
    }
  }
  return nullptr;
}

static bool readDedication(const Copy &copy, const Set &set, const SetIndex &index, const SpareRecord &record, Pd *pd) {
  UINTN room = (recordSize(copy.header) - sizeof(record)) / sizeof(SpareEntry);
  UINTN count = record.entries < room ? UINTN{record.entries} : room;
  const SpareEntry *entries = reinterpret_cast<const SpareEntry *>(&record + 1);
  pd->spareFor = poolNew<UINT32>(count + 1);
  if (pd->spareFor == nullptr) {
    return false;
  }
  for (UINTN i = 0; i < count; ++i) {
    UINT32 virtualDisk = findVirtualDisk(set, index, entries[i].guid);
    if (virtualDisk != noIndex) {
      pd->spareFor[pd->spareForCount++] = virtualDisk;
    }
  }
  return true;
}

bool readSpares(const Model &model, Set *set, const SetIndex &index) {
  for (UINT32 i = 0; i < set->pdCount; ++i) {
    Pd *pd = &set->pds[i];
    UINT32 type = pd->entry->type;
    if (!isReady(*pd) || (type & (pdGlobalSpare | pdSpare)) == 0) {
      continue;
    }
    pd->spare = SpareKind::global;
    const Copy &copy = model.disks[pd->disk].copy;
    // Without a record Linux makes it a global spare with its next change.
    const SpareRecord *record = (type & pdSpare) != 0 ? findSpareRecord(copy) : nullptr;
    if (record == nullptr || (record->type & spareDedicated) == 0) {
      continue;
    }
    pd->spare = SpareKind::forVirtualDisks;
    if (!readDedication(copy, *set, index, *record, pd)) {
      return false;
    }
  }
  return true;
}

} // namespace xyl::ddf
