#include "driver/restore/steps.h"

#include "base/log.h"
#include "base/pool.h"
#include "driver/controller/controller.h"

namespace xyl::driver {

// A command on the adapter without ids and data.
struct AdapterCommand {
  const CHAR8 *function;
  UINT32 command;
  const CHAR8 *done;
  const CHAR8 *failed;
};

static constexpr AdapterCommand g_resetConfig = {"_ResetConfig", RAID_COMMAND_DELETE, "Successfully reset config",
                                                 "Could not reset config, status %r"};
static constexpr AdapterCommand g_clearForeign = {
    "_ClearForeign", RAID_COMMAND_CLEAR, "Successfully cleared foreign config", "Could not foreign config, status %r"};
static constexpr AdapterCommand g_deleteKey = {"_DeleteKey", RAID_COMMAND_SECURE_ERASE, "Successfully deleted key",
                                               "Could not delete key, status %r"};

static EFI_STATUS runAdapterCommand(RAID_MGMT_PROTOCOL *mgmt, const AdapterCommand &command) {
  logEntered(command.function);
  RAID_CMD_RESULT result;
  EFI_STATUS status = issueCommand(mgmt, command.command, RAID_OBJECT_ADAPTER, &result);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, command.function, command.failed, status);
  } else {
    LogPrint(LOG_TRACE, command.function, command.done);
    giveBack(mgmt, &result);
  }
  return logExit(command.function, status);
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

EFI_STATUS _GetObject(RAID_MGMT_PROTOCOL *mgmt, UINT32 objectType, void **data, UINT32 *dataSize, RestoreLog *log) {
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

} // namespace xyl::driver
