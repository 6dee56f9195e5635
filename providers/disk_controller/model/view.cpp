#include "providers/disk_controller/model/view.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "providers/disk_controller/model/disk_guid.h"

// Arrays have room for one item more than they need: a machine may have none, and firmware may refuse no bytes.

// --- Disks ---

// One block for sources and accesses, and one for the buffer, which begins at a page's boundary.
static EFI_STATUS makeSources(VIEW *view) {
  UINT32 count = view->List.Count;
  UINTN sourcesSize = (UINTN{count} + 1) * (sizeof(ddf::Source) + sizeof(DISK_ACCESS));
  view->Sources = static_cast<ddf::Source *>(poolAllocateZero(sourcesSize));
  view->Pages = static_cast<UINT8 *>(poolAllocate(UINTN{DISK_BUFFER_SIZE} + DISK_PAGE_SIZE));
  if (view->Sources == nullptr || view->Pages == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINTN misaligned = reinterpret_cast<UINTN>(view->Pages) % DISK_PAGE_SIZE;
  UINT8 *buffer = view->Pages + (misaligned == 0 ? 0 : DISK_PAGE_SIZE - misaligned);
  view->Accesses = reinterpret_cast<DISK_ACCESS *>(view->Sources + count);
  for (UINT32 i = 0; i < count; ++i) {
    const DISK &disk = view->List.Items[i];
    view->Accesses[i] = {&disk, buffer};
    view->Sources[i] = {readDisk, &view->Accesses[i], disk.Unusable == nullptr ? disk.Sectors : 0};
  }
  return EFI_SUCCESS;
}

// --- Places ---

static UINT32 functionNumber(const DISK_PLACE &place) {
  return (static_cast<UINT32>(place.PciBus) << 8 | static_cast<UINT32>(place.PciDevice) << 3 | place.PciFunction) &
         0xFFFF;
}

// Enclosures of one function take the ids up to this one.
#define COMMON_ENCLOSURE_ID 0x10000U

static UINT32 enclosureId(const DISK_PLACE &place) {
  bool isCommon = place.Bus == DISK_BUS_NVME || place.Bus == DISK_BUS_OTHER;
  return 1 + (isCommon ? COMMON_ENCLOSURE_ID + place.Bus : functionNumber(place));
}

// A number below 256 for a place within its function.
static UINT32 portNumber(const DISK_PLACE &place) {
  UINT32 low = static_cast<UINT32>(place.Port) & 0xFFFF;
  UINT32 high = static_cast<UINT32>(place.Port >> 16) & 0xFFFF;
  switch (place.Bus) {
  case DISK_BUS_SATA:
    return (low + 32 * high) & 0xFF;
  case DISK_BUS_SCSI:
    return (low * 16 + high) & 0xFF;
  default:
    return low & 0xFF;
  }
}

static void placeDisk(const DISK_PLACE &place, VIEW_DISK *disk) {
  UINT32 port = portNumber(place);
  bool isCommon = place.Bus == DISK_BUS_NVME || place.Bus == DISK_BUS_OTHER;
  // Where a disk is a function of its own, its slot is on the bus: behind a bridge each slot has a bus.
  UINT32 slot = !isCommon ? port : place.PciBus == 0 ? place.PciDevice : place.PciBus;
  disk->Slot = static_cast<UINT8>(slot);
  disk->Port = static_cast<UINT8>(isCommon ? place.PciFunction << 5 | (port & 0x1F) : port);
  disk->ObjectId = DISK_ID_FIRST + 100 * functionNumber(place) + port % 100;
}

// Places that one number cannot tell apart get the next ids that are free, in their order.
static void makeIdsUnique(VIEW_DISK *disks, UINT64 *keys, UINT32 count) {
  for (UINT32 i = 0; i < count; ++i) {
    keys[i] = indexKey(disks[i].ObjectId, i);
  }
  sortKeys(keys, count);
  UINT32 last = 0;
  for (UINT32 i = 0; i < count; ++i) {
    VIEW_DISK &disk = disks[static_cast<UINT32>(keys[i])];
    disk.ObjectId = disk.ObjectId > last ? disk.ObjectId : last + 1;
    last = disk.ObjectId;
  }
}

// last tells for each bus the enclosure, counted from 1, that its disk before this one is in: disks of one function
// stand together, and all others of the bus are in one enclosure.
static void addToEnclosure(VIEW *view, UINT32 disk, UINT32 *last) {
  const DISK_PLACE &place = view->List.Items[disk].Place;
  UINT32 &number = last[place.Bus];
  UINT32 id = enclosureId(place);
  if (number == 0 || view->Enclosures[number - 1].ObjectId != id) {
    view->Enclosures[view->EnclosureCount] = {id, place.Bus, place, 0};
    number = ++view->EnclosureCount;
  }
  VIEW_ENCLOSURE &enclosure = view->Enclosures[number - 1];
  UINT32 slots = view->Disks[disk].Slot + 1U;
  enclosure.SlotCount = slots > enclosure.SlotCount ? slots : enclosure.SlotCount;
  view->Disks[disk].Enclosure = number - 1;
}

static EFI_STATUS numberDisks(VIEW *view) {
  UINT32 count = view->List.Count;
  view->Disks = poolNew<VIEW_DISK>(UINTN{count} + 1);
  view->Enclosures = poolNew<VIEW_ENCLOSURE>(UINTN{count} + 1);
  UINT64 *keys = poolNew<UINT64>(UINTN{count} + 1);
  bool fits = view->Disks != nullptr && view->Enclosures != nullptr && keys != nullptr;
  UINT32 last[DISK_BUS_OTHER + 1] = {};
  for (UINT32 i = 0; fits && i < count; ++i) {
    placeDisk(view->List.Items[i].Place, &view->Disks[i]);
    addToEnclosure(view, i, last);
  }
  if (fits) {
    makeIdsUnique(view->Disks, keys, count);
  }
  poolFree(keys);
  return fits ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

// --- Virtual disks ---

static UINT32 virtualDiskTotal(const ddf::Model &model) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < model.setCount; ++i) {
    count += model.sets[i].foreign ? 0 : model.sets[i].virtualDiskCount;
  }
  return count;
}

