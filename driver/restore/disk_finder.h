// Finding the first of many disks that is large enough, without looking at all of them.
#pragma once

#include "driver/restore/restore.h"

namespace xyl::driver {

// What the disks of a group have in common beside medium and protocol.
enum class DiskGrouping { byPlace, byKind };

// Which disks of a group are looked at.
enum DiskChoice { diskAny, diskEncrypting, diskChoiceCount };

// A disk among the others of its group.
struct GroupedDisk {
  UINT64 group;
  UINT32 protocol;
  UINT32 number; // in the array of disks
};

struct DiskFinder {
  const RAID_PD_RECORD *disks; // not owned
  UINT32 count;
  DiskGrouping grouping;
  GroupedDisk *order; // pool: by group and, within one, as the disks stand; null without memory, see makeFinder
  UINT32 leaves;      // of the trees: a power of two, Count at least
  // In Order's block: trees over Order, node n above 2n and 2n + 1, the leaves from Leaves on. Each node has the number
  // of the largest disk below it plus 1, or 0 without one.
  UINT32 *largest[diskChoiceCount];
};

// Without memory all disks are looked at one after the other, and their places are their numbers. freeFinder gives back
// what the finder needs.
void makeFinder(DiskFinder *finder, const RAID_PD_RECORD *disks, UINT32 count, DiskGrouping grouping);
void freeFinder(DiskFinder *finder);

// The number of the disk at a place.
inline UINT32 diskAt(const DiskFinder &finder, UINT32 place) {
  return finder.order != nullptr ? finder.order[place].number : place;
}

// The place at which the saved disk's group begins, if there is one.
UINT32 groupOf(const DiskFinder &finder, const RAID_PD_RECORD &saved);
// The first place from there on of a disk of the saved disk's group that is at least as large; Count without one.
UINT32 findLargeEnough(const DiskFinder &finder, const RAID_PD_RECORD &saved, DiskChoice choice, UINT32 place);
// The disk at that place need not be found any more.
void removeDisk(DiskFinder *finder, UINT32 place);

} // namespace xyl::driver
