// Records by their tables: single fields, and all that a record owns.
#include "base/pool.h"
#include "base/text.h"
#include "driver/xml/object_fields.h"

namespace xyl::driver {

UINT64 fieldLoad(const void *record, FieldPlace place) {
  UINT64 value = 0;
  copyBytes(&value, static_cast<const UINT8 *>(record) + place.offset, place.width);
  return value;
}

bool fieldIsFull(const void *record, FieldPlace place) {
  return fieldLoad(record, place) == ~0ULL >> (64 - 8 * place.width);
}

void fieldStore(void *record, FieldPlace place, UINT64 value) {
  copyBytes(static_cast<UINT8 *>(record) + place.offset, &value, place.width);
}

UINT64 fieldValue(const void *record, const FieldRow &row) {
  UINT64 value = fieldLoad(record, row.place);
  return (row.mask == 0 ? value : value & row.mask) >> row.shift;
}

void *fieldPointer(const void *record, FieldPlace place) {
  void *pointer = nullptr;
  copyBytes(&pointer, static_cast<const UINT8 *>(record) + place.offset, sizeof(pointer));
  return pointer;
}

void fieldStorePointer(void *record, FieldPlace place, void *pointer) {
  copyBytes(static_cast<UINT8 *>(record) + place.offset, &pointer, sizeof(pointer));
}

// What becomes of one pointer member that owns its memory.
typedef void (*OwnedMember)(void *record, const FieldRow &row, void *context);

static void forOwnedMembers(void *record, const FieldTable &fields, OwnedMember visit, void *context) {
  for (UINT32 i = 0; i < fields.rowCount; ++i) {
    const FieldRow &row = fields.rows[i];
    UINT8 *field = static_cast<UINT8 *>(record) + row.place.offset;
    switch (row.format) { // not taken: every format is a case
    case FieldFormat::wideText:
    case FieldFormat::idList:
    case FieldFormat::raidLevelParams:
      visit(record, row, context);
      break;
    case FieldFormat::rates:
      for (UINT32 slot = 0; slot < RAID_RATE_COUNT; ++slot) {
        forOwnedMembers(field + slot * sizeof(RAID_RATE), *row.fields, visit, context);
      }
      break;
    case FieldFormat::pciIdentity:
    case FieldFormat::raidLevelDesc:
      forOwnedMembers(field, *row.fields, visit, context);
      break;
    case FieldFormat::decimal:
    case FieldFormat::hex:
    case FieldFormat::fixedText:
    case FieldFormat::name:
    case FieldFormat::boolean:
    case FieldFormat::mark:
    case FieldFormat::mask:
    case FieldFormat::cachePolicy:
    case FieldFormat::enclosure: // nested objects and the key identifier are the configuration's
    case FieldFormat::physicalDisk:
    case FieldFormat::virtualDisk:
    case FieldFormat::keyId:
      break;
    }
  }
}

static void forAllOwnedMembers(void *record, UINT32 objectType, OwnedMember visit, void *context) {
  forOwnedMembers(record, g_headerFields, visit, context);
  const FieldTable *fields = objectFields(objectType);
  if (fields != nullptr) {
    forOwnedMembers(record, *fields, visit, context);
  }
}

static void releaseMember(void *record, const FieldRow &row, void *) {
  poolFree(fieldPointer(record, row.place));
  fieldStorePointer(record, row.place, nullptr);
}

void releaseRecordMembers(void *record) {
  UINT32 objectType = static_cast<const RAID_RECORD_HEADER *>(record)->ObjectType;
  forAllOwnedMembers(record, objectType, releaseMember, /* context= */ nullptr);
}

// Once a text could not be copied, the members behind it are only cleared.
static void copyMember(void *record, const FieldRow &row, void *context) {
  bool *complete = static_cast<bool *>(context);
  const CHAR16 *text = static_cast<const CHAR16 *>(fieldPointer(record, row.place));
  CHAR16 *copy = nullptr;
  if (row.format == FieldFormat::wideText && text != nullptr && *complete) {
    copy = textDuplicate(text);
    *complete = copy != nullptr;
  }
  fieldStorePointer(record, row.place, copy);
}

void *copyRecord(const void *record, UINT32 objectType) {
  void *copy = poolAllocate(RAID_RECORD_SIZE);
  if (copy == nullptr) {
    return nullptr;
  }
  copyBytes(copy, record, RAID_RECORD_SIZE);
  bool complete = true;
  forAllOwnedMembers(copy, objectType, copyMember, &complete);
  if (!complete) {
    forAllOwnedMembers(copy, objectType, releaseMember, /* context= */ nullptr);
    poolFree(copy);
    return nullptr;
  }
  return copy;
}

} // namespace xyl::driver
