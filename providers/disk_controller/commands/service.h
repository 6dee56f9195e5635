// The protocol's members.
#pragma once

#include "providers/disk_controller/metadata/settings.h"
#include "records/answers.h"

namespace xyl::disk_controller {

struct DiskController {
  RAID_MGMT_PROTOCOL protocol;
  records::Accounting accounting;
  Settings settings; // what the disks keep, or what was set while there was no set to keep it
};

// Execute answers Get, which never writes to a disk, and changes what the disks keep: virtual disks are created,
// deleted and changed, disks become spares or are marked as failed, foreign sets are imported or cleared, and the
// adapter's settings kept. Every command looks at the disks afresh. A command that is refused has written nothing, and
// is logged with the reason; after EFI_DEVICE_ERROR, which names the disk in the log, each virtual disk is as it was or
// as it shall be, and the next command repairs.
//   EFI_INVALID_PARAMETER  a null argument, ids that are counted and not there, no ids or data where there should be,
//                          a revision above 3, values that contradict each other
//   EFI_UNSUPPORTED        an object type or a command that is not known; what Linux would not assemble
//   EFI_NOT_FOUND          no object of the type, or an id that none has; nothing to import or clear
//   EFI_ACCESS_DENIED, EFI_NOT_READY, EFI_VOLUME_FULL   a disk that holds something else, cannot be used, has no room
//   EFI_OUT_OF_RESOURCES   no memory
EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result);
// As accountingTakeBack.
EFI_STATUS EFIAPI freeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count);
EFI_STATUS EFIAPI unused(RAID_MGMT_PROTOCOL *protocol);

} // namespace xyl::disk_controller
