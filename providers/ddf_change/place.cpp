#include "providers/ddf_change/place.h"

namespace xyl::ddf_change {

// --- Disks ---

static EFI_STATUS checkMember(Writer *writer, UINT32 number, UINT32 *set) {
  const ddf::Disk &disk = writer->model->disks[number];
  if (disk.kind != ddf::DiskKind::member) {
    return checkFresh(writer, number);
  }
  const ddf::Set &own = writer->model->sets[disk.set];
  const ddf::Pd &pd = own.pds[disk.pd];
  const CHAR8 *what = own.foreign                                ? "belongs to a foreign set"
                      : *set != ddf::noIndex && *set != disk.set ? "belongs to another set than the disks before it"
                      : (pd.entry->state & ddf::pdOnline) == 0   ? "is not online"
                      : isMarkedLost(pd)                         ? "has failed"
                      : pd.spare != ddf::SpareKind::none         ? "waits as a spare"
                                                                 : nullptr;
  *set = disk.set;
  return what != nullptr ? refuse(writer, EFI_ACCESS_DENIED, number, what) : EFI_SUCCESS;
}

EFI_STATUS checkMembers(Writer *writer, const NewVirtualDisk &wanted, UINT32 *set) {
  UINT8 *seen = poolNew<UINT8>(writer->model->diskCount + UINTN{1});
  EFI_STATUS status = seen != nullptr ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
  for (UINT32 i = 0; i < wanted.diskCount && !EFI_ERROR(status); ++i) {
    UINT32 disk = wanted.disks[i];
    if (disk >= writer->model->diskCount) {
      status = EFI_INVALID_PARAMETER;
    } else if (seen[disk]++ != 0) {
      status = refuse(writer, EFI_INVALID_PARAMETER, disk, "named twice");
    } else {
      status = checkMember(writer, disk, set);
    }
  }
  poolFree(seen);
  *set = *set == ddf::noIndex ? chooseSet(*writer->model, writer->maker->guid) : *set;
  return status;
}

// --- Room on the disks ---

struct Gaps {
  const ddf::Gap *items;
  UINT32 count;
};

// whole is filled, and the answer, of a disk that is in no set yet.
static Gaps gapsOf(const ddf::Model &model, UINT32 number, ddf::Gap *whole) {
  const ddf::Disk &disk = model.disks[number];
  if (disk.kind == ddf::DiskKind::member) {
    const ddf::Pd &pd = model.sets[disk.set].pds[disk.pd];
    return {pd.gaps, pd.gapCount};
  }
  *whole = {0, disk.source.sectors - ddf::reserveSectors};
  return {whole, 1};
}

static UINT64 mostRoom(const Gaps &gaps, UINT64 start) {
  UINT64 most = 0;
  for (UINT32 i = 0; i < gaps.count; ++i) {
    UINT64 room = roomIn(gaps.items[i], start);
    most = room > most ? room : most;
  }
  return most;
}

// The blocks that fit on every member, at most as many as wanted.
static UINT64 commonRoom(const ddf::Model &model, const NewVirtualDisk &wanted, UINT32 *smallest) {
  constexpr UINT64 mostBlocks = UINT64{1} << 48; // of a member; readers take no more
  UINT64 blocks = wanted.memberBlocks != 0 ? wanted.memberBlocks : mostBlocks;
  for (UINT32 i = 0; i < wanted.diskCount; ++i) {
    ddf::Gap whole = {};
    UINT64 room = mostRoom(gapsOf(model, wanted.disks[i], &whole), wanted.start);
    if (room < blocks) {
      blocks = room;
      *smallest = wanted.disks[i];
    }
  }
  return roundDown(blocks, memberGrain(wanted));
}

EFI_STATUS findPlaces(Work *work, const NewVirtualDisk &wanted, Places *places) {
  const ddf::Model &model = *work->writer->model;
  UINT32 smallest = ddf::noIndex;
  places->memberBlocks = commonRoom(model, wanted, &smallest);
  if (places->memberBlocks == 0 || (wanted.memberBlocks != 0 && places->memberBlocks != wanted.memberBlocks)) {
    return refuse(work->writer, EFI_VOLUME_FULL, smallest, "has no room");
  }
  places->starts = poolNew<UINT64>(wanted.diskCount);
  if (places->starts == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < wanted.diskCount; ++i) {
    ddf::Gap whole = {};
    Gaps gaps = gapsOf(model, wanted.disks[i], &whole);
    UINT32 at = 0; // one of them has the room that was found above
    while (at + 1 < gaps.count && roomIn(gaps.items[at], wanted.start) < places->memberBlocks) {
      ++at;
    }
    places->starts[i] = startIn(gaps.items[at], wanted.start);
  }
  return EFI_SUCCESS;
}

// --- Room in the metadata ---

ddf::VdEntry *findFreeEntry(const ddf::Copy &copy) {
  UINT32 capacity = ddf::vdCapacity(copy);
  for (UINT32 i = 0; i < capacity; ++i) {
    if (ddf::isFree(ddf::vdEntryAt(copy, i)->guid)) {
      return ddf::vdEntryAt(copy, i);
    }
  }
  return nullptr;
}

ddf::Record *findFreeRecord(const ddf::Copy &copy) {
  UINT32 slots = ddf::recordCapacity(copy);
  for (UINT32 i = 0; i + 1 < slots; ++i) {
    if (ddf::recordAt(copy, i)->signature == ddf::freeRecordSignature) {
      return ddf::recordAt(copy, i);
    }
  }
  return nullptr;
}

// The length of a name, or more than there is room for when a blank or something unprintable is inside. Linux pads with
// zeros, others with blanks.
static UINTN nameLength(const CHAR8 (&name)[16]) {
  UINTN length = 0, end = sizeof(name);
  while (length < sizeof(name) && name[length] > 0x20 && name[length] < 0x7F) {
    ++length;
  }
  while (end > length && (name[end - 1] == 0 || name[end - 1] == ' ')) {
    --end;
  }
  return end == length ? length : sizeof(name) + 1;
}

EFI_STATUS checkName(Work *work, const CHAR8 (&name)[16], const ddf::VdEntry *own) {
  UINTN length = nameLength(name);
  if (length > sizeof(name)) {
    return refuse(work->writer, EFI_INVALID_PARAMETER, ddf::noIndex, "the name has a blank or something unprintable");
  }
  UINT32 capacity = length != 0 ? ddf::vdCapacity(leadCopy(work)) : 0;
  for (UINT32 i = 0; i < capacity; ++i) {
    const ddf::VdEntry *entry = ddf::vdEntryAt(leadCopy(work), i);
    if (entry != own && !ddf::isFree(entry->guid) && nameLength(entry->name) == length &&
        __builtin_memcmp(entry->name, name, length) == 0) {
      return refuse(work->writer, EFI_INVALID_PARAMETER, ddf::noIndex, "another volume of the set has the name");
    }
  }
  return EFI_SUCCESS;
}

EFI_STATUS checkRoom(Work *work, const NewVirtualDisk &wanted) {
  if (wanted.diskCount > leadCopy(work).header.maxElements) {
    return refuse(work->writer, EFI_VOLUME_FULL, ddf::noIndex, "the set's records have no room for so many members");
  }
  if (findFreeEntry(leadCopy(work)) == nullptr) {
    return refuse(work->writer, EFI_VOLUME_FULL, ddf::noIndex, "the set has no room for more volumes");
  }
  for (UINT32 i = 0; i < wanted.diskCount; ++i) {
    if (findFreeRecord(work->disks[work->places[wanted.disks[i]]].copy) == nullptr) {
      return refuse(work->writer, EFI_VOLUME_FULL, wanted.disks[i], "takes part in as many volumes as it can");
    }
  }
  return checkName(work, wanted.name, nullptr);
}

} // namespace xyl::ddf_change
