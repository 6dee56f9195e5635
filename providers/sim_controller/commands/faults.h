// Planned faults.
#pragma once

#include "providers/sim_controller/faults.h"
#include "providers/sim_controller/state.h"

// The fault that strikes this command, or null; counts it down.
const SIM_FAULT *simNextFault(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block);
// Gives an answer the shape that a fault asks for. EFI_OUT_OF_RESOURCES releases it.
EFI_STATUS simShape(RAID_ANSWER *answer, const SIM_FAULT *fault);
