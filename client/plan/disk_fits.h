// How the controller's disks fit a saved one, without holding each of them against each saved disk.
#pragma once

#include "driver/restore/restore.h"

#define DISK_FIT_COUNT (DISK_NOT_ENCRYPTING + 1)

// A disk fails for its size, its medium, its protocol or its encryption, in this order. So the disks are sorted by as
// many of these as count, and by their size last; and all that once more by their place first.
#define DISK_ORDER_COUNT 4ULL

// What of a disk decides. The records themselves lie too far apart for a sort that reads them again and again.
struct FIT_TRAITS {
  UINT64 Keys[DISK_ORDER_COUNT]; // place, medium, protocol, encryption
  UINT64 Size;
};

struct FIT_INDEX {
  const RAID_PD_RECORD *Disks; // not owned
  UINT32 Count;
  FIT_TRAITS *Traits; // pool; of each disk
  UINT32 *Orders;     // in its block: DISK_ORDER_COUNT orders anywhere, as many by place, and one by place and number
};

// EFI_OUT_OF_RESOURCES without memory. freeFitIndex gives back what the fits need.
EFI_STATUS makeFitIndex(FIT_INDEX *fits, const RAID_PD_RECORD *disks, UINT32 count);
void freeFitIndex(FIT_INDEX *fits);

// The first disk in the saved disk's place; Count without one.
UINT32 firstInPlace(const FIT_INDEX &fits, const RAID_PD_RECORD &saved);

// Counts the disks that are not in the saved disk's place, by DISK_FIT.
void countElsewhere(const FIT_INDEX &fits, const RAID_PD_RECORD &saved, UINT32 (&counts)[DISK_FIT_COUNT]);
