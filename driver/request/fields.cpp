// The rules that turn an element into a field.
#include "base/pool.h"
#include "base/text.h"
#include "driver/request/reader.h"

bool isNamed(const XML_NODE *node, const CHAR8 *name) {
  return textEqual(node->Name, name);
}

const FIELD_ROW *readingRow(const FIELD_TABLE &fields, const CHAR8 *element, UINT32 *expected) {
  UINT32 index = *expected;
  for (UINT32 i = 0; i < fields.RowCount; ++i, ++index) {
    index = index < fields.RowCount ? index : 0;
    const FIELD_ROW &row = fields.Rows[index];
    if (*row.Element == *element && (row.Flags & FIELD_WRITE_ONLY) == 0 && textEqual(row.Element, element)) {
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
  UINTN size = (count < FIRST_ROOM ? FIRST_ROOM : 2 * static_cast<UINTN>(count)) * elementSize;
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
static void storeValue(void *record, const FIELD_ROW &row, UINT64 value) {
  if (row.Mask != 0) {
    UINT64 others = fieldLoad(record, row.Place) & ~static_cast<UINT64>(row.Mask);
    value = others | ((value << row.Shift) & row.Mask);
  }
  fieldStore(record, row.Place, value);
}

static EFI_STATUS readWideText(const XML_NODE *element, const FIELD_ROW &row, void *record) {
  poolFree(fieldPointer(record, row.Place));
  CHAR16 *text = textWidenDuplicate(element->Content);
  fieldStorePointer(record, row.Place, text);
  return text == nullptr && element->Content != nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

static EFI_STATUS readName(const XML_NODE *element, const FIELD_ROW &row, void *record) {
  UINT64 value = GetValueFromName(element->Content, row.Names);
  bool found = value != VALUE_NOT_FOUND;
  if ((row.Flags & FIELD_MODE) != 0) {
    value |= RAID_MODE_PRESENT;
  }
  if ((row.Flags & FIELD_READ_OR) != 0) {
    value |= fieldLoad(record, row.Place);
  }
  fieldStore(record, row.Place, value);
  return found || (row.Flags & FIELD_STRICT) == 0 ? EFI_SUCCESS : EFI_NOT_FOUND;
}

static UINT64 booleanOf(const CHAR8 *text, const FIELD_ROW &row) {
  if ((row.Flags & FIELD_FIRST_LETTER) != 0) {
    return text != nullptr && (*text == 'F' || *text == 'f') ? 0 : 1;
  }
  return GetValueFromName(text, g_boolTable) & 1;
}

static void readMask(const XML_NODE *element, const FIELD_ROW &row, void *record) {
  bool open = (row.Flags & FIELD_OPEN_MASK) != 0;
  bool clear = open || element->FirstChild == nullptr;
  UINT64 mask = clear ? 0 : fieldLoad(record, row.Place);
  for (const XML_NODE *item = element->FirstChild; item != nullptr; item = item->NextSibling) {
    if (!open && !isNamed(item, row.Item) &&
        !((row.Flags & FIELD_ITEM_ALIAS) != 0 && isNamed(item, RAID_LEVEL_ALIAS))) {
      continue;
    }
    UINT64 value = GetValueFromName(item->Content, row.Names);
    if (open || value != VALUE_NOT_FOUND) {
      mask |= value;
    }
  }
  fieldStore(record, row.Place, mask);
}

static void readCachePolicy(const XML_NODE *element, const FIELD_ROW &row, void *record) {
  UINT64 policy = 0;
  UINT32 expected = 0;
  for (const XML_NODE *item = element->FirstChild; item != nullptr; item = item->NextSibling) {
    const FIELD_ROW *group = readingRow(*row.Fields, item->Name, &expected);
    if (group != nullptr) {
      policy |= GetValueFromName(item->Content, group->Names);
    }
  }
  fieldStore(record, row.Place, policy);
}

// The children's order tells the fields; a document with other names is read all the same.
static EFI_STATUS readPciIdentity(const XML_NODE *element, const FIELD_ROW &row, void *record) {
  UINT32 count = 0;
  for (const XML_NODE *child = element->FirstChild; child != nullptr; child = child->NextSibling) {
    ++count;
  }
  if (count < row.Fields->RowCount) {
    return EFI_INVALID_PARAMETER;
  }
  const XML_NODE *child = element->FirstChild;
  for (UINT32 i = 0; child != nullptr && i < row.Fields->RowCount; ++i, child = child->NextSibling) {
    readField(child, row.Fields->Rows[i], static_cast<UINT8 *>(record) + row.Place.Offset);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS readListedId(const XML_NODE *element, const FIELD_ROW &row, void *record) {
  if (fieldIsFull(record, row.Count)) {
    return EFI_INVALID_PARAMETER;
  }
  UINT32 count = static_cast<UINT32>(fieldLoad(record, row.Count));
  UINT32 *ids = static_cast<UINT32 *>(fieldPointer(record, row.Place));
  if (!growArray(ids, count)) {
    return EFI_OUT_OF_RESOURCES;
  }
  ids[count] = static_cast<UINT32>(parseDecimal(element->Content));
  fieldStorePointer(record, row.Place, ids);
  fieldStore(record, row.Count, count + 1);
  return EFI_SUCCESS;
}

EFI_STATUS readField(const XML_NODE *element, const FIELD_ROW &row, void *record) {
  switch (row.Format) { // not taken: every format is a case
  case FORMAT_DECIMAL:
    storeValue(record, row, parseDecimal(element->Content));
    return EFI_SUCCESS;
  case FORMAT_HEX:
    storeValue(record, row, parseHex(element->Content));
    return EFI_SUCCESS;
  case FORMAT_BOOLEAN:
    storeValue(record, row, booleanOf(element->Content, row));
    return EFI_SUCCESS;
  case FORMAT_MARK:
    fieldStore(record, row.Place, fieldLoad(record, row.Place) | row.Mask);
    break;
  case FORMAT_FIXED_TEXT:
    copyFixedText(static_cast<UINT8 *>(record) + row.Place.Offset, element->Content, row.Place.Width);
    return EFI_SUCCESS;
  case FORMAT_MASK:
    readMask(element, row, record);
    return EFI_SUCCESS;
  case FORMAT_CACHE_POLICY:
    readCachePolicy(element, row, record);
    return EFI_SUCCESS;
  case FORMAT_WIDE_TEXT:
    return readWideText(element, row, record);
  case FORMAT_NAME:
    return readName(element, row, record);
  case FORMAT_PCI_IDENTITY:
    return readPciIdentity(element, row, record);
  case FORMAT_RAID_LEVEL_DESC:
    return readFields(element, *row.Fields, static_cast<UINT8 *>(record) + row.Place.Offset);
  case FORMAT_ID_LIST:
    return readListedId(element, row, record);
  case FORMAT_RATES: // not taken: readObject has these read by those who know more than the record
  case FORMAT_RAID_LEVEL_PARAMS:
  case FORMAT_ENCLOSURE:
  case FORMAT_PHYSICAL_DISK:
  case FORMAT_VIRTUAL_DISK:
  case FORMAT_KEY_ID:
    break;
  }
  return EFI_SUCCESS;
}

EFI_STATUS readFields(const XML_NODE *element, const FIELD_TABLE &fields, void *record) {
  UINT32 expected = 0;
  for (const XML_NODE *child = element->FirstChild; child != nullptr; child = child->NextSibling) {
    const FIELD_ROW *row = readingRow(fields, child->Name, &expected);
    EFI_STATUS status = row == nullptr ? EFI_SUCCESS : readField(child, *row, record);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}
