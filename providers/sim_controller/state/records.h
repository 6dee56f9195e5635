// The state as records: what Get and GetKeyID answer.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

// Fills *answer with deep copies of the objects of a type, those of ids or (idCount 0) all. EFI_NOT_FOUND for none or
// an unknown id, EFI_OUT_OF_RESOURCES with everything released.
EFI_STATUS answerRecords(Controller *sim, UINT32 objectType, const UINT32 *ids, UINT32 idCount,
                         records::Answer *answer);
EFI_STATUS answerKeyId(Controller *sim, records::Answer *answer);

} // namespace xyl::sim
