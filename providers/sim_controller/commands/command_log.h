// The log of executed commands.
#pragma once

#include "providers/sim_controller/command_log.h"
#include "providers/sim_controller/state.h"

// Enters a command, whose status is still to come.
SIM_LOG_ENTRY *simLogCommand(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block);
