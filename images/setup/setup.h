// A page in the firmware's setup for every controller that carries RAID_MGMT_PROTOCOL.
#pragma once

#include "uefi/tables.h"

namespace xyl::images::setup {

// Image entry point: installs a driver binding and a component name on the image handle and sets the image's Unload.
// Each controller that firmware connects gets a page in Device Manager, with a handle and a device path of its own, and
// RAID_SETUP_PROTOCOL on the controller's handle; disconnecting takes both away. Returns the status of what failed,
// else EFI_SUCCESS.
extern "C" EFI_STATUS EFIAPI RaidSetupEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

} // namespace xyl::images::setup
