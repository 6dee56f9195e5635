#include "providers/disk_controller/commands/volume_request.h"

#include "base/pool.h"
#include "base/rounding.h"
#include "base/text.h"
#include "providers/disk_controller/metadata/levels.h"

namespace xyl::disk_controller {

static bool isOneBit(UINT32 value) {
  return value != 0 && (value & (value - 1)) == 0;
}

static UINT8 bitNumber(UINT32 bit) {
  return static_cast<UINT8>(__builtin_ctz(bit));
}

static EFI_STATUS wrong(const CHAR8 **why, const CHAR8 *text, EFI_STATUS status) {
  *why = text;
  return status;
}

// One value of those on offer, or 0. EFI_INVALID_PARAMETER for several, EFI_UNSUPPORTED for another one.
static EFI_STATUS checkValue(UINT32 value, UINT32 offered, const CHAR8 *what, const CHAR8 **why) {
  if (value != 0 && !isOneBit(value)) {
    return wrong(why, what, EFI_INVALID_PARAMETER);
  }
  return (value & ~offered) != 0 ? wrong(why, what, EFI_UNSUPPORTED) : EFI_SUCCESS;
}

// --- Name, access, cache ---

static EFI_STATUS decodeName(const CHAR16 *name, CHAR8 (&to)[16], const CHAR8 **why) {
  UINTN length = textLength(name);
  if (length > sizeof(to)) {
    return wrong(why, "the name has more than 16 characters", EFI_INVALID_PARAMETER);
  }
  zeroBytes(to, sizeof(to));
  for (UINTN i = 0; i < length; ++i) {
    if (name[i] <= ' ' || name[i] > '~') {
      return wrong(why, "the name has characters other than ASCII, or blanks", EFI_INVALID_PARAMETER);
    }
    to[i] = static_cast<CHAR8>(name[i]);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS decodeAccess(UINT32 policy, UINT8 *access, const CHAR8 **why) {
  switch (policy) {
  case RAID_ACCESS_POLICY_READ_WRITE:
    *access = ddf::accessReadWrite;
    return EFI_SUCCESS;
  case RAID_ACCESS_POLICY_READ_ONLY:
    *access = ddf::accessReadOnly;
    return EFI_SUCCESS;
  case RAID_ACCESS_POLICY_NO_ACCESS:
    *access = ddf::accessBlocked;
    return EFI_SUCCESS;
  default:
    return wrong(why, "an access policy without a meaning", EFI_INVALID_PARAMETER);
  }
}

static EFI_STATUS decodeCache(UINT32 policy, UINT8 *cache, const CHAR8 **why) {
  static constexpr UINT32 groups[] = {RAID_CACHE_WRITE_MASK, RAID_CACHE_READ_MASK, RAID_CACHE_DISK_MASK,
                                      RAID_CACHE_IO_MASK};
  if ((policy & ~RAID_CACHE_ALL) != 0) {
    return wrong(why, "a cache policy without a meaning", EFI_INVALID_PARAMETER);
  }
  for (UINT32 group : groups) {
    EFI_STATUS status = checkValue(policy & group, g_offeredLevels[0].AvailableCachePolicy, "the cache policy", why);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  UINT8 bits = (policy & RAID_CACHE_WRITE_BACK) != 0 ? ddf::cacheWriteBack : 0;
  bits |= (policy & (RAID_CACHE_READ_AHEAD | RAID_CACHE_READ_ADAPTIVE)) != 0 ? ddf::cacheReadAhead : 0;
  bits |= (policy & RAID_CACHE_READ_ADAPTIVE) != 0 ? ddf::cacheAdaptiveRead : 0;
  *cache = bits;
  return EFI_SUCCESS;
}

EFI_STATUS decodeSettings(const RAID_VD_RECORD &wanted, ddf_change::VirtualDiskSettings *settings, const CHAR8 **why) {
  zeroBytes(settings, sizeof(*settings));
  settings->which = (wanted.Name != nullptr ? ddf_change::settingName : 0) |
                    (wanted.AccessPolicy != 0 ? ddf_change::settingAccess : 0) |
                    (wanted.CurrentCachePolicy != 0 ? ddf_change::settingCache : 0);
  EFI_STATUS status = checkValue(wanted.DiskCachePolicy, RAID_CACHE_DISK_DEFAULT, "the disks' cache policy", why);
  if (!EFI_ERROR(status) && (settings->which & ddf_change::settingName) != 0) {
    status = decodeName(wanted.Name, settings->name, why);
  }
  if (!EFI_ERROR(status) && (settings->which & ddf_change::settingAccess) != 0) {
    status = decodeAccess(wanted.AccessPolicy, &settings->access, why);
  }
  if (!EFI_ERROR(status) && (settings->which & ddf_change::settingCache) != 0) {
    status = decodeCache(wanted.CurrentCachePolicy, &settings->cache, why);
  }
  return status;
}

// --- Level and members ---

namespace {

// What a level is on the disk, and how many of its members hold data: all but lost, or one in copies.
struct LevelRow {
  UINT32 raidLevel;
  UINT8 level;
  UINT32 lost;
};

} // namespace

static constexpr LevelRow g_levelRows[] = {
    {RAID_LEVEL_0, ddf::levelRaid0, 0}, {RAID_LEVEL_1, ddf::levelRaid1, 0}, {RAID_LEVEL_4, ddf::levelRaid4, 1},
    {RAID_LEVEL_5, ddf::levelRaid5, 1}, {RAID_LEVEL_6, ddf::levelRaid6, 2}, {RAID_LEVEL_10, ddf::levelRaid1e, 0},
};

static const LevelRow *levelRow(UINT32 raidLevel) {
  for (const LevelRow &row : g_levelRows) {
    if (row.raidLevel == raidLevel) {
      return &row;
    }
  }
  return nullptr;
}

static UINT32 dataMembers(const LevelRow &row, UINT32 count) {
  return row.raidLevel == RAID_LEVEL_1 ? 1 : row.raidLevel == RAID_LEVEL_10 ? count / 2 : count - row.lost;
}

// Members are pairs one after the other, whatever spans of an even number of members were asked for.
static EFI_STATUS checkShape(const RAID_VD_RECORD &wanted, UINT32 count, const CHAR8 **why) {
  UINT32 spans = wanted.SpanDepth;
  UINT32 each = wanted.PDsPerSpan;
  if ((spans != 0 && count % spans != 0) || (each != 0 && count % each != 0) ||
      (spans != 0 && each != 0 && count / spans != each)) {
    return wrong(why, "the spans do not make up the members", EFI_INVALID_PARAMETER);
  }
  each = each != 0 ? each : spans != 0 ? count / spans : 2;
  bool isPairs = wanted.RAIDLevel == RAID_LEVEL_10;
  bool isOne = spans <= 1 && (wanted.PDsPerSpan == 0 || wanted.PDsPerSpan == count);
  bool fits = isPairs ? count % 2 == 0 && each % 2 == 0 : isOne;
  return fits ? EFI_SUCCESS : wrong(why, "spans that the level does not have", EFI_UNSUPPORTED);
}

static EFI_STATUS checkLevel(const RAID_VD_RECORD &wanted, const RAID_LEVEL_PARAMS &level, UINT32 count,
                             const CHAR8 **why) {
  if (!isOneBit(wanted.RAIDLevel)) {
    return wrong(why, "no level, or several", EFI_INVALID_PARAMETER);
  }
  if (level.MaxDisks == 0) {
    return wrong(why, "a level that Linux does not assemble", EFI_UNSUPPORTED);
  }
  if (count < level.MinDisks || count > level.MaxDisks) {
    return wrong(why, "too few or too many disks for the level", EFI_UNSUPPORTED);
  }
  if ((wanted.Attributes & (RAID_VD_ATTRIBUTE_FDE | RAID_VD_ATTRIBUTE_EEDP | RAID_VD_ATTRIBUTE_CACHECADE)) != 0) {
    return wrong(why, "an attribute that these disks do not have", EFI_UNSUPPORTED);
  }
  EFI_STATUS status = checkValue(wanted.RLQ, level.AvailableRLQ, "the level's qualifier", why);
  if (!EFI_ERROR(status)) {
    status = checkValue(wanted.SRL, level.AvailableSRL, "the secondary level", why);
  }
  if (!EFI_ERROR(status)) {
    status = checkValue(wanted.StripeSize, level.AvailableStripeSize, "the stripe size", why);
  }
  return EFI_ERROR(status) ? status : checkShape(wanted, count, why);
}

// Of mirrors the qualifier counts the copies.
static EFI_STATUS decodeQualifier(const RAID_VD_RECORD &wanted, const RAID_LEVEL_PARAMS &level, UINT32 count,
                                  UINT8 *qualifier, const CHAR8 **why) {
  UINT32 rlq = wanted.RLQ != 0 ? wanted.RLQ : level.DefaultRLQ;
  if (wanted.RAIDLevel == RAID_LEVEL_1) {
    rlq = count == 2 ? RAID_RLQ_0 : RAID_RLQ_1;
    if (wanted.RLQ != 0 && wanted.RLQ != rlq) {
      return wrong(why, "the level's qualifier does not fit the number of disks", EFI_UNSUPPORTED);
    }
  }
  *qualifier = bitNumber(rlq);
  return EFI_SUCCESS;
}

// Whole strips and pages of each member, so that at least size bytes have room.
static UINT64 blocksOf(UINT64 size, UINT32 members, UINT8 strip) {
  UINT64 grain =
      strip == ddf::noStrip || 1ULL << strip < ddf_change::grainSectors ? ddf_change::grainSectors : 1ULL << strip;
  return roundUp(divideUp(divideUp(size, ddf::sectorSize), members), grain);
}

EFI_STATUS decodeVirtualDisk(const RAID_VD_RECORD &wanted, UINT32 count, ddf_change::NewVirtualDisk *virtualDisk,
                             const CHAR8 **why) {
  zeroBytes(virtualDisk, sizeof(*virtualDisk));
  RAID_LEVEL_PARAMS level = offeredLevel(wanted.RAIDLevel);
  ddf_change::VirtualDiskSettings settings = {};
  EFI_STATUS status = checkLevel(wanted, level, count, why);
  if (!EFI_ERROR(status)) {
    status = decodeQualifier(wanted, level, count, &virtualDisk->qualifier, why);
  }
  if (!EFI_ERROR(status)) {
    status = decodeSettings(wanted, &settings, why);
  }
  const LevelRow *row = levelRow(wanted.RAIDLevel);
  if (EFI_ERROR(status) || row == nullptr) {
    return status;
  }
  UINT32 stripe = wanted.StripeSize != 0 ? wanted.StripeSize : level.StripeSize;
  virtualDisk->level = row->level;
  virtualDisk->strip = stripe != 0 ? bitNumber(stripe) : ddf::noStrip;
  virtualDisk->diskCount = count;
  virtualDisk->memberBlocks =
      wanted.Size == 0 ? 0 : blocksOf(wanted.Size, dataMembers(*row, count), virtualDisk->strip);
  copyBytes(virtualDisk->name, settings.name, sizeof(virtualDisk->name));
  virtualDisk->access = settings.access;
  virtualDisk->cache = settings.cache;
  return EFI_SUCCESS;
}

} // namespace xyl::disk_controller
