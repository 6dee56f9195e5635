// Faults that are planned for commands to come.
#pragma once

#include "raid_mgmt.h"

namespace xyl::sim {

struct Controller;

constexpr UINT32 anyCode = 0xFFFFFFFE; // any Command or ObjectType

// What happens to a command that a fault strikes.
enum FaultKind : UINT32 {
  faultStatus,   // the command does nothing and returns status
  faultNoData,   // it runs, and its answer is Data null with DataSize 0
  faultNullData, // it runs, and its answer is Data null with DataSize = bytes
  faultSize,     // it runs, and its answer is cut or stretched to bytes
  faultExtra     // it runs, and its answer has bytes more than it should
};

// A fault; it waits for commands that match. The first of several that strike decides.
struct Fault {
  FaultKind kind;
  UINT32 command;    // RAID_COMMAND or anyCode
  UINT32 objectType; // RAID_OBJECT_TYPE or anyCode
  UINT64 nth;        // which matching command from now on is struck first; 1 is the next
  bool once;         // false: all matching ones from then on
  EFI_STATUS status;
  UINT32 bytes;
};

constexpr UINT32 faultCapacity = 16; // of one controller

// Adds a fault; false when faultCapacity are set.
bool addFault(Controller *sim, const Fault &fault);

// Fails the nth command from now on, once or with all later ones; false as above.
bool failCommand(Controller *sim, UINT64 nth, bool once, EFI_STATUS status);

// Fails every command of this Command and ObjectType (or anyCode); false as above.
bool failKind(Controller *sim, UINT32 command, UINT32 objectType, EFI_STATUS status);

// Gives every answer of this Command and ObjectType another shape; bytes as the kind says. False as above.
bool shapeAnswer(Controller *sim, UINT32 command, UINT32 objectType, FaultKind kind, UINT32 bytes);

// Removes all faults, and sets faultHits to 0.
void clearFaults(Controller *sim);

// Removes the single faults that have struck.
void dropSpentFaults(Controller *sim);

} // namespace xyl::sim
