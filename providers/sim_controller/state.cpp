// The state: making and destroying it, finding objects, naming them.
#include "providers/sim_controller/sim_parts.h"

#include "base/text.h"

template <class T> static bool startArray(SIM_ARRAY<T> &array, UINT32 capacity) {
  array.items = poolNew<T>(capacity);
  array.capacity = capacity;
  return array.items != nullptr;
}

static EFI_STATUS EFIAPI unusedMember(RAID_MGMT_PROTOCOL *) {
  return EFI_UNSUPPORTED;
}

static void freeController(SIM_CONTROLLER *sim) {
  for (UINT32 i = 0; i < sim->answers.count; i++) {
    simReleaseAnswer(&sim->answers.items[i]);
  }
  poolFree(sim->answers.items);
  poolFree(sim->justReturned.items);
  poolFree(sim->enclosures.items);
  poolFree(sim->disks.items);
  poolFree(sim->virtualDisks.items);
  poolFree(sim->foreignDisks.items);
  poolFree(sim->pulledDisks.items);
  if (sim->log != nullptr) {
    wipeBytes(sim->log, sizeof(SIM_LOG_ENTRY) * SIM_LOG_CAPACITY);
    poolFree(sim->log);
  }
  wipeBytes(&sim->key, sizeof(sim->key));
  poolFree(sim);
}

EFI_STATUS simCreateEmpty(SIM_CONTROLLER **sim) {
  *sim = nullptr;
  SIM_CONTROLLER *made = poolNew<SIM_CONTROLLER>();
  if (made == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  made->log = poolNew<SIM_LOG_ENTRY>(SIM_LOG_CAPACITY);
  bool complete = made->log != nullptr && startArray(made->enclosures, 4) && startArray(made->disks, 32) &&
                  startArray(made->virtualDisks, 8) && startArray(made->foreignDisks, 8) &&
                  startArray(made->pulledDisks, 8) && startArray(made->answers, 16) &&
                  startArray(made->justReturned, 64);
  if (!complete) {
    freeController(made);
    return EFI_OUT_OF_RESOURCES;
  }
  made->nextDiskId = 1001;
  made->firstVirtualDiskId = 1;
  made->protocol = {simExecute, unusedMember, simFreeRecords, 2};
  *sim = made;
  return EFI_SUCCESS;
}

EFI_STATUS simDestroy(SIM_CONTROLLER *sim) {
  if (sim == nullptr) {
    return EFI_SUCCESS;
  }
  EFI_STATUS status = simUninstall(sim);
  if (EFI_ERROR(status)) {
    return status;
  }
  freeController(sim);
  return EFI_SUCCESS;
}

template <class T> static UINT64 arrayBytes(const SIM_ARRAY<T> &array) {
  return sizeof(T) * array.capacity;
}

UINT64 simPoolBytes(const SIM_CONTROLLER *sim) {
  return sizeof(SIM_CONTROLLER) + sizeof(SIM_LOG_ENTRY) * SIM_LOG_CAPACITY + arrayBytes(sim->enclosures) +
         arrayBytes(sim->disks) + arrayBytes(sim->virtualDisks) + arrayBytes(sim->foreignDisks) +
         arrayBytes(sim->pulledDisks) + arrayBytes(sim->answers) + arrayBytes(sim->justReturned);
}

template <class T> static T *findById(SIM_ARRAY<T> &array, UINT32 objectId) {
  for (UINT32 i = 0; i < array.count; i++) {
    if (array.items[i].objectId == objectId) {
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
    if (disk->enclosureObjectId == enclosureObjectId && disk->slot == slot) {
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

template <class T> static bool indexOf(SIM_ARRAY<T> &array, UINT32 objectId, UINT32 *index) {
  T *item = findById(array, objectId);
  *index = item == nullptr ? 0 : static_cast<UINT32>(item - array.items);
  return item != nullptr;
}

bool simObjectIndex(SIM_CONTROLLER *sim, UINT32 objectType, UINT32 objectId, UINT32 *index) {
  *index = 0;
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return objectId == sim->adapter.objectId;
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
  for (UINT32 i = 0; i < disk->vdCount; i++) {
    if (disk->vds[i] == virtualDiskId) {
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
  SIM_TEXT name = simText(disk->name);
  SIM_TEXT fqdd = simText(disk->fqdd);
  simAddText(name, u"Physical Disk ");
  simAddText(fqdd, u"disk-");
  simAddNumber(fqdd, disk->slot, 2);
  SIM_ENCLOSURE *enclosure = simFindEnclosure(sim, disk->enclosureObjectId);
  if (enclosure != nullptr) {
    simAddNumber(name, enclosure->position, 1);
    simAddText(name, u":");
    simAddText(fqdd, u".enclosure-");
    simAddNumber(fqdd, enclosure->position, 1);
  }
  simAddNumber(name, disk->slot, 1);
  simAddText(fqdd, u".adapter-");
  simAddNumber(fqdd, sim->adapter.index, 1);
}

void simNameVolume(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *volume) {
  SIM_TEXT fqdd = simText(volume->fqdd);
  simAddText(fqdd, u"volume-");
  simAddNumber(fqdd, volume->targetId, 1);
  simAddText(fqdd, u".adapter-");
  simAddNumber(fqdd, sim->adapter.index, 1);
  if (volume->name[0] == 0) {
    SIM_TEXT name = simText(volume->name);
    simAddText(name, u"Virtual Disk ");
    simAddNumber(name, volume->targetId, 1);
  }
}
