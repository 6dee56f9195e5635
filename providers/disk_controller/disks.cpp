#include "providers/disk_controller/disks.h"

#include "base/pool.h"
#include "providers/disk_controller/disk_identity.h"
#include "providers/disk_controller/disk_place.h"
#include "uefi/protocols.h"

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

// The disk on the handle when there is a whole one with a medium.
static bool isDisk(EFI_HANDLE handle, DISK *disk) {
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(handle, &g_blockIoGuid, &found))) {
    return false;
  }
  disk->Handle = handle;
  disk->BlockIo = static_cast<EFI_BLOCK_IO_PROTOCOL *>(found);
  const EFI_BLOCK_IO_MEDIA *media = disk->BlockIo->Media;
  return media != nullptr && media->MediaPresent && !media->LogicalPartition && !media->RemovableMedia &&
         media->BlockSize != 0 && !isOnUsb(handle);
}

static const CHAR8 *whyUnusable(const EFI_BLOCK_IO_MEDIA &media) {
  if (media.BlockSize != 512) {
    return "its blocks are not of 512 bytes";
  }
  return media.ReadOnly ? "it is write-protected" : nullptr;
}

static void describe(DISK *disk) {
  const EFI_BLOCK_IO_MEDIA &media = *disk->BlockIo->Media;
  disk->Sectors = (media.LastBlock + 1) * (media.BlockSize / 512U);
  disk->Unusable = whyUnusable(media);
  void *path = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(disk->Handle, &g_devicePathGuid, &path))) {
    path = nullptr;
  }
  EFI_HANDLE controller = nullptr;
  disk->Place = placeOf(static_cast<EFI_DEVICE_PATH_PROTOCOL *>(path), &controller);
  identifyDisk(disk, controller);
}

// Moves the item at index down a heap of count ones, whose greatest is the first.
static void siftDown(DISK *items, UINT32 index, UINT32 count) {
  while (2 * index + 1 < count) {
    UINT32 child = 2 * index + 1;
    if (child + 1 < count && comparePlaces(items[child].Place, items[child + 1].Place) < 0) {
      child += 1;
    }
    if (comparePlaces(items[index].Place, items[child].Place) >= 0) {
      return;
    }
    DISK moved = items[index];
    items[index] = items[child];
    items[child] = moved;
    index = child;
  }
}

static void sortByPlace(DISK_LIST *list) {
  for (UINT32 i = list->Count / 2; i-- > 0;) {
    siftDown(list->Items, i, list->Count);
  }
  for (UINT32 end = list->Count; end-- > 1;) {
    DISK greatest = list->Items[0];
    list->Items[0] = list->Items[end];
    list->Items[end] = greatest;
    siftDown(list->Items, 0, end);
  }
}

EFI_STATUS findDisks(DISK_LIST *list) {
  *list = {};
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(EFI_LOCATE_BY_PROTOCOL, &g_blockIoGuid,
                                                         /* SearchKey= */ nullptr, &count, &handles);
  if (EFI_ERROR(status)) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  list->Items = poolNew<DISK>(count);
  if (list->Items == nullptr) {
    poolFree(handles);
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINTN i = 0; i < count; ++i) {
    DISK *disk = &list->Items[list->Count];
    *disk = {};
    if (isDisk(handles[i], disk)) {
      describe(disk);
      list->Count += 1;
    }
  }
  poolFree(handles);
  sortByPlace(list);
  return EFI_SUCCESS;
}

void freeDisks(DISK_LIST *list) {
  poolFree(list->Items);
  *list = {};
}
