#include "providers/disk_controller/model/objects.h"

#include "raid_mgmt.h"
#include "records/ids.h"

struct OBJECTS {
  UINT32 Count;
  const UINT32 *Ids; // of the first
  UINTN Stride;      // bytes from one id to the next
};

static constexpr UINT32 ADAPTER_ID = 0;

static bool objectsOf(const VIEW &view, UINT32 objectType, OBJECTS *objects) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    *objects = {1, &ADAPTER_ID, sizeof(ADAPTER_ID)};
    return true;
  case RAID_OBJECT_ENCLOSURE:
    *objects = {view.EnclosureCount, &view.Enclosures->ObjectId, sizeof(VIEW_ENCLOSURE)};
    return true;
  case RAID_OBJECT_PHYSICAL_DISK:
    *objects = {view.List.Count, &view.Disks->ObjectId, sizeof(VIEW_DISK)};
    return true;
  case RAID_OBJECT_VIRTUAL_DISK:
    *objects = {view.VirtualDiskCount, &view.VirtualDisks->ObjectId, sizeof(VIEW_VIRTUAL_DISK)};
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
  ID_INDEX index = {};
  EFI_STATUS status = indexIds(&index, objects.Ids, objects.Count, objects.Stride) ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    UINT32 number = findId(index, ids[i]);
    numbers[i] = number != ID_NONE ? number : 0;
    status = number != ID_NONE ? EFI_SUCCESS : EFI_NOT_FOUND;
  }
  freeIds(&index);
  return status;
}
