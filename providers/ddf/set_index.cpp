#include "providers/ddf/set_index.h"

bool indexReferences(const DDF_SET &set, SET_INDEX *index) {
  index->references = poolNew<REFERENCE_KEY>(set.pdCount + UINTN{1});
  index->lastVolumes = poolNew<UINT32>(set.pdCount + UINTN{1});
  if (index->references == nullptr || index->lastVolumes == nullptr) {
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

bool indexVolumes(const DDF_SET &set, SET_INDEX *index) {
  index->volumes = poolNew<VOLUME_KEY>(set.volumeCount + UINTN{1});
  if (index->volumes == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < set.volumeCount; i++) {
    index->volumes[i] = {&set.volumes[i].entry->guid, i};
  }
  sortArray(index->volumes, set.volumeCount, [](const VOLUME_KEY &a, const VOLUME_KEY &b) {
    int order = compareGuids(*a.guid, *b.guid);
    return order != 0 ? order < 0 : a.volume < b.volume;
  });
  return true;
}

UINT32 findVolume(const DDF_SET &set, const SET_INDEX &index, const DDF_GUID &guid) {
  UINTN at = countBefore(index.volumes, set.volumeCount,
                         [&](const VOLUME_KEY &key) { return compareGuids(*key.guid, guid) < 0; });
  bool found = at < set.volumeCount && ddfSameGuid(*index.volumes[at].guid, guid);
  return found ? index.volumes[at].volume : DDF_NONE;
}
