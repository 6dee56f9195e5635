// Where members of new virtual disks find room: the compiler proves it for all small gaps.

#include "providers/ddf_change/place.h"

using namespace xyl;

using namespace ddf_change;

// The member begins with the gap's first page, and what it has is the rest of the gap.
constexpr bool beginsFirst(const ddf::Gap &gap) {
  UINT64 start = startIn(gap, anywhere), room = roomIn(gap, anywhere), end = gap.start + gap.blocks;
  bool isFirst = start % grainSectors == 0 && start >= gap.start && start < gap.start + grainSectors;
  return isFirst && room == (start < end ? end - start : 0);
}

// A place that is wanted is had when it is in the gap, and nothing else.
constexpr bool beginsWhereWanted(const ddf::Gap &gap, UINT64 wanted) {
  UINT64 room = roomIn(gap, wanted), end = gap.start + gap.blocks;
  bool isInside = wanted >= gap.start && wanted < end;
  return startIn(gap, wanted) == wanted && room == (isInside ? end - wanted : 0);
}

constexpr bool holdsInGaps(UINT64 first) {
  for (UINT64 blocks = 0; blocks <= 2 * grainSectors + 1; ++blocks) {
    for (UINT64 start = first; start < first + 2 * grainSectors; ++start) {
      ddf::Gap gap = {start, blocks};
      bool all = beginsFirst(gap);
      for (UINT64 wanted = start - 1; wanted != start + blocks + 2 && all; ++wanted) {
        all = beginsWhereWanted(gap, wanted);
      }
      if (!all) {
        return false;
      }
    }
  }
  return true;
}
static_assert(holdsInGaps(1) && holdsInGaps(UINT64{1} << 48));

// Strips and pages both go into a member's grain.
constexpr bool holdsForGrains() {
  NewVirtualDisk wanted = {};
  for (wanted.strip = 0; wanted.strip < 32; ++wanted.strip) {
    wanted.level = ddf::levelRaid0;
    UINT64 grain = memberGrain(wanted);
    wanted.level = ddf::levelRaid1;
    bool isLeast = grain == grainSectors || grain == UINT64{1} << wanted.strip;
    if (grain % (UINT64{1} << wanted.strip) != 0 || grain % grainSectors != 0 || !isLeast ||
        memberGrain(wanted) != grainSectors) {
      return false;
    }
  }
  return true;
}
static_assert(holdsForGrains());
