// What completes one set of a model, in this order; false without memory.
#pragma once

#include "providers/ddf/set_index.h"

// volumes.cpp: the volumes' records and members. index.volumes is filled here.
bool readVolumes(const DDF_MODEL &model, DDF_SET *set, SET_INDEX *index);
// Whether records of a disk's copy that have no entry are those of volumes that were deleted meanwhile.
bool isOutdated(const DDF_SET &set, const DDF_COPY &copy);

// level.cpp: level, size and state from the record and the members.
void judgeVolume(DDF_VOLUME *volume);

// space.cpp: what volumes use of each pd, and the gaps between.
bool readSpace(DDF_SET *set);

// spares.cpp
bool readSpares(const DDF_MODEL &model, DDF_SET *set, const SET_INDEX &index);
