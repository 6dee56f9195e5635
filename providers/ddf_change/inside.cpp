// What is inside copies: lists, records, names.

#include "providers/ddf_change/work.h"

// Entries of both lists have their GUID first.
struct ANY_ENTRY {
  DDF_GUID guid;
  UINT8 rest[40];
};
static_assert(sizeof(ANY_ENTRY) == sizeof(DDF_PD_ENTRY) && sizeof(ANY_ENTRY) == sizeof(DDF_VD_ENTRY));

// Linux leaves gaps, but counts on none before the number of entries.
void tidyList(DDF_COPY *copy, DDF_SECTION list) {
  DDF_LIST_HEAD *head = reinterpret_cast<DDF_LIST_HEAD *>(copy->sections[list]);
  ANY_ENTRY *entries = reinterpret_cast<ANY_ENTRY *>(head + 1);
  UINT32 used = 0, capacity = head->maximum;
  for (UINT32 i = 0; i < capacity; i++) {
    if (!ddfIsFree(entries[i].guid)) {
      if (used != i) {
        entries[used] = entries[i];
        __builtin_memset(&entries[i], 0xFF, sizeof(ANY_ENTRY));
      }
      used++;
    }
  }
  bool keeps = list == DDF_PD_RECORDS && head->used > used && head->used <= capacity;
  head->used = keeps ? UINT16{head->used} : static_cast<UINT16>(used);
}

DDF_VD_ENTRY *findVirtualDiskEntry(const DDF_COPY &copy, const DDF_GUID &guid) {
  UINT32 capacity = ddfVdCapacity(copy);
  for (UINT32 i = 0; i < capacity; i++) {
    if (ddfSameGuid(ddfVdEntry(copy, i)->guid, guid)) {
      return ddfVdEntry(copy, i);
    }
  }
  return nullptr;
}

DDF_RECORD *findRecord(const DDF_COPY &copy, const DDF_GUID &guid) {
  UINT32 slots = ddfRecordCapacity(copy);
  for (UINT32 i = 0; i < slots; i++) {
    DDF_RECORD *slot = ddfRecordSlot(copy, i);
    if (slot->signature == DDF_RECORD_SIGNATURE && ddfSameGuid(slot->guid, guid)) {
      return slot;
    }
  }
  return nullptr;
}

DDF_SPARE_RECORD *findSpareRecord(const DDF_COPY &copy) {
  UINT32 slots = ddfRecordCapacity(copy);
  for (UINT32 i = 0; i < slots; i++) {
    if (ddfRecordSlot(copy, i)->signature == DDF_SPARE_SIGNATURE) {
      return reinterpret_cast<DDF_SPARE_RECORD *>(ddfRecordSlot(copy, i));
    }
  }
  return nullptr;
}

DDF_GUID newGuid(const DDF_WRITER &writer) {
  constexpr UINTN VENDOR = 8, TYPE = 8;
  DDF_GUID guid = {};
  copyBytes(guid.bytes, writer.maker->guid.bytes, VENDOR);
  copyBytes(guid.bytes + VENDOR, writer.maker->type, TYPE);
  DDF_U32 parts[2];
  parts[0] = writer.time;
  parts[1] = writer.random();
  copyBytes(guid.bytes + VENDOR + TYPE, parts, sizeof(parts));
  return guid;
}
