// Whether a virtual disk may be created, and what it would be.
#include "providers/sim_controller/sim_parts.h"

#define GRAIN 0x100000ULL // members give room in whole mebibytes

#define LEVEL_HDD 0x01U
#define LEVEL_SSD 0x02U
#define LEVEL_MIXES_MEDIA 0x90U         // "HDD SSD", "Mix All"
#define LEVEL_MIXES_HDD_PROTOCOLS 0xA0U // "SAS SATA HDD", "Mix All"
#define LEVEL_MIXES_SSD_PROTOCOLS 0xC0U // "SAS SATA SSD", "Mix All"

#define PROTOCOL_SATA 0x10U
#define PROTOCOL_SAS 0x20U
#define VD_ATTRIBUTE_SSD 0x04U
#define VD_ATTRIBUTE_HDD 0x08U

#define WRITE_ACCESS 6U
#define DISK_CACHE_DEFAULT 0x100U

static constexpr SIM_LEVEL_ROW g_levelRows[] = {
    {0x1, 0, false, false, 1},   // Volume
    {0x2, 0, false, false, 1},   // 0
    {0x4, 0, true, false, 2},    // 1
    {0x10, 1, false, false, 3},  // 3
    {0x20, 1, false, false, 3},  // 4
    {0x40, 1, false, false, 3},  // 5
    {0x80, 2, false, false, 4},  // 6
    {0x800, 0, true, true, 2},   // 10
    {0x1000, 1, false, true, 3}, // 30
    {0x2000, 1, false, true, 3}, // 50
    {0x4000, 2, false, true, 4}, // 60
};

const SIM_LEVEL_ROW *simLevelRow(UINT32 level) {
  for (const SIM_LEVEL_ROW &row : g_levelRows) {
    if (row.level == level) {
      return &row;
    }
  }
  return nullptr;
}

// How many of count members hold data; 0 for a layout that holds none.
static UINT64 dataMembers(const SIM_LEVEL_ROW *row, UINT32 count, UINT32 spans) {
  UINT64 redundant = row->mirrored ? count - count / 2 : static_cast<UINT64>(row->parity) * spans;
  return redundant < count ? count - redundant : 0;
}

// What each of the members gives for size bytes.
static UINT64 shareOf(UINT64 size, UINT64 members) {
  UINT64 grains = size / members / GRAIN;
  return (grains + (grains * GRAIN * members < size ? 1 : 0)) * GRAIN;
}

UINT64 simMemberSize(UINT32 raidLevel, UINT32 spanDepth, UINT32 pdCount, UINT64 size) {
  const SIM_LEVEL_ROW *row = simLevelRow(raidLevel);
  UINT64 members = row == nullptr ? 0 : dataMembers(row, pdCount, spanDepth);
  return members == 0 ? 0 : shareOf(size, members);
}

bool simIsDiskCachePolicy(UINT32 value) {
  return value == 0 || value == 0x100 || value == 0x200 || value == 0x400;
}

bool simIsAccessPolicy(UINT32 value) {
  return value == 0 || value == 1 || value == 2 || value == WRITE_ACCESS;
}

static const RAID_LEVEL_PARAMS *findLevel(const SIM_ADAPTER *adapter, UINT32 level) {
  for (UINT32 i = 0; (adapter->supportedRaidLevels & level) != 0 && i < adapter->levelCount; i++) {
    if (adapter->levels[i].RAIDLevel == level) {
      return &adapter->levels[i];
    }
  }
  return nullptr;
}

static bool isSameGroup(SIM_CONTROLLER *sim, const SIM_DISK *disk, const UINT32 *ids, UINT32 count) {
  for (UINT32 v = 0; v < disk->vdCount; v++) {
    const SIM_VIRTUAL_DISK *volume = simFindVirtualDisk(sim, disk->vds[v]);
    if (volume == nullptr || volume->pdCount != count) {
      return false;
    }
    for (UINT32 i = 0; i < count; i++) {
      bool found = false;
      for (UINT32 j = 0; j < count; j++) {
        found = found || volume->pds[j] == ids[i];
      }
      if (!found) {
        return false;
      }
    }
  }
  return true;
}

