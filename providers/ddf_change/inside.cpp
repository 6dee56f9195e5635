// What is inside copies: lists, records, names.

#include "providers/ddf_change/work.h"

// Entries of both lists have their GUID first.
struct ANY_ENTRY {
  ddf::Guid guid;
  UINT8 rest[40];
};
static_assert(sizeof(ANY_ENTRY) == sizeof(ddf::PdEntry) && sizeof(ANY_ENTRY) == sizeof(ddf::VdEntry));

// Linux leaves gaps, but counts on none before the number of entries.
void tidyList(ddf::Copy *copy, ddf::Section list) {
  ddf::ListHead *head = reinterpret_cast<ddf::ListHead *>(copy->sections[list]);
  ANY_ENTRY *entries = reinterpret_cast<ANY_ENTRY *>(head + 1);
  UINT32 used = 0, capacity = head->maximum;
  for (UINT32 i = 0; i < capacity; i++) {
    if (!ddf::isFree(entries[i].guid)) {
      if (used != i) {
        entries[used] = entries[i];
        __builtin_memset(&entries[i], 0xFF, sizeof(ANY_ENTRY));
      }
      used++;
    }
  }
  bool keeps = list == ddf::sectionPds && head->used > used && head->used <= capacity;
  head->used = keeps ? UINT16{head->used} : static_cast<UINT16>(used);
}

ddf::VdEntry *findVirtualDiskEntry(const ddf::Copy &copy, const ddf::Guid &guid) {
  UINT32 capacity = ddf::vdCapacity(copy);
  for (UINT32 i = 0; i < capacity; i++) {
    if (ddf::sameGuid(ddf::vdEntryAt(copy, i)->guid, guid)) {
      return ddf::vdEntryAt(copy, i);
    }
  }
  return nullptr;
}

ddf::Record *findRecord(const ddf::Copy &copy, const ddf::Guid &guid) {
  UINT32 slots = ddf::recordCapacity(copy);
  for (UINT32 i = 0; i < slots; i++) {
    ddf::Record *slot = ddf::recordAt(copy, i);
    if (slot->signature == ddf::recordSignature && ddf::sameGuid(slot->guid, guid)) {
      return slot;
    }
  }
  return nullptr;
}

ddf::SpareRecord *findSpareRecord(const ddf::Copy &copy) {
  UINT32 slots = ddf::recordCapacity(copy);
  for (UINT32 i = 0; i < slots; i++) {
    if (ddf::recordAt(copy, i)->signature == ddf::spareSignature) {
      return reinterpret_cast<ddf::SpareRecord *>(ddf::recordAt(copy, i));
    }
  }
  return nullptr;
}

ddf::Guid newGuid(const DDF_WRITER &writer) {
  constexpr UINTN VENDOR = 8, TYPE = 8;
  ddf::Guid guid = {};
  copyBytes(guid.bytes, writer.maker->guid.bytes, VENDOR);
  copyBytes(guid.bytes + VENDOR, writer.maker->type, TYPE);
  ddf::U32 parts[2];
  parts[0] = writer.time;
  parts[1] = writer.random();
  copyBytes(guid.bytes + VENDOR + TYPE, parts, sizeof(parts));
  return guid;
}
