// Sorted indices: a key holds a number in its upper half and a position in its lower one, so that an array can be
// searched by that number while it stays as it is.
#pragma once

#include "uefi/types.h"

inline UINT64 indexKey(UINT32 number, UINT32 position) {
  return static_cast<UINT64>(number) << 32 | position;
}

// Sorts the keys upwards, in place; the time is that of n log n, whatever their order was.
void sortKeys(UINT64 *keys, UINTN count);

// The place of the first key that is not below key; count when all are.
UINTN lowerBound(const UINT64 *keys, UINTN count, UINT64 key);
