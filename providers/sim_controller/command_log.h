// The log of the commands that a controller has executed.
#pragma once

#include "raid_records.h"

struct SIM_CONTROLLER;

#define SIM_LOG_CAPACITY 512                       // the last commands; older ones are dropped
#define SIM_LOG_IDS 64                             // of each list of a command
#define SIM_LOG_DATA (2 * sizeof(RAID_KEY_RECORD)) // bytes

// One executed command as it arrived, but for passphrases, which are not kept. Pointers inside are stale.
struct SIM_LOG_ENTRY {
  RAID_CMD_BLOCK block;
  EFI_STATUS status;       // what Execute returned
  UINT32 ids[SIM_LOG_IDS]; // the first of ObjectIds
  UINT32 dataSize;         // 512, 292 (Lock), 584 (Rekey), or 0 for none or data of another kind
  UINT8 data[SIM_LOG_DATA];
  UINT32 listCount; // VDs of a disk record, PDs of a virtual disk record
  UINT32 list[SIM_LOG_IDS];
};

// The command with that number since simClearLog (0 is the first), or null when it has not come or was dropped. The
// entry is the controller's.
const SIM_LOG_ENTRY *simCommand(const SIM_CONTROLLER *sim, UINT64 number);

// How many commands have come since simClearLog, those included that were dropped.
UINT64 simCommandCount(const SIM_CONTROLLER *sim);

// Empties the log and overwrites what it held.
void simClearLog(SIM_CONTROLLER *sim);
