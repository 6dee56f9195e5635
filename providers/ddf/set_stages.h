// What completes one set of a model, in this order; false without memory.
#pragma once

#include "providers/ddf/set_index.h"

// volumes.cpp: the volumes' entries. index.volumes is filled here.
bool listVolumes(const DDF_MODEL &model, DDF_SET *set, SET_INDEX *index);

// apart.cpp: disks that were changed apart from the newest one are none of the set's any more.
void setApart(DDF_MODEL *model, DDF_SET *set, const SET_INDEX &index);

// volumes.cpp: the volumes' records and members.
bool readVolumes(const DDF_MODEL &model, DDF_SET *set, const SET_INDEX &index);

// level.cpp: level, size and state from the record and the members.
void judgeVolume(DDF_VOLUME *volume);

// stuck.cpp
const CHAR8 *whyStuck(const DDF_MODEL &model, const DDF_SET &set);

// space.cpp: what volumes use of each pd, and the gaps between.
bool readSpace(DDF_SET *set);

// spares.cpp
bool readSpares(const DDF_MODEL &model, DDF_SET *set, const SET_INDEX &index);
