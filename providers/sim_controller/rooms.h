// The rooms of an object: where it keeps what a pointer of its record leads to.
#pragma once

#include "uefi/types.h"

// One room; both places are offsets.
struct SIM_ROOM {
  UINT16 pointer; // in the record
  UINT16 room;    // in the object
  bool isText;    // a list of another kind otherwise
};

// The rooms of one type of object; not owned.
struct SIM_ROOMS {
  const SIM_ROOM *rows;
  UINT32 count;
};

// The rooms of objects of a type, one for each pointer of their record; none for an unknown type.
SIM_ROOMS simRooms(UINT32 objectType);

// The room of one pointer, whose offset in the record is given; null when the record has none there.
void *simRoomOf(UINT32 objectType, void *object, UINTN pointer);
