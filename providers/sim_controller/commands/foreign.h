// Configuration that another adapter wrote.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

// Hands a virtual disk and its members over to the foreign side, which has room for it.
void virtualDiskToForeign(Controller *sim, UINT32 objectId);
// EFI_NOT_FOUND when nothing is foreign.
EFI_STATUS clearForeign(Controller *sim);
EFI_STATUS importForeign(Controller *sim);

} // namespace xyl::sim