// Target ids are the numbers that the entries carry; one that is taken becomes the next free one.
static EFI_STATUS numberVirtualDisks(VIEW *view) {
  const ddf::Model &model = *view->Model;
  UINT32 total = virtualDiskTotal(model);
  view->VirtualDisks = poolNew<VIEW_VIRTUAL_DISK>(UINTN{total} + 1);
  UINT64 *keys = poolNew<UINT64>(UINTN{total} + 1);
  bool fits = view->VirtualDisks != nullptr && keys != nullptr;
  for (UINT32 i = 0; fits && i < model.setCount; ++i) {
    const ddf::Set &set = model.sets[i];
    for (UINT32 j = 0; !set.foreign && j < set.virtualDiskCount; ++j) {
      keys[view->VirtualDiskCount] = indexKey(set.virtualDisks[j].entry->number, view->VirtualDiskCount);
      view->VirtualDisks[view->VirtualDiskCount++] = {0, 0, &set, &set.virtualDisks[j]};
    }
  }
  if (fits) {
    sortKeys(keys, total);
  }
  UINT32 next = 0;
  for (UINT32 i = 0; fits && i < total; ++i) {
    UINT32 wanted = static_cast<UINT32>(keys[i] >> 32);
    UINT32 target = wanted > next ? wanted : next;
    VIEW_VIRTUAL_DISK &virtualDisk = view->VirtualDisks[static_cast<UINT32>(keys[i])];
    virtualDisk.TargetId = target;
    virtualDisk.ObjectId = target + 1;
    next = target + 1;
  }
  poolFree(keys);
  return fits ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

// --- All of it ---

bool isOurs(const ddf::Set &set) {
  return !set.foreign && ddf::sameGuid(set.controller->guid, ddf::ourController);
}

static void findSettings(VIEW *view) {
  for (UINT32 i = 0; i < view->Model->setCount; ++i) {
    const ddf::Set &set = view->Model->sets[i];
    if (isOurs(set) && readSettings(*set.controller, &view->Settings)) {
      return;
    }
  }
}

EFI_STATUS openView(VIEW *view, const SETTINGS &settings) {
  *view = {};
  view->Settings = settings;
  EFI_STATUS status = findDisks(&view->List);
  if (!EFI_ERROR(status)) {
    status = makeSources(view);
  }
  if (!EFI_ERROR(status)) {
    status = ddf::readModel(view->Sources, view->List.Count, &ddf::ourController, &view->Model);
  }
  if (!EFI_ERROR(status)) {
    findSettings(view);
    status = numberDisks(view);
  }
  if (!EFI_ERROR(status)) {
    status = markMissed(view);
  }
  return EFI_ERROR(status) ? status : numberVirtualDisks(view);
}

void closeView(VIEW *view) {
  poolFree(view->VirtualDisks);
  poolFree(view->Enclosures);
  poolFree(view->Disks);
  ddf::freeModel(view->Model);
  poolFree(view->Sources);
  poolFree(view->Pages);
  freeDisks(&view->List);
  *view = {};
}

EFI_STATUS searchDisks(const VIEW &view) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < view.List.Count && !EFI_ERROR(status); ++i) {
    status = ddf::searchDisk(view.Model, i);
  }
  return status;
}

