// The rules that turn an element into a field.
#include "base/pool.h"
#include "base/text.h"
#include "driver/request/reader.h"

namespace xyl::driver {

bool isNamed(const XML_NODE *node, const CHAR8 *name) {
  return textEqual(node->Name, name);
}

const FieldRow *readingRow(const FieldTable &fields, const CHAR8 *element, UINT32 *expected) {
  UINT32 index = *expected;
  for (UINT32 i = 0; i < fields.rowCount; ++i, ++index) {
    index = index < fields.rowCount ? index : 0;
    const FieldRow &row = fields.rows[index];
    if (*row.element == *element && (row.flags & fieldWriteOnly) == 0 && textEqual(row.element, element)) {
      *expected = index + 1;
      return &row;
    }
  }
  return nullptr;
}

void copyFixedText(void *to, const CHAR8 *text, UINTN size) {
  if (text != nullptr) {
    UINTN length = textLength(text) + 1;
    copyBytes(to, text, length < size ? length : size);
  }
}

void *grownArray(void *old, UINT32 count, UINTN elementSize) {
  UINTN used = old == nullptr ? 0 : count * elementSize;
  UINTN size = (count < firstRoom ? firstRoom : 2 * static_cast<UINTN>(count)) * elementSize;
  UINT8 *grown = static_cast<UINT8 *>(poolAllocate(size));
  if (grown == nullptr) {
    return nullptr;
  }
  if (old != nullptr) {
    copyBytes(grown, old, used);
  }
  zeroBytes(grown + used, size - used);
  poolFree(old);
  return grown;
}

// Stores value into the bits that the row has in its field.
static void storeValue(void *record, const FieldRow &row, UINT64 value) {
  if (row.mask != 0) {
    UINT64 others = fieldLoad(record, row.place) & ~static_cast<UINT64>(row.mask);
    value = others | ((value << row.shift) & row.mask);
  }
  fieldStore(record, row.place, value);
}

static EFI_STATUS readWideText(const XML_NODE *element, const FieldRow &row, void *record) {
  poolFree(fieldPointer(record, row.place));
  CHAR16 *text = textWidenDuplicate(element->Content);
  fieldStorePointer(record, row.place, text);
  return text == nullptr && element->Content != nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

static EFI_STATUS readName(const XML_NODE *element, const FieldRow &row, void *record) {
  UINT64 value = GetValueFromName(element->Content, row.names);
  bool found = value != valueNotFound;
  if ((row.flags & fieldMode) != 0) {
    value |= RAID_MODE_PRESENT;
  }
  if ((row.flags & fieldReadOr) != 0) {
    value |= fieldLoad(record, row.place);
  }
  fieldStore(record, row.place, value);
  return found || (row.flags & fieldStrict) == 0 ? EFI_SUCCESS : EFI_NOT_FOUND;
}

static UINT64 booleanOf(const CHAR8 *text, const FieldRow &row) {
  if ((row.flags & fieldFirstLetter) != 0) {
    return text != nullptr && (*text == 'F' || *text == 'f') ? 0 : 1;
  }
  return GetValueFromName(text, g_boolTable) & 1;
}

static void readMask(const XML_NODE *element, const FieldRow &row, void *record) {
  bool open = (row.flags & fieldOpenMask) != 0;
  bool clear = open || element->FirstChild == nullptr;
  UINT64 mask = clear ? 0 : fieldLoad(record, row.place);
  for (const XML_NODE *item = element->FirstChild; item != nullptr; item = item->NextSibling) {
    if (!open && !isNamed(item, row.item) && !((row.flags & fieldItemAlias) != 0 && isNamed(item, levelAlias))) {
      continue;
    }
    UINT64 value = GetValueFromName(item->Content, row.names);
    if (open || value != valueNotFound) {
      mask |= value;
    }
  }
  fieldStore(record, row.place, mask);
}

static void readCachePolicy(const XML_NODE *element, const FieldRow &row, void *record) {
  UINT64 policy = 0;
  UINT32 expected = 0;
  for (const XML_NODE *item = element->FirstChild; item != nullptr; item = item->NextSibling) {
    const FieldRow *group = readingRow(*row.fields, item->Name, &expected);
    if (group != nullptr) {
      policy |= GetValueFromName(item->Content, group->names);
    }
  }
  fieldStore(record, row.place, policy);
}

// The children's order tells the fields; a document with other names is read all the same.
static EFI_STATUS readPciIdentity(const XML_NODE *element, const FieldRow &row, void *record) {
  UINT32 count = 0;
  for (const XML_NODE *child = element->FirstChild; child != nullptr; child = child->NextSibling) {
    ++count;
  }
  if (count < row.fields->rowCount) {
    return EFI_INVALID_PARAMETER;
  }
  const XML_NODE *child = element->FirstChild;
  for (UINT32 i = 0; child != nullptr && i < row.fields->rowCount; ++i, child = child->NextSibling) {
    readField(child, row.fields->rows[i], static_cast<UINT8 *>(record) + row.place.offset);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS readListedId(const XML_NODE *element, const FieldRow &row, void *record) {
  if (fieldIsFull(record, row.count)) {
    return EFI_INVALID_PARAMETER;
  }
  UINT32 count = static_cast<UINT32>(fieldLoad(record, row.count));
  UINT32 *ids = static_cast<UINT32 *>(fieldPointer(record, row.place));
  if (!growArray(ids, count)) {
    return EFI_OUT_OF_RESOURCES;
  }
  ids[count] = static_cast<UINT32>(parseDecimal(element->Content));
  fieldStorePointer(record, row.place, ids);
  fieldStore(record, row.count, count + 1);
  return EFI_SUCCESS;
}

EFI_STATUS readField(const XML_NODE *element, const FieldRow &row, void *record) {
  switch (row.format) { // not taken: every format is a case
  case FieldFormat::decimal:
    storeValue(record, row, parseDecimal(element->Content));
    return EFI_SUCCESS;
  case FieldFormat::hex:
    storeValue(record, row, parseHex(element->Content));
    return EFI_SUCCESS;
  case FieldFormat::boolean:
    storeValue(record, row, booleanOf(element->Content, row));
    return EFI_SUCCESS;
  case FieldFormat::mark:
    fieldStore(record, row.place, fieldLoad(record, row.place) | row.mask);
    break;
  case FieldFormat::fixedText:
    copyFixedText(static_cast<UINT8 *>(record) + row.place.offset, element->Content, row.place.width);
    return EFI_SUCCESS;
  case FieldFormat::mask:
    readMask(element, row, record);
    return EFI_SUCCESS;
  case FieldFormat::cachePolicy:
    readCachePolicy(element, row, record);
    return EFI_SUCCESS;
  case FieldFormat::wideText:
    return readWideText(element, row, record);
  case FieldFormat::name:
    return readName(element, row, record);
  case FieldFormat::pciIdentity:
    return readPciIdentity(element, row, record);
  case FieldFormat::raidLevelDesc:
    return readFields(element, *row.fields, static_cast<UINT8 *>(record) + row.place.offset);
  case FieldFormat::idList:
    return readListedId(element, row, record);
  case FieldFormat::rates: // not taken: readObject has these read by those who know more than the record
  case FieldFormat::raidLevelParams:
  case FieldFormat::enclosure:
  case FieldFormat::physicalDisk:
  case FieldFormat::virtualDisk:
  case FieldFormat::keyId:
    break;
  }
  return EFI_SUCCESS;
}

EFI_STATUS readFields(const XML_NODE *element, const FieldTable &fields, void *record) {
  UINT32 expected = 0;
  for (const XML_NODE *child = element->FirstChild; child != nullptr; child = child->NextSibling) {
    const FieldRow *row = readingRow(fields, child->Name, &expected);
    EFI_STATUS status = row == nullptr ? EFI_SUCCESS : readField(child, *row, record);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

} // namespace xyl::driver
