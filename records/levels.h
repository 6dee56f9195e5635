// What RAID levels do with their members, and whether a virtual disk keeps to the limits of its level and adapter.
#pragma once

#include "base/rounding.h"
#include "raid_records.h"

namespace xyl::records {

inline constexpr UINT64 levelGrain = 0x100000ULL; // members give room in whole mebibytes

struct LevelLayout {
  UINT32 level;
  UINT32 parity; // members of each span that hold no data
  bool mirrored; // members are pairs
  bool spanned;
  UINT32 minPerSpan;
};

// The layout of a level, or null for one that has none here.
const LevelLayout *levelLayout(UINT32 level);

// How many of count members hold data; 0 for a layout that holds none.
UINT64 levelDataMembers(const LevelLayout *layout, UINT32 count, UINT32 spans);

// The bytes, in whole grains, that each of members gives for size bytes: the fewest that together are enough. size ends
// before the last grain that 64 bits hold.
constexpr UINT64 levelShare(UINT64 size, UINT64 members) {
  return roundUp(divideUp(size, members), levelGrain);
}

// The adapter's descriptor of a level that it supports; null for any other. Descriptors are as many as adapter has.
const RAID_LEVEL_PARAMS *levelFind(const RAID_ADAPTER_RECORD *adapter, const RAID_LEVEL_PARAMS *descriptors,
                                   UINT32 count, UINT32 level);

// Whether the settings of a virtual disk are among those that its level offers; 0 stands for the level's default.
bool levelOffers(const RAID_LEVEL_PARAMS *level, const RAID_VD_RECORD *wanted);
bool levelIsDiskCachePolicy(UINT32 value);
bool levelIsAccessPolicy(UINT32 value);

// Sets *spans to the number of spans over which count members are spread: the wanted one, or the fewest that keep to
// the adapter's limits. False when the level or the adapter has no such shape, or the level not as many members.
bool levelSpans(const RAID_ADAPTER_RECORD *adapter, const RAID_LEVEL_PARAMS *level, const RAID_VD_RECORD *wanted,
                UINT32 count, UINT32 *spans);

} // namespace xyl::records
