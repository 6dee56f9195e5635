// Numbers as sets of bits.
#pragma once

#include "uefi/types.h"

namespace xyl {

// How many bits are set. The compiler's own routine calls a library where the processor has no instruction for it.
constexpr UINT32 countBits(UINT32 bits) {
  bits -= bits >> 1 & 0x55555555;
  bits = (bits & 0x33333333) + (bits >> 2 & 0x33333333);
  return ((bits + (bits >> 4)) & 0x0F0F0F0F) * 0x01010101 >> 24;
}
static_assert(countBits(0) == 0 && countBits(~0U) == 32 && countBits(0x80010204) == 4);

} // namespace xyl
