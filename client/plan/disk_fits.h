// How the controller's disks fit a saved one, without holding each of them against each saved disk.
#pragma once

#include "driver/restore/restore.h"

namespace xyl::client {

inline constexpr UINTN diskFitCount = driver::diskNotEncrypting + 1;

// A disk fails for its size, its medium, its protocol or its encryption, in this order. So the disks are sorted by as
// many of these as count, and by their size last; and all that once more by their place first.
inline constexpr UINT64 diskOrderCount = 4ULL;

// What of a disk decides. The records themselves lie too far apart for a sort that reads them again and again.
struct FitTraits {
  UINT64 keys[diskOrderCount]; // place, medium, protocol, encryption
  UINT64 size;
};

struct FitIndex {
  const RAID_PD_RECORD *disks; // not owned
  UINT32 count;
  FitTraits *traits; // pool; of each disk
  UINT32 *orders;    // in its block: diskOrderCount orders anywhere, as many by place, and one by place and number
};

// EFI_OUT_OF_RESOURCES without memory. freeFitIndex gives back what the fits need.
EFI_STATUS makeFitIndex(FitIndex *fits, const RAID_PD_RECORD *disks, UINT32 count);
void freeFitIndex(FitIndex *fits);

// The first disk in the saved disk's place; Count without one.
UINT32 firstInPlace(const FitIndex &fits, const RAID_PD_RECORD &saved);

// Counts the disks that are not in the saved disk's place, by DiskFit.
void countElsewhere(const FitIndex &fits, const RAID_PD_RECORD &saved, UINT32 (&counts)[diskFitCount]);

} // namespace xyl::client
