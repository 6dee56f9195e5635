// Objects found by their ObjectID without looking at all of them.
#pragma once

#include "raid_records.h"

namespace xyl::records {

struct IdIndex {
  const UINT8 *ids; // of the first object; not owned, and objects keep their ids while the index is used
  UINTN stride;     // bytes from one id to the next
  UINT32 count;
  UINT64 *keys; // pool: id << 32 | number of each object, sorted; null without memory: all are looked at then
};

// The number of an object that is not there.
inline constexpr UINT32 noId = 0xFFFFFFFFU;

// Indexes count objects whose ids stand stride bytes apart, with the place of the first id, which may be null when
// there are none. *index is {} at first; what it held before is given back. False without memory: searches still find
// everything then. freeIds in either case.
bool indexIds(IdIndex *index, const void *ids, UINT32 count, UINTN stride);

// Indexes records of RAID_RECORD_SIZE bytes; null for none, whatever the count.
bool indexRecords(IdIndex *index, const void *records, UINT32 count);

// Gives back what the index needs and empties it.
void freeIds(IdIndex *index);

// The number of the first object with the id, or noId.
UINT32 findId(const IdIndex &index, UINT32 id);

} // namespace xyl::records
