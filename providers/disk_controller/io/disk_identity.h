// What disks say of themselves.
#pragma once

#include "providers/disk_controller/io/disks.h"

namespace xyl::disk_controller {

// Asks the disk through the protocols on its handle and, for NVMe, on its controller's (null: not). What cannot be had
// stays empty.
void identifyDisk(Disk *disk, EFI_HANDLE controller);

// Whether the disk's handle says that it is on USB.
bool isOnUsb(EFI_HANDLE disk);

} // namespace xyl::disk_controller
