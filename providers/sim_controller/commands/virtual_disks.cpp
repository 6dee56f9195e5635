#include "providers/sim_controller/commands/virtual_disks.h"

#include "base/text.h"
#include "providers/sim_controller/commands/virtual_disk_plan.h"
#include "providers/sim_controller/state/objects.h"
#include "records/levels.h"

namespace xyl::sim {

static UINT32 freeObjectId(Controller *sim) {
  UINT32 id = sim->firstVirtualDiskId;
  while (findVirtualDisk(sim, id) != nullptr || findDisk(sim, id) != nullptr || findPulledDisk(sim, id) != nullptr) {
    id += 1;
  }
  return id;
}

static bool targetIsTaken(const Controller *sim, UINT32 targetId) {
  for (UINT32 i = 0; i < sim->virtualDisks.count; ++i) {
    if (sim->virtualDisks.items[i].record.TargetID == targetId) {
      return true;
    }
  }
  return false;
}

void giveIds(Controller *sim, VirtualDisk *virtualDisk) {
  // Neither the object id nor the target id that a half-made entry still holds may count as taken.
  virtualDisk->record.ObjectID = ~0U;
  virtualDisk->record.TargetID = ~0U;
  UINT32 targetId = 0;
  while (targetIsTaken(sim, targetId)) {
    targetId += 1;
  }
  virtualDisk->record.ObjectID = freeObjectId(sim);
  virtualDisk->record.TargetID = targetId;
  nameVirtualDisk(sim, virtualDisk);
}

void takeMembers(Controller *sim, const VirtualDisk *virtualDisk) {
  bool encrypted = (virtualDisk->record.Attributes & RAID_VD_ATTRIBUTE_FDE) != 0;
  for (UINT32 i = 0; i < virtualDisk->record.PDCount; ++i) {
    Disk *disk = findDisk(sim, virtualDisk->PDs[i]);
    if (disk == nullptr || disk->record.VDCount >= diskVds) {
      continue;
    }
    disk->VDs[disk->record.VDCount++] = virtualDisk->record.ObjectID;
    disk->record.UsedSize += virtualDisk->memberSize;
    disk->record.State = disk->record.State == RAID_STATE_FAILED ? RAID_STATE_FAILED : RAID_STATE_ONLINE;
    disk->record.SecureState = encrypted ? RAID_SECURE_STATE_SECURED : disk->record.SecureState;
  }
}

static UINT32 orDefault(UINT32 wanted, UINT32 otherwise) {
  return wanted == 0 ? otherwise : wanted;
}

static void fillVirtualDisk(VirtualDisk *virtualDisk, const RAID_VD_RECORD *wanted, const VirtualDiskPlan *plan) {
  virtualDisk->record.ObjVersion = 1;
  virtualDisk->record.RAIDLevel = wanted->RAIDLevel;
  virtualDisk->record.RAIDLevelDesc = plan->level;
  virtualDisk->record.RLQ = orDefault(wanted->RLQ, plan->level.DefaultRLQ);
  virtualDisk->record.SRL = orDefault(wanted->SRL, plan->level.DefaultSRL);
  virtualDisk->record.StripeSize = orDefault(wanted->StripeSize, plan->level.StripeSize);
  virtualDisk->record.CurrentCachePolicy = orDefault(wanted->CurrentCachePolicy, plan->level.DefaultCachePolicy);
  virtualDisk->record.AccessPolicy = orDefault(wanted->AccessPolicy, RAID_ACCESS_POLICY_READ_WRITE);
  virtualDisk->record.DiskCachePolicy = orDefault(wanted->DiskCachePolicy, RAID_CACHE_DISK_DEFAULT);
  virtualDisk->record.State = RAID_STATE_ONLINE;
  virtualDisk->record.SpanDepth = plan->spanDepth;
  virtualDisk->record.PDsPerSpan = plan->pdsPerSpan;
  virtualDisk->record.StartingLba = plan->start / blockSize;
  virtualDisk->memberSize = plan->memberSize;
  virtualDisk->record.Size = plan->size;
  virtualDisk->record.Attributes = plan->attributes;
}

EFI_STATUS createVirtualDisk(Controller *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                             UINT32 *objectId) {
  if (wanted->Name != nullptr && textLength(wanted->Name) >= textUnits) {
    return EFI_INVALID_PARAMETER;
  }
  VirtualDiskPlan plan;
  EFI_STATUS status = planVirtualDisk(sim, wanted, ids, count, &plan);
  if (EFI_ERROR(status)) {
    return status;
  }
  VirtualDisk *virtualDisk = arrayAppend(sim->virtualDisks);
  if (virtualDisk == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  fillVirtualDisk(virtualDisk, wanted, &plan);
  if (wanted->Name != nullptr) {
    setText(virtualDisk->Name, wanted->Name);
  }
  giveIds(sim, virtualDisk);
  virtualDisk->record.PDCount = count;
  copyBytes(virtualDisk->PDs, ids, sizeof(UINT32) * count);
  takeMembers(sim, virtualDisk);
  if (objectId != nullptr) {
    *objectId = virtualDisk->record.ObjectID;
  }
  return EFI_SUCCESS;
}

static bool unlist(Disk *disk, UINT32 virtualDiskId) {
  UINT8 kept = 0;
  for (UINT32 i = 0; i < disk->record.VDCount; ++i) {
    if (disk->VDs[i] != virtualDiskId) {
      disk->VDs[kept++] = disk->VDs[i];
    }
  }
  bool listed = kept != disk->record.VDCount;
  disk->record.VDCount = kept;
  return listed;
}

// Takes a virtual disk off a disk that is a member or a dedicated hot spare of it.
static void leaveVirtualDisk(Disk *disk, const VirtualDisk *virtualDisk) {
  if (!unlist(disk, virtualDisk->record.ObjectID)) {
    return;
  }
  if (disk->record.Hotspare != 0) {
    disk->record.Hotspare = disk->record.VDCount == 0 ? 0 : disk->record.Hotspare;
    return;
  }
  disk->record.UsedSize -=
      virtualDisk->memberSize < disk->record.UsedSize ? virtualDisk->memberSize : disk->record.UsedSize;
  if (disk->record.VDCount != 0) {
    return;
  }
  disk->record.UsedSize = 0;
  disk->record.SecureState = disk->record.SecureState == RAID_SECURE_STATE_SECURED ? 0 : disk->record.SecureState;
  disk->record.State = disk->record.State == RAID_STATE_ONLINE ? RAID_STATE_READY : disk->record.State;
}

void deleteVirtualDisk(Controller *sim, UINT32 objectId) {
  UINT32 index = 0;
  if (!objectIndex(sim, RAID_OBJECT_VIRTUAL_DISK, objectId, &index)) {
    return;
  }
  for (UINT32 i = 0; i < sim->disks.count; ++i) {
    leaveVirtualDisk(&sim->disks.items[i], &sim->virtualDisks.items[index]);
  }
  arrayRemove(sim->virtualDisks, index);
}

void freeSpares(Controller *sim) {
  for (UINT32 i = 0; i < sim->disks.count; ++i) {
    Disk *disk = &sim->disks.items[i];
    disk->record.VDCount = disk->record.Hotspare != 0 ? 0 : disk->record.VDCount;
    disk->record.Hotspare = 0;
  }
}

void resetConfiguration(Controller *sim) {
  while (sim->virtualDisks.count != 0) {
    deleteVirtualDisk(sim, sim->virtualDisks.items[sim->virtualDisks.count - 1].record.ObjectID);
  }
  freeSpares(sim);
}

static UINT32 lostMembers(Controller *sim, const UINT32 *ids, UINT32 count) {
  UINT32 lost = 0;
  for (UINT32 i = 0; i < count; ++i) {
    const Disk *disk = findDisk(sim, ids[i]);
    lost += disk == nullptr || disk->record.State != RAID_STATE_ONLINE ? 1 : 0;
  }
  return lost;
}

void judgeVirtualDisk(Controller *sim, VirtualDisk *virtualDisk) {
  const records::LevelLayout *layout = records::levelLayout(virtualDisk->record.RAIDLevel);
  UINT32 parity = layout == nullptr ? 0 : layout->parity;
  bool mirrored = layout != nullptr && layout->mirrored;
  // What fails together: the pairs of a mirror, else the members of a span.
  UINT32 together = mirrored ? 2 : virtualDisk->record.PDsPerSpan;
  UINT32 spare = mirrored ? 1 : parity;
  virtualDisk->record.State = RAID_STATE_ONLINE;
  for (UINT32 first = 0; together != 0 && first < virtualDisk->record.PDCount; first += together) {
    UINT32 left = virtualDisk->record.PDCount - first;
    UINT32 lost = lostMembers(sim, &virtualDisk->PDs[first], left < together ? left : together);
    if (lost > spare) {
      virtualDisk->record.State = RAID_STATE_OFFLINE;
      return;
    }
    virtualDisk->record.State = lost != 0 ? RAID_STATE_DEGRADED : virtualDisk->record.State;
  }
}

void judgeVirtualDisksOf(Controller *sim, UINT32 diskId) {
  for (UINT32 i = 0; i < sim->virtualDisks.count; ++i) {
    VirtualDisk *virtualDisk = &sim->virtualDisks.items[i];
    if (hasMember(virtualDisk, diskId)) {
      judgeVirtualDisk(sim, virtualDisk);
    }
  }
}

} // namespace xyl::sim