static EFI_STATUS checkMember(SIM_CONTROLLER *sim, const SIM_DISK *disk, const UINT32 *ids, UINT32 count) {
  if (disk->state == SIM_STATE_FAILED || disk->state == SIM_STATE_OFFLINE) {
    return EFI_NOT_READY;
  }
  if (disk->state == SIM_STATE_READY) {
    return disk->hotspare == 0 ? EFI_SUCCESS : EFI_ACCESS_DENIED;
  }
  bool shares = disk->state == SIM_STATE_ONLINE && disk->vdCount != 0 && isSameGroup(sim, disk, ids, count);
  if (!shares) {
    return EFI_ACCESS_DENIED;
  }
  return disk->vdCount < SIM_DISK_VDS ? EFI_SUCCESS : EFI_VOLUME_FULL;
}

static EFI_STATUS checkMembers(SIM_CONTROLLER *sim, const UINT32 *ids, UINT32 count) {
  for (UINT32 i = 0; i < count; i++) {
    for (UINT32 j = 0; j < i; j++) {
      if (ids[i] == ids[j]) {
        return EFI_INVALID_PARAMETER;
      }
    }
    if (simFindDisk(sim, ids[i]) == nullptr) {
      return EFI_INVALID_PARAMETER;
    }
  }
  for (UINT32 i = 0; i < count; i++) {
    EFI_STATUS status = checkMember(sim, simFindDisk(sim, ids[i]), ids, count);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

// The fewest spans that hold count members within the limit of a span.
static UINT32 chooseSpans(const SIM_CONTROLLER *sim, const SIM_LEVEL_ROW *row, UINT32 count) {
  UINT32 first = row->mirrored ? count / row->minPerSpan : 2;
  if (!row->spanned || first == 0) {
    return 1;
  }
  if (row->mirrored && first <= sim->adapter.maxSpansPerLd) {
    return first;
  }
  UINT32 spans = 1;
  while (spans < count && (count % spans != 0 || spans < 2 || count / spans > sim->adapter.maxPdsPerSpan)) {
    spans += 1;
  }
  return spans;
}

static EFI_STATUS planSpans(const SIM_CONTROLLER *sim, const SIM_LEVEL_ROW *row, const RAID_VD_RECORD *wanted,
                            UINT32 count, SIM_VOLUME_PLAN *plan) {
  UINT32 spans = wanted->SpanDepth == 0 ? chooseSpans(sim, row, count) : wanted->SpanDepth;
  UINT32 perSpan = count / spans;
  bool shapeFits = count % spans == 0 && (wanted->PDsPerSpan == 0 || wanted->PDsPerSpan == perSpan) &&
                   (row->spanned || spans == 1) && spans <= sim->adapter.maxSpansPerLd &&
                   perSpan <= sim->adapter.maxPdsPerSpan && perSpan >= row->minPerSpan &&
                   (!row->mirrored || perSpan % 2 == 0);
  bool countFits = count >= plan->level.MinDisks && count <= plan->level.MaxDisks;
  if (!shapeFits || !countFits) {
    return EFI_INVALID_PARAMETER;
  }
  plan->spanDepth = spans;
  plan->pdsPerSpan = perSpan;
  return EFI_SUCCESS;
}

// Media and protocols of the members against the level; the virtual disk's attributes follow from them.
static EFI_STATUS planMedia(SIM_CONTROLLER *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                            SIM_VOLUME_PLAN *plan) {
  UINT32 media = 0;
  UINT32 protocols = 0;
  bool allEncrypt = true;
  for (UINT32 i = 0; i < count; i++) {
    const SIM_DISK *disk = simFindDisk(sim, ids[i]);
    media |= (disk->attributes & RAID_PD_ATTRIBUTE_SSD) != 0 ? LEVEL_SSD : LEVEL_HDD;
    protocols |= disk->protocol;
    allEncrypt = allEncrypt && (disk->attributes & RAID_PD_ATTRIBUTE_FDE) != 0;
  }
  UINT32 allowed = plan->level.Attributes;
  bool mixesProtocols = (protocols & (protocols - 1)) != 0;
  UINT32 mixing = ((media & LEVEL_HDD) != 0 ? LEVEL_MIXES_HDD_PROTOCOLS : 0U) |
                  ((media & LEVEL_SSD) != 0 ? LEVEL_MIXES_SSD_PROTOCOLS : 0U);
  bool cacheCade = (wanted->Attributes & RAID_VD_ATTRIBUTE_CACHECADE) != 0;
  bool cacheCadeFits = (sim->adapter.attributes & RAID_ADAPTER_CACHECADE_CAPABLE) != 0 && media == LEVEL_SSD;
  if ((media & ~allowed) != 0 || (protocols & ~plan->level.AvailableProtocols) != 0 ||
      (media == (LEVEL_HDD | LEVEL_SSD) && (allowed & LEVEL_MIXES_MEDIA) == 0) ||
      (mixesProtocols && (allowed & mixing) == 0) || (cacheCade && !cacheCadeFits)) {
    return EFI_UNSUPPORTED;
  }
  bool encrypted = (wanted->Attributes & RAID_VD_ATTRIBUTE_FDE) != 0;
  if (encrypted && !(sim->key.present && allEncrypt)) {
    return EFI_ACCESS_DENIED;
  }
  plan->attributes = (wanted->Attributes & (RAID_VD_ATTRIBUTE_FDE | RAID_VD_ATTRIBUTE_CACHECADE)) |
                     (protocols & (PROTOCOL_SATA | PROTOCOL_SAS)) | ((media & LEVEL_SSD) != 0 ? VD_ATTRIBUTE_SSD : 0U) |
                     ((media & LEVEL_HDD) != 0 ? VD_ATTRIBUTE_HDD : 0U);
  return EFI_SUCCESS;
}

static bool isOneOf(UINT32 value, UINT32 mask) {
  return (value & (value - 1)) == 0 && (value & ~mask) == 0;
}

static bool settingsFit(const RAID_VD_RECORD *wanted, const RAID_LEVEL_PARAMS *level) {
  return isOneOf(wanted->StripeSize, level->AvailableStripeSize) && isOneOf(wanted->RLQ, level->AvailableRLQ) &&
         isOneOf(wanted->SRL, level->AvailableSRL) &&
         (wanted->CurrentCachePolicy & ~level->AvailableCachePolicy) == 0 &&
         simIsDiskCachePolicy(wanted->DiskCachePolicy) && simIsAccessPolicy(wanted->AccessPolicy);
}

// Where the room behind everything on a member begins.
static UINT64 usedEnd(SIM_CONTROLLER *sim, const SIM_DISK *disk) {
  UINT64 end = 0;
  for (UINT32 i = 0; i < disk->vdCount; i++) {
    const SIM_VIRTUAL_DISK *volume = simFindVirtualDisk(sim, disk->vds[i]);
    UINT64 last = volume == nullptr ? 0 : volume->startingLba * SIM_BLOCK_SIZE + volume->memberSize;
    end = last > end ? last : end;
  }
  return end;
}

static EFI_STATUS planSpace(SIM_CONTROLLER *sim, const SIM_LEVEL_ROW *row, const RAID_VD_RECORD *wanted,
                            const UINT32 *ids, UINT32 count, SIM_VOLUME_PLAN *plan) {
  UINT64 room = ~0ULL;
  for (UINT32 i = 0; i < count; i++) {
    const SIM_DISK *disk = simFindDisk(sim, ids[i]);
    UINT64 end = usedEnd(sim, disk);
    UINT64 left = disk->size > end ? disk->size - end : 0;
    room = left < room ? left : room;
    plan->start = end > plan->start ? end : plan->start;
  }
  room -= room % GRAIN;
  UINT64 members = dataMembers(row, count, plan->spanDepth);
  if (members == 0) { // limits of a controller file may allow it
    return EFI_INVALID_PARAMETER;
  }
  if (room == 0 || room > ~0ULL / members || wanted->Size > room * members) {
    return EFI_VOLUME_FULL;
  }
  plan->memberSize = wanted->Size == 0 ? room : shareOf(wanted->Size, members);
  plan->size = wanted->Size == 0 ? room * members : wanted->Size;
  return EFI_SUCCESS;
}

EFI_STATUS simPlanVolume(SIM_CONTROLLER *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                         SIM_VOLUME_PLAN *plan) {
  zeroBytes(plan, sizeof(*plan));
  if (count == 0 || count > SIM_VD_PDS) {
    return EFI_INVALID_PARAMETER;
  }
  const SIM_LEVEL_ROW *row = simLevelRow(wanted->RAIDLevel);
  const RAID_LEVEL_PARAMS *level = findLevel(&sim->adapter, wanted->RAIDLevel);
  if (row == nullptr || level == nullptr) {
    return EFI_UNSUPPORTED;
  }
  plan->level = *level;
  if (!settingsFit(wanted, level)) {
    return EFI_INVALID_PARAMETER;
  }
  EFI_STATUS status = checkMembers(sim, ids, count);
  if (!EFI_ERROR(status)) {
    status = planSpans(sim, row, wanted, count, plan);
  }
  if (!EFI_ERROR(status)) {
    status = planMedia(sim, wanted, ids, count, plan);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  if (sim->virtualDisks.count >= sim->adapter.maxLds) {
    return EFI_VOLUME_FULL;
  }
  return planSpace(sim, row, wanted, ids, count, plan);
}
