// Which disks of a set wait as spares, and for which virtual disks.

#include "providers/ddf/set_stages.h"

static bool isReady(const DDF_PD &pd) {
  UINT32 state = pd.entry->state;
  return pd.disk != DDF_NONE && (state & DDF_PD_ONLINE) != 0 && (state & (DDF_PD_FAILED | DDF_PD_MISSING)) == 0;
}

// The disk's own spare record, or null.
static const DDF_SPARE_RECORD *findSpareRecord(const DDF_COPY &copy) {
  UINT32 slots = ddfRecordCapacity(copy);
  for (UINT32 at = 0; at < slots; at++) {
    const DDF_RECORD *slot = ddfRecordSlot(copy, at);
    if (slot->signature == DDF_SPARE_SIGNATURE) {
      return reinterpret_cast<const DDF_SPARE_RECORD *>(slot);
    }
  }
  return nullptr;
}

static bool readDedication(const DDF_COPY &copy, const DDF_SET &set, const SET_INDEX &index,
                           const DDF_SPARE_RECORD &record, DDF_PD *pd) {
  UINTN room = (recordSize(copy.header) - sizeof(record)) / sizeof(DDF_SPARE_ENTRY);
  UINTN count = record.entries < room ? UINTN{record.entries} : room;
  const DDF_SPARE_ENTRY *entries = reinterpret_cast<const DDF_SPARE_ENTRY *>(&record + 1);
  pd->spareFor = poolNew<UINT32>(count + 1);
  if (pd->spareFor == nullptr) {
    return false;
  }
  for (UINTN i = 0; i < count; i++) {
    UINT32 virtualDisk = findVirtualDisk(set, index, entries[i].guid);
    if (virtualDisk != DDF_NONE) {
      pd->spareFor[pd->spareForCount++] = virtualDisk;
    }
  }
  return true;
}

bool readSpares(const DDF_MODEL &model, DDF_SET *set, const SET_INDEX &index) {
  for (UINT32 i = 0; i < set->pdCount; i++) {
    DDF_PD *pd = &set->pds[i];
    UINT32 type = pd->entry->type;
    if (!isReady(*pd) || (type & (DDF_PD_GLOBAL_SPARE | DDF_PD_SPARE)) == 0) {
      continue;
    }
    pd->spare = DDF_SPARE_GLOBAL;
    const DDF_COPY &copy = model.disks[pd->disk].copy;
    // Without a record Linux makes it a global spare with its next change.
    const DDF_SPARE_RECORD *record = (type & DDF_PD_SPARE) != 0 ? findSpareRecord(copy) : nullptr;
    if (record == nullptr || (record->type & DDF_SPARE_DEDICATED) == 0) {
      continue;
    }
    pd->spare = DDF_SPARE_FOR_VIRTUAL_DISKS;
    if (!readDedication(copy, *set, index, *record, pd)) {
      return false;
    }
  }
  return true;
}
