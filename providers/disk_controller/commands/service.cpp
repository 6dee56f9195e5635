#include "providers/disk_controller/commands/service.h"

#include "providers/disk_controller/commands/commands.h"

static DISK_CONTROLLER *controllerOf(RAID_MGMT_PROTOCOL *protocol) {
  static_assert(offsetof(DISK_CONTROLLER, Protocol) == 0);
  return reinterpret_cast<DISK_CONTROLLER *>(protocol);
}

EFI_STATUS EFIAPI disksExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (protocol == nullptr || block == nullptr || result == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  DISK_CONTROLLER *controller = controllerOf(protocol);
  RAID_ACCOUNTING *accounting = &controller->Accounting;
  result->Data = nullptr;
  result->DataSize = 0;
  RAID_ANSWER answer = {};
  EFI_STATUS status = accountingBegin(accounting);
  if (!EFI_ERROR(status)) {
    status = runDiskCommand(controller, block, &answer);
  }
  if (!EFI_ERROR(status)) {
    accountingHandOut(accounting, &answer, result);
  }
  return status;
}

EFI_STATUS EFIAPI disksFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count) {
  return protocol == nullptr ? EFI_INVALID_PARAMETER
                             : accountingTakeBack(&controllerOf(protocol)->Accounting, data, count);
}

EFI_STATUS EFIAPI disksUnused(RAID_MGMT_PROTOCOL *) {
  return EFI_UNSUPPORTED;
}
