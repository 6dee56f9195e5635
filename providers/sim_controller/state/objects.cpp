#include "providers/sim_controller/state/objects.h"

#include "base/text.h"

namespace xyl::sim {

template <class T> static T *findById(PoolArray<T> &array, UINT32 objectId) {
  for (UINT32 i = 0; i < array.count; ++i) {
    if (array.items[i].record.ObjectID == objectId) {
      return &array.items[i];
    }
  }
  return nullptr;
}

Enclosure *findEnclosure(Controller *sim, UINT32 objectId) {
  return findById(sim->enclosures, objectId);
}

Disk *findDisk(Controller *sim, UINT32 objectId) {
  return findById(sim->disks, objectId);
}

VirtualDisk *findVirtualDisk(Controller *sim, UINT32 objectId) {
  return findById(sim->virtualDisks, objectId);
}

Disk *findPulledDisk(Controller *sim, UINT32 objectId) {
  return findById(sim->pulledDisks, objectId);
}

Disk *findDiskAt(Controller *sim, UINT32 enclosureObjectId, UINT8 slot) {
  for (UINT32 i = 0; i < sim->disks.count; ++i) {
    Disk *disk = &sim->disks.items[i];
    if (disk->record.EnclosureObjectID == enclosureObjectId && disk->record.Slot == slot) {
      return disk;
    }
  }
  return nullptr;
}

UINT32 objectCount(Controller *sim, UINT32 objectType) {
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

template <class T> static bool indexOf(PoolArray<T> &array, UINT32 objectId, UINT32 *index) {
  T *item = findById(array, objectId);
  *index = item == nullptr ? 0 : static_cast<UINT32>(item - array.items);
  return item != nullptr;
}

bool objectIndex(Controller *sim, UINT32 objectType, UINT32 objectId, UINT32 *index) {
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

bool diskLists(const Disk *disk, UINT32 virtualDiskId) {
  for (UINT32 i = 0; i < disk->record.VDCount; ++i) {
    if (disk->VDs[i] == virtualDiskId) {
      return true;
    }
  }
  return false;
}

bool hasMember(const VirtualDisk *virtualDisk, UINT32 diskId) {
  for (UINT32 i = 0; i < virtualDisk->record.PDCount; ++i) {
    if (virtualDisk->PDs[i] == diskId) {
      return true;
    }
  }
  return false;
}

Text text(CHAR16 *buffer) {
  buffer[0] = 0;
  return {buffer, 0};
}

void addText(Text &text, const CHAR16 *part) {
  while (*part != 0 && text.used + 1 < textUnits) {
    text.buffer[text.used++] = *part++;
  }
  text.buffer[text.used] = 0;
}

void addNumber(Text &text, UINT64 value, UINT32 digits) {
  CHAR8 decimal[21];
  UINTN length = formatDecimal(decimal, value);
  for (UINTN i = length; i < digits; ++i) {
    addText(text, u"0");
  }
  for (UINTN i = 0; i < length; ++i) {
    const CHAR16 digit[2] = {static_cast<CHAR16>(decimal[i]), 0};
    addText(text, digit);
  }
}

bool setText(CHAR16 *to, const CHAR16 *from) {
  UINTN length = textLength(from);
  if (length >= textUnits) {
    return false;
  }
  copyBytes(to, from, (length + 1) * sizeof(CHAR16));
  return true;
}

void namePlace(Controller *sim, Disk *disk) {
  Text name = text(disk->Name);
  Text fqdd = text(disk->FQDD);
  addText(name, u"Physical Disk ");
  addText(fqdd, u"disk-");
  addNumber(fqdd, disk->record.Slot, 2);
  Enclosure *enclosure = findEnclosure(sim, disk->record.EnclosureObjectID);
  if (enclosure != nullptr) {
    addNumber(name, enclosure->record.Position, 1);
    addText(name, u":");
    addText(fqdd, u".enclosure-");
    addNumber(fqdd, enclosure->record.Position, 1);
  }
  addNumber(name, disk->record.Slot, 1);
  addText(fqdd, u".adapter-");
  addNumber(fqdd, sim->adapter.record.PCIID.EmbeddedIndex >> RAID_PCI_INDEX_SHIFT, 1);
}

void nameVirtualDisk(Controller *sim, VirtualDisk *virtualDisk) {
  Text fqdd = text(virtualDisk->FQDD);
  addText(fqdd, u"volume-");
  addNumber(fqdd, virtualDisk->record.TargetID, 1);
  addText(fqdd, u".adapter-");
  addNumber(fqdd, sim->adapter.record.PCIID.EmbeddedIndex >> RAID_PCI_INDEX_SHIFT, 1);
  if (virtualDisk->Name[0] == 0) {
    Text name = text(virtualDisk->Name);
    addText(name, u"Virtual Disk ");
    addNumber(name, virtualDisk->record.TargetID, 1);
  }
}

} // namespace xyl::sim
