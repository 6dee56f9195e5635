#include "providers/disk_controller/model/objects.h"

#include "raid_mgmt.h"
#include "records/ids.h"

namespace xyl::disk_controller {

struct Objects {
  UINT32 count;
  const UINT32 *ids; // of the first
  UINTN stride;      // bytes from one id to the next
};

static constexpr UINT32 adapterId = 0;

static bool objectsOf(const View &view, UINT32 objectType, Objects *objects) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    *objects = {1, &adapterId, sizeof(adapterId)};
    return true;
  case RAID_OBJECT_ENCLOSURE:
    *objects = {view.enclosureCount, &view.enclosures->objectId, sizeof(ViewEnclosure)};
    return true;
  case RAID_OBJECT_PHYSICAL_DISK:
    *objects = {view.list.count, &view.disks->objectId, sizeof(ViewDisk)};
    return true;
  case RAID_OBJECT_VIRTUAL_DISK:
    *objects = {view.virtualDiskCount, &view.virtualDisks->objectId, sizeof(ViewVirtualDisk)};
    return true;
  default:
    return false;
  }
}

bool countObjects(const View &view, UINT32 objectType, UINT32 *count) {
  Objects objects;
  bool isKnown = objectsOf(view, objectType, &objects);
  *count = isKnown ? objects.count : 0;
  return isKnown;
}

EFI_STATUS findObjects(const View &view, UINT32 objectType, const UINT32 *ids, UINT32 count, UINT32 *numbers) {
  Objects objects;
  if (!objectsOf(view, objectType, &objects)) {
    return EFI_UNSUPPORTED;
  }
  records::IdIndex index = {};
  EFI_STATUS status =
      records::indexIds(&index, objects.ids, objects.count, objects.stride) ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    UINT32 number = records::findId(index, ids[i]);
    numbers[i] = number != records::noId ? number : 0;
    status = number != records::noId ? EFI_SUCCESS : EFI_NOT_FOUND;
  }
  records::freeIds(&index);
  return status;
}

} // namespace xyl::disk_controller
