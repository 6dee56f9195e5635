// The security key. ObjectData is there.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

EFI_STATUS lock(Controller *sim, const RAID_CMD_BLOCK *block);
EFI_STATUS rekey(Controller *sim, const RAID_CMD_BLOCK *block);
EFI_STATUS secureErase(Controller *sim);
void forgetKey(Controller *sim);

} // namespace xyl::sim
