// The log of executed commands.
#pragma once

#include "providers/sim_controller/command_log.h"
#include "providers/sim_controller/state.h"

namespace xyl::sim {

// Enters a command, whose status is still to come.
LogEntry *logCommand(Controller *sim, const RAID_CMD_BLOCK *block);

} // namespace xyl::sim