const ddf::Set *setOf(const VIEW &view, UINT32 disk) {
  const ddf::Disk &found = view.Model->disks[disk];
  return found.kind == ddf::DiskKind::member ? &view.Model->sets[found.set] : nullptr;
}

const ddf::Pd *memberOf(const VIEW &view, UINT32 disk) {
  const ddf::Set *set = setOf(view, disk);
  return set == nullptr ? nullptr : &set->pds[view.Model->disks[disk].pd];
}

// A set has fewer entries than this; sets beyond those that seven digits have room for share their ids.
#define MISSING_IDS_OF_SET 4096U
#define MISSING_ID_SETS 240U

UINT32 diskIdOf(const VIEW &view, const ddf::Set &set, UINT32 pd) {
  if (pd == ddf::noIndex) {
    return UNKNOWN_DISK_ID;
  }
  UINT32 disk = set.pds[pd].disk;
  UINT32 number = static_cast<UINT32>(&set - view.Model->sets) % MISSING_ID_SETS;
  return disk == ddf::noIndex ? MISSING_ID_FIRST + number * MISSING_IDS_OF_SET + pd : view.Disks[disk].ObjectId;
}

const ddf::Set *findMissing(const VIEW &view, UINT32 id, UINT32 *pd) {
  UINT32 number = id < MISSING_ID_FIRST ? ddf::noIndex : (id - MISSING_ID_FIRST) / MISSING_IDS_OF_SET;
  *pd = id < MISSING_ID_FIRST ? ddf::noIndex : (id - MISSING_ID_FIRST) % MISSING_IDS_OF_SET;
  if (number >= view.Model->setCount || view.Model->setCount > MISSING_ID_SETS) {
    return nullptr;
  }
  const ddf::Set &set = view.Model->sets[number];
  return *pd < set.pdCount && set.pds[*pd].disk == ddf::noIndex ? &set : nullptr;
}

static void setText(CHAR8 *text, UINTN size, const CHAR8 *from) {
  UINTN length = textLength(from);
  length = length < size ? length : size - 1;
  copyBytes(text, from, length);
  text[length] = 0;
}

void whyUnusable(const VIEW &view, UINT32 disk, CHAR8 *text, UINTN size) {
  const ddf::Disk &found = view.Model->disks[disk];
  const CHAR8 *unusable = view.List.Items[disk].Unusable;
  text[0] = 0;
  if (unusable != nullptr) {
    setText(text, size, unusable);
  } else if (found.kind == ddf::DiskKind::other || ddf::isLeftover(*view.Model, disk)) {
    bool isMounted = view.List.Items[disk].HasFileSystem && !found.released;
    const CHAR8 *why = found.holds[0] != 0                                    ? found.holds
                       : view.List.Items[disk].Sectors <= ddf::reserveSectors ? "it is too small"
                       : view.Disks[disk].IsMissed                            ? "a set lists it as missing"
                       : isMounted                                            ? "a file system of the firmware"
                                                                              : "";
    setText(text, size, why);
  } else if (found.kind != ddf::DiskKind::member) {
    ddf::faultText(found.fault, text, size);
  } else if (setOf(view, disk)->stuck != nullptr) {
    setText(text, size, setOf(view, disk)->stuck);
  }
}
