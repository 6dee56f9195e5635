// The objects of the state: found, counted, named.
#pragma once

#include "providers/sim_controller/state.h"

// A text under construction in room for SIM_TEXT_UNITS; what does not fit is cut.
struct SIM_TEXT {
  CHAR16 *buffer;
  UINT32 used;
};
SIM_TEXT simText(CHAR16 *buffer);
void simAddText(SIM_TEXT &text, const CHAR16 *part);
void simAddNumber(SIM_TEXT &text, UINT64 value, UINT32 digits); // with leading zeros up to digits

// Copies a wide text into a text of the state; false when it is too long.
bool simSetText(CHAR16 *to, const CHAR16 *from);

// Sets Name and FQDD from the place that a disk is in; FQDD and, if it has none, Name from a virtual disk's target id.
void simNamePlace(SIM_CONTROLLER *sim, SIM_DISK *disk);
void simNameVirtualDisk(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *virtualDisk);

bool simDiskLists(const SIM_DISK *disk, UINT32 virtualDiskId);
bool simHasMember(const SIM_VIRTUAL_DISK *virtualDisk, UINT32 diskId);

// Number of objects of a type, and the place of one among them; unknown types have none.
UINT32 simObjectCount(SIM_CONTROLLER *sim, UINT32 objectType);
bool simObjectIndex(SIM_CONTROLLER *sim, UINT32 objectType, UINT32 objectId, UINT32 *index);
