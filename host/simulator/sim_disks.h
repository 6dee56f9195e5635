// The names that users give to disks and places of a simulated controller.
#pragma once

#include "host/controller_file/controller_file.h"
#include "providers/sim_controller/state.h"

namespace xyl::host::simulator {

struct Place {
  UINT32 enclosureObjectId; // SIM_DIRECT: none
  UINT8 slot;
};

// "301:2", or "direct:2" outside of enclosures.
std::string placeText(const Place &place);
std::string placeText(const sim::Disk &disk);

// The disk with that id, FQDD or place. Throws ClientError that says where to look; file is the controller's.
sim::Disk &diskNamed(sim::Controller *sim, const std::string &file, const std::string &name);
// Likewise among the pulled disks, where a place is the one that the disk came from last.
sim::Disk &pulledDiskNamed(sim::Controller *sim, const std::string &file, const std::string &name);

// The place of that name, enclosure:slot (the enclosure's id or position) or direct:slot, taken or not. Throws
// ClientError for one that does not exist.
Place placeNamed(sim::Controller *sim, const std::string &name);

} // namespace xyl::host::simulator
