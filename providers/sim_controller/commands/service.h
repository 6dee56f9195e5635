// The protocol's members.
#pragma once

#include "providers/sim_controller/sim_controller.h"

EFI_STATUS EFIAPI simExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result);
EFI_STATUS EFIAPI simFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count);
