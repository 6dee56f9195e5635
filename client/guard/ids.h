// Records found by their ObjectID.
#pragma once

#include "base/pool.h"
#include "base/sort.h"
#include "raid_records.h"

struct ID_INDEX {
  UINT64 *Keys; // pool
  UINT32 Count;
};

#define ID_NONE 0xFFFFFFFFU

// False without memory. The caller frees the index, also then.
template <class T> inline bool makeIndex(ID_INDEX *index, const T *records, UINT32 count) {
  *index = {poolNew<UINT64>(UINTN{count} + 1), count};
  if (index->Keys == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < count; ++i) {
    index->Keys[i] = indexKey(records[i].ObjectID, i);
  }
  sortKeys(index->Keys, count);
  return true;
}

inline void freeIndex(ID_INDEX *index) {
  poolRelease(index->Keys);
}

// The place of the first record with that id, or ID_NONE.
inline UINT32 placeOf(const ID_INDEX &index, UINT32 id) {
  UINTN at = lowerBound(index.Keys, index.Count, indexKey(id, 0));
  return at < index.Count && index.Keys[at] >> 32 == id ? static_cast<UINT32>(index.Keys[at]) : ID_NONE;
}
