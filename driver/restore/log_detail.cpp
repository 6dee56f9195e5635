#include "driver/restore/steps.h"

#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/controller/controller.h"
#include "driver/xml/xml.h"

namespace xyl::driver {

// A child of "Adapter": the byte at Offset, first with the bits of Flip inverted, then with those of Mask kept. Bit 7
// marks a mode that is present, so a mode without it finds no name.
struct SettingRow {
  const CHAR8 *element;
  UINT16 offset;
  UINT8 flip;
  UINT8 mask;
  const VALUE_NAME_TABLE *names;
};

static constexpr VALUE_NAME_TABLE g_correctAreasTable[] = {
    {"True", RAID_PATROL_READ_MODE_CORRECT_AREAS},
    {"False", 0},
    {nullptr, 0},
};

static constexpr SettingRow g_settingRows[] = {
    {"ucMode", offsetof(RAID_ADAPTER_RECORD, UncertifiedMode), RAID_MODE_PRESENT, 0xFF, g_uncertifiedModeTable},
    {"lbMode", offsetof(RAID_ADAPTER_RECORD, LoadBalanceMode), RAID_MODE_PRESENT, 0xFF, g_loadBalanceModeTable},
    {"autoLearnMode", offsetof(RAID_ADAPTER_RECORD, LearnMode), RAID_MODE_PRESENT, 0xFF, g_learnModeTable},
    {"ccMode", offsetof(RAID_ADAPTER_RECORD, CheckConsistencyMode), RAID_MODE_PRESENT, 0xFF, g_ccModeTable},
    {"patrolReadMode", offsetof(RAID_ADAPTER_RECORD, PatrolReadMode), 0, RAID_PATROL_READ_MODE_MASK,
     g_patrolReadModeTable},
    {"CorrectUnconfiguredAreas", offsetof(RAID_ADAPTER_RECORD, PatrolReadMode), 0, RAID_PATROL_READ_MODE_CORRECT_AREAS,
     g_correctAreasTable},
    {"copyBack", offsetof(RAID_ADAPTER_RECORD, CopyBackMode), RAID_MODE_PRESENT, 0xFF, g_copyBackModeTable},
};

// Object types as "Object" names them.
static constexpr VALUE_NAME_TABLE g_logObjectTable[] = {
    {"Adapter", RAID_OBJECT_ADAPTER},
    {"PhysicalDisk", RAID_OBJECT_PHYSICAL_DISK},
    {"LogicalDisk", RAID_OBJECT_VIRTUAL_DISK},
    {nullptr, 0},
};

// A new element, logged when there is none.
static XML_NODE *newElement(const CHAR8 *function, XML_NODE *element) {
  if (element == nullptr) {
    LogPrint(LOG_TRACE, function, "Failed to create XML Node");
  }
  return element;
}

static bool addText(LogBuilder &builder, const CHAR8 *element, const CHAR8 *text) {
  return addLogElement(builder, CreateXMLTextNode(element, text)) != nullptr;
}

static bool addHex(LogBuilder &builder, const CHAR8 *element, UINT64 value) {
  CHAR8 text[logTextSize];
  formatShortHex(text, value);
  return addText(builder, element, text);
}

static bool addDecimal(LogBuilder &builder, const CHAR8 *element, UINT64 value) {
  CHAR8 text[logTextSize];
  formatDecimal(text, value);
  return addText(builder, element, text);
}

// A wide text's low bytes, as many as fit.
static bool addWide(LogBuilder &builder, const CHAR8 *element, const CHAR16 *wide) {
  CHAR8 text[logTextSize];
  textNarrow(text, wide, logTextSize - 1);
  return addText(builder, element, text);
}

static UINT32 idCount(const RAID_CMD_BLOCK *block) {
  return block->ObjectIds == nullptr ? 0 : block->ObjectIdCount;
}

// The block's record, or null when it carries none, a key, or an object of another kind.
static const void *recordOf(const RAID_CMD_BLOCK *block) {
  if (block->ObjectData == nullptr || block->Revision == blockRevisionKey) {
    return nullptr;
  }
  const RAID_RECORD_HEADER *header = static_cast<const RAID_RECORD_HEADER *>(block->ObjectData);
  return header->ObjectType == block->ObjectType ? header : nullptr;
}

static bool addDiskIdentity(LogBuilder &builder, UINT32 objectId) {
  if (!addHex(builder, "ObjectId", objectId)) {
    return false;
  }
  const RAID_PD_RECORD *current = findCurrentDisk(objectId);
  return current == nullptr || addWide(builder, "FQDD", current->FQDD);
}

// A "PD" element; objectId and record may be null.
static XML_NODE *createDiskNode(const UINT32 *objectId, const RAID_PD_RECORD *record) {
  static constexpr const CHAR8 *function = "_CreatePDNode";
  XML_NODE *node = newElement(function, CreateXMLNode("PD"));
  LogBuilder builder = {function, node, nullptr};
  if (node == nullptr || (objectId != nullptr && !addDiskIdentity(builder, *objectId)) || record == nullptr) {
    return node;
  }
  UINT8 kind = record->Hotspare;
  const CHAR8 *other = kind == RAID_HOTSPARE_GLOBAL ? "Global" : "None";
  addText(builder, "HotSpare", kind == RAID_HOTSPARE_DEDICATED ? "Dedicated" : other);
  return node;
}

XML_NODE *_CreatePDNode(UINT32 objectId, const RAID_PD_RECORD *record) {
  return createDiskNode(&objectId, record);
}

XML_NODE *_CreateKeyNode(const CHAR8 *elementName, const CHAR8 *modeText, const CHAR8 *keyIdText) {
  static constexpr const CHAR8 *function = "_CreateKeyNode";
  XML_NODE *node = newElement(function, CreateXMLNode(elementName));
  if (node == nullptr) {
    return nullptr;
  }
  LogBuilder builder = {function, node, nullptr};
  if (addText(builder, "Mode", modeText) && keyIdText != nullptr) {
    addText(builder, "KeyId", keyIdText);
  }
  return node;
}

// The key's mode and, for a locally managed one, its identifier; never a passphrase.
static XML_NODE *createKeyDetail(const CHAR8 *elementName, const RAID_CMD_BLOCK *block) {
  if (block->ObjectData == nullptr || block->Revision != blockRevisionKey) {
    return nullptr;
  }
  const RAID_KEY_RECORD *key = static_cast<const RAID_KEY_RECORD *>(block->ObjectData);
  if (key->Mode != RAID_KEY_MODE_LKM) {
    return _CreateKeyNode(elementName, "RKM", /* keyIdText= */ nullptr);
  }
  CHAR8 keyId[RAID_KEY_ID_SIZE + 1];
  copyBytes(keyId, key->KeyID, RAID_KEY_ID_SIZE);
  keyId[RAID_KEY_ID_SIZE] = 0;
  return _CreateKeyNode(elementName, "LKM", keyId);
}

static void addRates(LogBuilder &builder, const RAID_ADAPTER_RECORD *record) {
  XML_NODE *rates = addLogElement(builder, CreateXMLNode("Rates"));
  if (rates == nullptr) {
    return;
  }
  LogBuilder inside = {builder.function, rates, nullptr};
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    RAID_RATE rate = record->Rates[i];
    if (!addWide(inside, "name", rate.Name) ||
        !addDecimal(inside, "value", rate.EditableValue >> RAID_RATE_VALUE_SHIFT)) {
      return;
    }
  }
}

