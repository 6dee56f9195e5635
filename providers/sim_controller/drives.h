// Drives as they come out of a box.
#pragma once

#include "uefi/types.h"

namespace xyl::sim {

// What is asked of a drive.
struct Drive {
  UINT64 size;     // bytes
  UINT32 protocol; // one value of the protocol vocabulary
  UINT8 attributes;
};

// The drives that come out of a box: fills protocol and attributes, leaves size alone, and returns the model's name;
// null after the last one.
const CHAR8 *driveModel(UINT32 index, Drive *drive);

} // namespace xyl::sim
