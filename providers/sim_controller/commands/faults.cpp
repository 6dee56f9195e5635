#include "providers/sim_controller/commands/faults.h"

bool simAddFault(SIM_CONTROLLER *sim, const SIM_FAULT &fault) {
  if (sim->faultCount == SIM_FAULT_CAPACITY) {
    return false;
  }
  sim->faults[sim->faultCount++] = fault;
  return true;
}

bool simFailCommand(SIM_CONTROLLER *sim, UINT64 nth, bool once, EFI_STATUS status) {
  return simAddFault(sim, {SIM_FAULT_STATUS, SIM_ANY, SIM_ANY, nth, once, status, 0});
}

bool simFailKind(SIM_CONTROLLER *sim, UINT32 command, UINT32 objectType, EFI_STATUS status) {
  return simAddFault(sim, {SIM_FAULT_STATUS, command, objectType, 1, false, status, 0});
}

bool simShapeAnswer(SIM_CONTROLLER *sim, UINT32 command, UINT32 objectType, SIM_FAULT_KIND kind, UINT32 bytes) {
  return simAddFault(sim, {kind, command, objectType, 1, false, EFI_SUCCESS, bytes});
}

void simClearFaults(SIM_CONTROLLER *sim) {
  sim->faultCount = 0;
  sim->faultHits = 0;
}

void simDropSpentFaults(SIM_CONTROLLER *sim) {
  UINT32 kept = 0;
  for (UINT32 i = 0; i < sim->faultCount; i++) {
    if (sim->faults[i].nth != 0) {
      sim->faults[kept++] = sim->faults[i];
    }
  }
  sim->faultCount = kept;
}

static bool faultMatches(const SIM_FAULT *fault, const RAID_CMD_BLOCK *block) {
  return (fault->command == SIM_ANY || fault->command == block->Command) &&
         (fault->objectType == SIM_ANY || fault->objectType == block->ObjectType);
}

const SIM_FAULT *simNextFault(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block) {
  const SIM_FAULT *striking = nullptr;
  for (UINT32 i = 0; i < sim->faultCount; i++) {
    SIM_FAULT *fault = &sim->faults[i];
    // A spent single fault keeps 0 for good.
    if (fault->nth == 0 || !faultMatches(fault, block)) {
      continue;
    }
    bool strikes = fault->nth == 1;
    if (!strikes || fault->once) {
      fault->nth -= 1;
    }
    striking = striking == nullptr && strikes ? fault : striking;
  }
  sim->faultHits += striking != nullptr ? 1 : 0;
  return striking;
}

EFI_STATUS simShape(RAID_ANSWER *answer, const SIM_FAULT *fault) {
  switch (fault->kind) {
  case SIM_FAULT_NO_DATA:
    answerRelease(answer);
    return EFI_SUCCESS;
  case SIM_FAULT_NULL_DATA:
    answerRelease(answer);
    answer->dataSize = fault->bytes;
    return EFI_SUCCESS;
  case SIM_FAULT_SIZE:
    return answerResize(answer, fault->bytes);
  case SIM_FAULT_EXTRA:
    return answerResize(answer, static_cast<UINT64>(answer->dataSize) + fault->bytes);
  default:
    return EFI_SUCCESS;
  }
}
