// Drives as they come out of the box, and the places that they go to.
#pragma once

#include "providers/sim_controller/drives.h"
#include "providers/sim_controller/state.h"

namespace xyl::sim {

// Puts a disk of the state into a place: enclosure, port, slot and names.
void placeDisk(Controller *sim, Disk *disk, UINT32 enclosureObjectId, UINT8 slot);
// Adds a drive of the model that fits to a place that exists and is empty; null without memory. id, WWN and serial
// number are new.
Disk *addDrive(Controller *sim, UINT32 enclosureObjectId, UINT8 slot, const Drive &drive);

} // namespace xyl::sim
