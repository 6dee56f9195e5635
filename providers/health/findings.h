// What is wrong with one controller.
#pragma once

#include "base/array.h"
#include "raid_records.h"

enum FINDING_KIND : UINT8 {
  FINDING_SILENT,        // the controller failed a Get; Number: the status
  FINDING_VIRTUAL_DISK,  // a virtual disk in State
  FINDING_MEMBERS,       // Number of the Of members of a virtual disk are not there
  FINDING_DISK,          // a disk with a name, in State
  FINDING_NAMELESS_DISK, // one whose Subject is its id
  FINDING_FOREIGN,       // Number disks with another controller's configuration
  FINDING_KINDS
};

struct FINDING {
  FINDING_KIND Kind;
  UINT64 State;     // RAID_STATE_
  UINT32 RAIDLevel; // RAID_LEVEL_
  UINT64 Number;
  UINT64 Of;
  CHAR16 Subject[64]; // a name or an id, cut where it is longer
};

// What a controller answered to a Get of all objects of a kind.
struct GET_ANSWER {
  EFI_STATUS Status;
  RAID_CMD_RESULT Result;
  UINT32 Count; // of whole records
};
GET_ANSWER getAll(RAID_MGMT_PROTOCOL *mgmt, UINT32 objectType);
void giveBack(RAID_MGMT_PROTOCOL *mgmt, const GET_ANSWER &answer);

// Adds what is wrong; a controller that fails a Get is a finding, too. Starts with an empty array, which the caller
// releases also after a failure: EFI_OUT_OF_RESOURCES.
EFI_STATUS findFaults(RAID_MGMT_PROTOCOL *mgmt, POOL_ARRAY<FINDING> *findings);
// The same from answers that are there.
EFI_STATUS findFaults(const GET_ANSWER &virtualDisks, const GET_ANSWER &disks, POOL_ARRAY<FINDING> *findings);

// A pool copy of the adapter's name that the caller owns, or null.
CHAR16 *adapterName(RAID_MGMT_PROTOCOL *mgmt);
