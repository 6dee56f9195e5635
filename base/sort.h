// Sorting and searching arrays, without memory of their own.
#pragma once

#include "uefi/types.h"

namespace xyl {

// Sorts count items upwards by less, a strict order, in place; equal ones may change places. The time is that of
// n log n, whatever their order was.
template <class T, class Less> void sortArray(T *items, UINTN count, Less less) {
  // A heap: built from its middle down, then emptied from its end.
  for (UINTN start = count / 2, end = count; end > 1;) {
    if (start > 0) {
      --start;
    } else {
      --end;
      T largest = items[0];
      items[0] = items[end];
      items[end] = largest;
    }
    T sinking = items[start];
    UINTN hole = start;
    for (UINTN child; (child = 2 * hole + 1) < end; hole = child) {
      child += child + 1 < end && less(items[child], items[child + 1]) ? 1 : 0;
      if (!less(sinking, items[child])) {
        break;
      }
      items[hole] = items[child];
    }
    items[hole] = sinking;
  }
}

// How many items isBefore holds for; it holds for the first of them and for none behind.
template <class T, class IsBefore> UINTN countBefore(const T *items, UINTN count, IsBefore isBefore) {
  UINTN from = 0;
  while (from < count) {
    UINTN middle = from + (count - from) / 2;
    if (isBefore(items[middle])) {
      from = middle + 1;
    } else {
      count = middle;
    }
  }
  return from;
}

// Sorted indices: a key holds a number in its upper half and a position in its lower one, so that an array can be
// searched by that number while it stays as it is.

inline UINT64 indexKey(UINT32 number, UINT32 position) {
  return static_cast<UINT64>(number) << 32 | position;
}

// Sorts the keys upwards.
void sortKeys(UINT64 *keys, UINTN count);

// The place of the first key that is not below key; count when all are.
UINTN lowerBound(const UINT64 *keys, UINTN count, UINT64 key);

} // namespace xyl
