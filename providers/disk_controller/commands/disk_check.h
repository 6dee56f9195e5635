// Whether disks may be given something to hold, and where.
#pragma once

#include "providers/disk_controller/commands/change.h"

namespace xyl::disk_controller {

// EFI_SUCCESS for a disk that can take part in virtual disks; else what stands in the way is logged. EFI_NOT_READY for
// one that failed or cannot be used, EFI_ACCESS_DENIED for one that holds something else or is another controller's.
EFI_STATUS checkDisk(const View &view, UINT32 disk);

// The set that disks in no set join: that of the first of them that is in one, else one of ours, else the only one
// that Linux made, else null, for a new one.
const ddf::Set *joinedSet(const View &view, const UINT32 *disks, UINT32 count);

} // namespace xyl::disk_controller