static void addSettings(LogBuilder &builder, const RAID_ADAPTER_RECORD *record) {
  const UINT8 *bytes = reinterpret_cast<const UINT8 *>(record);
  for (const SettingRow &row : g_settingRows) {
    UINT64 value = (bytes[row.offset] ^ row.flip) & row.mask;
    if (!addText(builder, row.element, GetNameFromValue(value, row.names))) {
      return;
    }
  }
  addRates(builder, record);
}

static XML_NODE *createAdapterDetail(const CHAR8 *function, const RAID_CMD_BLOCK *block) {
  XML_NODE *node = newElement(function, CreateXMLNode("Adapter"));
  const RAID_ADAPTER_RECORD *record = static_cast<const RAID_ADAPTER_RECORD *>(recordOf(block));
  if (node != nullptr && record != nullptr) {
    LogBuilder builder = {function, node, nullptr};
    addSettings(builder, record);
  }
  return node;
}

static void addMembers(LogBuilder &builder, const RAID_CMD_BLOCK *block) {
  XML_NODE *disks = addLogElement(builder, CreateXMLNode("PDs"));
  LogBuilder inside = {builder.function, disks, nullptr};
  for (UINT32 i = 0; disks != nullptr && i < idCount(block); ++i) {
    if (addLogElement(inside, _CreatePDNode(block->ObjectIds[i], /* record= */ nullptr)) == nullptr) {
      return;
    }
  }
}

