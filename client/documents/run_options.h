// The run-time options document.
#pragma once

#include "uefi/types.h"

struct RUN_OPTIONS {
  bool Restore; // else a change or a part replacement
  bool PreserveVd;
  bool StopOnError;
};

// The document in pool memory, or null without memory.
CHAR8 *makeRunOptions(const RUN_OPTIONS &options);
