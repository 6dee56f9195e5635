#include "providers/sim_controller/commands/service.h"

#include "providers/sim_controller/commands/command_log.h"
#include "providers/sim_controller/commands/commands.h"
#include "providers/sim_controller/commands/faults.h"
#include "providers/sim_controller/sim_controller.h"

namespace xyl::sim {

Controller *fromProtocol(RAID_MGMT_PROTOCOL *protocol) {
  return reinterpret_cast<Controller *>(reinterpret_cast<UINTN>(protocol) - offsetof(Controller, protocol));
}

// Runs the command under a fault or none; the answer is empty on failure.
static EFI_STATUS runUnder(Controller *sim, const RAID_CMD_BLOCK *block, const Fault *fault, records::Answer *answer) {
  if (fault != nullptr && fault->kind == faultStatus) {
    return fault->status;
  }
  EFI_STATUS status = runCommand(sim, block, answer);
  if (EFI_ERROR(status) || fault == nullptr) {
    return status;
  }
  return shape(answer, fault);
}

EFI_STATUS EFIAPI simExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (protocol == nullptr || block == nullptr || result == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  Controller *sim = fromProtocol(protocol);
  result->Data = nullptr;
  result->DataSize = 0;
  LogEntry *entry = logCommand(sim, block);
  records::Answer answer = {};
  entry->status = records::accountingBegin(&sim->accounting);
  if (!EFI_ERROR(entry->status)) {
    entry->status = runUnder(sim, block, nextFault(sim, block), &answer);
  }
  if (!EFI_ERROR(entry->status)) {
    records::accountingHandOut(&sim->accounting, &answer, result);
  }
  return entry->status;
}

EFI_STATUS EFIAPI simFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count) {
  if (protocol == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  return records::accountingTakeBack(&fromProtocol(protocol)->accounting, data, count);
}

} // namespace xyl::sim
