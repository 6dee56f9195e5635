// What a person at the server does: drives pulled, inserted, swapped, failed; the adapter replaced.
#include "base/text.h"
#include "providers/sim_controller/commands/foreign.h"
#include "providers/sim_controller/commands/key.h"
#include "providers/sim_controller/commands/virtual_disks.h"
#include "providers/sim_controller/drives.h"
#include "providers/sim_controller/hand.h"
#include "providers/sim_controller/state/drives.h"
#include "providers/sim_controller/state/modes.h"
#include "providers/sim_controller/state/objects.h"

namespace xyl::sim {

constexpr UINT8 defaultRate = 30;
constexpr UINT64 adapterWwnStep = 0x100;

static bool placeExists(Controller *sim, UINT32 enclosureObjectId, UINT8 slot) {
  if (enclosureObjectId == directEnclosure) {
    return true;
  }
  const Enclosure *enclosure = findEnclosure(sim, enclosureObjectId);
  return enclosure != nullptr && slot < enclosure->record.SlotCount;
}

static bool hasAnyMember(Controller *sim, const VirtualDisk *virtualDisk) {
  for (UINT32 i = 0; i < virtualDisk->record.PDCount; ++i) {
    if (findDisk(sim, virtualDisk->PDs[i]) != nullptr) {
      return true;
    }
  }
  return false;
}

EFI_STATUS pullDisk(Controller *sim, UINT32 objectId) {
  UINT32 index = 0;
  if (!objectIndex(sim, RAID_OBJECT_PHYSICAL_DISK, objectId, &index)) {
    return EFI_NOT_FOUND;
  }
  Disk *pulled = arrayAppend(sim->pulledDisks);
  if (pulled == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(pulled, &sim->disks.items[index], sizeof(*pulled));
  arrayRemove(sim->disks, index);
  judgeVirtualDisksOf(sim, objectId);
  for (UINT32 i = sim->foreignDisks.count; i > 0; --i) {
    if (!hasAnyMember(sim, &sim->foreignDisks.items[i - 1])) {
      arrayRemove(sim->foreignDisks, i - 1);
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS checkPlace(Controller *sim, UINT32 enclosureObjectId, UINT8 slot) {
  if (!placeExists(sim, enclosureObjectId, slot)) {
    return EFI_NOT_FOUND;
  }
  return findDiskAt(sim, enclosureObjectId, slot) == nullptr ? EFI_SUCCESS : EFI_ALREADY_STARTED;
}

EFI_STATUS insertDisk(Controller *sim, UINT32 enclosureObjectId, UINT8 slot, const Drive &drive, UINT32 *objectId) {
  EFI_STATUS status = checkPlace(sim, enclosureObjectId, slot);
  if (EFI_ERROR(status)) {
    return status;
  }
  const Disk *disk = addDrive(sim, enclosureObjectId, slot, drive);
  if (disk == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  if (objectId != nullptr) {
    *objectId = disk->record.ObjectID;
  }
  return EFI_SUCCESS;
}

// Gives a drive that came back what the virtual disks with its id left on it.
static void rejoin(Controller *sim, Disk *disk) {
  bool held = disk->record.State == RAID_STATE_FOREIGN ||
              (disk->record.State != RAID_STATE_READY && disk->record.UsedSize != 0);
  UINT64 used = 0;
  bool encrypted = false;
  bool failed = disk->record.State == RAID_STATE_FAILED;
  disk->record.Hotspare = 0;
  disk->record.VDCount = 0;
  for (UINT32 i = 0; i < sim->virtualDisks.count; ++i) {
    const VirtualDisk *virtualDisk = &sim->virtualDisks.items[i];
    if (hasMember(virtualDisk, disk->record.ObjectID) && disk->record.VDCount < diskVds) {
      disk->VDs[disk->record.VDCount++] = virtualDisk->record.ObjectID;
      used += virtualDisk->memberSize;
      encrypted = encrypted || (virtualDisk->record.Attributes & RAID_VD_ATTRIBUTE_FDE) != 0;
    }
  }
  if (disk->record.VDCount != 0) {
    disk->record.State = RAID_STATE_ONLINE;
    disk->record.SecureState = encrypted ? RAID_SECURE_STATE_SECURED : 0;
    disk->record.UsedSize = used < disk->record.Size ? used : disk->record.Size;
  } else if (held) {
    disk->record.State = RAID_STATE_FOREIGN;
    disk->record.SecureState = RAID_SECURE_STATE_FOREIGN;
  } else {
    disk->record.State = RAID_STATE_READY;
  }
  disk->record.State = failed ? RAID_STATE_FAILED : disk->record.State;
}

EFI_STATUS reinsertDisk(Controller *sim, UINT32 objectId, UINT32 enclosureObjectId, UINT8 slot) {
  Disk *pulled = findPulledDisk(sim, objectId);
  if (pulled == nullptr) {
    return EFI_NOT_FOUND;
  }
  EFI_STATUS status = checkPlace(sim, enclosureObjectId, slot);
  if (EFI_ERROR(status)) {
    return status;
  }
  Disk *disk = arrayAppend(sim->disks);
  if (disk == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(disk, pulled, sizeof(*disk));
  arrayRemove(sim->pulledDisks, static_cast<UINT32>(pulled - sim->pulledDisks.items));
  placeDisk(sim, disk, enclosureObjectId, slot);
  rejoin(sim, disk);
  judgeVirtualDisksOf(sim, objectId);
  return EFI_SUCCESS;
}

EFI_STATUS replaceDisk(Controller *sim, UINT32 objectId, UINT64 size, UINT32 *newObjectId) {
  const Disk *disk = findDisk(sim, objectId);
  if (disk == nullptr) {
    return EFI_NOT_FOUND;
  }
  UINT32 enclosureObjectId = disk->record.EnclosureObjectID;
  UINT8 slot = disk->record.Slot;
  Drive drive = {size == 0 ? disk->record.Size : size, disk->record.Protocol, disk->record.Attributes};
  EFI_STATUS status = pullDisk(sim, objectId);
  if (EFI_ERROR(status)) {
    return status;
  }
  return insertDisk(sim, enclosureObjectId, slot, drive, newObjectId);
}

template <class T> static void exchange(T &a, T &b) {
  T kept;
  copyBytes(&kept, &a, sizeof(T));
  copyBytes(&a, &b, sizeof(T));
  copyBytes(&b, &kept, sizeof(T));
}

static void stayInPlace(RAID_PD_RECORD *disk, const RAID_PD_RECORD &place) {
  disk->EnclosureObjectID = place.EnclosureObjectID;
  disk->EnclosureDeviceID = place.EnclosureDeviceID;
  disk->Port = place.Port;
  disk->Slot = place.Slot;
}

EFI_STATUS swapDisks(Controller *sim, UINT32 objectIdA, UINT32 objectIdB) {
  Disk *a = findDisk(sim, objectIdA);
  Disk *b = findDisk(sim, objectIdB);
  if (a == nullptr || b == nullptr) {
    return EFI_NOT_FOUND;
  }
  if (a == b) {
    return EFI_SUCCESS;
  }
  exchange(*a, *b);
  exchange(a->Name, b->Name);
  exchange(a->FQDD, b->FQDD);
  RAID_PD_RECORD there = a->record;
  stayInPlace(&a->record, b->record);
  stayInPlace(&b->record, there);
  return EFI_SUCCESS;
}

EFI_STATUS failDisk(Controller *sim, UINT32 objectId) {
  Disk *disk = findDisk(sim, objectId);
  if (disk == nullptr) {
    return EFI_NOT_FOUND;
  }
  disk->record.State = RAID_STATE_FAILED;
  judgeVirtualDisksOf(sim, objectId);
  return EFI_SUCCESS;
}

EFI_STATUS makeForeign(Controller *sim, UINT32 raidLevel, const UINT32 *objectIds, UINT32 count) {
  for (UINT32 i = 0; i < count; ++i) {
    const Disk *disk = findDisk(sim, objectIds[i]);
    if (disk != nullptr && disk->record.State == RAID_STATE_ONLINE) {
      return EFI_ACCESS_DENIED;
    }
  }
  if (!arrayReserve(sim->foreignDisks, 1)) {
    return EFI_OUT_OF_RESOURCES;
  }
  RAID_VD_RECORD wanted = {};
  wanted.RAIDLevel = raidLevel;
  UINT32 objectId = 0;
  EFI_STATUS status = createVirtualDisk(sim, &wanted, objectIds, count, &objectId);
  if (!EFI_ERROR(status)) {
    virtualDiskToForeign(sim, objectId);
  }
  return status;
}

EFI_STATUS replaceAdapter(Controller *sim) {
  if (!arrayReserve(sim->foreignDisks, sim->virtualDisks.count)) {
    return EFI_OUT_OF_RESOURCES;
  }
  freeSpares(sim);
  while (sim->virtualDisks.count != 0) {
    virtualDiskToForeign(sim, sim->virtualDisks.items[0].record.ObjectID);
  }
  forgetKey(sim);
  sim->adapter.record.WWN += adapterWwnStep;
  for (UINT32 mode = 0; mode < modeCount; ++mode) {
    UINT8 *value = modeByte(&sim->adapter.record, mode);
    UINT32 factory = mode == modePatrolRead ? RAID_PATROL_READ_MODE_AUTO : 0;
    *value = (*value & RAID_MODE_PRESENT) == 0 ? *value : static_cast<UINT8>(RAID_MODE_PRESENT | factory);
  }
  for (RAID_RATE &rate : sim->adapter.record.Rates) {
    bool isEditable = (rate.EditableValue & RAID_RATE_EDITABLE) != 0;
    rate.EditableValue = isEditable ? defaultRate << RAID_RATE_VALUE_SHIFT | RAID_RATE_EDITABLE : rate.EditableValue;
  }
  return EFI_SUCCESS;
}

EFI_STATUS setFirmware(Controller *sim, const CHAR16 *version) {
  return setText(sim->adapter.FirmwareVersion, version) ? EFI_SUCCESS : EFI_INVALID_PARAMETER;
}

void setMode(Controller *sim, Mode mode, UINT8 value) {
  *modeByte(&sim->adapter.record, mode) = value;
}

EFI_STATUS setRate(Controller *sim, const CHAR16 *name, UINT8 value) {
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    UINT8 *current = &sim->adapter.record.Rates[i].EditableValue;
    if (name[0] != 0 && textEqual(sim->adapter.Rates[i].Name, name)) {
      *current = static_cast<UINT8>(value << RAID_RATE_VALUE_SHIFT | (*current & RAID_RATE_EDITABLE));
      return EFI_SUCCESS;
    }
  }
  return EFI_NOT_FOUND;
}

} // namespace xyl::sim
