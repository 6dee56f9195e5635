// What the entry point installs: the binding and component name instances, and the unload handler.
#pragma once

#include "uefi/protocols.h"

namespace xyl::driver {

extern EFI_DRIVER_BINDING_PROTOCOL g_driverBinding;
extern EFI_COMPONENT_NAME2_PROTOCOL g_componentName2;

extern const EFI_GUID g_driverBindingGuid;
extern const EFI_GUID g_componentName2Guid;

} // namespace xyl::driver
