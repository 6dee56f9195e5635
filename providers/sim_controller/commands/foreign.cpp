#include "providers/sim_controller/commands/foreign.h"

#include "providers/sim_controller/commands/virtual_disks.h"
#include "providers/sim_controller/state/objects.h"

namespace xyl::sim {

// A failed drive stays failed, but it leaves its virtual disks like the others.
static void diskToForeign(Disk *disk) {
  disk->record.VDCount = 0;
  disk->record.SecureState = RAID_SECURE_STATE_FOREIGN;
  disk->record.State = disk->record.State == RAID_STATE_FAILED ? RAID_STATE_FAILED : RAID_STATE_FOREIGN;
}

void virtualDiskToForeign(Controller *sim, UINT32 objectId) {
  UINT32 index = 0;
  if (!arrayReserve(sim->foreignDisks, 1) || !objectIndex(sim, RAID_OBJECT_VIRTUAL_DISK, objectId, &index)) {
    return;
  }
  VirtualDisk *foreign = arrayAppend(sim->foreignDisks);
  copyBytes(foreign, &sim->virtualDisks.items[index], sizeof(*foreign));
  foreign->record.ObjectID = 0;
  foreign->record.TargetID = 0;
  foreign->record.State = RAID_STATE_FOREIGN;
  for (UINT32 i = 0; i < foreign->record.PDCount; ++i) {
    Disk *disk = findDisk(sim, foreign->PDs[i]);
    if (disk != nullptr) {
      diskToForeign(disk);
    }
  }
  arrayRemove(sim->virtualDisks, index);
}

static bool anyForeign(const Controller *sim) {
  for (UINT32 i = 0; i < sim->disks.count; ++i) {
    const RAID_PD_RECORD &disk = sim->disks.items[i].record;
    if (disk.State == RAID_STATE_FOREIGN || disk.SecureState == RAID_SECURE_STATE_FOREIGN) {
      return true;
    }
  }
  return sim->foreignDisks.count != 0;
}

static void releaseForeign(Disk *disk) {
  if (disk->record.SecureState == RAID_SECURE_STATE_FOREIGN) {
    disk->record.SecureState = 0;
    disk->record.UsedSize = 0;
  }
  disk->record.State = disk->record.State == RAID_STATE_FOREIGN ? RAID_STATE_READY : disk->record.State;
}

EFI_STATUS clearForeign(Controller *sim) {
  if (!anyForeign(sim)) {
    return EFI_NOT_FOUND;
  }
  sim->foreignDisks.count = 0;
  for (UINT32 i = 0; i < sim->disks.count; ++i) {
    Disk *disk = &sim->disks.items[i];
    releaseForeign(disk);
  }
  return EFI_SUCCESS;
}

static void importOne(Controller *sim, const VirtualDisk *foreign) {
  VirtualDisk *virtualDisk = arrayAppend(sim->virtualDisks);
  copyBytes(virtualDisk, foreign, sizeof(*virtualDisk));
  giveIds(sim, virtualDisk);
  for (UINT32 i = 0; i < virtualDisk->record.PDCount; ++i) {
    Disk *disk = findDisk(sim, virtualDisk->PDs[i]);
    if (disk != nullptr) {
      releaseForeign(disk);
    }
  }
}

EFI_STATUS importForeign(Controller *sim) {
  UINT32 count = sim->foreignDisks.count;
  if (count == 0) {
    return EFI_NOT_FOUND;
  }
  if (sim->virtualDisks.count + count > sim->adapter.record.MaxLDs) {
    return EFI_VOLUME_FULL;
  }
  if (!arrayReserve(sim->virtualDisks, count)) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINT32 first = sim->virtualDisks.count;
  for (UINT32 i = 0; i < count; ++i) {
    importOne(sim, &sim->foreignDisks.items[i]);
  }
  // Members are taken once all of them are free again: two virtual disks may share theirs.
  for (UINT32 i = first; i < sim->virtualDisks.count; ++i) {
    takeMembers(sim, &sim->virtualDisks.items[i]);
  }
  for (UINT32 i = first; i < sim->virtualDisks.count; ++i) {
    judgeVirtualDisk(sim, &sim->virtualDisks.items[i]);
  }
  sim->foreignDisks.count = 0;
  return EFI_SUCCESS;
}

} // namespace xyl::sim
