// The security key. ObjectData is there.
#pragma once

#include "providers/sim_controller/state.h"

EFI_STATUS simLock(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block);
EFI_STATUS simRekey(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block);
EFI_STATUS simSecureErase(SIM_CONTROLLER *sim);
void simForgetKey(SIM_CONTROLLER *sim);
