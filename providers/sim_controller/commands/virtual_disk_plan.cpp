#include "providers/sim_controller/commands/virtual_disk_plan.h"

#include "providers/sim_controller/state/objects.h"
#include "records/levels.h"

namespace xyl::sim {

constexpr UINT32 levelHdd = RAID_LEVEL_ATTRIBUTE_HDD;
constexpr UINT32 levelSsd = RAID_LEVEL_ATTRIBUTE_SSD;
constexpr UINT32 levelMixesMedia = RAID_LEVEL_ATTRIBUTE_HDD_SSD | RAID_LEVEL_ATTRIBUTE_MIX_ALL;
constexpr UINT32 levelMixesHddProtocols = RAID_LEVEL_ATTRIBUTE_SAS_SATA_HDD | RAID_LEVEL_ATTRIBUTE_MIX_ALL;
constexpr UINT32 levelMixesSsdProtocols = RAID_LEVEL_ATTRIBUTE_SAS_SATA_SSD | RAID_LEVEL_ATTRIBUTE_MIX_ALL;

UINT64 memberSize(UINT32 raidLevel, UINT32 spanDepth, UINT32 pdCount, UINT64 size) {
  const records::LevelLayout *layout = records::levelLayout(raidLevel);
  UINT64 members = layout == nullptr ? 0 : records::levelDataMembers(layout, pdCount, spanDepth);
  return members == 0 ? 0 : records::levelShare(size, members);
}

static bool isSameGroup(Controller *sim, const Disk *disk, const UINT32 *ids, UINT32 count) {
  for (UINT32 v = 0; v < disk->record.VDCount; ++v) {
    const VirtualDisk *virtualDisk = findVirtualDisk(sim, disk->VDs[v]);
    if (virtualDisk == nullptr || virtualDisk->record.PDCount != count) {
      return false;
    }
    for (UINT32 i = 0; i < count; ++i) {
      if (!hasMember(virtualDisk, ids[i])) {
        return false;
      }
    }
  }
  return true;
}

static EFI_STATUS checkMember(Controller *sim, const Disk *disk, const UINT32 *ids, UINT32 count) {
  if (disk->record.State == RAID_STATE_FAILED || disk->record.State == RAID_STATE_OFFLINE) {
    return EFI_NOT_READY;
  }
  if (disk->record.State == RAID_STATE_READY) {
    return disk->record.Hotspare == 0 ? EFI_SUCCESS : EFI_ACCESS_DENIED;
  }
  bool shares =
      disk->record.State == RAID_STATE_ONLINE && disk->record.VDCount != 0 && isSameGroup(sim, disk, ids, count);
  if (!shares) {
    return EFI_ACCESS_DENIED;
  }
  return disk->record.VDCount < diskVds ? EFI_SUCCESS : EFI_VOLUME_FULL;
}

static EFI_STATUS checkMembers(Controller *sim, const UINT32 *ids, UINT32 count) {
  for (UINT32 i = 0; i < count; ++i) {
    for (UINT32 j = 0; j < i; ++j) {
      if (ids[i] == ids[j]) {
        return EFI_INVALID_PARAMETER;
      }
    }
    if (findDisk(sim, ids[i]) == nullptr) {
      return EFI_INVALID_PARAMETER;
    }
  }
  for (UINT32 i = 0; i < count; ++i) {
    EFI_STATUS status = checkMember(sim, findDisk(sim, ids[i]), ids, count);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

// Media and protocols of the members against the level; the virtual disk's attributes follow from them.
static EFI_STATUS planMedia(Controller *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                            VirtualDiskPlan *plan) {
  UINT32 media = 0;
  UINT32 protocols = 0;
  bool allEncrypt = true;
  for (UINT32 i = 0; i < count; ++i) {
    const Disk *disk = findDisk(sim, ids[i]);
    media |= (disk->record.Attributes & RAID_PD_ATTRIBUTE_SSD) != 0 ? levelSsd : levelHdd;
    protocols |= disk->record.Protocol;
    allEncrypt = allEncrypt && (disk->record.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0;
  }
  UINT32 allowed = plan->level.Attributes;
  bool mixesProtocols = (protocols & (protocols - 1)) != 0;
  UINT32 mixing =
      ((media & levelHdd) != 0 ? levelMixesHddProtocols : 0U) | ((media & levelSsd) != 0 ? levelMixesSsdProtocols : 0U);
  bool cacheCade = (wanted->Attributes & RAID_VD_ATTRIBUTE_CACHECADE) != 0;
  bool cacheCadeFits =
      (sim->adapter.record.Attributes & RAID_ADAPTER_ATTRIBUTE_CACHECADE_CAPABLE) != 0 && media == levelSsd;
  if ((media & ~allowed) != 0 || (protocols & ~plan->level.AvailableProtocols) != 0 ||
      (media == (levelHdd | levelSsd) && (allowed & levelMixesMedia) == 0) ||
      (mixesProtocols && (allowed & mixing) == 0) || (cacheCade && !cacheCadeFits)) {
    return EFI_UNSUPPORTED;
  }
  bool encrypted = (wanted->Attributes & RAID_VD_ATTRIBUTE_FDE) != 0;
  if (encrypted && !(sim->key.present && allEncrypt)) {
    return EFI_ACCESS_DENIED;
  }
  plan->attributes = (wanted->Attributes & (RAID_VD_ATTRIBUTE_FDE | RAID_VD_ATTRIBUTE_CACHECADE)) |
                     (protocols & (RAID_VD_ATTRIBUTE_SATA | RAID_VD_ATTRIBUTE_SAS)) |
                     ((media & levelSsd) != 0 ? RAID_VD_ATTRIBUTE_SSD : 0U) |
                     ((media & levelHdd) != 0 ? RAID_VD_ATTRIBUTE_HDD : 0U);
  return EFI_SUCCESS;
}

// Where the room behind everything on a member begins.
static UINT64 usedEnd(Controller *sim, const Disk *disk) {
  UINT64 end = 0;
  for (UINT32 i = 0; i < disk->record.VDCount; ++i) {
    const VirtualDisk *virtualDisk = findVirtualDisk(sim, disk->VDs[i]);
    UINT64 last = virtualDisk == nullptr ? 0 : virtualDisk->record.StartingLba * blockSize + virtualDisk->memberSize;
    end = last > end ? last : end;
  }
  return end;
}

static EFI_STATUS planSpace(Controller *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                            VirtualDiskPlan *plan) {
  UINT64 room = ~0ULL;
  for (UINT32 i = 0; i < count; ++i) {
    const Disk *disk = findDisk(sim, ids[i]);
    UINT64 end = usedEnd(sim, disk);
    UINT64 left = disk->record.Size > end ? disk->record.Size - end : 0;
    room = left < room ? left : room;
    plan->start = end > plan->start ? end : plan->start;
  }
  room = roundDown(room, records::levelGrain);
  UINT64 members = records::levelDataMembers(records::levelLayout(wanted->RAIDLevel), count, plan->spanDepth);
  if (members == 0) { // limits of a controller file may allow it
    return EFI_INVALID_PARAMETER;
  }
  if (room == 0 || room > ~0ULL / members || wanted->Size > room * members) {
    return EFI_VOLUME_FULL;
  }
  plan->memberSize = wanted->Size == 0 ? room : records::levelShare(wanted->Size, members);
  plan->size = wanted->Size == 0 ? room * members : wanted->Size;
  return EFI_SUCCESS;
}

EFI_STATUS planVirtualDisk(Controller *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                           VirtualDiskPlan *plan) {
  zeroBytes(plan, sizeof(*plan));
  if (count == 0 || count > vdPds) {
    return EFI_INVALID_PARAMETER;
  }
  const RAID_LEVEL_PARAMS *level = records::levelFind(&sim->adapter.record, sim->adapter.RAIDLevelParams,
                                                      sim->adapter.levelCount, wanted->RAIDLevel);
  if (level == nullptr || records::levelLayout(wanted->RAIDLevel) == nullptr) {
    return EFI_UNSUPPORTED;
  }
  plan->level = *level;
  if (!records::levelOffers(level, wanted)) {
    return EFI_INVALID_PARAMETER;
  }
  EFI_STATUS status = checkMembers(sim, ids, count);
  if (!EFI_ERROR(status)) {
    bool fits = records::levelSpans(&sim->adapter.record, level, wanted, count, &plan->spanDepth);
    status = fits ? EFI_SUCCESS : EFI_INVALID_PARAMETER;
  }
  if (!EFI_ERROR(status)) {
    status = planMedia(sim, wanted, ids, count, plan);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  if (sim->virtualDisks.count >= sim->adapter.record.MaxLDs) {
    return EFI_VOLUME_FULL;
  }
  plan->pdsPerSpan = count / plan->spanDepth;
  return planSpace(sim, wanted, ids, count, plan);
}

} // namespace xyl::sim
