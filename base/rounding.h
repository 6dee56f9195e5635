// Division that rounds; by and grain are not 0.
#pragma once

#include "uefi/types.h"

namespace xyl {

// The fewest parts of by that hold value.
constexpr UINT64 divideUp(UINT64 value, UINT64 by) {
  return value / by + (value % by != 0 ? 1 : 0);
}

// The first multiple of grain that is not below value, which ends before the last one that 64 bits hold.
constexpr UINT64 roundUp(UINT64 value, UINT64 grain) {
  return divideUp(value, grain) * grain;
}

// The last multiple of grain that is not above value.
constexpr UINT64 roundDown(UINT64 value, UINT64 grain) {
  return value - value % grain;
}

} // namespace xyl
