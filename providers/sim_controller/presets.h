// Controllers that are there to be tried out.
#pragma once

#include "providers/sim_controller/state.h"

// A controller with a name, for simCreate.
struct SIM_PRESET {
  const CHAR8 *name;
  const CHAR8 *description;
};

// The preset at index, or null after the last one.
const SIM_PRESET *simPresetAt(UINT32 index);

// Makes the named preset; the caller owns *sim and destroys it. EFI_NOT_FOUND for an unknown name,
// EFI_OUT_OF_RESOURCES.
EFI_STATUS simCreate(const CHAR8 *preset, SIM_CONTROLLER **sim);

// The adapter of the presets with enclosures * slots disks and as many virtual disks of mixed levels as asked for while
// disks last. slots up to 255.
EFI_STATUS simCreateSized(UINT32 enclosures, UINT32 slots, UINT32 virtualDisks, SIM_CONTROLLER **sim);
