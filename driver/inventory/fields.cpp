#include "base/bits.h"
#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/inventory/inventory.h"
#include "driver/xml/xml.h"

namespace xyl::driver {

static constexpr const CHAR8 *addFieldsName = "addFieldsToXML";
static constexpr UINTN wideDecimalSize = 64;

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
  CHAR8 *text = poolNew<CHAR8>(limit < 20 ? limit + 1 : wideDecimalSize);
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
static CHAR8 *nameText(UINT64 value, const FieldRow &row) {
  const CHAR8 *name = GetNameFromValue(value, row.names);
  if (isLogging() && (row.flags & fieldStrict) != 0 && GetValueFromName(name, row.names) != value) {
    LogPrint(LOG_WARN, addFieldsName, "%a has the value %x, which has no name", row.element,
             static_cast<UINT32>(value));
  }
  CHAR8 *text = poolNew<CHAR8>(row.length + 1U);
  if (text != nullptr) {
    UINTN length = textLength(name);
    copyBytes(text, name, length < row.length ? length : row.length);
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

static CHAR8 *fixedText(const void *record, const FieldRow &row) {
  const CHAR8 *field = static_cast<const CHAR8 *>(record) + row.place.offset;
  if (row.flags & fieldTrimmed) {
    return trimmedText(field, row.place.width);
  }
  UINTN length = 0;
  while (length < row.place.width && field[length] != 0 && !((row.flags & fieldToBlank) && field[length] == ' ')) {
    ++length;
  }
  return newText(field, length);
}

// Pushes one item per set bit, the highest first, so that they stand in ascending order.
static EFI_STATUS pushItems(UINT32 mask, const FieldRow &row, XML_NODE *container) {
  while (mask != 0) {
    UINT32 bit = 0x80000000U >> __builtin_clz(mask);
    EFI_STATUS status = pushTextElement(row.item, nameText(bit, row), container);
    if (EFI_ERROR(status)) {
      return status;
    }
    mask &= ~bit;
  }
  return EFI_SUCCESS;
}

static void addMaskToXML(UINT32 mask, const FieldRow &row, XML_NODE *parent) {
  XML_NODE *container = pushContainer(row.element, parent);
  if (container != nullptr) {
    pushItems(mask, row, container);
  }
}

static void addCachePolicyToXML(UINT32 word, const FieldRow &row, XML_NODE *parent) {
  XML_NODE *container = pushContainer(row.element, parent);
  if (container == nullptr) {
    return;
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = row.fields->rowCount; i-- > 0 && !EFI_ERROR(status);) {
    const FieldRow &group = row.fields->rows[i];
    status = pushItems(word & group.mask, group, container);
  }
}

// Pushes an element of that name with the fields as its children.
static EFI_STATUS addContainerToXML(const CHAR8 *name, const void *record, const FieldTable &fields, XML_NODE *parent) {
  XML_NODE *container = pushContainer(name, parent);
  if (container == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  return addFieldsToXML(record, fields, container);
}

EFI_STATUS addPCIIDToXML(const RAID_PCI_IDENTITY *identity, XML_NODE *parent) {
  const FieldRow &row = adapterRow(FieldFormat::pciIdentity);
  return addContainerToXML(row.element, identity, *row.fields, parent);
}

EFI_STATUS addRAIDLevelDescToXML(const RAID_LEVEL_PARAMS *params, XML_NODE *parent) {
  const FieldRow &row = adapterRow(FieldFormat::raidLevelParams);
  return addContainerToXML(row.item, params, *row.fields, parent);
}

static void addRatesToXML(const RAID_RATE *rates, const FieldRow &row, XML_NODE *parent) {
  for (unsigned slot = RAID_RATE_COUNT; slot-- > 0;) {
    if (rates[slot].Name != nullptr) {
      addContainerToXML(row.element, &rates[slot], *row.fields, parent);
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
    LogPrint(LOG_WARN, addFieldsName, "RAIDLevelParams has no entry for the bits %x of SupportedRAIDLevels", missing);
  }
}

// A descriptor that fails leaves its part incomplete and the next one is written all the same.
static EFI_STATUS addLevelParamsToXML(const RAID_ADAPTER_RECORD *adapter, const FieldRow &row, XML_NODE *parent) {
  XML_NODE *container = pushContainer(row.element, parent);
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

static EFI_STATUS addWideTextToXML(const CHAR16 *text, const FieldRow &row, XML_NODE *parent) {
  if (text == nullptr && (row.flags & fieldNullNoText)) {
    return pushContainer(row.element, parent) == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  }
  return pushTextElement(row.element, textNarrowDuplicate(text), parent);
}

static EFI_STATUS addIdsToXML(const void *record, const FieldRow &row, XML_NODE *parent) {
  const UINT32 *ids = static_cast<const UINT32 *>(fieldPointer(record, row.place));
  UINT64 count = ids == nullptr ? 0 : fieldLoad(record, row.count);
  for (UINT64 i = 0; i < count; ++i) {
    EFI_STATUS status = pushTextElement(row.element, decimalText(ids[i], row.length), parent);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

static bool isZero(const void *record, const FieldRow &row) {
  if (row.format == FieldFormat::fixedText) {
    return static_cast<const CHAR8 *>(record)[row.place.offset] == 0;
  }
  return fieldLoad(record, row.place) == 0;
}

static bool isWritten(const void *record, const FieldRow &row) {
  if (row.flags & fieldReadOnly) {
    return false;
  }
  if ((row.flags & fieldWhenVersioned) && static_cast<const RAID_RECORD_HEADER *>(record)->ObjVersion == 0) {
    return false;
  }
  if ((row.flags & fieldWhenNotZero) && isZero(record, row)) {
    return false;
  }
  if ((row.flags & fieldMode) && !(fieldLoad(record, row.place) & RAID_MODE_PRESENT)) {
    return false;
  }
  return row.format != FieldFormat::mark || fieldValue(record, row) != 0;
}

// The status is that of an element that the object's writer makes itself; a nested writer's failure leaves its part
// incomplete and does not end the object.
static EFI_STATUS addFieldToXML(const void *record, const FieldRow &row, XML_NODE *parent) {
  const UINT8 *field = static_cast<const UINT8 *>(record) + row.place.offset;
  switch (row.format) { // not taken: every format is a case
  case FieldFormat::decimal:
    return pushTextElement(row.element, decimalText(fieldValue(record, row), row.length), parent);
  case FieldFormat::hex:
    return pushTextElement(row.element, hexText(fieldValue(record, row), row.length), parent);
  case FieldFormat::wideText:
    return addWideTextToXML(static_cast<const CHAR16 *>(fieldPointer(record, row.place)), row, parent);
  case FieldFormat::fixedText:
    return pushTextElement(row.element, fixedText(record, row), parent);
  case FieldFormat::name:
    return pushTextElement(row.element, nameText(fieldValue(record, row), row), parent);
  case FieldFormat::boolean:
    return pushTextElement(row.element, textDuplicate(GetNameFromValue(fieldValue(record, row), g_boolTable)), parent);
  case FieldFormat::mark:
    return pushTextElement(row.element, textDuplicate("True"), parent);
  case FieldFormat::mask:
    addMaskToXML(static_cast<UINT32>(fieldLoad(record, row.place)), row, parent);
    break;
  case FieldFormat::cachePolicy:
    addCachePolicyToXML(static_cast<UINT32>(fieldLoad(record, row.place)), row, parent);
    break;
  case FieldFormat::pciIdentity:
  case FieldFormat::raidLevelDesc:
    addContainerToXML(row.element, field, *row.fields, parent);
    break;
  case FieldFormat::rates:
    addRatesToXML(reinterpret_cast<const RAID_RATE *>(field), row, parent);
    break;
  case FieldFormat::raidLevelParams:
    return addLevelParamsToXML(static_cast<const RAID_ADAPTER_RECORD *>(record), row, parent);
  case FieldFormat::idList:
    return addIdsToXML(record, row, parent);
  case FieldFormat::enclosure: // not taken: nested objects and the key identifier follow behind the adapter's own
                               // elements
  case FieldFormat::physicalDisk:
  case FieldFormat::virtualDisk:
  case FieldFormat::keyId:
    break;
  }
  return EFI_SUCCESS;
}

static const CHAR8 *lineBefore(FieldFormat format) {
  return format == FieldFormat::cachePolicy     ? "Cache Policy..."
         : format == FieldFormat::raidLevelDesc ? "RL Desc..."
                                                : "LD Attributes...";
}

EFI_STATUS addFieldsToXML(const void *record, const FieldTable &fields, XML_NODE *parent) {
  for (UINT32 i = fields.rowCount; i-- > 0;) {
    const FieldRow &row = fields.rows[i];
    if (!isWritten(record, row)) {
      continue;
    }
    if ((row.flags & fieldLogged) != 0) {
      LogPrint(LOG_TRACE, "addLDsToXML", lineBefore(row.format));
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

} // namespace xyl::driver
