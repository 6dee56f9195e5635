// Methods: one controller command each.
#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/controller/controller.h"
#include "driver/request/reader.h"
#include "driver/request/request.h"

namespace xyl::driver {

static constexpr const CHAR8 *parseMethodName = "parseMethod";

// Hands the record over to the command, or gives it back when its parser failed.
static EFI_STATUS finishRecord(void *record, EFI_STATUS status, RAID_CMD_BLOCK *command) {
  if (EFI_ERROR(status)) {
    releaseRecordMembers(record);
    poolFree(record);
    return status;
  }
  command->ObjectData = record;
  return EFI_SUCCESS;
}

// What is listed inside an object of a method does not go to the controller.
static void releaseScratch(RAID_CONFIG *scratch) {
  FreeRaidConfig(scratch, configAll & ~configAdapter);
  releaseKeys(scratch->keyId, sizeof(RAID_KEY_RECORD));
}

static EFI_STATUS buildAdapter(XML_NODE *element, RAID_CMD_BLOCK *command) {
  RAID_CONFIG scratch = {};
  EFI_STATUS status = parseAdapter(element, &scratch);
  command->ObjectData = scratch.adapter;
  releaseScratch(&scratch);
  return status;
}

static EFI_STATUS buildEnclosure(XML_NODE *element, RAID_CMD_BLOCK *command) {
  RAID_ENCLOSURE_RECORD *record = newCommandObject<RAID_ENCLOSURE_RECORD>();
  if (record == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  RAID_CONFIG scratch = {};
  EFI_STATUS status = parseEnclosure(element, record, &scratch);
  releaseScratch(&scratch);
  return finishRecord(record, status, command);
}

static EFI_STATUS buildDisk(XML_NODE *element, RAID_CMD_BLOCK *command) {
  RAID_PD_RECORD *record = newCommandObject<RAID_PD_RECORD>();
  return record == nullptr ? EFI_OUT_OF_RESOURCES : finishRecord(record, parsePD(element, record), command);
}

static EFI_STATUS buildVirtualDisk(XML_NODE *element, RAID_CMD_BLOCK *command) {
  RAID_VD_RECORD *record = newCommandObject<RAID_VD_RECORD>();
  return record == nullptr ? EFI_OUT_OF_RESOURCES : finishRecord(record, parseVD(element, record), command);
}

static EFI_STATUS buildKey(XML_NODE *element, RAID_CMD_BLOCK *command) {
  LogPrint(LOG_TRACE, parseMethodName, "Found Key...");
  RAID_KEY_RECORD *key = nullptr;
  bool rekey = command->Command == RAID_COMMAND_REKEY;
  EFI_STATUS status = GetKeyFromXML(element, rekey ? nullptr : &key, rekey ? &key : nullptr);
  if (!EFI_ERROR(status)) {
    command->ObjectData = key;
    command->Revision = blockRevisionKey;
  }
  return status;
}

// What builds its part of the command from an element.
typedef EFI_STATUS (*BuildPart)(XML_NODE *element, RAID_CMD_BLOCK *command);

// What builds the command's object from the first child of "Object"; null for an element that is none.
static BuildPart objectBuilder(const XML_NODE *element) {
  static constexpr struct {
    FieldFormat format;
    BuildPart build;
  } nested[] = {{FieldFormat::enclosure, buildEnclosure},
                {FieldFormat::physicalDisk, buildDisk},
                {FieldFormat::virtualDisk, buildVirtualDisk}};
  for (const auto &object : nested) {
    if (isNamed(element, adapterRow(object.format).element)) {
      return object.build;
    }
  }
  if (isNamed(element, "Adapter")) {
    return buildAdapter;
  }
  return isNamed(element, "Key") ? buildKey : nullptr;
}

static EFI_STATUS readObjectType(XML_NODE *element, RAID_CMD_BLOCK *command) {
  command->ObjectType = static_cast<UINT32>(GetValueFromName(element->Content, g_objectTypeTable));
  return EFI_SUCCESS;
}

static EFI_STATUS readObjectId(XML_NODE *element, RAID_CMD_BLOCK *command) {
  if (!growArray(command->ObjectIds, command->ObjectIdCount)) {
    return EFI_OUT_OF_RESOURCES;
  }
  command->ObjectIds[command->ObjectIdCount++] = static_cast<UINT32>(parseDecimal(element->Content));
  return EFI_SUCCESS;
}

static EFI_STATUS readMethodObject(XML_NODE *element, RAID_CMD_BLOCK *command) {
  if (element->FirstChild == nullptr) {
    LogPrint(LOG_TRACE, parseMethodName, "Invalid object parameter format!");
    return EFI_INVALID_PARAMETER;
  }
  BuildPart build = objectBuilder(element->FirstChild);
  if (build == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  releaseCommandObject(command);
  command->Revision = 0; // a record that follows a key is none
  return build(element->FirstChild, command);
}

struct MethodRow {
  const CHAR8 *element;
  const CHAR8 *logLine;
  BuildPart build;
};

static constexpr MethodRow g_childRows[] = {
    {"ObjectType", "Found Object Type...", readObjectType},
    {"OID", "Found OID...", readObjectId},
    {"Object", "Found Object...", readMethodObject},
};

static const MethodRow *methodRow(const XML_NODE *element) {
  for (const MethodRow &row : g_childRows) {
    if (isNamed(element, row.element)) {
      return &row;
    }
  }
  return nullptr;
}

// Takes the first "name" attribute that names a command; others are passed over.
static bool findCommand(const XML_NODE *method, RAID_CMD_BLOCK *command) {
  LogPrint(LOG_TRACE, parseMethodName, "Searching Attributes...");
  for (const XML_ATTRIBUTE *attribute = method->Attributes; attribute != nullptr; attribute = attribute->Next) {
    if (!textEqual(attribute->Name, "name")) {
      continue;
    }
    LoggableText shown;
    LogPrint(LOG_TRACE, parseMethodName, "Found method name, it is %a", loggableText(attribute->Value, shown));
    UINT64 value = GetValueFromName(attribute->Value, g_commandTable);
    if (value != valueNotFound) {
      command->Command = static_cast<UINT32>(value);
      return true;
    }
  }
  LogPrint(LOG_TRACE, parseMethodName, "Couldn't located method name!");
  return false;
}

static EFI_STATUS readMethod(const XML_NODE *method, RAID_CMD_BLOCK *command) {
  if (method->Attributes == nullptr) {
    LogPrint(LOG_TRACE, parseMethodName, "No attributes on method!");
    return EFI_INVALID_PARAMETER;
  }
  if (!findCommand(method, command)) {
    return EFI_INVALID_PARAMETER;
  }
  LogPrint(LOG_TRACE, parseMethodName, "Searching Children...");
  for (XML_NODE *child = method->FirstChild; child != nullptr; child = child->NextSibling) {
    const MethodRow *row = methodRow(child);
    if (row == nullptr) {
      continue;
    }
    LogPrint(LOG_TRACE, parseMethodName, row->logLine);
    EFI_STATUS status = row->build(child, command);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS appendCommand(const RAID_CMD_BLOCK *command, RAID_CONFIG *config) {
  LogPrint(LOG_TRACE, parseMethodName, "Done Parsing Command, adding to list...");
  if (!growArray(config->commands, config->commandCount)) {
    return EFI_OUT_OF_RESOURCES;
  }
  config->commands[config->commandCount++] = *command;
  LogPrint(LOG_TRACE, parseMethodName, "Command Count is now %d", config->commandCount);
  if (!isLogging() || g_debugLog->GetLevel() > static_cast<INT32>(LOG_TRACE)) {
    return EFI_SUCCESS;
  }
  for (UINT32 i = 0; i < config->commandCount; ++i) {
    LogPrint(LOG_TRACE, parseMethodName, "Command[%d] is %x", i, config->commands[i].Command);
  }
  return EFI_SUCCESS;
}

EFI_STATUS parseMethod(XML_NODE *method, RAID_CONFIG *config) {
  logEntered(parseMethodName);
  if (method == nullptr || config == nullptr) {
    LogPrint(LOG_TRACE, parseMethodName, "Null Params!");
    return logExit(parseMethodName, EFI_INVALID_PARAMETER);
  }
  RAID_CMD_BLOCK command = {};
  EFI_STATUS status = readMethod(method, &command);
  if (!EFI_ERROR(status)) {
    status = appendCommand(&command, config);
  }
  if (EFI_ERROR(status)) {
    releaseCommandData(&command);
  }
  return logExit(parseMethodName, status);
}

} // namespace xyl::driver
