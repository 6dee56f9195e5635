// RAID_MGMT_PROTOCOL over the disks that firmware sees. Its volumes are kept on the disks themselves, in a format that
// Linux assembles, and nothing is kept anywhere else: each command looks at the disks afresh.
#pragma once

#include "uefi/protocols.h"

namespace xyl::disk_controller {

// Image entry point. Installs the protocol under both identities and a device path on a new handle, and sets the
// image's Unload, which takes it down again. Returns the firmware's status; nothing stays installed on failure.
extern "C" EFI_STATUS EFIAPI RaidDisksEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

} // namespace xyl::disk_controller
