// The tests of fwtest. Each loads the four driver images itself, so none of them may be loaded before.
#pragma once

#include "uefi/tables.h"

// Load, connect, use, disconnect, connect again, replace the controller and unload.
void testLifecycle(EFI_HANDLE application);

// Every handle of the platform disconnected from all its drivers, connected, and connected again.
void testPlatform(EFI_HANDLE application);
