// The buffers of an object: where it keeps what a pointer of its record points to.
#pragma once

#include "uefi/types.h"

namespace xyl::sim {

// One buffer; both places are offsets.
struct Buffer {
  UINT16 pointer; // in the record
  UINT16 buffer;  // in the object
  bool isText;    // a list of another kind otherwise
};

// The buffers of one type of object; not owned.
struct Buffers {
  const Buffer *rows;
  UINT32 count;
};

// The buffers of objects of a type, one for each pointer of their record; none for an unknown type.
Buffers buffersOf(UINT32 objectType);

// The buffer of one pointer, whose offset in the record is given; null when the record has none there.
void *bufferOf(UINT32 objectType, void *object, UINTN pointer);

} // namespace xyl::sim
