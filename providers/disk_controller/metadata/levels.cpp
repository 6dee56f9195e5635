#include "providers/disk_controller/metadata/levels.h"

namespace xyl::disk_controller {

constexpr UINT32 offeredCache = RAID_CACHE_WRITE_THROUGH | RAID_CACHE_WRITE_BACK | RAID_CACHE_READ_NO_AHEAD |
                                RAID_CACHE_READ_AHEAD | RAID_CACHE_READ_ADAPTIVE | RAID_CACHE_DISK_DEFAULT |
                                RAID_CACHE_IO_DIRECT;
constexpr UINT32 defaultCache =
    RAID_CACHE_WRITE_THROUGH | RAID_CACHE_READ_NO_AHEAD | RAID_CACHE_DISK_DEFAULT | RAID_CACHE_IO_DIRECT;
constexpr UINT32 anyDisks = RAID_LEVEL_ATTRIBUTE_HDD | RAID_LEVEL_ATTRIBUTE_SSD | RAID_LEVEL_ATTRIBUTE_HDD_SSD |
                            RAID_LEVEL_ATTRIBUTE_SAS_SATA_HDD | RAID_LEVEL_ATTRIBUTE_SAS_SATA_SSD |
                            RAID_LEVEL_ATTRIBUTE_MIX_ALL;
// Linux wants whole pages where there is redundancy.
constexpr UINT32 pageStripes = RAID_STRIPE_SIZE_ALL & ~0x7U;
constexpr UINT32 mostMembers = 64;

// A mirror has no strips; one without a size of them is left without, as Linux does.
static constexpr RAID_LEVEL_PARAMS offer(UINT32 level, UINT32 fewest, UINT32 most, UINT32 stripes, UINT32 rlqs,
                                         UINT32 rlq, UINT32 srls) {
  RAID_LEVEL_PARAMS params = {};
  params.RAIDLevel = level;
  params.MinDisks = fewest;
  params.MaxDisks = most;
  params.DefaultCachePolicy = defaultCache;
  params.AvailableCachePolicy = offeredCache;
  params.StripeSize = level == RAID_LEVEL_1 ? RAID_STRIPE_SIZE_DEFAULT : RAID_STRIPE_SIZE_64KB;
  params.AvailableStripeSize = stripes;
  params.DefaultRLQ = rlq;
  params.AvailableRLQ = rlqs;
  params.AvailableSRL = srls;
  params.AvailableProtocols = RAID_PROTOCOL_SATA | RAID_PROTOCOL_SAS;
  params.Attributes = anyDisks;
  return params;
}

const RAID_LEVEL_PARAMS g_offeredLevels[offeredLevelCount] = {
    offer(RAID_LEVEL_0, 1, mostMembers, RAID_STRIPE_SIZE_ALL, RAID_RLQ_0, RAID_RLQ_0, 0),
    offer(RAID_LEVEL_1, 2, 3, pageStripes, RAID_RLQ_0 | RAID_RLQ_1, RAID_RLQ_0, 0),
    offer(RAID_LEVEL_4, 3, mostMembers, pageStripes, RAID_RLQ_1, RAID_RLQ_1, 0),
    offer(RAID_LEVEL_5, 3, mostMembers, pageStripes, RAID_RLQ_0 | RAID_RLQ_2 | RAID_RLQ_3, RAID_RLQ_3, 0),
    offer(RAID_LEVEL_6, 4, mostMembers, pageStripes, RAID_RLQ_1 | RAID_RLQ_2 | RAID_RLQ_3, RAID_RLQ_3, 0),
    offer(RAID_LEVEL_10, 4, mostMembers, pageStripes, RAID_RLQ_0, RAID_RLQ_0, RAID_SRL_0 | RAID_SRL_3),
};

RAID_LEVEL_PARAMS offeredLevel(UINT32 raidLevel) {
  for (const RAID_LEVEL_PARAMS &params : g_offeredLevels) {
    if (params.RAIDLevel == raidLevel) {
      return params;
    }
  }
  RAID_LEVEL_PARAMS none = {};
  none.RAIDLevel = raidLevel;
  return none;
}

UINT32 raidLevelOf(ddf::VirtualDiskLevel level) {
  switch (level) {
  case ddf::VirtualDiskLevel::raid0:
    return RAID_LEVEL_0;
  case ddf::VirtualDiskLevel::raid1:
    return RAID_LEVEL_1;
  case ddf::VirtualDiskLevel::raid4:
    return RAID_LEVEL_4;
  case ddf::VirtualDiskLevel::raid5:
    return RAID_LEVEL_5;
  case ddf::VirtualDiskLevel::raid6:
    return RAID_LEVEL_6;
  case ddf::VirtualDiskLevel::raid10:
    return RAID_LEVEL_10;
  case ddf::VirtualDiskLevel::linear:
  case ddf::VirtualDiskLevel::unknown:
    break;
  }
  return RAID_LEVEL_VOLUME;
}

} // namespace xyl::disk_controller
