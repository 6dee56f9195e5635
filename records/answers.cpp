#include "records/answers.h"

#include "base/bits.h"
#include "base/text.h"
#include "records/pointers.h"

namespace xyl::records {

// Whatever a stretched answer has behind its records.
constexpr UINT8 filler = 0xA5;

struct Pointers {
  const RecordPointer *rows;
  UINT32 count;
};

template <UINT32 count> static Pointers rowsOf(const RecordPointerTable<count> &table) {
  return {table.rows, count};
}

static Pointers pointersOf(UINT32 objectType) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return rowsOf(g_adapterPointers);
  case RAID_OBJECT_ENCLOSURE:
    return rowsOf(g_enclosurePointers);
  case RAID_OBJECT_PHYSICAL_DISK:
    return rowsOf(g_pdPointers);
  case RAID_OBJECT_VIRTUAL_DISK:
    return rowsOf(g_vdPointers);
  default:
    return {nullptr, 0};
  }
}

static UINTN bytesBehind(const UINT8 *record, const RecordPointer &row, const void *pointer) {
  UINT32 count = 0;
  copyBytes(&count, record + row.countOffset, row.countWidth);
  switch (row.kind) {
  case RecordPointerKind::text: {
    UINTN length = textLength(static_cast<const CHAR16 *>(pointer));
    return length == 0 ? 0 : (length + 1) * sizeof(CHAR16);
  }
  case RecordPointerKind::ids:
    return count * sizeof(UINT32);
  case RecordPointerKind::levels:
    return UINTN{countBits(count)} * sizeof(RAID_LEVEL_PARAMS);
  }
  return 0;
}

// Calls visit(row, place of a pointer) for every pointer of a record; false as soon as one of them gives that.
template <class Visit> static bool eachPointer(UINT32 objectType, UINT8 *record, Visit visit) {
  Pointers list = pointersOf(objectType);
  for (UINT32 i = 0; i < list.count; i++) {
    if (!visit(list.rows[i], record + list.rows[i].offset)) {
      return false;
    }
  }
  return true;
}

EFI_STATUS answerStart(Answer *answer, UINT32 objectType, UINT32 count) {
  if (count == 0) {
    return EFI_NOT_FOUND;
  }
  if (count > 0xFFFFFFFFU >> RAID_RECORD_SHIFT) {
    return EFI_INVALID_PARAMETER;
  }
  answer->objectType = objectType;
  answer->records = poolNew<UINT8>(static_cast<UINTN>(count) * RAID_RECORD_SIZE);
  if (answer->records == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  answer->data = answer->records;
  answer->dataSize = count << RAID_RECORD_SHIFT;
  return EFI_SUCCESS;
}

EFI_STATUS answerAdd(Answer *answer, const void *record) {
  UINT8 *copy = answer->records + static_cast<UINTN>(answer->recordCount) * RAID_RECORD_SIZE;
  const UINT8 *from = static_cast<const UINT8 *>(record);
  copyBytes(copy, from, RAID_RECORD_SIZE);
  // What is released after a failure must not point to what is the caller's.
  eachPointer(answer->objectType, copy, [](const RecordPointer &, UINT8 *place) {
    zeroBytes(place, sizeof(void *));
    return true;
  });
  answer->recordCount += 1;
  bool complete = eachPointer(answer->objectType, copy, [&](const RecordPointer &row, UINT8 *place) {
    const void *behind = nullptr;
    copyBytes(&behind, from + (place - copy), sizeof(behind));
    UINTN size = behind == nullptr ? 0 : bytesBehind(from, row, behind);
    void *mine = size == 0 ? nullptr : poolAllocate(size);
    if (mine != nullptr) {
      copyBytes(mine, behind, size);
      copyBytes(place, &mine, sizeof(mine));
    }
    return size == 0 || mine != nullptr;
  });
  return complete ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS answerText(Answer *answer, const CHAR8 *text) {
  answer->data = textDuplicate(text);
  if (answer->data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  answer->isText = true;
  answer->dataSize = static_cast<UINT32>(textLength(text) + 1);
  return EFI_SUCCESS;
}

EFI_STATUS answerResize(Answer *answer, UINT64 size) {
  if (size == 0) {
    answerRelease(answer);
    return EFI_SUCCESS;
  }
  UINT8 *data = size > 0xFFFFFFFFU ? nullptr : poolNew<UINT8>(size);
  if (data == nullptr) {
    answerRelease(answer);
    return EFI_OUT_OF_RESOURCES;
  }
  __builtin_memset(data, filler, size);
  if (answer->data != nullptr) {
    copyBytes(data, answer->data, size < answer->dataSize ? size : answer->dataSize);
  }
  if (answer->data != answer->records) {
    poolFree(answer->data);
  }
  answer->data = data;
  answer->dataSize = static_cast<UINT32>(size);
  return EFI_SUCCESS;
}

void answerRelease(Answer *answer) {
  for (UINT32 i = 0; i < answer->recordCount; i++) {
    UINT8 *record = answer->records + static_cast<UINTN>(i) * RAID_RECORD_SIZE;
    eachPointer(answer->objectType, record, [](const RecordPointer &, const UINT8 *place) {
      void *behind = nullptr;
      copyBytes(&behind, place, sizeof(behind));
      poolFree(behind);
      return true;
    });
  }
  if (answer->records != answer->data) {
    poolFree(answer->records);
  }
  poolFree(answer->data);
  zeroBytes(answer, sizeof(*answer));
}

} // namespace xyl::records
