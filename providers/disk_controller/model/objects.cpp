#include "providers/disk_controller/model/objects.h"

#include "base/pool.h"
#include "base/sort.h"
#include "raid_mgmt.h"

struct OBJECTS {
  UINT32 Count;
  UINT32 (*Id)(const VIEW &view, UINT32 index);
};

static bool objectsOf(const VIEW &view, UINT32 objectType, OBJECTS *objects) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    *objects = {1, [](const VIEW &, UINT32) { return UINT32{0}; }};
    return true;
  case RAID_OBJECT_ENCLOSURE:
    *objects = {view.EnclosureCount, [](const VIEW &from, UINT32 i) { return from.Enclosures[i].ObjectId; }};
    return true;
  case RAID_OBJECT_PHYSICAL_DISK:
    *objects = {view.List.Count, [](const VIEW &from, UINT32 i) { return from.Disks[i].ObjectId; }};
    return true;
  case RAID_OBJECT_VIRTUAL_DISK:
    *objects = {view.VolumeCount, [](const VIEW &from, UINT32 i) { return from.Volumes[i].ObjectId; }};
    return true;
  default:
    return false;
  }
}

bool countObjects(const VIEW &view, UINT32 objectType, UINT32 *count) {
  OBJECTS objects;
  bool isKnown = objectsOf(view, objectType, &objects);
  *count = isKnown ? objects.Count : 0;
  return isKnown;
}

EFI_STATUS findObjects(const VIEW &view, UINT32 objectType, const UINT32 *ids, UINT32 count, UINT32 *numbers) {
  OBJECTS objects;
  if (!objectsOf(view, objectType, &objects)) {
    return EFI_UNSUPPORTED;
  }
  UINT64 *index = poolNew<UINT64>(UINTN{objects.Count} + 1);
  if (index == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < objects.Count; ++i) {
    index[i] = indexKey(objects.Id(view, i), i);
  }
  sortKeys(index, objects.Count);
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    UINTN at = lowerBound(index, objects.Count, indexKey(ids[i], 0));
    bool isFound = at < objects.Count && index[at] >> 32 == ids[i];
    numbers[i] = isFound ? static_cast<UINT32>(index[at]) : 0;
    status = isFound ? EFI_SUCCESS : EFI_NOT_FOUND;
  }
  poolFree(index);
  return status;
}
