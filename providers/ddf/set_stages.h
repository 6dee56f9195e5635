// What completes one set of a model, in this order; false without memory.
#pragma once

#include "providers/ddf/set_index.h"

// virtual disks.cpp: the virtual disks' entries. index.virtual disks is filled here.
bool listVirtualDisks(const DDF_MODEL &model, DDF_SET *set, SET_INDEX *index);

// apart.cpp: disks that were changed apart from the newest one are none of the set's any more.
void setApart(DDF_MODEL *model, DDF_SET *set, const SET_INDEX &index);

// virtual disks.cpp: the virtual disks' records and members.
bool readVirtualDisks(const DDF_MODEL &model, DDF_SET *set, const SET_INDEX &index);

// level.cpp: level, size and state from the record and the members.
void judgeVirtualDisk(DDF_VIRTUAL_DISK *virtualDisk);

// stuck.cpp
const CHAR8 *whyStuck(const DDF_MODEL &model, const DDF_SET &set);

// space.cpp: what virtual disks use of each pd, and the gaps between.
bool readSpace(DDF_SET *set);

// spares.cpp
bool readSpares(const DDF_MODEL &model, DDF_SET *set, const SET_INDEX &index);
