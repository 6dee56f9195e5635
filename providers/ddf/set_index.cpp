#include "providers/ddf/set_index.h"

bool indexReferences(const DDF_SET &set, SET_INDEX *index) {
  index->references = poolNew<REFERENCE_KEY>(set.pdCount + UINTN{1});
  index->lastVirtualDisks = poolNew<UINT32>(set.pdCount + UINTN{1});
  if (index->references == nullptr || index->lastVirtualDisks == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < set.pdCount; i++) {
    index->references[i] = {set.pds[i].entry->reference, i};
  }
  sortArray(index->references, set.pdCount, [](const REFERENCE_KEY &a, const REFERENCE_KEY &b) {
    return a.reference != b.reference ? a.reference < b.reference : a.pd < b.pd;
  });
  return true;
}

UINT32 findReference(const DDF_SET &set, const SET_INDEX &index, UINT32 reference) {
  UINTN at =
      countBefore(index.references, set.pdCount, [&](const REFERENCE_KEY &key) { return key.reference < reference; });
  bool found = at < set.pdCount && index.references[at].reference == reference && reference != DDF_NO_REFERENCE;
  return found ? index.references[at].pd : DDF_NONE;
}

bool indexVirtualDisks(const DDF_SET &set, SET_INDEX *index) {
  index->virtualDisks = poolNew<VIRTUAL_DISK_KEY>(set.virtualDiskCount + UINTN{1});
  if (index->virtualDisks == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < set.virtualDiskCount; i++) {
    index->virtualDisks[i] = {&set.virtualDisks[i].entry->guid, i};
  }
  sortArray(index->virtualDisks, set.virtualDiskCount, [](const VIRTUAL_DISK_KEY &a, const VIRTUAL_DISK_KEY &b) {
    int order = compareGuids(*a.guid, *b.guid);
    return order != 0 ? order < 0 : a.virtualDisk < b.virtualDisk;
  });
  return true;
}

UINT32 findVirtualDisk(const DDF_SET &set, const SET_INDEX &index, const DDF_GUID &guid) {
  UINTN at = countBefore(index.virtualDisks, set.virtualDiskCount,
                         [&](const VIRTUAL_DISK_KEY &key) { return compareGuids(*key.guid, guid) < 0; });
  bool found = at < set.virtualDiskCount && ddfSameGuid(*index.virtualDisks[at].guid, guid);
  return found ? index.virtualDisks[at].virtualDisk : DDF_NONE;
}
