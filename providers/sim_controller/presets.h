// Controllers that are there to be tried out.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

// A controller with a name, for create.
struct Preset {
  const CHAR8 *name;
  const CHAR8 *description;
};

// The preset at index, or null after the last one.
const Preset *presetAt(UINT32 index);

// Makes the named preset; the caller owns *sim and destroys it. EFI_NOT_FOUND for an unknown name,
// EFI_OUT_OF_RESOURCES.
EFI_STATUS create(const CHAR8 *preset, Controller **sim);

// The adapter of the presets with enclosures * slots disks and as many virtual disks of mixed levels as asked for while
// disks last. slots up to 255.
EFI_STATUS createSized(UINT32 enclosures, UINT32 slots, UINT32 virtualDisks, Controller **sim);

} // namespace xyl::sim
