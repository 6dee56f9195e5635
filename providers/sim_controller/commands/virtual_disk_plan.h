// Whether a virtual disk may be created, and what it would be.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

// A virtual disk that may be created.
struct VirtualDiskPlan {
  RAID_LEVEL_PARAMS level;
  UINT32 spanDepth;
  UINT32 pdsPerSpan;
  UINT64 start;      // bytes on each member
  UINT64 memberSize; // bytes
  UINT64 size;       // bytes
  UINT32 attributes;
};

// Checks a Create by all rules but the room for names; statuses as the command's. wanted is not kept.
EFI_STATUS planVirtualDisk(Controller *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                           VirtualDiskPlan *plan);

} // namespace xyl::sim
