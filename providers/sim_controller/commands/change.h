// Change of the adapter, of disks and of virtual disks. Ids exist; ObjectData is there and of its type.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

EFI_STATUS changeAdapter(Controller *sim, const RAID_CMD_BLOCK *block);
EFI_STATUS changeDisks(Controller *sim, const RAID_CMD_BLOCK *block);
EFI_STATUS changeVirtualDisks(Controller *sim, const RAID_CMD_BLOCK *block);

} // namespace xyl::sim
