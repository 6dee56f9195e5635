// Which commands there are for which objects.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

// Runs a command whose block may hold anything; *answer starts zero and is filled by commands that have data.
EFI_STATUS runCommand(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *answer);

} // namespace xyl::sim
