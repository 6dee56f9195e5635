// The protocol's members.
#pragma once

#include "providers/answers/answers.h"
#include "providers/disk_controller/settings.h"

struct DISK_CONTROLLER {
  RAID_MGMT_PROTOCOL Protocol;
  RAID_BOOKS Books;
  SETTINGS Settings; // what the disks keep, or what was set while there was no set to keep it
};

// Execute answers Get; every other command is EFI_UNSUPPORTED. Get never writes to a disk.
//   EFI_INVALID_PARAMETER  a null argument, ids that are counted and not there, a revision above 3
//   EFI_UNSUPPORTED        an object type or a command that is not known
//   EFI_NOT_FOUND          no object of the type, or an id that none has
//   EFI_OUT_OF_RESOURCES   no memory
EFI_STATUS EFIAPI disksExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result);
// As booksTakeBack.
EFI_STATUS EFIAPI disksFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count);
EFI_STATUS EFIAPI disksUnused(RAID_MGMT_PROTOCOL *protocol);
