#include "records/ids.h"

#include "base/pool.h"
#include "base/sort.h"

namespace xyl::records {

static UINT32 idAt(const IdIndex &index, UINT32 number) {
  UINT32 id = 0;
  copyBytes(&id, index.ids + index.stride * number, sizeof(id));
  return id;
}

bool indexIds(IdIndex *index, const void *ids, UINT32 count, UINTN stride) {
  freeIds(index);
  if (count == 0) {
    return true;
  }
  *index = {static_cast<const UINT8 *>(ids), stride, count, poolNew<UINT64>(count)};
  if (index->keys == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < count; ++i) {
    index->keys[i] = indexKey(idAt(*index, i), i);
  }
  sortKeys(index->keys, count);
  return true;
}

bool indexRecords(IdIndex *index, const void *records, UINT32 count) {
  if (records == nullptr) {
    return indexIds(index, nullptr, 0, RAID_RECORD_SIZE);
  }
  const UINT8 *ids = static_cast<const UINT8 *>(records) + offsetof(RAID_RECORD_HEADER, ObjectID);
  return indexIds(index, ids, count, RAID_RECORD_SIZE);
}

void freeIds(IdIndex *index) {
  poolFree(index->keys);
  *index = {};
}

UINT32 findId(const IdIndex &index, UINT32 id) {
  if (index.keys != nullptr) {
    UINTN at = lowerBound(index.keys, index.count, indexKey(id, 0));
    return at < index.count && index.keys[at] >> 32 == id ? static_cast<UINT32>(index.keys[at]) : noId;
  }
  UINT32 number = 0;
  while (number < index.count && idAt(index, number) != id) {
    ++number;
  }
  return number < index.count ? number : noId;
}

} // namespace xyl::records
