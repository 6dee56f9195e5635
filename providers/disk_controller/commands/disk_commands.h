// Commands on physical disks; each disk is a change of its own.
#pragma once

#include "providers/disk_controller/commands/service.h"

namespace xyl::disk_controller {

// Makes disks hot spares or takes that from them, as Hotspare says; one that is none and whose State is Failed is
// marked as failed in its set, which is also how a missing one is given up: ids are then those that virtual disks list
// in their place. The first disk that cannot be changed ends the command.
//   EFI_INVALID_PARAMETER  no such kind of spare, a dedicated one for nothing or for virtual disks of several sets, a
//                          disk to fail that is in no set
//   EFI_NOT_FOUND          an id that no disk or virtual disk has; no set that a spare could join
//   EFI_ACCESS_DENIED      a spare that holds something; a disk to fail without which a virtual disk would be lost
//   EFI_NOT_READY          a disk that failed or cannot be used
//   EFI_VOLUME_FULL        a spare that is too small
EFI_STATUS changeDisks(DiskController *controller, const RAID_PD_RECORD &wanted, const UINT32 *ids, UINT32 count);

} // namespace xyl::disk_controller
