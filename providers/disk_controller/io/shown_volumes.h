// Volumes that another driver shows to firmware as block devices, where there is one.
#pragma once

#include "providers/ddf/ddf.h"
#include "uefi/protocols.h"

namespace xyl::disk_controller {

// Whether a block device is such a virtual disk.
bool isShownVolume(EFI_HANDLE handle);

// Takes a volume that ends away from firmware; EFI_SUCCESS also where nobody shows it. EFI_ACCESS_DENIED when images
// that are running were loaded from it, or a driver does not let go.
EFI_STATUS hideVolume(const ddf::VirtualDisk &virtualDisk);

// Whether images that are running were loaded from a volume that firmware sees.
bool isRunningVirtualDisk(const ddf::VirtualDisk &virtualDisk);

// Lets the driver look at the disks as they are now.
void refreshVirtualDisks();

} // namespace xyl::disk_controller
