// Disks and virtual disks of the controller, by the names that people give them.
#pragma once

#include "client/guard/guard.h"
#include "client/verbs/words.h"
#include "records/ids.h"

namespace xyl::client {

// Places in the configuration's list, in the order in which they were chosen, each once.
struct Choice {
  UINT32 *places; // pool
  UINT32 count;
};

// Add what the text names, separated by commas: a disk by its id, FQDD or place, a virtual disk by its id, name or
// FQDD. A failure comes with a message. The caller gives the choice, also then, to freeChoice.
Result chooseDisks(const Context &context, const RAID_CONFIG &config, const CHAR8 *names, Choice *choice);
Result chooseVirtualDisks(const Context &context, const RAID_CONFIG &config, const CHAR8 *names, Choice *choice);
void freeChoice(Choice *choice);

// The same for all operands of the request.
typedef Result (*Choose)(const Context &context, const RAID_CONFIG &config, const CHAR8 *names, Choice *choice);
Result chooseOperands(const Context &context, const RAID_CONFIG &config, Choose choose, Choice *choice);

// Room for count places; false without memory.
bool makeChoice(Choice *choice, UINT32 count);

// The place in the list of the enclosure with that object id, or else position; noId without one.
UINT32 findEnclosure(const RAID_CONFIG &config, UINT64 number);
// Whether the disk is in no enclosure.
bool isDirect(const RAID_CONFIG &config, const RAID_PD_RECORD &disk);

// What a disk is that is not free: "Online", "Online and full", "a hot spare".
const CHAR8 *stateOf(const RAID_PD_RECORD &disk);
// The ids of the free disks.
void appendFree(WordList &list, const RAID_CONFIG &config);
// "1003 (301:2)"
void appendDisk(WordList &list, const CHAR8 *separator, const RAID_CONFIG &config, const RAID_PD_RECORD &disk);

} // namespace xyl::client
