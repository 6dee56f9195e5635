// The client of RAID_MGMT_PROTOCOL: building, issuing and giving back commands.
#pragma once

#include "raid_records.h"

namespace xyl::driver {

// Block revisions.
inline constexpr UINT32 blockRevisionName = 1; // controller name query
inline constexpr UINT32 blockRevision = 2;     // all blocks that the driver builds itself
inline constexpr UINT32 blockRevisionKey = 3;  // commands that carry a key

// A block of blockRevision for command on objectType, without ids and data.
RAID_CMD_BLOCK makeCommand(UINT32 command, UINT32 objectType);

// Clears *result and runs the block. Returns the controller's status; *result is to be read only on success, and its
// data goes back with giveBack.
EFI_STATUS executeCommand(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result);

// makeCommand and executeCommand in one.
EFI_STATUS issueCommand(RAID_MGMT_PROTOCOL *mgmt, UINT32 command, UINT32 objectType, RAID_CMD_RESULT *result);

// The number of whole records in an answer; 0 without data.
UINT32 recordCount(const RAID_CMD_RESULT *result);

// Gives an answer's data back with its record count (DataSize >> 9) and clears the descriptor. No data: does nothing.
void giveBack(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_RESULT *result);

} // namespace xyl::driver
