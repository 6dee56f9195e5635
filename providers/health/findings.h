// What is wrong with one controller.
#pragma once

#include "base/array.h"
#include "raid_records.h"

namespace xyl::health {

enum FindingKind : UINT8 {
  findingSilent,       // the controller failed a Get; Number: the status
  findingVirtualDisk,  // a virtual disk in State
  findingMembers,      // Number of the Of members of a virtual disk are not there
  findingDisk,         // a disk with a name, in State
  findingNamelessDisk, // one whose Subject is its id
  findingForeign,      // Number disks with another controller's configuration
  findingKinds
};

struct Finding {
  FindingKind kind;
  UINT64 state;     // RAID_STATE_
  UINT32 raidLevel; // RAID_LEVEL_
  UINT64 number;
  UINT64 of;
  CHAR16 subject[64]; // a name or an id, cut where it is longer
};

// What a controller answered to a Get of all objects of a kind.
struct GetAnswer {
  EFI_STATUS status;
  RAID_CMD_RESULT result;
  UINT32 count; // of whole records
};
GetAnswer getAll(RAID_MGMT_PROTOCOL *mgmt, UINT32 objectType);
void giveBack(RAID_MGMT_PROTOCOL *mgmt, const GetAnswer &answer);

// Adds what is wrong; a controller that fails a Get is a finding, too. Starts with an empty array, which the caller
// releases also after a failure: EFI_OUT_OF_RESOURCES.
EFI_STATUS findFaults(RAID_MGMT_PROTOCOL *mgmt, PoolArray<Finding> *findings);
// The same from answers that are there.
EFI_STATUS findFaults(const GetAnswer &virtualDisks, const GetAnswer &disks, PoolArray<Finding> *findings);

// A pool copy of the adapter's name that the caller owns, or null.
CHAR16 *adapterName(RAID_MGMT_PROTOCOL *mgmt);

} // namespace xyl::health
