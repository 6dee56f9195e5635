#include "providers/disk_controller/model/view.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "providers/disk_controller/model/disk_guid.h"

namespace xyl::disk_controller {

// Arrays have room for one item more than they need: a machine may have none, and firmware may refuse no bytes.

// --- Disks ---

// One block for sources and accesses, and one for the buffer, which begins at a page's boundary.
static EFI_STATUS makeSources(View *view) {
  UINT32 count = view->list.count;
  UINTN sourcesSize = (UINTN{count} + 1) * (sizeof(ddf::Source) + sizeof(DiskAccess));
  view->sources = static_cast<ddf::Source *>(poolAllocateZero(sourcesSize));
  view->pages = static_cast<UINT8 *>(poolAllocate(bufferSize + pageSize));
  if (view->sources == nullptr || view->pages == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINTN misaligned = reinterpret_cast<UINTN>(view->pages) % pageSize;
  UINT8 *buffer = view->pages + (misaligned == 0 ? 0 : pageSize - misaligned);
  view->accesses = reinterpret_cast<DiskAccess *>(view->sources + count);
  for (UINT32 i = 0; i < count; ++i) {
    const Disk &disk = view->list.items[i];
    view->accesses[i] = {&disk, buffer};
    view->sources[i] = {readDisk, &view->accesses[i], disk.unusable == nullptr ? disk.sectors : 0};
  }
  return EFI_SUCCESS;
}

// --- Places ---

static UINT32 functionNumber(const DiskPlace &place) {
  return (static_cast<UINT32>(place.pciBus) << 8 | static_cast<UINT32>(place.pciDevice) << 3 | place.pciFunction) &
         0xFFFF;
}

// Enclosures of one function take the ids up to this one.
constexpr UINT32 commonEnclosureId = 0x10000;

static UINT32 enclosureId(const DiskPlace &place) {
  bool isCommon = place.bus == busNvme || place.bus == busOther;
  return 1 + (isCommon ? commonEnclosureId + place.bus : functionNumber(place));
}

// A number below 256 for a place within its function.
static UINT32 portNumber(const DiskPlace &place) {
  UINT32 low = static_cast<UINT32>(place.port) & 0xFFFF;
  UINT32 high = static_cast<UINT32>(place.port >> 16) & 0xFFFF;
  switch (place.bus) {
  case busSata:
    return (low + 32 * high) & 0xFF;
  case busScsi:
    return (low * 16 + high) & 0xFF;
  default:
    return low & 0xFF;
  }
}

static void placeDisk(const DiskPlace &place, ViewDisk *disk) {
  UINT32 port = portNumber(place);
  bool isCommon = place.bus == busNvme || place.bus == busOther;
  // Where a disk is a function of its own, its slot is on the bus: behind a bridge each slot has a bus.
  UINT32 slot = !isCommon ? port : place.pciBus == 0 ? place.pciDevice : place.pciBus;
  disk->slot = static_cast<UINT8>(slot);
  disk->port = static_cast<UINT8>(isCommon ? place.pciFunction << 5 | (port & 0x1F) : port);
  disk->objectId = diskIdFirst + 100 * functionNumber(place) + port % 100;
}

// Places that one number cannot tell apart get the next ids that are free, in their order.
static void makeIdsUnique(ViewDisk *disks, UINT64 *keys, UINT32 count) {
  for (UINT32 i = 0; i < count; ++i) {
    keys[i] = indexKey(disks[i].objectId, i);
  }
  sortKeys(keys, count);
  UINT32 last = 0;
  for (UINT32 i = 0; i < count; ++i) {
    ViewDisk &disk = disks[static_cast<UINT32>(keys[i])];
    disk.objectId = disk.objectId > last ? disk.objectId : last + 1;
    last = disk.objectId;
  }
}

// last tells for each bus the enclosure, counted from 1, that its disk before this one is in: disks of one function
// stand together, and all others of the bus are in one enclosure.
static void addToEnclosure(View *view, UINT32 disk, UINT32 *last) {
  const DiskPlace &place = view->list.items[disk].place;
  UINT32 &number = last[place.bus];
  UINT32 id = enclosureId(place);
  if (number == 0 || view->enclosures[number - 1].objectId != id) {
    view->enclosures[view->enclosureCount] = {id, place.bus, place, 0};
    number = ++view->enclosureCount;
  }
  ViewEnclosure &enclosure = view->enclosures[number - 1];
  UINT32 slots = view->disks[disk].slot + 1U;
  enclosure.slotCount = slots > enclosure.slotCount ? slots : enclosure.slotCount;
  view->disks[disk].enclosure = number - 1;
}

static EFI_STATUS numberDisks(View *view) {
  UINT32 count = view->list.count;
  view->disks = poolNew<ViewDisk>(UINTN{count} + 1);
  view->enclosures = poolNew<ViewEnclosure>(UINTN{count} + 1);
  UINT64 *keys = poolNew<UINT64>(UINTN{count} + 1);
  bool fits = view->disks != nullptr && view->enclosures != nullptr && keys != nullptr;
  UINT32 last[busOther + 1] = {};
  for (UINT32 i = 0; fits && i < count; ++i) {
    placeDisk(view->list.items[i].place, &view->disks[i]);
    addToEnclosure(view, i, last);
  }
  if (fits) {
    makeIdsUnique(view->disks, keys, count);
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
static EFI_STATUS numberVirtualDisks(View *view) {
  const ddf::Model &model = *view->model;
  UINT32 total = virtualDiskTotal(model);
  view->virtualDisks = poolNew<ViewVirtualDisk>(UINTN{total} + 1);
  UINT64 *keys = poolNew<UINT64>(UINTN{total} + 1);
  bool fits = view->virtualDisks != nullptr && keys != nullptr;
  for (UINT32 i = 0; fits && i < model.setCount; ++i) {
    const ddf::Set &set = model.sets[i];
    for (UINT32 j = 0; !set.foreign && j < set.virtualDiskCount; ++j) {
      keys[view->virtualDiskCount] = indexKey(set.virtualDisks[j].entry->number, view->virtualDiskCount);
      view->virtualDisks[view->virtualDiskCount++] = {0, 0, &set, &set.virtualDisks[j]};
    }
  }
  if (fits) {
    sortKeys(keys, total);
  }
  UINT32 next = 0;
  for (UINT32 i = 0; fits && i < total; ++i) {
    UINT32 wanted = static_cast<UINT32>(keys[i] >> 32);
    UINT32 target = wanted > next ? wanted : next;
    ViewVirtualDisk &virtualDisk = view->virtualDisks[static_cast<UINT32>(keys[i])];
    virtualDisk.targetId = target;
    virtualDisk.objectId = target + 1;
    next = target + 1;
  }
  poolFree(keys);
  return fits ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

// --- All of it ---

bool isOurs(const ddf::Set &set) {
  return !set.foreign && ddf::sameGuid(set.controller->guid, ddf::ourController);
}

static void findSettings(View *view) {
  for (UINT32 i = 0; i < view->model->setCount; ++i) {
    const ddf::Set &set = view->model->sets[i];
    if (isOurs(set) && readSettings(*set.controller, &view->settings)) {
      return;
    }
  }
}

EFI_STATUS openView(View *view, const Settings &settings) {
  *view = {};
  view->settings = settings;
  EFI_STATUS status = findDisks(&view->list);
  if (!EFI_ERROR(status)) {
    status = makeSources(view);
  }
  if (!EFI_ERROR(status)) {
    status = ddf::readModel(view->sources, view->list.count, &ddf::ourController, &view->model);
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

void closeView(View *view) {
  poolFree(view->virtualDisks);
  poolFree(view->enclosures);
  poolFree(view->disks);
  ddf::freeModel(view->model);
  poolFree(view->sources);
  poolFree(view->pages);
  freeDisks(&view->list);
  *view = {};
}

EFI_STATUS searchDisks(const View &view) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < view.list.count && !EFI_ERROR(status); ++i) {
    status = ddf::searchDisk(view.model, i);
  }
  return status;
}

const ddf::Set *setOf(const View &view, UINT32 disk) {
  const ddf::Disk &found = view.model->disks[disk];
  return found.kind == ddf::DiskKind::member ? &view.model->sets[found.set] : nullptr;
}

const ddf::Pd *memberOf(const View &view, UINT32 disk) {
  const ddf::Set *set = setOf(view, disk);
  return set == nullptr ? nullptr : &set->pds[view.model->disks[disk].pd];
}

// A set has fewer entries than this; sets beyond those that seven digits have room for share their ids.
constexpr UINT32 missingIdsOfSet = 4096;
constexpr UINT32 missingIdSets = 240;

UINT32 diskIdOf(const View &view, const ddf::Set &set, UINT32 pd) {
  if (pd == ddf::noIndex) {
    return unknownDiskId;
  }
  UINT32 disk = set.pds[pd].disk;
  UINT32 number = static_cast<UINT32>(&set - view.model->sets) % missingIdSets;
  return disk == ddf::noIndex ? missingIdFirst + number * missingIdsOfSet + pd : view.disks[disk].objectId;
}

const ddf::Set *findMissing(const View &view, UINT32 id, UINT32 *pd) {
  UINT32 number = id < missingIdFirst ? ddf::noIndex : (id - missingIdFirst) / missingIdsOfSet;
  *pd = id < missingIdFirst ? ddf::noIndex : (id - missingIdFirst) % missingIdsOfSet;
  if (number >= view.model->setCount || view.model->setCount > missingIdSets) {
    return nullptr;
  }
  const ddf::Set &set = view.model->sets[number];
  return *pd < set.pdCount && set.pds[*pd].disk == ddf::noIndex ? &set : nullptr;
}

static void setText(CHAR8 *text, UINTN size, const CHAR8 *from) {
  UINTN length = textLength(from);
  length = length < size ? length : size - 1;
  copyBytes(text, from, length);
  text[length] = 0;
}

void whyUnusable(const View &view, UINT32 disk, CHAR8 *text, UINTN size) {
  const ddf::Disk &found = view.model->disks[disk];
  const CHAR8 *unusable = view.list.items[disk].unusable;
  text[0] = 0;
  if (unusable != nullptr) {
    setText(text, size, unusable);
  } else if (found.kind == ddf::DiskKind::other || ddf::isLeftover(*view.model, disk)) {
    bool isMounted = view.list.items[disk].hasFileSystem && !found.released;
    const CHAR8 *why = found.holds[0] != 0                                    ? found.holds
                       : view.list.items[disk].sectors <= ddf::reserveSectors ? "it is too small"
                       : view.disks[disk].isMissed                            ? "a set lists it as missing"
                       : isMounted                                            ? "a file system of the firmware"
                                                                              : "";
    setText(text, size, why);
  } else if (found.kind != ddf::DiskKind::member) {
    ddf::faultText(found.fault, text, size);
  } else if (setOf(view, disk)->stuck != nullptr) {
    setText(text, size, setOf(view, disk)->stuck);
  }
}

} // namespace xyl::disk_controller
