// Virtual disks: made, removed, judged.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

// Creates a virtual disk; *objectId may be null.
EFI_STATUS createVirtualDisk(Controller *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                             UINT32 *objectId);
// Gives a virtual disk of the state the lowest free ObjectID and TargetID and the names that follow from them.
void giveIds(Controller *sim, VirtualDisk *virtualDisk);
// Puts a virtual disk on its members.
void takeMembers(Controller *sim, const VirtualDisk *virtualDisk);
void deleteVirtualDisk(Controller *sim, UINT32 objectId);
void freeSpares(Controller *sim); // no disk is a hot spare any more
void resetConfiguration(Controller *sim);
// Sets the state of a virtual disk, or of all with this disk, from those of its members.
void judgeVirtualDisk(Controller *sim, VirtualDisk *virtualDisk);
void judgeVirtualDisksOf(Controller *sim, UINT32 diskId);

} // namespace xyl::sim
