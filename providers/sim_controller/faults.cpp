// Planned faults, and the log of executed commands.
#include "providers/sim_controller/sim_parts.h"

#define FILLER 0xA5

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

static EFI_STATUS resize(SIM_ANSWER *answer, UINT64 size) {
  if (size == 0) {
    simReleaseAnswer(answer);
    return EFI_SUCCESS;
  }
  UINT8 *data = size > 0xFFFFFFFFU ? nullptr : poolNew<UINT8>(size);
  if (data == nullptr) {
    simReleaseAnswer(answer);
    return EFI_OUT_OF_RESOURCES;
  }
  __builtin_memset(data, FILLER, size);
  if (answer->data != nullptr) {
    copyBytes(data, answer->data, size < answer->dataSize ? size : answer->dataSize);
  }
  if (answer->data != answer->records) {
    poolFree(answer->data);
  }
  answer->data = data;
  answer->dataSize = static_cast<UINT32>(size);
  return EFI_SUCCESS;
}

EFI_STATUS simShape(SIM_ANSWER *answer, const SIM_FAULT *fault) {
  switch (fault->kind) {
  case SIM_FAULT_NO_DATA:
    simReleaseAnswer(answer);
    return EFI_SUCCESS;
  case SIM_FAULT_NULL_DATA:
    simReleaseAnswer(answer);
    answer->dataSize = fault->bytes;
    return EFI_SUCCESS;
  case SIM_FAULT_SIZE:
    return resize(answer, fault->bytes);
  case SIM_FAULT_EXTRA:
    return resize(answer, static_cast<UINT64>(answer->dataSize) + fault->bytes);
  default:
    return EFI_SUCCESS;
  }
}

static void logIds(UINT32 *to, const UINT32 *ids, UINT32 count) {
  copyBytes(to, ids, sizeof(UINT32) * (count < SIM_LOG_IDS ? count : SIM_LOG_IDS));
}

static void logRecord(SIM_LOG_ENTRY *entry, const void *data, UINT32 objectType) {
  UINT32 type = 0;
  copyBytes(&type, data, sizeof(type));
  if (type != objectType) {
    return;
  }
  entry->dataSize = RAID_RECORD_SIZE;
  copyBytes(entry->data, data, RAID_RECORD_SIZE);
  const RAID_PD_RECORD *disk = static_cast<const RAID_PD_RECORD *>(data);
  const RAID_VD_RECORD *volume = static_cast<const RAID_VD_RECORD *>(data);
  if (type == RAID_OBJECT_PHYSICAL_DISK && disk->VDs != nullptr) {
    entry->listCount = disk->VDCount;
    logIds(entry->list, disk->VDs, disk->VDCount);
  } else if (type == RAID_OBJECT_VIRTUAL_DISK && volume->PDs != nullptr) {
    entry->listCount = volume->PDCount;
    logIds(entry->list, volume->PDs, volume->PDCount);
  }
}

SIM_LOG_ENTRY *simLogCommand(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block) {
  SIM_LOG_ENTRY *entry = &sim->log[sim->commandCount % SIM_LOG_CAPACITY];
  sim->commandCount += 1;
  zeroBytes(entry, sizeof(*entry));
  entry->block = *block;
  if (block->ObjectIds != nullptr) {
    logIds(entry->ids, block->ObjectIds, block->ObjectIdCount);
  }
  if (block->ObjectData == nullptr) {
    return entry;
  }
  if (block->Command == RAID_COMMAND_CREATE || block->Command == RAID_COMMAND_CHANGE) {
    logRecord(entry, block->ObjectData, block->ObjectType);
  } else if (block->Command == RAID_COMMAND_LOCK || block->Command == RAID_COMMAND_REKEY) {
    UINT32 keys = block->Command == RAID_COMMAND_REKEY ? 2 : 1;
    entry->dataSize = static_cast<UINT32>(keys * sizeof(RAID_KEY_RECORD));
    copyBytes(entry->data, block->ObjectData, entry->dataSize);
  }
  return entry;
}

UINT64 simCommandCount(const SIM_CONTROLLER *sim) {
  return sim->commandCount - sim->logFirst;
}

const SIM_LOG_ENTRY *simCommand(const SIM_CONTROLLER *sim, UINT64 number) {
  UINT64 count = simCommandCount(sim);
  if (number >= count || count - number > SIM_LOG_CAPACITY) {
    return nullptr;
  }
  return &sim->log[(sim->logFirst + number) % SIM_LOG_CAPACITY];
}

void simClearLog(SIM_CONTROLLER *sim) {
  sim->logFirst = sim->commandCount;
  wipeBytes(sim->log, sizeof(SIM_LOG_ENTRY) * SIM_LOG_CAPACITY);
}
