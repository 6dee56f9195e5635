#include "providers/sim_controller/commands/faults.h"

namespace xyl::sim {

bool addFault(Controller *sim, const Fault &fault) {
  if (sim->faultCount == faultCapacity) {
    return false;
  }
  sim->faults[sim->faultCount++] = fault;
  return true;
}

bool failCommand(Controller *sim, UINT64 nth, bool once, EFI_STATUS status) {
  return addFault(sim, {faultStatus, anyCode, anyCode, nth, once, status, 0});
}

bool failKind(Controller *sim, UINT32 command, UINT32 objectType, EFI_STATUS status) {
  return addFault(sim, {faultStatus, command, objectType, 1, false, status, 0});
}

bool shapeAnswer(Controller *sim, UINT32 command, UINT32 objectType, FaultKind kind, UINT32 bytes) {
  return addFault(sim, {kind, command, objectType, 1, false, EFI_SUCCESS, bytes});
}

void clearFaults(Controller *sim) {
  sim->faultCount = 0;
  sim->faultHits = 0;
}

void dropSpentFaults(Controller *sim) {
  UINT32 kept = 0;
  for (UINT32 i = 0; i < sim->faultCount; ++i) {
    if (sim->faults[i].nth != 0) {
      sim->faults[kept++] = sim->faults[i];
    }
  }
  sim->faultCount = kept;
}

static bool faultMatches(const Fault *fault, const RAID_CMD_BLOCK *block) {
  return (fault->command == anyCode || fault->command == block->Command) &&
         (fault->objectType == anyCode || fault->objectType == block->ObjectType);
}

const Fault *nextFault(Controller *sim, const RAID_CMD_BLOCK *block) {
  const Fault *striking = nullptr;
  for (UINT32 i = 0; i < sim->faultCount; ++i) {
    Fault *fault = &sim->faults[i];
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

EFI_STATUS shape(records::Answer *answer, const Fault *fault) {
  switch (fault->kind) {
  case faultNoData:
    records::answerRelease(answer);
    return EFI_SUCCESS;
  case faultNullData:
    records::answerRelease(answer);
    answer->dataSize = fault->bytes;
    return EFI_SUCCESS;
  case faultSize:
    return records::answerResize(answer, fault->bytes);
  case faultExtra:
    return records::answerResize(answer, static_cast<UINT64>(answer->dataSize) + fault->bytes);
  default:
    return EFI_SUCCESS;
  }
}

} // namespace xyl::sim
