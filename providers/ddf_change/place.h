// Which disks a new virtual disk may have, and where on them it finds room.
#pragma once

#include "providers/ddf_change/work.h"

// What a member's blocks are a multiple of.
UINT64 memberGrain(const DDF_NEW_VIRTUAL_DISK &wanted);

struct PLACES {
  UINT64 memberBlocks;
  UINT64 *starts; // pool, by member
};

// Checks the disks, which are all in *set or in none.
EFI_STATUS checkMembers(DDF_WRITER *writer, const DDF_NEW_VIRTUAL_DISK &wanted, UINT32 *set);

// The caller gives places->starts back, also after a failure.
EFI_STATUS findPlaces(WORK *work, const DDF_NEW_VIRTUAL_DISK &wanted, PLACES *places);

// Whether lists and records have room and the name is free; all disks have joined.
EFI_STATUS checkRoom(WORK *work, const DDF_NEW_VIRTUAL_DISK &wanted);
EFI_STATUS checkName(WORK *work, const CHAR8 (&name)[16], const ddf::VdEntry *own);

// The first free entry or record, or null. The last slot is where Linux puts a spare record.
ddf::VdEntry *findFreeEntry(const ddf::Copy &copy);
ddf::Record *findFreeRecord(const ddf::Copy &copy);
