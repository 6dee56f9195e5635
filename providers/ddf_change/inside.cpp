// What is inside copies: lists, records, names.

#include "providers/ddf_change/work.h"

namespace xyl::ddf_change {

// Entries of both lists have their GUID first.
struct AnyEntry {
  ddf::Guid guid;
  UINT8 rest[40];
};
static_assert(sizeof(AnyEntry) == sizeof(ddf::PdEntry) && sizeof(AnyEntry) == sizeof(ddf::VdEntry));

// Linux leaves gaps, but counts on none before the number of entries.
void tidyList(ddf::Copy *copy, ddf::Section list) {
  ddf::ListHead *head = reinterpret_cast<ddf::ListHead *>(copy->sections[list]);
  AnyEntry *entries = reinterpret_cast<AnyEntry *>(head + 1);
  UINT32 used = 0, capacity = head->maximum;
  for (UINT32 i = 0; i < capacity; ++i) {
    if (!ddf::isFree(entries[i].guid)) {
      if (used != i) {
        entries[used] = entries[i];
        __builtin_memset(&entries[i], 0xFF, sizeof(AnyEntry));
      }
      ++used;
    }
  }
  bool keeps = list == ddf::sectionPds && head->used > used && head->used <= capacity;
  head->used = keeps ? UINT16{head->used} : static_cast<UINT16>(used);
}

ddf::VdEntry *findVirtualDiskEntry(const ddf::Copy &copy, const ddf::Guid &guid) {
  UINT32 capacity = ddf::vdCapacity(copy);
  for (UINT32 i = 0; i < capacity; ++i) {
    if (ddf::sameGuid(ddf::vdEntryAt(copy, i)->guid, guid)) {
      return ddf::vdEntryAt(copy, i);
    }
  }
  return nullptr;
}

ddf::Record *findRecord(const ddf::Copy &copy, const ddf::Guid &guid) {
  UINT32 slots = ddf::recordCapacity(copy);
  for (UINT32 i = 0; i < slots; ++i) {
    ddf::Record *slot = ddf::recordAt(copy, i);
    if (slot->signature == ddf::recordSignature && ddf::sameGuid(slot->guid, guid)) {
      return slot;
    }
  }
  return nullptr;
}

ddf::SpareRecord *findSpareRecord(const ddf::Copy &copy) {
  UINT32 slots = ddf::recordCapacity(copy);
  for (UINT32 i = 0; i < slots; ++i) {
    if (ddf::recordAt(copy, i)->signature == ddf::spareSignature) {
      return reinterpret_cast<ddf::SpareRecord *>(ddf::recordAt(copy, i));
    }
  }
  return nullptr;
}

ddf::Guid newGuid(const Writer &writer) {
  constexpr UINTN vendorSize = 8, typeSize = 8;
  ddf::Guid guid = {};
  copyBytes(guid.bytes, writer.maker->guid.bytes, vendorSize);
  copyBytes(guid.bytes + vendorSize, writer.maker->type, typeSize);
  ddf::U32 parts[2];
  parts[0] = writer.time;
  parts[1] = writer.random();
  copyBytes(guid.bytes + vendorSize + typeSize, parts, sizeof(parts));
  return guid;
}

} // namespace xyl::ddf_change
