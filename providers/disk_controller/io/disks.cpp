#include "providers/disk_controller/io/disks.h"

#include "base/pool.h"
#include "base/sort.h"
#include "providers/disk_controller/io/disk_identity.h"
#include "providers/disk_controller/io/disk_place.h"
#include "providers/disk_controller/io/file_systems.h"
#include "providers/disk_controller/io/shown_volumes.h"
#include "uefi/protocols.h"

namespace xyl::disk_controller {

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

// The disk on the handle when there is a whole one with a medium.
static bool isDisk(EFI_HANDLE handle, Disk *disk) {
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(handle, &g_blockIoGuid, &found))) {
    return false;
  }
  disk->handle = handle;
  disk->blockIo = static_cast<EFI_BLOCK_IO_PROTOCOL *>(found);
  const EFI_BLOCK_IO_MEDIA *media = disk->blockIo->Media;
  return media != nullptr && media->MediaPresent && !media->LogicalPartition && !media->RemovableMedia &&
         media->BlockSize != 0 && !isOnUsb(handle) && !isShownVolume(handle);
}

static const CHAR8 *whyUnfit(const EFI_BLOCK_IO_MEDIA &media) {
  if (media.BlockSize != 512) {
    return "its blocks are not of 512 bytes";
  }
  return media.ReadOnly ? "it is write-protected" : nullptr;
}

static void describe(Disk *disk) {
  const EFI_BLOCK_IO_MEDIA &media = *disk->blockIo->Media;
  disk->sectors = (media.LastBlock + 1) * (media.BlockSize / 512U);
  disk->unusable = whyUnfit(media);
  void *path = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(disk->handle, &g_devicePathGuid, &path))) {
    path = nullptr;
  }
  EFI_HANDLE controller = nullptr;
  disk->place = placeOf(static_cast<EFI_DEVICE_PATH_PROTOCOL *>(path), &controller);
  identifyDisk(disk, controller);
}

EFI_STATUS findDisks(DiskList *list) {
  *list = {};
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(ByProtocol, &g_blockIoGuid,
                                                         /* SearchKey= */ nullptr, &count, &handles);
  if (EFI_ERROR(status)) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  list->items = poolNew<Disk>(count);
  if (list->items == nullptr) {
    poolFree(handles);
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINTN i = 0; i < count; ++i) {
    Disk *disk = &list->items[list->count];
    *disk = {};
    if (isDisk(handles[i], disk)) {
      describe(disk);
      list->count += 1;
    }
  }
  poolFree(handles);
  sortArray(list->items, list->count, [](const Disk &a, const Disk &b) { return comparePlaces(a.place, b.place) < 0; });
  status = markFileSystems(list);
  if (EFI_ERROR(status)) {
    freeDisks(list);
  }
  return status;
}

void freeDisks(DiskList *list) {
  poolFree(list->items);
  *list = {};
}

} // namespace xyl::disk_controller
