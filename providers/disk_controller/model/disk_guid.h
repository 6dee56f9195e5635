// The identities under which disks join a set.
#pragma once

#include "providers/disk_controller/model/view.h"

namespace xyl::disk_controller {

// Makes a GUID for each disk of the view from what it tells of itself, as SCSI's identifiers are made: who vouches for
// it, then the end of its serial number. Disks that tell nothing, or the same as another one or as an entry of a set,
// get a number by chance. Those of members are of no use. EFI_OUT_OF_RESOURCES.
EFI_STATUS makeDiskGuids(const View &view, ddf::Guid *guids);

// Marks the disks in no set that a set lists as missing, by the GUID that follows from their identity.
// EFI_OUT_OF_RESOURCES.
EFI_STATUS markMissed(View *view);

} // namespace xyl::disk_controller
