// Making a virtual disk.

#include "providers/ddf_change/place.h"

namespace xyl::ddf_change {

// --- What can be made ---

// Linux wants whole pages where there is redundancy. Larger strips than 16 MiB nobody has tried.
constexpr UINT8 pageShift = 3, mostShift = 15;

static bool isStripTaken(const NewVirtualDisk &wanted) {
  if (wanted.level == ddf::levelRaid1 && wanted.strip == ddf::noStrip) {
    return true;
  }
  return wanted.strip <= mostShift && (wanted.strip >= pageShift || wanted.level == ddf::levelRaid0);
}

// Of what Linux assembles, a concatenation needs a module of its own and copies with an offset have been tried on four
// disks only.
static bool isLevelTaken(const NewVirtualDisk &wanted) {
  ddf::Record record = {};
  record.level = wanted.level;
  record.qualifier = wanted.qualifier;
  record.elements = static_cast<UINT16>(wanted.diskCount);
  record.strip = ddf::noStrip;
  return wanted.diskCount <= ddf::linuxLimits.elements && ddf::shapeOf(record).assembles &&
         wanted.level != ddf::levelConcat && (wanted.level != ddf::levelRaid1e || wanted.qualifier == 0);
}

static EFI_STATUS checkWanted(Writer *writer, const NewVirtualDisk &wanted) {
  if (wanted.diskCount == 0) {
    return EFI_INVALID_PARAMETER;
  }
  if (!isLevelTaken(wanted)) {
    return refuse(writer, EFI_UNSUPPORTED, ddf::noIndex, "Linux does not take this level with so many disks");
  }
  if (!isStripTaken(wanted)) {
    return refuse(writer, EFI_UNSUPPORTED, ddf::noIndex, "Linux does not take this strip size");
  }
  if (wanted.access == 1 || wanted.access > ddf::accessBlocked) {
    return refuse(writer, EFI_INVALID_PARAMETER, ddf::noIndex, "no such access");
  }
  bool whole = wanted.memberBlocks % memberGrain(wanted) == 0;
  return whole ? EFI_SUCCESS : refuse(writer, EFI_INVALID_PARAMETER, ddf::noIndex, "members are no whole strips");
}

// --- Numbers ---

static void markNumbers(const ddf::Model &model, UINT8 *used) {
  for (UINT32 i = 0; i < model.setCount; ++i) {
    for (UINT32 j = 0; j < model.sets[i].virtualDiskCount; ++j) {
      UINT32 number = model.sets[i].virtualDisks[j].entry->number;
      used[number / 8] = static_cast<UINT8>(used[number / 8] | 1U << number % 8);
    }
  }
}

// The lowest number that no virtual disk of any set has; false without memory. There are more numbers than entries.
static bool newNumber(const ddf::Model &model, UINT16 *number) {
  UINT8 *used = poolNew<UINT8>(0x10000 / 8);
  if (used == nullptr) {
    return false;
  }
  markNumbers(model, used);
  UINT32 lowest = 0;
  while (lowest < 0xFFFF && (used[lowest / 8] >> lowest % 8 & 1) != 0) {
    ++lowest;
  }
  *number = static_cast<UINT16>(lowest);
  poolFree(used);
  return true;
}

// --- Entry and records ---

static void enterVirtualDisk(Work *work, const NewVirtualDisk &wanted, UINT16 number) {
  ddf::VdEntry *entry = findFreeEntry(leadCopy(work));
  __builtin_memset(entry, 0xFF, sizeof(*entry));
  entry->guid = work->writer->made;
  entry->number = number;
  entry->owner = 0; // not told
  entry->type = 0;
  entry->state = ddf::vdOptimal;
  UINT8 init = wanted.level == ddf::levelRaid0 ? ddf::initFull : ddf::initNone;
  entry->init = static_cast<UINT8>(init | wanted.access << ddf::accessShift);
  copyBytes(entry->name, wanted.name, sizeof(entry->name));
}

static void fillRecord(Work *work, const NewVirtualDisk &wanted, const Places &places, WorkDisk *disk) {
  constexpr UINT8 linuxRate = 0x80; // as Linux has it
  ddf::Record *record = findFreeRecord(disk->copy);
  freeSlot(disk->copy, record);
  record->signature = ddf::recordSignature;
  record->guid = work->writer->made;
  record->time = work->writer->time;
  record->sequence = 1;
  record->elements = static_cast<UINT16>(wanted.diskCount);
  record->strip = wanted.strip;
  record->level = wanted.level;
  record->qualifier = wanted.qualifier;
  record->secondaryCount = 1;
  record->secondaryElement = 0;
  record->memberBlocks = places.memberBlocks;
  record->blocks = 0;
  record->blocks = ddf::shapeOf(*record).blocks;
  zeroBytes(record->cache, sizeof(record->cache));
  record->cache[sizeof(record->cache) - 1] = wanted.cache;
  record->rate = linuxRate;
  for (UINT32 i = 0; i < wanted.diskCount; ++i) {
    const WorkDisk &member = work->disks[work->places[wanted.disks[i]]];
    ddf::referencesOf(record)[i] = ddf::diskDataOf(member.copy)->reference;
    ddf::startsOf(disk->copy, record)[i] = places.starts[i];
  }
}

static void markMembers(Work *work, const NewVirtualDisk &wanted) {
  UINT32 joined = work->set != nullptr ? work->set->pdCount : 0;
  for (UINT32 i = 0; i < wanted.diskCount; ++i) {
    UINT32 place = work->places[wanted.disks[i]];
    UINT32 pd = place < work->members ? work->writer->model->disks[wanted.disks[i]].pd : joined + place - work->members;
    ddf::PdEntry *entry = ddf::pdEntryAt(leadCopy(work), pd);
    entry->type = entry->type | ddf::pdMember;
  }
}

// --- The change ---

static EFI_STATUS joinFresh(Work *work, const NewVirtualDisk &wanted) {
  UINT32 *fresh = poolNew<UINT32>(wanted.diskCount);
  if (fresh == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINT32 count = 0;
  for (UINT32 i = 0; i < wanted.diskCount; ++i) {
    if (isOutside(*work->writer->model, wanted.disks[i])) {
      fresh[count++] = wanted.disks[i];
    }
  }
  EFI_STATUS status = count != 0 ? joinDisks(work, fresh, count) : EFI_SUCCESS;
  poolFree(fresh);
  return status;
}

static EFI_STATUS writeVirtualDisk(Work *work, const NewVirtualDisk &wanted, const Places &places, UINT16 number) {
  EFI_STATUS status = beginWriting(work);
  if (EFI_ERROR(status)) {
    return status;
  }
  enterVirtualDisk(work, wanted, number);
  status = writeStep(work);
  if (EFI_ERROR(status)) {
    return status;
  }
  for (UINT32 i = 0; i < wanted.diskCount; ++i) {
    fillRecord(work, wanted, places, &work->disks[work->places[wanted.disks[i]]]);
  }
  markMembers(work, wanted);
  return writeStep(work);
}

static EFI_STATUS create(Work *work, const NewVirtualDisk &wanted, Places *places) {
  UINT16 number = 0;
  EFI_STATUS status = findPlaces(work, wanted, places);
  if (!EFI_ERROR(status)) {
    status = joinFresh(work, wanted);
  }
  if (!EFI_ERROR(status)) {
    status = checkRoom(work, wanted);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  if (!newNumber(*work->writer->model, &number)) {
    return EFI_OUT_OF_RESOURCES;
  }
  ddf::Guid guid = newGuid(*work->writer);
  for (; findVirtualDiskEntry(leadCopy(work), guid) != nullptr; guid.bytes[sizeof(guid.bytes) - 1]++) {
  }
  work->writer->made = guid;
  return writeVirtualDisk(work, wanted, *places, number);
}

EFI_STATUS createVirtualDisk(Writer *writer, const NewVirtualDisk &wanted) {
  writer->trouble = {ddf::noIndex, nullptr};
  writer->made = {};
  UINT32 set = ddf::noIndex;
  EFI_STATUS status = checkWanted(writer, wanted);
  if (!EFI_ERROR(status)) {
    status = checkMembers(writer, wanted, &set);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  Work work;
  Places places = {};
  status = openWork(writer, set, wanted.diskCount, ddf::noIndex, &work);
  if (!EFI_ERROR(status)) {
    status = create(&work, wanted, &places);
  }
  closeWork(&work);
  poolFree(places.starts);
  return status;
}

} // namespace xyl::ddf_change
