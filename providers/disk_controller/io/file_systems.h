// File systems that firmware has found on disks.
#pragma once

#include "providers/disk_controller/io/disks.h"

namespace xyl::disk_controller {

// Sets the flag of each disk on which, or on whose partitions, firmware has a file system. EFI_OUT_OF_RESOURCES.
EFI_STATUS markFileSystems(DiskList *list);

// Lets the drivers of the file systems on a disk and its partitions go, so that nothing is written behind them; *any
// tells whether there were some. Partitions stay. EFI_ACCESS_DENIED when one is there in spite of it.
EFI_STATUS closeFileSystems(const Disk &disk, bool *any);

// Whether an image that is loaded came from the disk or a partition of it. True when that cannot be found out.
bool hasRunningImages(const Disk &disk);
bool hasRunningImages(EFI_HANDLE device); // of any device

} // namespace xyl::disk_controller
