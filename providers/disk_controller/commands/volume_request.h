// What a Create or a Change wants of a virtual disk, as the metadata has it.
#pragma once

#include "providers/ddf_change/ddf_change.h"
#include "raid_records.h"

namespace xyl::disk_controller {

// Turns a record that asks for a virtual disk of count members into what the writer wants; disks and the start stay the
// caller's to fill in. *why tells what is wrong.
//   EFI_INVALID_PARAMETER  several values where one is meant, spans that do not make up the members, a name that is
//                          longer than 16 characters, has a blank inside or is more than ASCII
//   EFI_UNSUPPORTED        what Linux would not assemble, or the adapter does not offer
EFI_STATUS decodeVirtualDisk(const RAID_VD_RECORD &wanted, UINT32 count, ddf_change::NewVirtualDisk *virtualDisk,
                             const CHAR8 **why);

// What a Change may set, too: those of name, access and cache that the record tells. Statuses likewise.
EFI_STATUS decodeSettings(const RAID_VD_RECORD &wanted, ddf_change::VirtualDiskSettings *settings, const CHAR8 **why);

} // namespace xyl::disk_controller
