// Opening and uninstalling, where drivers may have to let go of what they hold; with the statuses of real firmware.
#pragma once

#include "host/firmware/protocols.h"

namespace xyl::host {

EFI_STATUS openProtocol(Database &database, EFI_HANDLE handle, const EFI_GUID &guid, void **interface, EFI_HANDLE agent,
                        EFI_HANDLE controller, UINT32 attributes);

// Drivers that have the interface open BY_DRIVER are stopped first; EFI_ACCESS_DENIED when one does not let go.
EFI_STATUS uninstallProtocol(Database &database, EFI_HANDLE handle, const EFI_GUID &guid, const void *interface);

} // namespace xyl::host
