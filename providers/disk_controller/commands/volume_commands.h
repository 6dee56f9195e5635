// Commands on virtual disks; each virtual disk is a change of its own.
#pragma once

#include "providers/disk_controller/commands/service.h"

namespace xyl::disk_controller {

// Statuses beside those of decodeVolume and of the writer; nothing is written but for EFI_DEVICE_ERROR:
//   EFI_INVALID_PARAMETER  a disk twice, or one that is not there; a name that is taken
//   EFI_ACCESS_DENIED      a disk that holds something else, is another controller's or a hot spare; disks of several
//                          sets
//   EFI_NOT_READY          a disk that failed or cannot be used
//   EFI_VOLUME_FULL        no room
EFI_STATUS createVirtualDisk(DiskController *controller, const RAID_VD_RECORD &wanted, const UINT32 *ids, UINT32 count);

// In the order of their numbers; the first that cannot be deleted or changed ends the command. EFI_NOT_FOUND, before
// anything is written, for an id that no virtual disk has. What a virtual disk keeps for its life is not changed:
// EFI_UNSUPPORTED.
EFI_STATUS deleteVirtualDisks(DiskController *controller, const UINT32 *ids, UINT32 count);
EFI_STATUS changeVirtualDisks(DiskController *controller, const RAID_VD_RECORD &wanted, const UINT32 *ids,
                              UINT32 count);

} // namespace xyl::disk_controller
