#include "driver/restore/steps.h"

#include "base/log.h"
#include "base/pool.h"
#include "driver/controller/controller.h"

// A command on the adapter without ids and data.
struct ADAPTER_COMMAND {
  const CHAR8 *Function;
  UINT32 Command;
  const CHAR8 *Done;
  const CHAR8 *Failed;
};

static constexpr ADAPTER_COMMAND g_resetConfig = {"_ResetConfig", RAID_COMMAND_DELETE, "Successfully reset config",
                                                  "Could not reset config, status %r"};
static constexpr ADAPTER_COMMAND g_clearForeign = {
    "_ClearForeign", RAID_COMMAND_CLEAR, "Successfully cleared foreign config", "Could not foreign config, status %r"};
static constexpr ADAPTER_COMMAND g_deleteKey = {"_DeleteKey", RAID_COMMAND_SECURE_ERASE, "Successfully deleted key",
                                                "Could not delete key, status %r"};

static EFI_STATUS runAdapterCommand(RAID_MGMT_PROTOCOL *mgmt, const ADAPTER_COMMAND &command) {
  logEntered(command.Function);
  RAID_CMD_RESULT result;
  EFI_STATUS status = issueCommand(mgmt, command.Command, RAID_OBJECT_ADAPTER, &result);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, command.Function, command.Failed, status);
  } else {
    LogPrint(LOG_TRACE, command.Function, command.Done);
    giveBack(mgmt, &result);
  }
  return logExit(command.Function, status);
}

EFI_STATUS _ResetConfig(RAID_MGMT_PROTOCOL *mgmt) {
  return runAdapterCommand(mgmt, g_resetConfig);
}

EFI_STATUS _ClearForeign(RAID_MGMT_PROTOCOL *mgmt) {
  return runAdapterCommand(mgmt, g_clearForeign);
}

EFI_STATUS _DeleteKey(RAID_MGMT_PROTOCOL *mgmt) {
  return runAdapterCommand(mgmt, g_deleteKey);
}

EFI_STATUS _GetObject(RAID_MGMT_PROTOCOL *mgmt, UINT32 objectType, void **data, UINT32 *dataSize, RESTORE_LOG *log) {
  logEntered("_GetObject");
  RAID_CMD_BLOCK block = makeCommand(RAID_COMMAND_GET, objectType);
  RAID_CMD_RESULT result;
  EFI_STATUS status = executeCommand(mgmt, &block, &result);
  LogPrint(LOG_TRACE, "_GetObject", "_GetObject objtype = %x status %r", objectType, status);
  _RestoreLogAddProgressNode("GetLive", status, &block, log);
  if (!EFI_ERROR(status)) {
    if (result.Data == nullptr || result.DataSize == 0) {
      giveBack(mgmt, &result);
      status = EFI_NOT_FOUND;
    } else {
      *data = result.Data;
      *dataSize = result.DataSize;
    }
  }
  return logExit("_GetObject", status);
}

void _FreeCurrentCfg(RAID_MGMT_PROTOCOL *mgmt, RAID_ADAPTER_RECORD *adapter, RAID_PD_RECORD *disks, UINT32 diskCount,
                     UINT32 *pdMap) {
  logEntered("_FreeCurrentCfg");
  if (adapter != nullptr) {
    mgmt->FreeRecords(mgmt, adapter, 1);
  }
  if (disks != nullptr) {
    mgmt->FreeRecords(mgmt, disks, diskCount);
  }
  poolFree(pdMap);
}
