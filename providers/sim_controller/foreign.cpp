// Configuration that another adapter wrote: kept apart until it is cleared or imported.
#include "providers/sim_controller/sim_parts.h"

// A failed drive stays failed, but it leaves its virtual disks like the others.
static void diskToForeign(SIM_DISK *disk) {
  disk->vdCount = 0;
  disk->secureState = RAID_SECURE_STATE_FOREIGN;
  disk->state = disk->state == SIM_STATE_FAILED ? SIM_STATE_FAILED : SIM_STATE_FOREIGN;
}

void simVolumeToForeign(SIM_CONTROLLER *sim, UINT32 objectId) {
  UINT32 index = 0;
  if (!simReserve(sim->foreignDisks, 1) || !simObjectIndex(sim, RAID_OBJECT_VIRTUAL_DISK, objectId, &index)) {
    return;
  }
  SIM_VIRTUAL_DISK *foreign = simAppend(sim->foreignDisks);
  copyBytes(foreign, &sim->virtualDisks.items[index], sizeof(*foreign));
  foreign->objectId = 0;
  foreign->targetId = 0;
  foreign->state = SIM_STATE_FOREIGN;
  for (UINT32 i = 0; i < foreign->pdCount; i++) {
    SIM_DISK *disk = simFindDisk(sim, foreign->pds[i]);
    if (disk != nullptr) {
      diskToForeign(disk);
    }
  }
  simRemove(sim->virtualDisks, index);
}

static bool anyForeign(const SIM_CONTROLLER *sim) {
  for (UINT32 i = 0; i < sim->disks.count; i++) {
    if (sim->disks.items[i].state == SIM_STATE_FOREIGN) {
      return true;
    }
  }
  return sim->foreignDisks.count != 0;
}

static void releaseForeign(SIM_DISK *disk) {
  if (disk->secureState == RAID_SECURE_STATE_FOREIGN) {
    disk->secureState = 0;
    disk->usedSize = 0;
  }
  disk->state = disk->state == SIM_STATE_FOREIGN ? SIM_STATE_READY : disk->state;
}

EFI_STATUS simClearForeign(SIM_CONTROLLER *sim) {
  if (!anyForeign(sim)) {
    return EFI_NOT_FOUND;
  }
  sim->foreignDisks.count = 0;
  for (UINT32 i = 0; i < sim->disks.count; i++) {
    SIM_DISK *disk = &sim->disks.items[i];
    releaseForeign(disk);
  }
  return EFI_SUCCESS;
}

static void importOne(SIM_CONTROLLER *sim, const SIM_VIRTUAL_DISK *foreign) {
  SIM_VIRTUAL_DISK *volume = simAppend(sim->virtualDisks);
  copyBytes(volume, foreign, sizeof(*volume));
  simGiveIds(sim, volume);
  for (UINT32 i = 0; i < volume->pdCount; i++) {
    SIM_DISK *disk = simFindDisk(sim, volume->pds[i]);
    if (disk != nullptr) {
      releaseForeign(disk);
    }
  }
}

EFI_STATUS simImportForeign(SIM_CONTROLLER *sim) {
  UINT32 count = sim->foreignDisks.count;
  if (count == 0) {
    return EFI_NOT_FOUND;
  }
  if (sim->virtualDisks.count + count > sim->adapter.maxLds) {
    return EFI_VOLUME_FULL;
  }
  if (!simReserve(sim->virtualDisks, count)) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINT32 first = sim->virtualDisks.count;
  for (UINT32 i = 0; i < count; i++) {
    importOne(sim, &sim->foreignDisks.items[i]);
  }
  // Members are taken once all of them are free again: two virtual disks may share theirs.
  for (UINT32 i = first; i < sim->virtualDisks.count; i++) {
    simTakeMembers(sim, &sim->virtualDisks.items[i]);
  }
  for (UINT32 i = first; i < sim->virtualDisks.count; i++) {
    simJudgeVolume(sim, &sim->virtualDisks.items[i]);
  }
  sim->foreignDisks.count = 0;
  return EFI_SUCCESS;
}
