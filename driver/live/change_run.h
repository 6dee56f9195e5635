// The run of a request's commands: the part of Set_Live that changes a configuration.
#pragma once

#include "raid_records.h"
#include "raid_xyl.h"

namespace xyl::driver {

// Under what name Set_Live logs, its run included.
static constexpr const CHAR8 *setLiveName = "RAIDXYLSet_Live";

// Runs request's commands in order until one fails and hands the "RaidConfig" log to element 0 of the array at
// output->Data, up to and including the command that failed. Disk ids are translated from saved (null: none is) to the
// controller's by FQDD. The saved configuration stays the caller's; the request is given back, the ids and data of each
// command as soon as it ran. EFI_NOT_FOUND, without a log, when a disk to translate is not there; else the status of
// the command that failed. Nothing is undone.
EFI_STATUS runChanges(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *request, const RAID_CONFIG *saved,
                      RAID_XYL_BUFFER *output);

// A pool copy of the controller's first disk with that FQDD, with its texts copied and VDs null; it goes back with
// FreeRecords and the count 1. Null when there is none, for a null fqdd, or without memory.
RAID_PD_RECORD *FindPdByFqdd(RAID_MGMT_PROTOCOL *mgmt, const CHAR16 *fqdd);

} // namespace xyl::driver
