// The objects of the state: found, counted, named.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

// A text under construction in room for textUnits; what does not fit is cut.
struct Text {
  CHAR16 *buffer;
  UINT32 used;
};
Text text(CHAR16 *buffer);
void addText(Text &text, const CHAR16 *part);
void addNumber(Text &text, UINT64 value, UINT32 digits); // with leading zeros up to digits

// Copies a wide text into a text of the state; false when it is too long.
bool setText(CHAR16 *to, const CHAR16 *from);

// Sets Name and FQDD from the place that a disk is in; FQDD and, if it has none, Name from a virtual disk's target id.
void namePlace(Controller *sim, Disk *disk);
void nameVirtualDisk(Controller *sim, VirtualDisk *virtualDisk);

bool diskLists(const Disk *disk, UINT32 virtualDiskId);
bool hasMember(const VirtualDisk *virtualDisk, UINT32 diskId);

// Number of objects of a type, and the place of one among them; unknown types have none.
UINT32 objectCount(Controller *sim, UINT32 objectType);
bool objectIndex(Controller *sim, UINT32 objectType, UINT32 objectId, UINT32 *index);

} // namespace xyl::sim
