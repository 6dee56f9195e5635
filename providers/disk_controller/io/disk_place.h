// From device path to place.
#pragma once

#include "providers/disk_controller/io/disks.h"

namespace xyl::disk_controller {

// The place that a device path leads to. controller receives the handle of the storage function's PCI protocol, or null
// when the path has none; where that protocol does not tell the location, the path's own nodes do.
DiskPlace placeOf(EFI_DEVICE_PATH_PROTOCOL *path, EFI_HANDLE *controller);

} // namespace xyl::disk_controller
