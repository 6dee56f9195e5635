// Records by their tables: single fields, and all that a record owns.
#include "base/pool.h"
#include "base/text.h"
#include "driver/xml/object_fields.h"

UINT64 fieldLoad(const void *record, FIELD_PLACE place) {
  UINT64 value = 0;
  copyBytes(&value, static_cast<const UINT8 *>(record) + place.Offset, place.Width);
  return value;
}

bool fieldIsFull(const void *record, FIELD_PLACE place) {
  return fieldLoad(record, place) == ~0ULL >> (64 - 8 * place.Width);
}

void fieldStore(void *record, FIELD_PLACE place, UINT64 value) {
  copyBytes(static_cast<UINT8 *>(record) + place.Offset, &value, place.Width);
}

UINT64 fieldValue(const void *record, const FIELD_ROW &row) {
  UINT64 value = fieldLoad(record, row.Place);
  return (row.Mask == 0 ? value : value & row.Mask) >> row.Shift;
}

void *fieldPointer(const void *record, FIELD_PLACE place) {
  void *pointer = nullptr;
  copyBytes(&pointer, static_cast<const UINT8 *>(record) + place.Offset, sizeof(pointer));
  return pointer;
}

void fieldStorePointer(void *record, FIELD_PLACE place, void *pointer) {
  copyBytes(static_cast<UINT8 *>(record) + place.Offset, &pointer, sizeof(pointer));
}

// What becomes of one pointer member that owns its memory.
typedef void (*OWNED_MEMBER)(void *record, const FIELD_ROW &row, void *context);

static void forOwnedMembers(void *record, const FIELD_TABLE &fields, OWNED_MEMBER visit, void *context) {
  for (UINT32 i = 0; i < fields.RowCount; ++i) {
    const FIELD_ROW &row = fields.Rows[i];
    UINT8 *field = static_cast<UINT8 *>(record) + row.Place.Offset;
    switch (row.Format) { // not taken: every format is a case
    case FORMAT_WIDE_TEXT:
    case FORMAT_ID_LIST:
    case FORMAT_RAID_LEVEL_PARAMS:
      visit(record, row, context);
      break;
    case FORMAT_RATES:
      for (UINT32 slot = 0; slot < RAID_RATE_COUNT; ++slot) {
        forOwnedMembers(field + slot * sizeof(RAID_RATE), *row.Fields, visit, context);
      }
      break;
    case FORMAT_PCI_IDENTITY:
    case FORMAT_RAID_LEVEL_DESC:
      forOwnedMembers(field, *row.Fields, visit, context);
      break;
    case FORMAT_DECIMAL:
    case FORMAT_HEX:
    case FORMAT_FIXED_TEXT:
    case FORMAT_NAME:
    case FORMAT_BOOLEAN:
    case FORMAT_MARK:
    case FORMAT_MASK:
    case FORMAT_CACHE_POLICY:
    case FORMAT_ENCLOSURE: // nested objects and the key identifier are the configuration's
    case FORMAT_PHYSICAL_DISK:
    case FORMAT_VIRTUAL_DISK:
    case FORMAT_KEY_ID:
      break;
    }
  }
}

static void forAllOwnedMembers(void *record, UINT32 objectType, OWNED_MEMBER visit, void *context) {
  forOwnedMembers(record, g_headerFields, visit, context);
  const FIELD_TABLE *fields = objectFields(objectType);
  if (fields != nullptr) {
    forOwnedMembers(record, *fields, visit, context);
  }
}

static void releaseMember(void *record, const FIELD_ROW &row, void *) {
  poolFree(fieldPointer(record, row.Place));
  fieldStorePointer(record, row.Place, nullptr);
}

void releaseRecordMembers(void *record) {
  UINT32 objectType = static_cast<const RAID_RECORD_HEADER *>(record)->ObjectType;
  forAllOwnedMembers(record, objectType, releaseMember, /* context= */ nullptr);
}

// Once a text could not be copied, the members behind it are only cleared.
static void copyMember(void *record, const FIELD_ROW &row, void *context) {
  bool *complete = static_cast<bool *>(context);
  const CHAR16 *text = static_cast<const CHAR16 *>(fieldPointer(record, row.Place));
  CHAR16 *copy = nullptr;
  if (row.Format == FORMAT_WIDE_TEXT && text != nullptr && *complete) {
    copy = textDuplicate(text);
    *complete = copy != nullptr;
  }
  fieldStorePointer(record, row.Place, copy);
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