static XML_NODE *createVirtualDiskDetail(const CHAR8 *function, const RAID_CMD_BLOCK *block) {
  XML_NODE *node = newElement(function, CreateXMLNode("VD"));
  LogBuilder builder = {function, node, nullptr};
  if (node == nullptr || (idCount(block) != 0 && !addHex(builder, "TargetId", block->ObjectIds[0]))) {
    return node;
  }
  const RAID_VD_RECORD *record = static_cast<const RAID_VD_RECORD *>(recordOf(block));
  if (record == nullptr) {
    return node;
  }
  bool isCacheCade = (record->Attributes & RAID_VD_ATTRIBUTE_CACHECADE) != 0;
  if (addWide(builder, "Name", record->Name) &&
      addText(builder, "RaidLevel", GetNameFromValue(record->RAIDLevel, g_raidLevelTable)) &&
      addText(builder, "Cachecade", isCacheCade ? "True" : "False")) {
    addMembers(builder, block);
  }
  return node;
}

// Without an id or a record there is nothing to show of a disk.
static XML_NODE *createDiskDetail(const RAID_CMD_BLOCK *block) {
  const UINT32 *id = idCount(block) == 0 ? nullptr : block->ObjectIds;
  const RAID_PD_RECORD *record = static_cast<const RAID_PD_RECORD *>(recordOf(block));
  return id == nullptr && record == nullptr ? nullptr : createDiskNode(id, record);
}

static UINT32 usableDisks(const RAID_CONFIG *saved, const UINT32 *pdMap) {
  UINT32 count = 0;
  for (UINT32 i = 0; pdMap != nullptr && i < saved->physicalDiskCount; ++i) {
    count += pdMap[i] != 0 ? 1U : 0U;
  }
  return count;
}

// Four siblings: their element exists only while it is built, so that they are added like any children.
static XML_NODE *createValidationSummary(const CHAR8 *function, const RAID_CMD_BLOCK *block) {
  const RAID_CONFIG *saved = static_cast<const RAID_CONFIG *>(block->ObjectData);
  XML_NODE siblings = {};
  LogBuilder builder = {function, &siblings, nullptr};
  const CHAR16 *firmware = saved->adapter == nullptr ? nullptr : saved->adapter->FirmwareVersion;
  if (addWide(builder, "AdapterFwVer", firmware) && addDecimal(builder, "RestoreVDs", saved->logicalDiskCount) &&
      addDecimal(builder, "AvailablePDs", block->ObjectIdCount)) {
    addDecimal(builder, "UsablePDs", usableDisks(saved, block->ObjectIds));
  }
  return siblings.FirstChild;
}

static XML_NODE *createObjectDetail(const CHAR8 *function, const RAID_CMD_BLOCK *block) {
  switch (block->ObjectType) {
  case RAID_OBJECT_ADAPTER:
    if (block->Command == RAID_COMMAND_LOCK) {
      return createKeyDetail("Key", block);
    }
    if (block->Command == RAID_COMMAND_REKEY) {
      return createKeyDetail("NewKey", block);
    }
    return createAdapterDetail(function, block);
  case RAID_OBJECT_VIRTUAL_DISK:
    return createVirtualDiskDetail(function, block);
  case RAID_OBJECT_PHYSICAL_DISK:
    return createDiskDetail(block);
  default:
    // Only the validation of a restore has a configuration; a request may name any type.
    return block->Command == RAID_COMMAND_NONE && block->ObjectData != nullptr
               ? createValidationSummary(function, block)
               : nullptr;
  }
}

static XML_NODE *createObjectName(const CHAR8 *function, const CHAR8 *name) {
  return newElement(function, CreateXMLTextNode("Object", name));
}

static XML_NODE *createDetail(const CHAR8 *function, const RAID_CMD_BLOCK *block) {
  switch (block->Command) {
  case RAID_COMMAND_DELETE:
    if (block->ObjectType == RAID_OBJECT_VIRTUAL_DISK) {
      return createObjectDetail(function, block);
    }
    [[fallthrough]];
  case RAID_COMMAND_GET:
  case RAID_COMMAND_IMPORT:
  case RAID_COMMAND_CLEAR:
  case RAID_COMMAND_SECURE_ERASE:
    return createObjectName(function, GetNameFromValue(block->ObjectType, g_logObjectTable));
  case RAID_COMMAND_NONE:
  case RAID_COMMAND_CREATE:
  case RAID_COMMAND_CHANGE:
  case RAID_COMMAND_LOCK:
  case RAID_COMMAND_REKEY:
    return createObjectDetail(function, block);
  default:
    return createObjectName(function, "None");
  }
}

void _RestoreLogCreateDetailNode(const RAID_CMD_BLOCK *block, XML_NODE **detail) {
  static constexpr const CHAR8 *function = "_RestoreLogCreateDetailNode";
  LogPrint(LOG_TRACE, function, "_CreateDetailNode, objType %d", block->ObjectType);
  if (detail == nullptr) {
    LogPrint(LOG_TRACE, function, "Cannot create detail node, detailNode is NULL ");
    return;
  }
  *detail = createDetail(function, block);
}

} // namespace xyl::driver
