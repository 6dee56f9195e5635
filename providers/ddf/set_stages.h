// What completes one set of a model, in this order; false without memory.
#pragma once

#include "providers/ddf/set_index.h"

namespace xyl::ddf {

// virtual disks.cpp: the virtual disks' entries. index.virtual disks is filled here.
bool listVirtualDisks(const Model &model, Set *set, SetIndex *index);

// apart.cpp: disks that were changed apart from the newest one are none of the set's any more.
void setApart(Model *model, Set *set, const SetIndex &index);

// virtual disks.cpp: the virtual disks' records and members.
bool readVirtualDisks(const Model &model, Set *set, const SetIndex &index);

// level.cpp: level, size and state from the record and the members.
void judgeVirtualDisk(VirtualDisk *virtualDisk);

// stuck.cpp
const CHAR8 *whyStuck(const Model &model, const Set &set);

// space.cpp: what virtual disks use of each pd, and the gaps between.
bool readSpace(Set *set);

// spares.cpp
bool readSpares(const Model &model, Set *set, const SetIndex &index);

} // namespace xyl::ddf
