// The driver image: entry point, binding, unload handler, component names.
#pragma once

#include "uefi/protocols.h"

namespace xyl::driver {

// Image entry point. Installs Driver Binding and Component Name 2 on the image handle and sets the image's Unload.
// Returns the status of the install or open that failed, with what was installed taken down again, else EFI_SUCCESS.
extern "C" EFI_STATUS EFIAPI RaidXylEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

} // namespace xyl::driver
