// Growing arrays in pool memory.
#pragma once

#include "base/pool.h"

namespace xyl {

// Starts zero-filled, or with arrayStart; items is null only before the first item has come.
template <class T> struct PoolArray {
  T *items;
  UINT32 count;
  UINT32 capacity;
};

// Makes an empty array with room for capacity items; false without memory.
template <class T> inline bool arrayStart(PoolArray<T> &array, UINT32 capacity) {
  array.items = poolNew<T>(capacity);
  array.count = 0;
  array.capacity = capacity;
  return array.items != nullptr;
}

// Makes room for extra more items; false without memory (the array is unchanged then). Pointers to items are stale
// afterwards.
template <class T> inline bool arrayReserve(PoolArray<T> &array, UINT32 extra) {
  if (array.capacity - array.count >= extra) {
    return true;
  }
  UINTN capacity = array.capacity;
  while (capacity - array.count < extra) {
    capacity = capacity * 2 + 16;
  }
  T *larger = capacity > 0xFFFFFFFFU ? nullptr : poolNew<T>(capacity);
  if (larger == nullptr) {
    return false;
  }
  if (array.count != 0) {
    copyBytes(larger, array.items, sizeof(T) * array.count);
  }
  poolFree(array.items);
  array.items = larger;
  array.capacity = static_cast<UINT32>(capacity);
  return true;
}

// Appends a zero-filled T and returns it, or null without memory. Pointers to earlier items are stale afterwards.
template <class T> inline T *arrayAppend(PoolArray<T> &array) {
  if (!arrayReserve(array, 1)) {
    return nullptr;
  }
  T *item = &array.items[array.count++];
  zeroBytes(item, sizeof(T));
  return item;
}

// Removes item index; later items move down.
template <class T> inline void arrayRemove(PoolArray<T> &array, UINT32 index) {
  __builtin_memmove(&array.items[index], &array.items[index + 1], sizeof(T) * (array.count - index - 1));
  array.count -= 1;
}

} // namespace xyl
