// The driver model: which drivers are asked to start on a controller, and which to let go of it.
#pragma once

#include "host/firmware/protocols.h"

namespace xyl::host {

// firstImages is null or a list of image handles, ended by null, whose drivers are asked before all others.
EFI_STATUS connectDrivers(Database &database, EFI_HANDLE controller, const EFI_HANDLE *firstImages);

// With a null driver every driver of the controller is stopped.
EFI_STATUS disconnectDrivers(Database &database, EFI_HANDLE controller, EFI_HANDLE driver);

} // namespace xyl::host
