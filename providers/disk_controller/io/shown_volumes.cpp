#include "providers/disk_controller/io/shown_volumes.h"

#include "base/pool.h"
#include "providers/disk_controller/io/file_systems.h"
#include "raid_volumes.h"

namespace xyl::disk_controller {

static const EFI_GUID g_volumesGuid = RAID_VOLUMES_PROTOCOL_GUID;
static const EFI_GUID g_volumePathGuid = RAID_VOLUME_PATH_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

bool isShownVolume(EFI_HANDLE handle) {
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(handle, &g_devicePathGuid, &found))) {
    return false;
  }
  const UINT8 *node = static_cast<UINT8 *>(found); // of a hardware vendor
  return node[0] == 1 && node[1] == 4 && (node[2] | node[3] << 8) == 20 + RAID_VOLUME_ID_SIZE &&
         __builtin_memcmp(node + 4, &g_volumePathGuid, sizeof(g_volumePathGuid)) == 0;
}

static RAID_VOLUMES_PROTOCOL *findDriver() {
  void *found = nullptr;
  return EFI_ERROR(g_bootServices->LocateProtocol(&g_volumesGuid, /* Registration= */ nullptr, &found))
             ? nullptr
             : static_cast<RAID_VOLUMES_PROTOCOL *>(found);
}

// The virtual disk's handle, or null.
static EFI_HANDLE findHandle(RAID_VOLUMES_PROTOCOL *driver, const ddf::VirtualDisk &virtualDisk) {
  EFI_HANDLE handle = nullptr;
  const CHAR8 *why = nullptr;
  bool found = driver != nullptr && !EFI_ERROR(driver->Find(driver, virtualDisk.entry->guid.bytes, &handle, &why));
  return found ? handle : nullptr;
}

bool isRunningVirtualDisk(const ddf::VirtualDisk &virtualDisk) {
  EFI_HANDLE handle = findHandle(findDriver(), virtualDisk);
  return handle != nullptr && hasRunningImages(handle);
}

EFI_STATUS hideVolume(const ddf::VirtualDisk &virtualDisk) {
  RAID_VOLUMES_PROTOCOL *driver = findDriver();
  EFI_HANDLE handle = findHandle(driver, virtualDisk);
  if (handle == nullptr) {
    return EFI_SUCCESS;
  }
  return hasRunningImages(handle) ? EFI_ACCESS_DENIED : driver->Hide(driver, virtualDisk.entry->guid.bytes);
}

void refreshVirtualDisks() {
  RAID_VOLUMES_PROTOCOL *driver = findDriver();
  if (driver != nullptr) {
    EFI_STATUS status = driver->Refresh(driver);
    static_cast<void>(status); // what it could not look at it looks at when firmware boots
  }
}

} // namespace xyl::disk_controller
