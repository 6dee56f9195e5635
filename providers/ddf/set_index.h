// Looking up a set's disks and virtual disks.
#pragma once

#include "providers/ddf/bytes.h"

// What is looked up in a set, sorted.
struct REFERENCE_KEY {
  UINT32 reference;
  UINT32 pd;
};
struct VIRTUAL_DISK_KEY {
  const DDF_GUID *guid;
  UINT32 virtualDisk;
};
struct SET_INDEX {
  REFERENCE_KEY *references; // of the set's pds
  VIRTUAL_DISK_KEY *virtualDisks;
  UINT32 *lastVirtualDisks; // by pd: the last virtual disk that was found to have a member on it, counted from 1
};

// The first pd of that reference, respectively the first virtual disk of that GUID, or DDF_NONE.
UINT32 findReference(const DDF_SET &set, const SET_INDEX &index, UINT32 reference);
UINT32 findVirtualDisk(const DDF_SET &set, const SET_INDEX &index, const DDF_GUID &guid);

// Fill the index, whose arrays the caller gives back; false without memory.
bool indexReferences(const DDF_SET &set, SET_INDEX *index);
bool indexVirtualDisks(const DDF_SET &set, SET_INDEX *index);
