#include "providers/disk_controller/commands/service.h"

#include "providers/disk_controller/commands/commands.h"

namespace xyl::disk_controller {

static DiskController *controllerOf(RAID_MGMT_PROTOCOL *protocol) {
  static_assert(offsetof(DiskController, protocol) == 0);
  return reinterpret_cast<DiskController *>(protocol);
}

EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (protocol == nullptr || block == nullptr || result == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  DiskController *controller = controllerOf(protocol);
  records::Accounting *accounting = &controller->accounting;
  result->Data = nullptr;
  result->DataSize = 0;
  records::Answer answer = {};
  EFI_STATUS status = records::accountingBegin(accounting);
  if (!EFI_ERROR(status)) {
    status = runDiskCommand(controller, block, &answer);
  }
  if (!EFI_ERROR(status)) {
    records::accountingHandOut(accounting, &answer, result);
  }
  return status;
}

EFI_STATUS EFIAPI freeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count) {
  return protocol == nullptr ? EFI_INVALID_PARAMETER
                             : records::accountingTakeBack(&controllerOf(protocol)->accounting, data, count);
}

EFI_STATUS EFIAPI unused(RAID_MGMT_PROTOCOL *) {
  return EFI_UNSUPPORTED;
}

} // namespace xyl::disk_controller
