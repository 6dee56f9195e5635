// Planned faults.
#pragma once

#include "providers/sim_controller/faults.h"
#include "providers/sim_controller/state.h"

namespace xyl::sim {

// The fault that strikes this command, or null; counts it down.
const Fault *nextFault(Controller *sim, const RAID_CMD_BLOCK *block);
// Gives an answer the shape that a fault asks for. EFI_OUT_OF_RESOURCES releases it.
EFI_STATUS shape(records::Answer *answer, const Fault *fault);

} // namespace xyl::sim
