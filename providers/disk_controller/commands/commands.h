// The table of commands, and the checks that all of them share.
#pragma once

#include "providers/disk_controller/commands/service.h"

namespace xyl::disk_controller {

// Runs a command on the disks as they are. The answer is released after a failure. Statuses as execute says.
EFI_STATUS runDiskCommand(DiskController *controller, const RAID_CMD_BLOCK *block, records::Answer *answer);

} // namespace xyl::disk_controller
