// Virtual disks: made, removed, judged.
#include "providers/sim_controller/sim_parts.h"

#include "base/text.h"

#define DEFAULT_ACCESS 6U
#define DEFAULT_DISK_CACHE 0x100U
#define SECURE_STATE_SECURED 1U

static UINT32 freeObjectId(SIM_CONTROLLER *sim) {
  UINT32 id = sim->firstVirtualDiskId;
  while (simFindVirtualDisk(sim, id) != nullptr || simFindDisk(sim, id) != nullptr ||
         simFindPulledDisk(sim, id) != nullptr) {
    id += 1;
  }
  return id;
}

static bool targetIsTaken(const SIM_CONTROLLER *sim, UINT32 targetId) {
  for (UINT32 i = 0; i < sim->virtualDisks.count; i++) {
    if (sim->virtualDisks.items[i].targetId == targetId) {
      return true;
    }
  }
  return false;
}

void simGiveIds(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *volume) {
  // Neither the object id nor the target id that a half-made entry still holds may count as taken.
  volume->objectId = ~0U;
  volume->targetId = ~0U;
  UINT32 targetId = 0;
  while (targetIsTaken(sim, targetId)) {
    targetId += 1;
  }
  volume->objectId = freeObjectId(sim);
  volume->targetId = targetId;
  simNameVolume(sim, volume);
}

void simTakeMembers(SIM_CONTROLLER *sim, const SIM_VIRTUAL_DISK *volume) {
  bool encrypted = (volume->attributes & RAID_VD_ATTRIBUTE_FDE) != 0;
  for (UINT32 i = 0; i < volume->pdCount; i++) {
    SIM_DISK *disk = simFindDisk(sim, volume->pds[i]);
    if (disk == nullptr || disk->vdCount >= SIM_DISK_VDS) {
      continue;
    }
    disk->vds[disk->vdCount++] = volume->objectId;
    disk->usedSize += volume->memberSize;
    disk->state = disk->state == SIM_STATE_FAILED ? SIM_STATE_FAILED : SIM_STATE_ONLINE;
    disk->secureState = encrypted ? SECURE_STATE_SECURED : disk->secureState;
  }
}

static UINT32 orDefault(UINT32 wanted, UINT32 otherwise) {
  return wanted == 0 ? otherwise : wanted;
}

static void fillVolume(SIM_VIRTUAL_DISK *volume, const RAID_VD_RECORD *wanted, const SIM_VOLUME_PLAN *plan) {
  volume->objVersion = 1;
  volume->raidLevel = wanted->RAIDLevel;
  volume->levelDesc = plan->level;
  volume->rlq = orDefault(wanted->RLQ, plan->level.DefaultRLQ);
  volume->srl = orDefault(wanted->SRL, plan->level.DefaultSRL);
  volume->stripeSize = orDefault(wanted->StripeSize, plan->level.StripeSize);
  volume->currentCachePolicy = orDefault(wanted->CurrentCachePolicy, plan->level.DefaultCachePolicy);
  volume->accessPolicy = orDefault(wanted->AccessPolicy, DEFAULT_ACCESS);
  volume->diskCachePolicy = orDefault(wanted->DiskCachePolicy, DEFAULT_DISK_CACHE);
  volume->state = SIM_STATE_ONLINE;
  volume->spanDepth = plan->spanDepth;
  volume->pdsPerSpan = plan->pdsPerSpan;
  volume->startingLba = plan->start / SIM_BLOCK_SIZE;
  volume->memberSize = plan->memberSize;
  volume->size = plan->size;
  volume->attributes = plan->attributes;
}

