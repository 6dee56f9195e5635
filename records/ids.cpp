#include "records/ids.h"

#include "base/pool.h"
#include "base/sort.h"

static UINT32 idAt(const ID_INDEX &index, UINT32 number) {
  UINT32 id = 0;
  copyBytes(&id, index.Ids + index.Stride * number, sizeof(id));
  return id;
}

bool indexIds(ID_INDEX *index, const void *ids, UINT32 count, UINTN stride) {
  freeIds(index);
  if (count == 0) {
    return true;
  }
  *index = {static_cast<const UINT8 *>(ids), stride, count, poolNew<UINT64>(count)};
  if (index->Keys == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < count; ++i) {
    index->Keys[i] = indexKey(idAt(*index, i), i);
  }
  sortKeys(index->Keys, count);
  return true;
}

bool indexRecords(ID_INDEX *index, const void *records, UINT32 count) {
  if (records == nullptr) {
    return indexIds(index, nullptr, 0, RAID_RECORD_SIZE);
  }
  const UINT8 *ids = static_cast<const UINT8 *>(records) + offsetof(RAID_RECORD_HEADER, ObjectID);
  return indexIds(index, ids, count, RAID_RECORD_SIZE);
}

void freeIds(ID_INDEX *index) {
  poolFree(index->Keys);
  *index = {};
}

UINT32 findId(const ID_INDEX &index, UINT32 id) {
  if (index.Keys != nullptr) {
    UINTN at = lowerBound(index.Keys, index.Count, indexKey(id, 0));
    return at < index.Count && index.Keys[at] >> 32 == id ? static_cast<UINT32>(index.Keys[at]) : ID_NONE;
  }
  UINT32 number = 0;
  while (number < index.Count && idAt(index, number) != id) {
    ++number;
  }
  return number < index.Count ? number : ID_NONE;
}
