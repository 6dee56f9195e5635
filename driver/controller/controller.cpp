#include "driver/controller/controller.h"

RAID_CMD_BLOCK makeCommand(UINT32 command, UINT32 objectType) {
  RAID_CMD_BLOCK block = {};
  block.Revision = RAID_BLOCK_REVISION;
  block.Command = command;
  block.ObjectType = objectType;
  return block;
}

EFI_STATUS executeCommand(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  *result = {};
  return mgmt->Execute(mgmt, block, result);
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
