#include "base/sort.h"

namespace xyl {

void sortKeys(UINT64 *keys, UINTN count) {
  sortArray(keys, count, [](UINT64 a, UINT64 b) { return a < b; });
}

UINTN lowerBound(const UINT64 *keys, UINTN count, UINT64 key) {
  return countBefore(keys, count, [=](UINT64 other) { return other < key; });
}

} // namespace xyl
