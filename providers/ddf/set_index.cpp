#include "providers/ddf/set_index.h"

namespace xyl::ddf {

bool indexReferences(const Set &set, SetIndex *index) {
  index->references = poolNew<ReferenceKey>(set.pdCount + UINTN{1});
  index->lastVirtualDisks = poolNew<UINT32>(set.pdCount + UINTN{1});
  if (index->references == nullptr || index->lastVirtualDisks == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < set.pdCount; ++i) {
    index->references[i] = {set.pds[i].entry->reference, i};
  }
  sortArray(index->references, set.pdCount, [](const ReferenceKey &a, const ReferenceKey &b) {
    return a.reference != b.reference ? a.reference < b.reference : a.pd < b.pd;
  });
  return true;
}

UINT32 findReference(const Set &set, const SetIndex &index, UINT32 reference) {
  UINTN at =
      countBefore(index.references, set.pdCount, [&](const ReferenceKey &key) { return key.reference < reference; });
  bool found = at < set.pdCount && index.references[at].reference == reference && reference != noReference;
  return found ? index.references[at].pd : noIndex;
}

bool indexVirtualDisks(const Set &set, SetIndex *index) {
  index->virtualDisks = poolNew<VirtualDiskKey>(set.virtualDiskCount + UINTN{1});
  if (index->virtualDisks == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < set.virtualDiskCount; ++i) {
    index->virtualDisks[i] = {&set.virtualDisks[i].entry->guid, i};
  }
  sortArray(index->virtualDisks, set.virtualDiskCount, [](const VirtualDiskKey &a, const VirtualDiskKey &b) {
    int order = compareGuids(*a.guid, *b.guid);
    return order != 0 ? order < 0 : a.virtualDisk < b.virtualDisk;
  });
  return true;
}

UINT32 findVirtualDisk(const Set &set, const SetIndex &index, const Guid &guid) {
  UINTN at = countBefore(index.virtualDisks, set.virtualDiskCount,
                         [&](const VirtualDiskKey &key) { return compareGuids(*key.guid, guid) < 0; });
  bool found = at < set.virtualDiskCount && sameGuid(*index.virtualDisks[at].guid, guid);
  return found ? index.virtualDisks[at].virtualDisk : noIndex;
}

} // namespace xyl::ddf
