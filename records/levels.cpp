#include "records/levels.h"

namespace xyl::records {

static constexpr LevelLayout g_layouts[] = {
    {RAID_LEVEL_VOLUME, 0, false, false, 1}, {RAID_LEVEL_0, 0, false, false, 1}, {RAID_LEVEL_1, 0, true, false, 2},
    {RAID_LEVEL_3, 1, false, false, 3},      {RAID_LEVEL_4, 1, false, false, 3}, {RAID_LEVEL_5, 1, false, false, 3},
    {RAID_LEVEL_6, 2, false, false, 4},      {RAID_LEVEL_10, 0, true, true, 2},  {RAID_LEVEL_30, 1, false, true, 3},
    {RAID_LEVEL_50, 1, false, true, 3},      {RAID_LEVEL_60, 2, false, true, 4},
};

const LevelLayout *levelLayout(UINT32 level) {
  for (const LevelLayout &layout : g_layouts) {
    if (layout.level == level) {
      return &layout;
    }
  }
  return nullptr;
}

UINT64 levelDataMembers(const LevelLayout *layout, UINT32 count, UINT32 spans) {
  UINT64 redundant = layout->mirrored ? count - count / 2 : static_cast<UINT64>(layout->parity) * spans;
  return redundant < count ? count - redundant : 0;
}

const RAID_LEVEL_PARAMS *levelFind(const RAID_ADAPTER_RECORD *adapter, const RAID_LEVEL_PARAMS *descriptors,
                                   UINT32 count, UINT32 level) {
  for (UINT32 i = 0; (adapter->SupportedRAIDLevels & level) != 0 && i < count; i++) {
    if (descriptors[i].RAIDLevel == level) {
      return &descriptors[i];
    }
  }
  return nullptr;
}

static bool isOneOf(UINT32 value, UINT32 mask) {
  return (value & (value - 1)) == 0 && (value & ~mask) == 0;
}

bool levelIsDiskCachePolicy(UINT32 value) {
  return isOneOf(value, RAID_CACHE_DISK_DEFAULT | RAID_CACHE_DISK_ENABLED | RAID_CACHE_DISK_DISABLED);
}

bool levelIsAccessPolicy(UINT32 value) {
  return value == 0 || value == RAID_ACCESS_POLICY_NO_ACCESS || value == RAID_ACCESS_POLICY_READ_ONLY ||
         value == RAID_ACCESS_POLICY_READ_WRITE;
}

bool levelOffers(const RAID_LEVEL_PARAMS *level, const RAID_VD_RECORD *wanted) {
  return isOneOf(wanted->StripeSize, level->AvailableStripeSize) && isOneOf(wanted->RLQ, level->AvailableRLQ) &&
         isOneOf(wanted->SRL, level->AvailableSRL) &&
         (wanted->CurrentCachePolicy & ~level->AvailableCachePolicy) == 0 &&
         levelIsDiskCachePolicy(wanted->DiskCachePolicy) && levelIsAccessPolicy(wanted->AccessPolicy);
}

// The fewest spans that hold count members within the limit of a span.
static UINT32 chooseSpans(const RAID_ADAPTER_RECORD *adapter, const LevelLayout *layout, UINT32 count) {
  UINT32 first = layout->mirrored ? count / layout->minPerSpan : 2;
  if (!layout->spanned || first == 0) {
    return 1;
  }
  if (layout->mirrored && first <= adapter->MaxSpansPerLD) {
    return first;
  }
  UINT32 spans = 1;
  while (spans < count && (count % spans != 0 || spans < 2 || count / spans > adapter->MaxPDsPerSpan)) {
    spans += 1;
  }
  return spans;
}

bool levelSpans(const RAID_ADAPTER_RECORD *adapter, const RAID_LEVEL_PARAMS *level, const RAID_VD_RECORD *wanted,
                UINT32 count, UINT32 *spans) {
  const LevelLayout *layout = levelLayout(level->RAIDLevel);
  if (layout == nullptr) {
    return false;
  }
  *spans = wanted->SpanDepth == 0 ? chooseSpans(adapter, layout, count) : wanted->SpanDepth;
  UINT32 perSpan = count / *spans;
  bool shapeFits = count % *spans == 0 && (wanted->PDsPerSpan == 0 || wanted->PDsPerSpan == perSpan) &&
                   (layout->spanned || *spans == 1) && *spans <= adapter->MaxSpansPerLD &&
                   perSpan <= adapter->MaxPDsPerSpan && perSpan >= layout->minPerSpan &&
                   (!layout->mirrored || perSpan % 2 == 0);
  return shapeFits && count >= level->MinDisks && count <= level->MaxDisks;
}

} // namespace xyl::records
