#include "base/bits.h"
#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/inventory/inventory.h"
#include "driver/xml/xml.h"

static constexpr const CHAR8 *ADD_FIELDS = "addFieldsToXML";
static constexpr UINTN WIDE_DECIMAL_SIZE = 64;

EFI_STATUS pushTextElement(const CHAR8 *name, CHAR8 *content, XML_NODE *parent) {
  if (content == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  XML_NODE *node = CreateXMLNode(name);
  if (node == nullptr) {
    poolFree(content);
    return EFI_OUT_OF_RESOURCES;
  }
  node->Content = content;
  PushXMLChild(parent, node);
  return EFI_SUCCESS;
}

// Pushes an empty element and returns it, or null without memory.
static XML_NODE *pushContainer(const CHAR8 *name, XML_NODE *parent) {
  XML_NODE *node = CreateXMLNode(name);
  if (node != nullptr) {
    PushXMLChild(parent, node);
  }
  return node;
}

// A pool text of the first length characters of text.
static CHAR8 *newText(const CHAR8 *text, UINTN length) {
  CHAR8 *copy = poolNew<CHAR8>(length + 1);
  if (copy != nullptr) {
    copyBytes(copy, text, length);
  }
  return copy;
}

// Digits beyond limit are dropped from the end, so a longer number keeps its leading ones.
static CHAR8 *decimalText(UINT64 value, UINTN limit) {
  CHAR8 digits[21];
  UINTN length = formatDecimal(digits, value);
  CHAR8 *text = poolNew<CHAR8>(limit < 20 ? limit + 1 : WIDE_DECIMAL_SIZE);
  if (text != nullptr) {
    copyBytes(text, digits, length < limit ? length : limit);
  }
  return text;
}

static CHAR8 *hexText(UINT64 value, unsigned digits) {
  CHAR8 *text = poolNew<CHAR8>(digits + 1);
  if (text != nullptr) {
    formatHex(text, value, digits);
  }
  return text;
}

// A document in which a strict field has no name cannot be read back.
static CHAR8 *nameText(UINT64 value, const FIELD_ROW &row) {
  const CHAR8 *name = GetNameFromValue(value, row.Names);
  if (isLogging() && (row.Flags & FIELD_STRICT) != 0 && GetValueFromName(name, row.Names) != value) {
    LogPrint(LOG_WARN, ADD_FIELDS, "%a has the value %x, which has no name", row.Element, static_cast<UINT32>(value));
  }
  CHAR8 *text = poolNew<CHAR8>(row.Length + 1U);
  if (text != nullptr) {
    UINTN length = textLength(name);
    copyBytes(text, name, length < row.Length ? length : row.Length);
  }
  return text;
}

static bool isWhiteSpace(CHAR8 character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

// White space at the end is dropped only when it runs to the field's last byte.
static CHAR8 *trimmedText(const CHAR8 *field, UINTN size) {
  UINTN begin = 0;
  while (begin < size && isWhiteSpace(field[begin])) {
    ++begin;
  }
  UINTN end = size;
  while (end > begin && isWhiteSpace(field[end - 1])) {
    --end;
  }
  UINTN length = 0;
  while (begin + length < end && field[begin + length] != 0) {
    ++length;
  }
  return newText(field + begin, length);
}

static CHAR8 *fixedText(const void *record, const FIELD_ROW &row) {
  const CHAR8 *field = static_cast<const CHAR8 *>(record) + row.Place.Offset;
  if (row.Flags & FIELD_TRIMMED) {
    return trimmedText(field, row.Place.Width);
  }
  UINTN length = 0;
  while (length < row.Place.Width && field[length] != 0 && !((row.Flags & FIELD_TO_BLANK) && field[length] == ' ')) {
    ++length;
  }
  return newText(field, length);
}

// Pushes one item per set bit, the highest first, so that they stand in ascending order.
static EFI_STATUS pushItems(UINT32 mask, const FIELD_ROW &row, XML_NODE *container) {
  while (mask != 0) {
    UINT32 bit = 0x80000000U >> __builtin_clz(mask);
    EFI_STATUS status = pushTextElement(row.Item, nameText(bit, row), container);
    if (EFI_ERROR(status)) {
      return status;
    }
    mask &= ~bit;
  }
  return EFI_SUCCESS;
}

static void addMaskToXML(UINT32 mask, const FIELD_ROW &row, XML_NODE *parent) {
  XML_NODE *container = pushContainer(row.Element, parent);
  if (container != nullptr) {
    pushItems(mask, row, container);
  }
}

static void addCachePolicyToXML(UINT32 word, const FIELD_ROW &row, XML_NODE *parent) {
  XML_NODE *container = pushContainer(row.Element, parent);
  if (container == nullptr) {
    return;
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = row.Fields->RowCount; i-- > 0 && !EFI_ERROR(status);) {
    const FIELD_ROW &group = row.Fields->Rows[i];
    status = pushItems(word & group.Mask, group, container);
  }
}

// Pushes an element of that name with the fields as its children.
static EFI_STATUS addContainerToXML(const CHAR8 *name, const void *record, const FIELD_TABLE &fields,
                                    XML_NODE *parent) {
  XML_NODE *container = pushContainer(name, parent);
  if (container == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  return addFieldsToXML(record, fields, container);
}

EFI_STATUS addPCIIDToXML(const RAID_PCI_IDENTITY *identity, XML_NODE *parent) {
  const FIELD_ROW &row = adapterRow(FORMAT_PCI_IDENTITY);
  return addContainerToXML(row.Element, identity, *row.Fields, parent);
}

EFI_STATUS addRAIDLevelDescToXML(const RAID_LEVEL_PARAMS *params, XML_NODE *parent) {
  const FIELD_ROW &row = adapterRow(FORMAT_RAID_LEVEL_PARAMS);
  return addContainerToXML(row.Item, params, *row.Fields, parent);
}

static void addRatesToXML(const RAID_RATE *rates, const FIELD_ROW &row, XML_NODE *parent) {
  for (unsigned slot = RAID_RATE_COUNT; slot-- > 0;) {
    if (rates[slot].Name != nullptr) {
      addContainerToXML(row.Element, &rates[slot], *row.Fields, parent);
    }
  }
}

// Tells of levels without an entry among count ones.
static void checkLevels(const RAID_ADAPTER_RECORD *adapter, UINT32 count) {
  UINT32 missing = adapter->SupportedRAIDLevels;
  for (UINT32 i = 0; i < count; ++i) {
    missing &= ~adapter->RAIDLevelParams[i].RAIDLevel;
  }
  if (missing != 0) {
    LogPrint(LOG_WARN, ADD_FIELDS, "RAIDLevelParams has no entry for the bits %x of SupportedRAIDLevels", missing);
  }
}

// A descriptor that fails leaves its part incomplete and the next one is written all the same.
static EFI_STATUS addLevelParamsToXML(const RAID_ADAPTER_RECORD *adapter, const FIELD_ROW &row, XML_NODE *parent) {
  XML_NODE *container = pushContainer(row.Element, parent);
  if (container == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  const RAID_LEVEL_PARAMS *params = adapter->RAIDLevelParams;
  UINT32 count = params == nullptr ? 0 : countBits(adapter->SupportedRAIDLevels);
  checkLevels(adapter, count);
  while (count-- > 0) {
    addRAIDLevelDescToXML(&params[count], container);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS addWideTextToXML(const CHAR16 *text, const FIELD_ROW &row, XML_NODE *parent) {
  if (text == nullptr && (row.Flags & FIELD_NULL_NO_TEXT)) {
    return pushContainer(row.Element, parent) == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  }
  return pushTextElement(row.Element, textNarrowDuplicate(text), parent);
}

static EFI_STATUS addIdsToXML(const void *record, const FIELD_ROW &row, XML_NODE *parent) {
  const UINT32 *ids = static_cast<const UINT32 *>(fieldPointer(record, row.Place));
  UINT64 count = ids == nullptr ? 0 : fieldLoad(record, row.Count);
  for (UINT64 i = 0; i < count; ++i) {
    EFI_STATUS status = pushTextElement(row.Element, decimalText(ids[i], row.Length), parent);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

static bool isZero(const void *record, const FIELD_ROW &row) {
  if (row.Format == FORMAT_FIXED_TEXT) {
    return static_cast<const CHAR8 *>(record)[row.Place.Offset] == 0;
  }
  return fieldLoad(record, row.Place) == 0;
}

static bool isWritten(const void *record, const FIELD_ROW &row) {
  if (row.Flags & FIELD_READ_ONLY) {
    return false;
  }
  if ((row.Flags & FIELD_WHEN_VERSIONED) && static_cast<const RAID_RECORD_HEADER *>(record)->ObjVersion == 0) {
    return false;
  }
  if ((row.Flags & FIELD_WHEN_NOT_ZERO) && isZero(record, row)) {
    return false;
  }
  if ((row.Flags & FIELD_MODE) && !(fieldLoad(record, row.Place) & RAID_MODE_PRESENT)) {
    return false;
  }
  return row.Format != FORMAT_MARK || fieldValue(record, row) != 0;
}

// The status is that of an element that the object's writer makes itself; a nested writer's failure leaves its part
// incomplete and does not end the object.
static EFI_STATUS addFieldToXML(const void *record, const FIELD_ROW &row, XML_NODE *parent) {
  const UINT8 *field = static_cast<const UINT8 *>(record) + row.Place.Offset;
  switch (row.Format) { // not taken: every format is a case
  case FORMAT_DECIMAL:
    return pushTextElement(row.Element, decimalText(fieldValue(record, row), row.Length), parent);
  case FORMAT_HEX:
    return pushTextElement(row.Element, hexText(fieldValue(record, row), row.Length), parent);
  case FORMAT_WIDE_TEXT:
    return addWideTextToXML(static_cast<const CHAR16 *>(fieldPointer(record, row.Place)), row, parent);
  case FORMAT_FIXED_TEXT:
    return pushTextElement(row.Element, fixedText(record, row), parent);
  case FORMAT_NAME:
    return pushTextElement(row.Element, nameText(fieldValue(record, row), row), parent);
  case FORMAT_BOOLEAN:
    return pushTextElement(row.Element, textDuplicate(GetNameFromValue(fieldValue(record, row), g_boolTable)), parent);
  case FORMAT_MARK:
    return pushTextElement(row.Element, textDuplicate("True"), parent);
  case FORMAT_MASK:
    addMaskToXML(static_cast<UINT32>(fieldLoad(record, row.Place)), row, parent);
    break;
  case FORMAT_CACHE_POLICY:
    addCachePolicyToXML(static_cast<UINT32>(fieldLoad(record, row.Place)), row, parent);
    break;
  case FORMAT_PCI_IDENTITY:
  case FORMAT_RAID_LEVEL_DESC:
    addContainerToXML(row.Element, field, *row.Fields, parent);
    break;
  case FORMAT_RATES:
    addRatesToXML(reinterpret_cast<const RAID_RATE *>(field), row, parent);
    break;
  case FORMAT_RAID_LEVEL_PARAMS:
    return addLevelParamsToXML(static_cast<const RAID_ADAPTER_RECORD *>(record), row, parent);
  case FORMAT_ID_LIST:
    return addIdsToXML(record, row, parent);
  case FORMAT_ENCLOSURE: // not taken: nested objects and the key identifier follow behind the adapter's own elements
  case FORMAT_PHYSICAL_DISK:
  case FORMAT_VIRTUAL_DISK:
  case FORMAT_KEY_ID:
    break;
  }
  return EFI_SUCCESS;
}

static const CHAR8 *lineBefore(FIELD_FORMAT format) {
  return format == FORMAT_CACHE_POLICY      ? "Cache Policy..."
         : format == FORMAT_RAID_LEVEL_DESC ? "RL Desc..."
                                            : "LD Attributes...";
}

EFI_STATUS addFieldsToXML(const void *record, const FIELD_TABLE &fields, XML_NODE *parent) {
  for (UINT32 i = fields.RowCount; i-- > 0;) {
    const FIELD_ROW &row = fields.Rows[i];
    if (!isWritten(record, row)) {
      continue;
    }
    if ((row.Flags & FIELD_LOGGED) != 0) {
      LogPrint(LOG_TRACE, "addLDsToXML", lineBefore(row.Format));
    }
    EFI_STATUS status = addFieldToXML(record, row, parent);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

EFI_STATUS addHeaderToXML(const void *record, XML_NODE *parent) {
  if (record == nullptr || parent == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  return addFieldsToXML(record, g_headerFields, parent);
}
