// The log of the commands that a controller has executed.
#pragma once

#include "raid_records.h"

namespace xyl::sim {

struct Controller;

constexpr UINT32 logCapacity = 512;                        // the last commands; older ones are dropped
constexpr UINT32 logIdCapacity = 64;                       // of each list of a command
constexpr UINTN logDataSize = 2 * sizeof(RAID_KEY_RECORD); // bytes

// One executed command as it arrived, but for passphrases, which are not kept. Pointers inside are stale.
struct LogEntry {
  RAID_CMD_BLOCK block;
  EFI_STATUS status;         // what Execute returned
  UINT32 ids[logIdCapacity]; // the first of ObjectIds
  UINT32 dataSize;           // 512, 292 (Lock), 584 (Rekey), or 0 for none or data of another kind
  UINT8 data[logDataSize];
  UINT32 listCount; // VDs of a disk record, PDs of a virtual disk record
  UINT32 list[logIdCapacity];
};

// The command with that number since clearLog (0 is the first), or null when it has not come or was dropped. The
// entry is the controller's.
const LogEntry *command(const Controller *sim, UINT64 number);

// How many commands have come since clearLog, those included that were dropped.
UINT64 commandCount(const Controller *sim);

// Empties the log and overwrites what it held.
void clearLog(Controller *sim);

} // namespace xyl::sim
