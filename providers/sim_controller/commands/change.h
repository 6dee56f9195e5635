// Change of the adapter, of disks and of virtual disks. Ids exist; ObjectData is there and of its type.
#pragma once

#include "providers/sim_controller/state.h"

EFI_STATUS simChangeAdapter(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block);
EFI_STATUS simChangeDisks(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block);
EFI_STATUS simChangeVirtualDisks(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block);
