#include "base/log.h"
#include "base/text.h"
#include "driver/controller/controller.h"
#include "driver/inventory/inventory.h"
#include "driver/live/live.h"

namespace xyl::driver {

static constexpr const CHAR8 *getLiveName = "RAIDXYLGet_Live";

EFI_STATUS EFIAPI RAIDXYLIdentify_Live(RAID_XYL_PROTOCOL *table, RAID_XYL_IDENTIFY_DATA *info) {
  static constexpr const CHAR8 *routine = "RAIDXYLIdentify_Live";
  logEntered(routine);
  if (table == nullptr || info == nullptr) {
    return logExit(routine, EFI_INVALID_PARAMETER);
  }
  *info = {{RAID_XYL_REVISION, 4, 0xDC, 0xEDCC0002, 0}};
  return logExit(routine, EFI_SUCCESS);
}

// Answers of the controller that a document is made from, in the order in which they are asked for.
enum InventoryAnswer { answerAdapter, answerEnclosures, answerDisks, answerVirtualDisks, answerKey, answerCount };

struct InventoryQuery {
  UINT32 command;
  UINT32 objectType;
};

static constexpr InventoryQuery g_inventoryQueries[answerCount] = {
    {RAID_COMMAND_GET, RAID_OBJECT_ADAPTER},        {RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE},
    {RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK},  {RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK},
    {RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER},
};

// Asks for everything; the caller gives the answers back whatever the status is. Only the adapter must answer.
static EFI_STATUS readController(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_RESULT (&answers)[answerCount]) {
  for (int i = 0; i < answerCount; ++i) {
    EFI_STATUS status =
        issueCommand(mgmt, g_inventoryQueries[i].command, g_inventoryQueries[i].objectType, &answers[i]);
    if (EFI_ERROR(status)) {
      answers[i] = {};
    }
    if (i != answerAdapter) {
      continue;
    }
    if (EFI_ERROR(status)) {
      return status;
    }
    if (recordCount(&answers[i]) == 0) {
      LogPrint(LOG_ERROR, getLiveName, "Adapter returned no data");
      return EFI_NOT_FOUND;
    }
  }
  return EFI_SUCCESS;
}

static RAID_CONFIG gatherAnswers(const RAID_CMD_RESULT (&answers)[answerCount]) {
  RAID_CONFIG config = {};
  config.adapter = static_cast<RAID_ADAPTER_RECORD *>(answers[answerAdapter].Data);
  config.enclosureCount = recordCount(&answers[answerEnclosures]);
  config.enclosures = static_cast<RAID_ENCLOSURE_RECORD *>(answers[answerEnclosures].Data);
  config.physicalDiskCount = recordCount(&answers[answerDisks]);
  config.physicalDisks = static_cast<RAID_PD_RECORD *>(answers[answerDisks].Data);
  config.logicalDiskCount = recordCount(&answers[answerVirtualDisks]);
  config.logicalDisks = static_cast<RAID_VD_RECORD *>(answers[answerVirtualDisks].Data);
  config.keyId = static_cast<CHAR8 *>(answers[answerKey].Data);
  return config;
}

static EFI_STATUS writeInventory(RAID_MGMT_PROTOCOL *mgmt, RAID_XYL_BUFFER *output) {
  RAID_CMD_RESULT answers[answerCount] = {};
  EFI_STATUS status = readController(mgmt, answers);
  CHAR8 *text = nullptr;
  if (!EFI_ERROR(status)) {
    RAID_CONFIG config = gatherAnswers(answers);
    if (config.keyId != nullptr) {
      LogPrint(LOG_TRACE, getLiveName, "Keyid=%a", config.keyId);
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
  LogPrint(LOG_TRACE, getLiveName, "Returning a buffer of size %d", output->Size);
  return EFI_SUCCESS;
}

static EFI_STATUS getLive(RAID_XYL_PROTOCOL *table, const RAID_XYL_PARAMETER *parameter, RAID_XYL_BUFFER *output) {
  if (table == nullptr || parameter == nullptr || output == nullptr || parameter->Revision != RAID_XYL_REVISION) {
    return EFI_INVALID_PARAMETER;
  }
  if (parameter->Instance != 0) {
    return EFI_NOT_FOUND;
  }
  LogPrint(LOG_TRACE, getLiveName, "Get_live parameter Instance %d, Revision %d", parameter->Instance,
           parameter->Revision);
  RAID_MGMT_PROTOCOL *mgmt = mgmtOf(table);
  return mgmt == nullptr ? EFI_INVALID_PARAMETER : writeInventory(mgmt, output);
}

EFI_STATUS EFIAPI RAIDXYLGet_Live(RAID_XYL_PROTOCOL *table, RAID_XYL_PARAMETER *parameter, RAID_XYL_BUFFER *output) {
  logEntered(getLiveName);
  return logExit(getLiveName, getLive(table, parameter, output));
}

} // namespace xyl::driver
