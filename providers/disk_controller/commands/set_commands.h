// Commands on the adapter: on all sets of one kind, each of which is a change of its own.
#pragma once

#include "providers/disk_controller/commands/service.h"

namespace xyl::disk_controller {

// Deletes all virtual disks and sets that are not foreign.
EFI_STATUS resetSets(DiskController *controller);
// Take over and delete foreign sets. EFI_NOT_FOUND when there are none.
EFI_STATUS importSets(DiskController *controller);
EFI_STATUS clearSets(DiskController *controller);
// Keeps modes and rates in all sets of ours, or in memory as long as there is none. Statuses also of changeSettings.
EFI_STATUS changeAdapter(DiskController *controller, const RAID_ADAPTER_RECORD &wanted);

} // namespace xyl::disk_controller
