// The disks below: taken, given back, read.

#include "base/pool.h"
#include "providers/volumes/state.h"

namespace xyl::volumes {

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;

Disk *findDisk(EFI_HANDLE handle) {
  for (Disk *disk = g_state.disks; disk != nullptr; disk = disk->next) {
    if (disk->handle == handle) {
      return disk;
    }
  }
  return nullptr;
}

// Exclusive: whoever drives the disk has to go, its partitions and file systems with it.
EFI_STATUS takeDisk(EFI_HANDLE handle, Disk **taken) {
  Disk *disk = poolNew<Disk>();
  void *found = nullptr;
  EFI_STATUS status = EFI_OUT_OF_RESOURCES;
  if (disk != nullptr) {
    status = g_bootServices->OpenProtocol(handle, &g_blockIoGuid, &found, g_state.image, handle,
                                          EFI_OPEN_PROTOCOL_BY_DRIVER | EFI_OPEN_PROTOCOL_EXCLUSIVE);
  }
  if (EFI_ERROR(status)) {
    poolFree(disk);
    return status;
  }
  disk->handle = handle;
  disk->blockIo = static_cast<EFI_BLOCK_IO_PROTOCOL *>(found);
  __builtin_memset(disk->set.bytes, 0xFF, sizeof(disk->set.bytes));
  Disk **last = &g_state.disks;
  while (*last != nullptr) {
    last = &(*last)->next;
  }
  *last = *taken = disk;
  g_state.isLookDue = true;
  return EFI_SUCCESS;
}

void giveDisk(Disk *disk) {
  for (Disk **at = &g_state.disks; *at != nullptr; at = &(*at)->next) {
    if (*at == disk) {
      *at = disk->next;
      break;
    }
  }
  g_bootServices->CloseProtocol(disk->handle, &g_blockIoGuid, g_state.image, disk->handle);
  poolFree(disk);
}

EFI_STATUS readBlocks(EFI_BLOCK_IO_PROTOCOL *blockIo, UINT64 block, UINTN count, void *buffer) {
  const EFI_BLOCK_IO_MEDIA &media = *blockIo->Media;
  UINT8 *to = static_cast<UINT8 *>(buffer);
  if (media.IoAlign <= 1 || reinterpret_cast<UINTN>(to) % media.IoAlign == 0) {
    return blockIo->ReadBlocks(blockIo, media.MediaId, block, count * ddf::sectorSize, to);
  }
  UINT8 *aligned = g_state.pages + UINTN{halfBlocks} * ddf::sectorSize;
  EFI_STATUS status = EFI_SUCCESS;
  while (count > 0 && !EFI_ERROR(status)) {
    UINTN part = count < halfBlocks ? count : halfBlocks;
    status = blockIo->ReadBlocks(blockIo, media.MediaId, block, part * ddf::sectorSize, aligned);
    copyBytes(to, aligned, EFI_ERROR(status) ? 0 : part * ddf::sectorSize);
    block += part;
    to += part * ddf::sectorSize;
    count -= part;
  }
  return status;
}

} // namespace xyl::volumes
