// Configuration that another adapter wrote.
#pragma once

#include "providers/sim_controller/state.h"

// Hands a virtual disk and its members over to the foreign side, which has room for it.
void simVirtualDiskToForeign(SIM_CONTROLLER *sim, UINT32 objectId);
// EFI_NOT_FOUND when nothing is foreign.
EFI_STATUS simClearForeign(SIM_CONTROLLER *sim);
EFI_STATUS simImportForeign(SIM_CONTROLLER *sim);
