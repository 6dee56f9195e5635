#include "base/log.h"
#include "base/text.h"
#include "driver/controller/controller.h"
#include "driver/inventory/inventory.h"
#include "driver/live/live.h"

static constexpr const CHAR8 *GET_LIVE = "RAIDXYLGet_Live";

EFI_STATUS EFIAPI RAIDXYLIdentify_Live(RAID_XYL_PROTOCOL *table, RAID_XYL_IDENTIFY_DATA *info) {
  static constexpr const CHAR8 *NAME = "RAIDXYLIdentify_Live";
  logEntered(NAME);
  if (table == nullptr || info == nullptr) {
    return logExit(NAME, EFI_INVALID_PARAMETER);
  }
  *info = {{RAID_XYL_REVISION, 4, 0xDC, 0xEDCC0002, 0}};
  return logExit(NAME, EFI_SUCCESS);
}

// Answers of the controller that a document is made from, in the order in which they are asked for.
enum INVENTORY_ANSWER {
  ANSWER_ADAPTER,
  ANSWER_ENCLOSURES,
  ANSWER_DISKS,
  ANSWER_VIRTUAL_DISKS,
  ANSWER_KEY,
  ANSWER_COUNT
};

struct INVENTORY_QUERY {
  UINT32 Command;
  UINT32 ObjectType;
};

static constexpr INVENTORY_QUERY g_inventoryQueries[ANSWER_COUNT] = {
    {RAID_COMMAND_GET, RAID_OBJECT_ADAPTER},        {RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE},
    {RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK},  {RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK},
    {RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER},
};

// Asks for everything; the caller gives the answers back whatever the status is. Only the adapter must answer.
static EFI_STATUS readController(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_RESULT (&answers)[ANSWER_COUNT]) {
  for (int i = 0; i < ANSWER_COUNT; ++i) {
    EFI_STATUS status =
        issueCommand(mgmt, g_inventoryQueries[i].Command, g_inventoryQueries[i].ObjectType, &answers[i]);
    if (EFI_ERROR(status)) {
      answers[i] = {};
    }
    if (i != ANSWER_ADAPTER) {
      continue;
    }
    if (EFI_ERROR(status)) {
      return status;
    }
    if (recordCount(&answers[i]) == 0) {
      LogPrint(LOG_ERROR, GET_LIVE, "Adapter returned no data");
      return EFI_NOT_FOUND;
    }
  }
  return EFI_SUCCESS;
}

static RAID_CONFIG gatherAnswers(const RAID_CMD_RESULT (&answers)[ANSWER_COUNT]) {
  RAID_CONFIG config = {};
  config.adapter = static_cast<RAID_ADAPTER_RECORD *>(answers[ANSWER_ADAPTER].Data);
  config.enclosureCount = recordCount(&answers[ANSWER_ENCLOSURES]);
  config.enclosures = static_cast<RAID_ENCLOSURE_RECORD *>(answers[ANSWER_ENCLOSURES].Data);
  config.physicalDiskCount = recordCount(&answers[ANSWER_DISKS]);
  config.physicalDisks = static_cast<RAID_PD_RECORD *>(answers[ANSWER_DISKS].Data);
  config.logicalDiskCount = recordCount(&answers[ANSWER_VIRTUAL_DISKS]);
  config.logicalDisks = static_cast<RAID_VD_RECORD *>(answers[ANSWER_VIRTUAL_DISKS].Data);
  config.keyId = static_cast<CHAR8 *>(answers[ANSWER_KEY].Data);
  return config;
}

static EFI_STATUS writeInventory(RAID_MGMT_PROTOCOL *mgmt, RAID_XYL_BUFFER *output) {
  RAID_CMD_RESULT answers[ANSWER_COUNT] = {};
  EFI_STATUS status = readController(mgmt, answers);
  CHAR8 *text = nullptr;
  if (!EFI_ERROR(status)) {
    RAID_CONFIG config = gatherAnswers(answers);
    if (config.keyId != nullptr) {
      LogPrint(LOG_TRACE, GET_LIVE, "Keyid=%a", config.keyId);
    }
    status = cacheToXML(&config, &text);
  }
  for (RAID_CMD_RESULT &answer : answers) {
    giveBack(mgmt, &answer);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  output->Revision = RAID_XYL_REVISION;
  output->Size = text == nullptr ? 0 : static_cast<UINT32>(textLength(text) + 1);
  output->Data = text;
  if (text == nullptr) {
    return EFI_DEVICE_ERROR;
  }
  LogPrint(LOG_TRACE, GET_LIVE, "Returning a buffer of size %d", output->Size);
  return EFI_SUCCESS;
}

static EFI_STATUS getLive(RAID_XYL_PROTOCOL *table, const RAID_XYL_PARAMETER *parameter, RAID_XYL_BUFFER *output) {
  if (table == nullptr || parameter == nullptr || output == nullptr || parameter->Revision != RAID_XYL_REVISION) {
    return EFI_INVALID_PARAMETER;
  }
  if (parameter->Instance != 0) {
    return EFI_NOT_FOUND;
  }
  LogPrint(LOG_TRACE, GET_LIVE, "Get_live parameter Instance %d, Revision %d", parameter->Instance,
           parameter->Revision);
  RAID_MGMT_PROTOCOL *mgmt = mgmtOf(table);
  return mgmt == nullptr ? EFI_INVALID_PARAMETER : writeInventory(mgmt, output);
}

EFI_STATUS EFIAPI RAIDXYLGet_Live(RAID_XYL_PROTOCOL *table, RAID_XYL_PARAMETER *parameter, RAID_XYL_BUFFER *output) {
  logEntered(GET_LIVE);
  return logExit(GET_LIVE, getLive(table, parameter, output));
}