EFI_STATUS simCreateVolume(SIM_CONTROLLER *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                           UINT32 *objectId) {
  if (wanted->Name != nullptr && textLength(wanted->Name) >= SIM_TEXT_UNITS) {
    return EFI_INVALID_PARAMETER;
  }
  SIM_VOLUME_PLAN plan;
  EFI_STATUS status = simPlanVolume(sim, wanted, ids, count, &plan);
  if (EFI_ERROR(status)) {
    return status;
  }
  SIM_VIRTUAL_DISK *volume = simAppend(sim->virtualDisks);
  if (volume == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  fillVolume(volume, wanted, &plan);
  if (wanted->Name != nullptr) {
    simSetText(volume->name, wanted->Name);
  }
  simGiveIds(sim, volume);
  volume->pdCount = count;
  copyBytes(volume->pds, ids, sizeof(UINT32) * count);
  simTakeMembers(sim, volume);
  if (objectId != nullptr) {
    *objectId = volume->objectId;
  }
  return EFI_SUCCESS;
}

EFI_STATUS simCreateCommand(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *) {
  return simCreateVolume(sim, static_cast<const RAID_VD_RECORD *>(block->ObjectData), block->ObjectIds,
                         block->ObjectIdCount, nullptr);
}

static bool unlist(SIM_DISK *disk, UINT32 virtualDiskId) {
  UINT32 kept = 0;
  for (UINT32 i = 0; i < disk->vdCount; i++) {
    if (disk->vds[i] != virtualDiskId) {
      disk->vds[kept++] = disk->vds[i];
    }
  }
  bool listed = kept != disk->vdCount;
  disk->vdCount = kept;
  return listed;
}

// Takes a virtual disk off a disk that is a member or a dedicated hot spare of it.
static void leaveVolume(SIM_DISK *disk, const SIM_VIRTUAL_DISK *volume) {
  if (!unlist(disk, volume->objectId)) {
    return;
  }
  if (disk->hotspare != 0) {
    disk->hotspare = disk->vdCount == 0 ? 0 : disk->hotspare;
    return;
  }
  disk->usedSize -= volume->memberSize < disk->usedSize ? volume->memberSize : disk->usedSize;
  if (disk->vdCount != 0) {
    return;
  }
  disk->usedSize = 0;
  disk->secureState = disk->secureState == SECURE_STATE_SECURED ? 0 : disk->secureState;
  disk->state = disk->state == SIM_STATE_ONLINE ? SIM_STATE_READY : disk->state;
}

void simDeleteVolume(SIM_CONTROLLER *sim, UINT32 objectId) {
  UINT32 index = 0;
  if (!simObjectIndex(sim, RAID_OBJECT_VIRTUAL_DISK, objectId, &index)) {
    return;
  }
  for (UINT32 i = 0; i < sim->disks.count; i++) {
    leaveVolume(&sim->disks.items[i], &sim->virtualDisks.items[index]);
  }
  simRemove(sim->virtualDisks, index);
}

void simFreeSpares(SIM_CONTROLLER *sim) {
  for (UINT32 i = 0; i < sim->disks.count; i++) {
    SIM_DISK *disk = &sim->disks.items[i];
    disk->vdCount = disk->hotspare != 0 ? 0 : disk->vdCount;
    disk->hotspare = 0;
  }
}

void simResetConfiguration(SIM_CONTROLLER *sim) {
  while (sim->virtualDisks.count != 0) {
    simDeleteVolume(sim, sim->virtualDisks.items[sim->virtualDisks.count - 1].objectId);
  }
  simFreeSpares(sim);
}

static UINT32 lostMembers(SIM_CONTROLLER *sim, const UINT32 *ids, UINT32 count) {
  UINT32 lost = 0;
  for (UINT32 i = 0; i < count; i++) {
    const SIM_DISK *disk = simFindDisk(sim, ids[i]);
    lost += disk == nullptr || disk->state != SIM_STATE_ONLINE ? 1 : 0;
  }
  return lost;
}

void simJudgeVolume(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *volume) {
  const SIM_LEVEL_ROW *row = simLevelRow(volume->raidLevel);
  UINT32 parity = row == nullptr ? 0 : row->parity;
  bool mirrored = row != nullptr && row->mirrored;
  // What fails together: the pairs of a mirror, else the members of a span.
  UINT32 together = mirrored ? 2 : volume->pdsPerSpan;
  UINT32 spare = mirrored ? 1 : parity;
  volume->state = SIM_STATE_ONLINE;
  for (UINT32 first = 0; together != 0 && first < volume->pdCount; first += together) {
    UINT32 left = volume->pdCount - first;
    UINT32 lost = lostMembers(sim, &volume->pds[first], left < together ? left : together);
    if (lost > spare) {
      volume->state = SIM_STATE_OFFLINE;
      return;
    }
    volume->state = lost != 0 ? SIM_STATE_DEGRADED : volume->state;
  }
}

void simJudgeVolumesOf(SIM_CONTROLLER *sim, UINT32 diskId) {
  for (UINT32 i = 0; i < sim->virtualDisks.count; i++) {
    SIM_VIRTUAL_DISK *volume = &sim->virtualDisks.items[i];
    for (UINT32 j = 0; j < volume->pdCount; j++) {
      if (volume->pds[j] == diskId) {
        simJudgeVolume(sim, volume);
        break;
      }
    }
  }
}
