#include "driver/controller/controller.h"

#include "base/log.h"

namespace xyl::driver {

RAID_CMD_BLOCK makeCommand(UINT32 command, UINT32 objectType) {
  RAID_CMD_BLOCK block = {};
  block.Revision = blockRevision;
  block.Command = command;
  block.ObjectType = objectType;
  return block;
}

EFI_STATUS executeCommand(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  *result = {};
  EFI_STATUS status = mgmt->Execute(mgmt, block, result);
  bool isOdd = result->DataSize % RAID_RECORD_SIZE != 0 || (result->Data == nullptr) != (result->DataSize == 0);
  if (block->Command == RAID_COMMAND_GET && !EFI_ERROR(status) && isOdd) {
    LogPrint(LOG_WARN, "executeCommand", "Get of type %d: DataSize %d is not that of records", block->ObjectType,
             result->DataSize);
  }
  return status;
}

EFI_STATUS issueCommand(RAID_MGMT_PROTOCOL *mgmt, UINT32 command, UINT32 objectType, RAID_CMD_RESULT *result) {
  RAID_CMD_BLOCK block = makeCommand(command, objectType);
  return executeCommand(mgmt, &block, result);
}

UINT32 recordCount(const RAID_CMD_RESULT *result) {
  return result->Data == nullptr ? 0 : result->DataSize >> RAID_RECORD_SHIFT;
}

void giveBack(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_RESULT *result) {
  if (result->Data != nullptr) {
    mgmt->FreeRecords(mgmt, result->Data, recordCount(result));
  }
  *result = {};
}

} // namespace xyl::driver
