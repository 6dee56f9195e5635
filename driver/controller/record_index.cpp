#include "base/pool.h"
#include "base/sort.h"
#include "driver/controller/controller.h"

static UINT32 idAt(const RECORD_INDEX &index, UINT32 number) {
  const UINT8 *records = static_cast<const UINT8 *>(index.Records);
  return reinterpret_cast<const RAID_RECORD_HEADER *>(records + UINTN{number} * RAID_RECORD_SIZE)->ObjectID;
}

void indexRecords(RECORD_INDEX *index, const void *records, UINT32 count) {
  freeRecordIndex(index);
  if (records == nullptr || count == 0) {
    return;
  }
  *index = {records, count, poolNew<UINT64>(count)};
  if (index->Order == nullptr) {
    return;
  }
  for (UINT32 i = 0; i < count; ++i) {
    index->Order[i] = indexKey(idAt(*index, i), i);
  }
  sortKeys(index->Order, count);
}

void freeRecordIndex(RECORD_INDEX *index) {
  poolFree(index->Order);
  *index = {};
}

UINT32 firstWithId(const RECORD_INDEX &index, UINT32 objectId) {
  if (index.Order != nullptr) {
    UINTN place = lowerBound(index.Order, index.Count, indexKey(objectId, 0));
    return place < index.Count && index.Order[place] >> 32 == objectId ? static_cast<UINT32>(index.Order[place])
                                                                       : index.Count;
  }
  UINT32 number = 0;
  while (number < index.Count && idAt(index, number) != objectId) {
    ++number;
  }
  return number;
}
