// What rounding and the sizes that are made of it say: the compiler proves it against exact arithmetic.

#include "base/rounding.h"
#include "records/levels.h"

using namespace xyl;

using Wide = unsigned __int128; // has no end that these values reach

constexpr bool holdsForRounding(UINT64 value, UINT64 by) {
  Wide exact = value, parts = divideUp(value, by), below = roundDown(value, by);
  bool isUp = parts * by >= exact && (parts == 0 || (parts - 1) * by < exact);
  bool isDown = below % by == 0 && below <= exact && below + by > exact;
  bool ends = parts * by <= ~UINT64{0};
  return isUp && isDown && (!ends || roundUp(value, by) == parts * by);
}

// Members share a size in whole grains that are enough together; a grain less of each is not.
constexpr bool holdsForShares(UINT64 size, UINT64 members) {
  Wide share = records::levelShare(size, members);
  return share % records::levelGrain == 0 && share * members >= size &&
         (share == 0 || (share - records::levelGrain) * members < size);
}

constexpr bool holdsAround(UINT64 middle) {
  for (UINT64 value = middle - 4; value != middle + 4; ++value) {
    const UINT64 divisors[] = {1, 2, 3, 7, 8, 512, 1000003, value | 1, ~UINT64{0}};
    for (UINT64 by : divisors) {
      if (!holdsForRounding(value, by)) {
        return false;
      }
    }
    for (UINT64 members = 1; members <= 12 && value <= ~UINT64{0} - records::levelGrain + 1; ++members) {
      if (!holdsForShares(value, members)) {
        return false;
      }
    }
  }
  return true;
}

constexpr bool holdsAroundPowers() {
  for (UINT32 bit = 0; bit < 64; ++bit) {
    if (!holdsAround(UINT64{1} << bit)) {
      return false;
    }
  }
  return true;
}
static_assert(holdsAroundPowers() && holdsAround(0) && holdsAround(10 * records::levelGrain) &&
              holdsAround(~UINT64{0} - records::levelGrain));
