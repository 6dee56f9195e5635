// Which disks a new virtual disk may have, and where on them it finds room.
#pragma once

#include "base/rounding.h"
#include "providers/ddf_change/work.h"

namespace xyl::ddf_change {

// What a member's blocks are a multiple of: strips and pages.
constexpr UINT64 memberGrain(const NewVirtualDisk &wanted) {
  UINT64 strip = wanted.level == ddf::levelRaid1 ? 1 : UINT64{1} << wanted.strip;
  return strip > grainSectors ? strip : grainSectors;
}

// Where a member begins in a gap: at its first page, or where it is wanted.
constexpr UINT64 startIn(const ddf::Gap &gap, UINT64 wanted) {
  return wanted != anywhere ? wanted : roundUp(gap.start, grainSectors);
}

// The blocks from there on that lie in the gap; none when it begins outside.
constexpr UINT64 roomIn(const ddf::Gap &gap, UINT64 wanted) {
  UINT64 start = startIn(gap, wanted);
  return start >= gap.start && start - gap.start < gap.blocks ? gap.blocks - (start - gap.start) : 0;
}

struct Places {
  UINT64 memberBlocks;
  UINT64 *starts; // pool, by member
};

// Checks the disks, which are all in *set or in none.
EFI_STATUS checkMembers(Writer *writer, const NewVirtualDisk &wanted, UINT32 *set);

// The caller gives places->starts back, also after a failure.
EFI_STATUS findPlaces(Work *work, const NewVirtualDisk &wanted, Places *places);

// Whether lists and records have room and the name is free; all disks have joined.
EFI_STATUS checkRoom(Work *work, const NewVirtualDisk &wanted);
EFI_STATUS checkName(Work *work, const CHAR8 (&name)[16], const ddf::VdEntry *own);

// The first free entry or record, or null. The last slot is where Linux puts a spare record.
ddf::VdEntry *findFreeEntry(const ddf::Copy &copy);
ddf::Record *findFreeRecord(const ddf::Copy &copy);

} // namespace xyl::ddf_change
