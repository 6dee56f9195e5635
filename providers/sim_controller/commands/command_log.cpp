#include "providers/sim_controller/commands/command_log.h"

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
  const RAID_VD_RECORD *virtualDisk = static_cast<const RAID_VD_RECORD *>(data);
  if (type == RAID_OBJECT_PHYSICAL_DISK && disk->VDs != nullptr) {
    entry->listCount = disk->VDCount;
    logIds(entry->list, disk->VDs, disk->VDCount);
  } else if (type == RAID_OBJECT_VIRTUAL_DISK && virtualDisk->PDs != nullptr) {
    entry->listCount = virtualDisk->PDCount;
    logIds(entry->list, virtualDisk->PDs, virtualDisk->PDCount);
  }
}

// Passphrases are nobody's to read here.
static void logKeys(SIM_LOG_ENTRY *entry, const RAID_KEY_RECORD *keys, UINT32 count) {
  entry->dataSize = static_cast<UINT32>(count * sizeof(RAID_KEY_RECORD));
  for (UINT32 i = 0; i < count; i++) {
    RAID_KEY_RECORD *kept = reinterpret_cast<RAID_KEY_RECORD *>(entry->data) + i;
    copyBytes(kept->KeyID, keys[i].KeyID, sizeof(kept->KeyID));
    kept->Mode = keys[i].Mode;
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
    logKeys(entry, static_cast<const RAID_KEY_RECORD *>(block->ObjectData), keys);
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
  zeroBytes(sim->log, sizeof(SIM_LOG_ENTRY) * SIM_LOG_CAPACITY);
}
