// Sectors of a disk, read and written through the firmware, and flushed so that they are on the medium.
#pragma once

#include "providers/disk_controller/io/disks.h"

namespace xyl::disk_controller {

constexpr UINTN pageSize = 4096;
constexpr UINTN bufferSize = 0x100000;

// A disk and the buffer that its sectors pass through, since firmware wants aligned ones: bufferSize bytes, at a
// page's boundary.
struct DiskAccess {
  const Disk *disk;
  UINT8 *buffer;
};

// context leads to a DiskAccess; count sectors of 512 bytes from lba on. The firmware's status.
EFI_STATUS readDisk(void *context, UINT64 lba, UINTN count, void *buffer);
EFI_STATUS writeDisk(void *context, UINT64 lba, UINTN count, const void *buffer);

// What was written is on the medium when it returns EFI_SUCCESS. FlushBlocks does it but for disks behind ATA
// controllers, where it may do nothing: these get the command itself. EFI_UNSUPPORTED where the firmware has no way to
// send it, else the firmware's status.
EFI_STATUS flushDisk(void *context);

} // namespace xyl::disk_controller
