#include "providers/sim_controller/state/objects.h"

#include "base/text.h"

template <class T> static T *findById(POOL_ARRAY<T> &array, UINT32 objectId) {
  for (UINT32 i = 0; i < array.count; i++) {
    if (array.items[i].record.ObjectID == objectId) {
      return &array.items[i];
    }
  }
  return nullptr;
}

SIM_ENCLOSURE *simFindEnclosure(SIM_CONTROLLER *sim, UINT32 objectId) {
  return findById(sim->enclosures, objectId);
}

SIM_DISK *simFindDisk(SIM_CONTROLLER *sim, UINT32 objectId) {
  return findById(sim->disks, objectId);
}

SIM_VIRTUAL_DISK *simFindVirtualDisk(SIM_CONTROLLER *sim, UINT32 objectId) {
  return findById(sim->virtualDisks, objectId);
}

SIM_DISK *simFindPulledDisk(SIM_CONTROLLER *sim, UINT32 objectId) {
  return findById(sim->pulledDisks, objectId);
}

SIM_DISK *simFindDiskAt(SIM_CONTROLLER *sim, UINT32 enclosureObjectId, UINT8 slot) {
  for (UINT32 i = 0; i < sim->disks.count; i++) {
    SIM_DISK *disk = &sim->disks.items[i];
    if (disk->record.EnclosureObjectID == enclosureObjectId && disk->record.Slot == slot) {
      return disk;
    }
  }
  return nullptr;
}

UINT32 simObjectCount(SIM_CONTROLLER *sim, UINT32 objectType) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return 1;
  case RAID_OBJECT_ENCLOSURE:
    return sim->enclosures.count;
  case RAID_OBJECT_PHYSICAL_DISK:
    return sim->disks.count;
  case RAID_OBJECT_VIRTUAL_DISK:
    return sim->virtualDisks.count;
  default:
    return 0;
  }
}

template <class T> static bool indexOf(POOL_ARRAY<T> &array, UINT32 objectId, UINT32 *index) {
  T *item = findById(array, objectId);
  *index = item == nullptr ? 0 : static_cast<UINT32>(item - array.items);
  return item != nullptr;
}

bool simObjectIndex(SIM_CONTROLLER *sim, UINT32 objectType, UINT32 objectId, UINT32 *index) {
  *index = 0;
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return objectId == sim->adapter.record.ObjectID;
  case RAID_OBJECT_ENCLOSURE:
    return indexOf(sim->enclosures, objectId, index);
  case RAID_OBJECT_PHYSICAL_DISK:
    return indexOf(sim->disks, objectId, index);
  case RAID_OBJECT_VIRTUAL_DISK:
    return indexOf(sim->virtualDisks, objectId, index);
  default:
    return false;
  }
}

bool simDiskLists(const SIM_DISK *disk, UINT32 virtualDiskId) {
  for (UINT32 i = 0; i < disk->record.VDCount; i++) {
    if (disk->VDs[i] == virtualDiskId) {
      return true;
    }
  }
  return false;
}

bool simHasMember(const SIM_VIRTUAL_DISK *virtualDisk, UINT32 diskId) {
  for (UINT32 i = 0; i < virtualDisk->record.PDCount; i++) {
    if (virtualDisk->PDs[i] == diskId) {
      return true;
    }
  }
  return false;
}

SIM_TEXT simText(CHAR16 *buffer) {
  buffer[0] = 0;
  return {buffer, 0};
}

void simAddText(SIM_TEXT &text, const CHAR16 *part) {
  while (*part != 0 && text.used + 1 < SIM_TEXT_UNITS) {
    text.buffer[text.used++] = *part++;
  }
  text.buffer[text.used] = 0;
}

void simAddNumber(SIM_TEXT &text, UINT64 value, UINT32 digits) {
  CHAR8 decimal[21];
  UINTN length = formatDecimal(decimal, value);
  for (UINTN i = length; i < digits; i++) {
    simAddText(text, u"0");
  }
  for (UINTN i = 0; i < length; i++) {
    const CHAR16 digit[2] = {static_cast<CHAR16>(decimal[i]), 0};
    simAddText(text, digit);
  }
}

bool simSetText(CHAR16 *to, const CHAR16 *from) {
  UINTN length = textLength(from);
  if (length >= SIM_TEXT_UNITS) {
    return false;
  }
  copyBytes(to, from, (length + 1) * sizeof(CHAR16));
  return true;
}

void simNamePlace(SIM_CONTROLLER *sim, SIM_DISK *disk) {
  SIM_TEXT name = simText(disk->Name);
  SIM_TEXT fqdd = simText(disk->FQDD);
  simAddText(name, u"Physical Disk ");
  simAddText(fqdd, u"disk-");
  simAddNumber(fqdd, disk->record.Slot, 2);
  SIM_ENCLOSURE *enclosure = simFindEnclosure(sim, disk->record.EnclosureObjectID);
  if (enclosure != nullptr) {
    simAddNumber(name, enclosure->record.Position, 1);
    simAddText(name, u":");
    simAddText(fqdd, u".enclosure-");
    simAddNumber(fqdd, enclosure->record.Position, 1);
  }
  simAddNumber(name, disk->record.Slot, 1);
  simAddText(fqdd, u".adapter-");
  simAddNumber(fqdd, sim->adapter.record.PCIID.EmbeddedIndex >> RAID_PCI_INDEX_SHIFT, 1);
}

void simNameVirtualDisk(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *virtualDisk) {
  SIM_TEXT fqdd = simText(virtualDisk->FQDD);
  simAddText(fqdd, u"volume-");
  simAddNumber(fqdd, virtualDisk->record.TargetID, 1);
  simAddText(fqdd, u".adapter-");
  simAddNumber(fqdd, sim->adapter.record.PCIID.EmbeddedIndex >> RAID_PCI_INDEX_SHIFT, 1);
  if (virtualDisk->Name[0] == 0) {
    SIM_TEXT name = simText(virtualDisk->Name);
    simAddText(name, u"Virtual Disk ");
    simAddNumber(name, virtualDisk->record.TargetID, 1);
  }
}
