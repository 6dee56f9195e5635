// Looking up a set's disks and volumes.
#pragma once

#include "providers/ddf/bytes.h"

// What is looked up in a set, sorted.
struct REFERENCE_KEY {
  UINT32 reference;
  UINT32 pd;
};
struct VOLUME_KEY {
  const DDF_GUID *guid;
  UINT32 volume;
};
struct SET_INDEX {
  REFERENCE_KEY *references; // of the set's pds
  VOLUME_KEY *volumes;
  UINT32 *lastVolumes; // by pd: the last volume that was found to have a member on it, counted from 1
};

// The first pd of that reference, respectively the first volume of that GUID, or DDF_NONE.
UINT32 findReference(const DDF_SET &set, const SET_INDEX &index, UINT32 reference);
UINT32 findVolume(const DDF_SET &set, const SET_INDEX &index, const DDF_GUID &guid);

// Fill the index, whose arrays the caller gives back; false without memory.
bool indexReferences(const DDF_SET &set, SET_INDEX *index);
bool indexVolumes(const DDF_SET &set, SET_INDEX *index);
