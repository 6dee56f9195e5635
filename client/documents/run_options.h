// The run-time options document.
#pragma once

#include "uefi/types.h"

namespace xyl::client {

struct RunOptions {
  bool restore; // else a change or a part replacement
  bool preserveVd;
  bool stopOnError;
};

// The document in pool memory, or null without memory.
CHAR8 *makeRunOptions(const RunOptions &options);

} // namespace xyl::client
