// What a person at the server does: drives pulled, inserted, swapped, failed; the adapter replaced.
#include "providers/sim_controller/sim_parts.h"

#include "base/text.h"

#define DEFAULT_RATE 30
#define PATROL_READ_AUTO 0x8U
#define ADAPTER_WWN_STEP 0x100U

static bool placeExists(SIM_CONTROLLER *sim, UINT32 enclosureObjectId, UINT8 slot) {
  if (enclosureObjectId == SIM_DIRECT) {
    return true;
  }
  const SIM_ENCLOSURE *enclosure = simFindEnclosure(sim, enclosureObjectId);
  return enclosure != nullptr && slot < enclosure->slotCount;
}

static bool hasMember(SIM_CONTROLLER *sim, const SIM_VIRTUAL_DISK *volume) {
  for (UINT32 i = 0; i < volume->pdCount; i++) {
    if (simFindDisk(sim, volume->pds[i]) != nullptr) {
      return true;
    }
  }
  return false;
}

EFI_STATUS simPullDisk(SIM_CONTROLLER *sim, UINT32 objectId) {
  UINT32 index = 0;
  if (!simObjectIndex(sim, RAID_OBJECT_PHYSICAL_DISK, objectId, &index)) {
    return EFI_NOT_FOUND;
  }
  SIM_DISK *pulled = simAppend(sim->pulledDisks);
  if (pulled == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(pulled, &sim->disks.items[index], sizeof(*pulled));
  simRemove(sim->disks, index);
  simJudgeVolumesOf(sim, objectId);
  for (UINT32 i = sim->foreignDisks.count; i > 0; i--) {
    if (!hasMember(sim, &sim->foreignDisks.items[i - 1])) {
      simRemove(sim->foreignDisks, i - 1);
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS checkPlace(SIM_CONTROLLER *sim, UINT32 enclosureObjectId, UINT8 slot) {
  if (!placeExists(sim, enclosureObjectId, slot)) {
    return EFI_NOT_FOUND;
  }
  return simFindDiskAt(sim, enclosureObjectId, slot) == nullptr ? EFI_SUCCESS : EFI_ALREADY_STARTED;
}

EFI_STATUS simInsertDisk(SIM_CONTROLLER *sim, UINT32 enclosureObjectId, UINT8 slot, const SIM_DRIVE &drive,
                         UINT32 *objectId) {
  EFI_STATUS status = checkPlace(sim, enclosureObjectId, slot);
  if (EFI_ERROR(status)) {
    return status;
  }
  const SIM_DISK *disk = simAddDrive(sim, enclosureObjectId, slot, drive);
  if (disk == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  if (objectId != nullptr) {
    *objectId = disk->objectId;
  }
  return EFI_SUCCESS;
}

static bool isMember(const SIM_VIRTUAL_DISK *volume, UINT32 diskId) {
  for (UINT32 i = 0; i < volume->pdCount; i++) {
    if (volume->pds[i] == diskId) {
      return true;
    }
  }
  return false;
}

// Gives a drive that came back what the virtual disks with its id left on it.
static void rejoin(SIM_CONTROLLER *sim, SIM_DISK *disk) {
  bool held = disk->state == SIM_STATE_FOREIGN || (disk->state != SIM_STATE_READY && disk->usedSize != 0);
  UINT64 used = 0;
  bool failed = disk->state == SIM_STATE_FAILED;
  disk->hotspare = 0;
  disk->vdCount = 0;
  for (UINT32 i = 0; i < sim->virtualDisks.count; i++) {
    const SIM_VIRTUAL_DISK *volume = &sim->virtualDisks.items[i];
    if (isMember(volume, disk->objectId) && disk->vdCount < SIM_DISK_VDS) {
      disk->vds[disk->vdCount++] = volume->objectId;
      used += volume->memberSize;
    }
  }
  if (disk->vdCount != 0) {
    disk->state = SIM_STATE_ONLINE;
    disk->usedSize = used < disk->size ? used : disk->size;
  } else if (held) {
    disk->state = SIM_STATE_FOREIGN;
    disk->secureState = RAID_SECURE_STATE_FOREIGN;
  } else {
    disk->state = SIM_STATE_READY;
  }
  disk->state = failed ? SIM_STATE_FAILED : disk->state;
}

EFI_STATUS simReinsertDisk(SIM_CONTROLLER *sim, UINT32 objectId, UINT32 enclosureObjectId, UINT8 slot) {
  SIM_DISK *pulled = simFindPulledDisk(sim, objectId);
  if (pulled == nullptr) {
    return EFI_NOT_FOUND;
  }
  EFI_STATUS status = checkPlace(sim, enclosureObjectId, slot);
  if (EFI_ERROR(status)) {
    return status;
  }
  SIM_DISK *disk = simAppend(sim->disks);
  if (disk == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(disk, pulled, sizeof(*disk));
  simRemove(sim->pulledDisks, static_cast<UINT32>(pulled - sim->pulledDisks.items));
  simPlaceDisk(sim, disk, enclosureObjectId, slot);
  rejoin(sim, disk);
  simJudgeVolumesOf(sim, objectId);
  return EFI_SUCCESS;
}

EFI_STATUS simReplaceDisk(SIM_CONTROLLER *sim, UINT32 objectId, UINT64 size, UINT32 *newObjectId) {
  const SIM_DISK *disk = simFindDisk(sim, objectId);
  if (disk == nullptr) {
    return EFI_NOT_FOUND;
  }
  UINT32 enclosureObjectId = disk->enclosureObjectId;
  UINT8 slot = disk->slot;
  SIM_DRIVE drive = {size == 0 ? disk->size : size, disk->protocol, disk->attributes};
  EFI_STATUS status = simPullDisk(sim, objectId);
  if (EFI_ERROR(status)) {
    return status;
  }
  return simInsertDisk(sim, enclosureObjectId, slot, drive, newObjectId);
}

template <class T> static void exchange(T &a, T &b) {
  T kept;
  copyBytes(&kept, &a, sizeof(T));
  copyBytes(&a, &b, sizeof(T));
  copyBytes(&b, &kept, sizeof(T));
}

EFI_STATUS simSwapDisks(SIM_CONTROLLER *sim, UINT32 objectIdA, UINT32 objectIdB) {
  SIM_DISK *a = simFindDisk(sim, objectIdA);
  SIM_DISK *b = simFindDisk(sim, objectIdB);
  if (a == nullptr || b == nullptr) {
    return EFI_NOT_FOUND;
  }
  if (a == b) {
    return EFI_SUCCESS;
  }
  exchange(*a, *b);
  exchange(a->name, b->name);
  exchange(a->fqdd, b->fqdd);
  exchange(a->enclosureObjectId, b->enclosureObjectId);
  exchange(a->enclosureDeviceId, b->enclosureDeviceId);
  exchange(a->port, b->port);
  exchange(a->slot, b->slot);
  return EFI_SUCCESS;
}

EFI_STATUS simFailDisk(SIM_CONTROLLER *sim, UINT32 objectId) {
  SIM_DISK *disk = simFindDisk(sim, objectId);
  if (disk == nullptr) {
    return EFI_NOT_FOUND;
  }
  disk->state = SIM_STATE_FAILED;
  simJudgeVolumesOf(sim, objectId);
  return EFI_SUCCESS;
}

EFI_STATUS simMakeForeign(SIM_CONTROLLER *sim, UINT32 raidLevel, const UINT32 *objectIds, UINT32 count) {
  for (UINT32 i = 0; i < count; i++) {
    const SIM_DISK *disk = simFindDisk(sim, objectIds[i]);
    if (disk != nullptr && disk->state == SIM_STATE_ONLINE) {
      return EFI_ACCESS_DENIED;
    }
  }
  if (!simReserve(sim->foreignDisks, 1)) {
    return EFI_OUT_OF_RESOURCES;
  }
  RAID_VD_RECORD wanted = {};
  wanted.RAIDLevel = raidLevel;
  UINT32 objectId = 0;
  EFI_STATUS status = simCreateVolume(sim, &wanted, objectIds, count, &objectId);
  if (!EFI_ERROR(status)) {
    simVolumeToForeign(sim, objectId);
  }
  return status;
}

EFI_STATUS simReplaceAdapter(SIM_CONTROLLER *sim) {
  if (!simReserve(sim->foreignDisks, sim->virtualDisks.count)) {
    return EFI_OUT_OF_RESOURCES;
  }
  simFreeSpares(sim);
  while (sim->virtualDisks.count != 0) {
    simVolumeToForeign(sim, sim->virtualDisks.items[0].objectId);
  }
  simForgetKey(sim);
  sim->adapter.wwn += ADAPTER_WWN_STEP;
  for (UINT32 mode = 0; mode < SIM_MODE_COUNT; mode++) {
    UINT8 *value = simModeByte(&sim->adapter, static_cast<SIM_MODE>(mode));
    UINT8 factory = mode == SIM_MODE_PATROL_READ ? PATROL_READ_AUTO : 0;
    *value = (*value & RAID_MODE_PRESENT) == 0 ? *value : static_cast<UINT8>(RAID_MODE_PRESENT | factory);
  }
  for (SIM_RATE &rate : sim->adapter.rates) {
    rate.value = rate.editable ? DEFAULT_RATE : rate.value;
  }
  return EFI_SUCCESS;
}

EFI_STATUS simSetFirmware(SIM_CONTROLLER *sim, const CHAR16 *version) {
  return simSetText(sim->adapter.firmwareVersion, version) ? EFI_SUCCESS : EFI_INVALID_PARAMETER;
}

void simSetMode(SIM_CONTROLLER *sim, SIM_MODE mode, UINT8 value) {
  *simModeByte(&sim->adapter, mode) = value;
}

EFI_STATUS simSetRate(SIM_CONTROLLER *sim, const CHAR16 *name, UINT8 value) {
  for (SIM_RATE &rate : sim->adapter.rates) {
    if (rate.name[0] != 0 && textEqual(rate.name, name)) {
      rate.value = value & 0x7F;
      return EFI_SUCCESS;
    }
  }
  return EFI_NOT_FOUND;
}
