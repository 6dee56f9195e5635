#include "base/sort.h"

// Lets the key at root sink below larger ones, so that no parent in keys is smaller than its children.
static void sinkKey(UINT64 *keys, UINTN root, UINTN count) {
  UINT64 sinking = keys[root];
  for (UINTN child = 2 * root + 1; child < count; child = 2 * root + 1) {
    if (child + 1 < count && keys[child] < keys[child + 1]) {
      ++child;
    }
    if (keys[child] <= sinking) {
      break;
    }
    keys[root] = keys[child];
    root = child;
  }
  keys[root] = sinking;
}

void sortKeys(UINT64 *keys, UINTN count) {
  for (UINTN root = count / 2; root-- > 0;) {
    sinkKey(keys, root, count);
  }
  for (UINTN end = count; end > 1;) {
    --end;
    UINT64 largest = keys[0];
    keys[0] = keys[end];
    keys[end] = largest;
    sinkKey(keys, 0, end);
  }
}

UINTN lowerBound(const UINT64 *keys, UINTN count, UINT64 key) {
  UINTN low = 0;
  while (count > 0) {
    UINTN half = count / 2;
    if (keys[low + half] < key) {
      low += half + 1;
      count -= half + 1;
    } else {
      count = half;
    }
  }
  return low;
}
