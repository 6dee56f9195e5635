// Virtual disks: made, removed, judged.
#pragma once

#include "providers/sim_controller/state.h"

// Creates a virtual disk; *objectId may be null.
EFI_STATUS simCreateVirtualDisk(SIM_CONTROLLER *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                                UINT32 *objectId);
// Gives a virtual disk of the state the lowest free ObjectID and TargetID and the names that follow from them.
void simGiveIds(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *virtualDisk);
// Puts a virtual disk on its members.
void simTakeMembers(SIM_CONTROLLER *sim, const SIM_VIRTUAL_DISK *virtualDisk);
void simDeleteVirtualDisk(SIM_CONTROLLER *sim, UINT32 objectId);
void simFreeSpares(SIM_CONTROLLER *sim); // no disk is a hot spare any more
void simResetConfiguration(SIM_CONTROLLER *sim);
// Sets the state of a virtual disk, or of all with this disk, from those of its members.
void simJudgeVirtualDisk(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *virtualDisk);
void simJudgeVirtualDisksOf(SIM_CONTROLLER *sim, UINT32 diskId);
