// What keeps disks from holding virtual disks, and where it lies.
#pragma once

#include "raid_disks.h"

namespace xyl::disk_controller {

// RAID_DISKS_PROTOCOL's member.
EFI_STATUS EFIAPI findContents(RAID_DISKS_PROTOCOL *protocol, UINT32 objectId, RAID_DISK_CONTENTS *contents);

} // namespace xyl::disk_controller
