// The arithmetic of parities: bytes are elements of a field of 256, in which adding is exclusive or.
#pragma once

#include "uefi/types.h"

namespace volume_map {

UINT8 multiply(UINT8 a, UINT8 b);
UINT8 inverse(UINT8 a);
// 2 to the power of exponent.
UINT8 power(UINT32 exponent);

// size bytes, a multiple of 16: multiplies them by factor.
void scale(UINT8 *bytes, UINTN size, UINT8 factor);
// Adds factor times those of from, which lie elsewhere.
void addScaled(UINT8 *to, const UINT8 *from, UINTN size, UINT8 factor);

} // namespace volume_map
