// Looking up a set's disks and virtual disks.
#pragma once

#include "providers/ddf/bytes.h"

namespace xyl::ddf {

// What is looked up in a set, sorted.
struct ReferenceKey {
  UINT32 reference;
  UINT32 pd;
};
struct VirtualDiskKey {
  const Guid *guid;
  UINT32 virtualDisk;
};
struct SetIndex {
  ReferenceKey *references; // of the set's pds
  VirtualDiskKey *virtualDisks;
  UINT32 *lastVirtualDisks; // by pd: the last virtual disk that was found to have a member on it, counted from 1
};

// The first pd of that reference, respectively the first virtual disk of that GUID, or noIndex.
UINT32 findReference(const Set &set, const SetIndex &index, UINT32 reference);
UINT32 findVirtualDisk(const Set &set, const SetIndex &index, const Guid &guid);

// Fill the index, whose arrays the caller gives back; false without memory.
bool indexReferences(const Set &set, SetIndex *index);
bool indexVirtualDisks(const Set &set, SetIndex *index);

} // namespace xyl::ddf
