// Faults that are planned for commands to come.
#pragma once

#include "raid_mgmt.h"

struct SIM_CONTROLLER;

#define SIM_ANY 0xFFFFFFFEU // any Command or ObjectType

// What happens to a command that a fault strikes.
enum SIM_FAULT_KIND : UINT32 {
  SIM_FAULT_STATUS,    // the command does nothing and returns status
  SIM_FAULT_NO_DATA,   // it runs, and its answer is Data null with DataSize 0
  SIM_FAULT_NULL_DATA, // it runs, and its answer is Data null with DataSize = bytes
  SIM_FAULT_SIZE,      // it runs, and its answer is cut or stretched to bytes
  SIM_FAULT_EXTRA      // it runs, and its answer has bytes more than it should
};

// A fault; it waits for commands that match. The first of several that strike decides.
struct SIM_FAULT {
  SIM_FAULT_KIND kind;
  UINT32 command;    // RAID_COMMAND or SIM_ANY
  UINT32 objectType; // RAID_OBJECT_TYPE or SIM_ANY
  UINT64 nth;        // which matching command from now on is struck first; 1 is the next
  bool once;         // false: all matching ones from then on
  EFI_STATUS status;
  UINT32 bytes;
};

#define SIM_FAULT_CAPACITY 16 // of one controller

// Adds a fault; false when SIM_FAULT_CAPACITY are set.
bool simAddFault(SIM_CONTROLLER *sim, const SIM_FAULT &fault);

// Fails the nth command from now on, once or with all later ones; false as above.
bool simFailCommand(SIM_CONTROLLER *sim, UINT64 nth, bool once, EFI_STATUS status);

// Fails every command of this Command and ObjectType (or SIM_ANY); false as above.
bool simFailKind(SIM_CONTROLLER *sim, UINT32 command, UINT32 objectType, EFI_STATUS status);

// Gives every answer of this Command and ObjectType another shape; bytes as the kind says. False as above.
bool simShapeAnswer(SIM_CONTROLLER *sim, UINT32 command, UINT32 objectType, SIM_FAULT_KIND kind, UINT32 bytes);

// Removes all faults, and sets faultHits to 0.
void simClearFaults(SIM_CONTROLLER *sim);

// Removes the single faults that have struck.
void simDropSpentFaults(SIM_CONTROLLER *sim);
