// Finding the first of many disks that is large enough, without looking at all of them.
#pragma once

#include "driver/restore/restore.h"

// What the disks of a group have in common beside medium and protocol.
enum DISK_GROUPING { GROUPED_BY_PLACE, GROUPED_BY_KIND };

// Which disks of a group are looked at.
enum DISK_CHOICE { DISK_ANY, DISK_ENCRYPTING, DISK_CHOICE_COUNT };

// A disk among the others of its group.
struct GROUPED_DISK {
  UINT64 Group;
  UINT32 Protocol;
  UINT32 Number; // in the array of disks
};

struct DISK_FINDER {
  const RAID_PD_RECORD *Disks; // not owned
  UINT32 Count;
  DISK_GROUPING Grouping;
  GROUPED_DISK *Order; // pool: by group and, within one, as the disks stand; null without memory, see makeFinder
  UINT32 Leaves;       // of the trees: a power of two, Count at least
  // In Order's block: trees over Order, node n above 2n and 2n + 1, the leaves from Leaves on. Each node has the number
  // of the largest disk below it plus 1, or 0 without one.
  UINT32 *Largest[DISK_CHOICE_COUNT];
};

// Without memory all disks are looked at one after the other, and their places are their numbers. freeFinder gives back
// what the finder needs.
void makeFinder(DISK_FINDER *finder, const RAID_PD_RECORD *disks, UINT32 count, DISK_GROUPING grouping);
void freeFinder(DISK_FINDER *finder);

// The number of the disk at a place.
inline UINT32 diskAt(const DISK_FINDER &finder, UINT32 place) {
  return finder.Order != nullptr ? finder.Order[place].Number : place;
}

// The place at which the saved disk's group begins, if there is one.
UINT32 groupOf(const DISK_FINDER &finder, const RAID_PD_RECORD &saved);
// The first place from there on of a disk of the saved disk's group that is at least as large; Count without one.
UINT32 findLargeEnough(const DISK_FINDER &finder, const RAID_PD_RECORD &saved, DISK_CHOICE choice, UINT32 place);
// The disk at that place need not be found any more.
void removeDisk(DISK_FINDER *finder, UINT32 place);
