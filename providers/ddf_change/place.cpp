#include "providers/ddf_change/place.h"

// --- Disks ---

static EFI_STATUS checkMember(DDF_WRITER *writer, UINT32 number, UINT32 *set) {
  const DDF_DISK &disk = writer->model->disks[number];
  if (disk.kind != DDF_DISK_MEMBER) {
    return checkFresh(writer, number);
  }
  const DDF_SET &own = writer->model->sets[disk.set];
  const DDF_PD &pd = own.pds[disk.pd];
  const CHAR8 *what = own.foreign                              ? "belongs to a foreign set"
                      : *set != DDF_NONE && *set != disk.set   ? "belongs to another set than the disks before it"
                      : (pd.entry->state & DDF_PD_ONLINE) == 0 ? "is not online"
                      : isMarkedLost(pd)                       ? "has failed"
                      : pd.spare != DDF_NO_SPARE               ? "waits as a spare"
                                                               : nullptr;
  *set = disk.set;
  return what != nullptr ? refuse(writer, EFI_ACCESS_DENIED, number, what) : EFI_SUCCESS;
}

EFI_STATUS checkMembers(DDF_WRITER *writer, const DDF_NEW_VIRTUAL_DISK &wanted, UINT32 *set) {
  UINT8 *seen = poolNew<UINT8>(writer->model->diskCount + UINTN{1});
  EFI_STATUS status = seen != nullptr ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
  for (UINT32 i = 0; i < wanted.diskCount && !EFI_ERROR(status); i++) {
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
  *set = *set == DDF_NONE ? ddfChooseSet(*writer->model, writer->maker->guid) : *set;
  return status;
}

// --- Room on the disks ---

UINT64 memberGrain(const DDF_NEW_VIRTUAL_DISK &wanted) {
  UINT64 strip = wanted.level == DDF_RAID_1 ? 1 : UINT64{1} << wanted.strip;
  return strip > DDF_MEMBER_GRAIN ? strip : DDF_MEMBER_GRAIN;
}

struct GAPS {
  const DDF_GAP *items;
  UINT32 count;
};

// whole is filled, and the answer, of a disk that is in no set yet.
static GAPS gapsOf(const DDF_MODEL &model, UINT32 number, DDF_GAP *whole) {
  const DDF_DISK &disk = model.disks[number];
  if (disk.kind == DDF_DISK_MEMBER) {
    const DDF_PD &pd = model.sets[disk.set].pds[disk.pd];
    return {pd.gaps, pd.gapCount};
  }
  *whole = {0, disk.source.sectors - DDF_RESERVE};
  return {whole, 1};
}

static UINT64 startIn(const DDF_GAP &gap, UINT64 start) {
  return start != DDF_ANYWHERE ? start : (gap.start + DDF_MEMBER_GRAIN - 1) / DDF_MEMBER_GRAIN * DDF_MEMBER_GRAIN;
}

// What a gap has from start on.
static UINT64 roomIn(const DDF_GAP &gap, UINT64 wanted) {
  UINT64 start = startIn(gap, wanted);
  return start >= gap.start && start - gap.start < gap.blocks ? gap.blocks - (start - gap.start) : 0;
}

static UINT64 mostRoom(const GAPS &gaps, UINT64 start) {
  UINT64 most = 0;
  for (UINT32 i = 0; i < gaps.count; i++) {
    UINT64 room = roomIn(gaps.items[i], start);
    most = room > most ? room : most;
  }
  return most;
}

// The blocks that fit on every member, at most as many as wanted.
static UINT64 commonRoom(const DDF_MODEL &model, const DDF_NEW_VIRTUAL_DISK &wanted, UINT32 *smallest) {
  constexpr UINT64 MOST_BLOCKS = UINT64{1} << 48; // of a member; readers take no more
  UINT64 blocks = wanted.memberBlocks != 0 ? wanted.memberBlocks : MOST_BLOCKS;
  for (UINT32 i = 0; i < wanted.diskCount; i++) {
    DDF_GAP whole = {};
    UINT64 room = mostRoom(gapsOf(model, wanted.disks[i], &whole), wanted.start);
    if (room < blocks) {
      blocks = room;
      *smallest = wanted.disks[i];
    }
  }
  return blocks - blocks % memberGrain(wanted);
}

EFI_STATUS findPlaces(WORK *work, const DDF_NEW_VIRTUAL_DISK &wanted, PLACES *places) {
  const DDF_MODEL &model = *work->writer->model;
  UINT32 smallest = DDF_NONE;
  places->memberBlocks = commonRoom(model, wanted, &smallest);
  if (places->memberBlocks == 0 || (wanted.memberBlocks != 0 && places->memberBlocks != wanted.memberBlocks)) {
    return refuse(work->writer, EFI_VOLUME_FULL, smallest, "has no room");
  }
  places->starts = poolNew<UINT64>(wanted.diskCount);
  if (places->starts == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < wanted.diskCount; i++) {
    DDF_GAP whole = {};
    GAPS gaps = gapsOf(model, wanted.disks[i], &whole);
    UINT32 at = 0; // one of them has the room that was found above
    while (at + 1 < gaps.count && roomIn(gaps.items[at], wanted.start) < places->memberBlocks) {
      at++;
    }
    places->starts[i] = startIn(gaps.items[at], wanted.start);
  }
  return EFI_SUCCESS;
}

// --- Room in the metadata ---

DDF_VD_ENTRY *findFreeEntry(const DDF_COPY &copy) {
  UINT32 capacity = ddfVdCapacity(copy);
  for (UINT32 i = 0; i < capacity; i++) {
    if (ddfIsFree(ddfVdEntry(copy, i)->guid)) {
      return ddfVdEntry(copy, i);
    }
  }
  return nullptr;
}

DDF_RECORD *findFreeRecord(const DDF_COPY &copy) {
  UINT32 slots = ddfRecordCapacity(copy);
  for (UINT32 i = 0; i + 1 < slots; i++) {
    if (ddfRecordSlot(copy, i)->signature == DDF_FREE_RECORD) {
      return ddfRecordSlot(copy, i);
    }
  }
  return nullptr;
}

// The length of a name, or more than there is room for when a blank or something unprintable is inside. Linux pads with
// zeros, others with blanks.
static UINTN nameLength(const CHAR8 (&name)[16]) {
  UINTN length = 0, end = sizeof(name);
  while (length < sizeof(name) && name[length] > 0x20 && name[length] < 0x7F) {
    length++;
  }
  while (end > length && (name[end - 1] == 0 || name[end - 1] == ' ')) {
    end--;
  }
  return end == length ? length : sizeof(name) + 1;
}

EFI_STATUS checkName(WORK *work, const CHAR8 (&name)[16], const DDF_VD_ENTRY *own) {
  UINTN length = nameLength(name);
  if (length > sizeof(name)) {
    return refuse(work->writer, EFI_INVALID_PARAMETER, DDF_NONE, "the name has a blank or something unprintable");
  }
  UINT32 capacity = length != 0 ? ddfVdCapacity(lead(work)) : 0;
  for (UINT32 i = 0; i < capacity; i++) {
    const DDF_VD_ENTRY *entry = ddfVdEntry(lead(work), i);
    if (entry != own && !ddfIsFree(entry->guid) && nameLength(entry->name) == length &&
        __builtin_memcmp(entry->name, name, length) == 0) {
      return refuse(work->writer, EFI_INVALID_PARAMETER, DDF_NONE, "another volume of the set has the name");
    }
  }
  return EFI_SUCCESS;
}

EFI_STATUS checkRoom(WORK *work, const DDF_NEW_VIRTUAL_DISK &wanted) {
  if (wanted.diskCount > lead(work).header.maxElements) {
    return refuse(work->writer, EFI_VOLUME_FULL, DDF_NONE, "the set's records have no room for so many members");
  }
  if (findFreeEntry(lead(work)) == nullptr) {
    return refuse(work->writer, EFI_VOLUME_FULL, DDF_NONE, "the set has no room for more volumes");
  }
  for (UINT32 i = 0; i < wanted.diskCount; i++) {
    if (findFreeRecord(work->disks[work->places[wanted.disks[i]]].copy) == nullptr) {
      return refuse(work->writer, EFI_VOLUME_FULL, wanted.disks[i], "takes part in as many volumes as it can");
    }
  }
  return checkName(work, wanted.name, nullptr);
}
