#include "providers/sim_controller/commands/command_log.h"

namespace xyl::sim {

static void logIds(UINT32 *to, const UINT32 *ids, UINT32 count) {
  copyBytes(to, ids, sizeof(UINT32) * (count < logIdCapacity ? count : logIdCapacity));
}

static void logRecord(LogEntry *entry, const void *data, UINT32 objectType) {
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
static void logKeys(LogEntry *entry, const RAID_KEY_RECORD *keys, UINT32 count) {
  entry->dataSize = static_cast<UINT32>(count * sizeof(RAID_KEY_RECORD));
  for (UINT32 i = 0; i < count; ++i) {
    RAID_KEY_RECORD *kept = reinterpret_cast<RAID_KEY_RECORD *>(entry->data) + i;
    copyBytes(kept->KeyID, keys[i].KeyID, sizeof(kept->KeyID));
    kept->Mode = keys[i].Mode;
  }
}

LogEntry *logCommand(Controller *sim, const RAID_CMD_BLOCK *block) {
  LogEntry *entry = &sim->log[sim->commandCount % logCapacity];
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

UINT64 commandCount(const Controller *sim) {
  return sim->commandCount - sim->logFirst;
}

const LogEntry *command(const Controller *sim, UINT64 number) {
  UINT64 count = commandCount(sim);
  if (number >= count || count - number > logCapacity) {
    return nullptr;
  }
  return &sim->log[(sim->logFirst + number) % logCapacity];
}

void clearLog(Controller *sim) {
  sim->logFirst = sim->commandCount;
  zeroBytes(sim->log, sizeof(LogEntry) * logCapacity);
}

} // namespace xyl::sim
