// Giving back what the parsers built.
#include "base/log.h"
#include "base/pool.h"
#include "driver/controller/controller.h"
#include "driver/request/reader.h"
#include "driver/request/request.h"

namespace xyl::driver {

void releaseKeys(void *keys, UINTN size) {
  if (keys != nullptr) {
    wipeBytes(keys, size);
    poolFree(keys);
  }
}

EFI_STATUS TarnFree(void *, void *records, UINT32 count) {
  logEntered("TarnFree");
  if (records == nullptr) {
    return logExit("TarnFree", EFI_INVALID_PARAMETER);
  }
  for (UINTN i = 0; i < count; ++i) {
    releaseRecordMembers(static_cast<UINT8 *>(records) + i * RAID_RECORD_SIZE);
  }
  poolFree(records);
  return logExit("TarnFree", EFI_SUCCESS);
}

static void releaseList(RAID_CONFIG_LIST_NODE *node) {
  while (node != nullptr) {
    RAID_CONFIG_LIST_NODE *next = node->Next;
    poolFree(node->Data);
    poolFree(node);
    node = next;
  }
}

static void releaseCommands(RAID_CMD_BLOCK *commands, UINT32 count) {
  for (UINT32 i = 0; commands != nullptr && i < count; ++i) {
    poolFree(commands[i].ObjectIds);
    poolFree(commands[i].ObjectData);
  }
  poolFree(commands);
}

void FreeRaidConfig(RAID_CONFIG *config, UINT64 mask) {
  struct Part {
    void *records; // null for the parts that are no record arrays
    UINT32 count;
  };
  // In the order of the mask's bits.
  const Part parts[] = {
      {config->adapter, 1},
      {config->enclosures, config->enclosureCount},
      {nullptr, 0}, // reservedList
      {nullptr, 0}, // commands
      {config->logicalDisks, config->logicalDiskCount},
      {config->reservedRecord, 1},
      {config->physicalDisks, config->physicalDiskCount},
      {config->reservedRecords1, config->reservedCount1},
      {config->reservedRecords3, config->reservedCount3},
      {config->reservedRecords2, config->reservedCount2},
  };
  for (UINT32 bit = 0; bit < sizeof(parts) / sizeof(parts[0]); ++bit) {
    UINT64 part = mask & (1ULL << bit);
    if (part == configList) {
      releaseList(config->reservedList);
    } else if (part == configCommands) {
      releaseCommands(config->commands, config->commandCount);
    } else if (part != 0 && parts[bit].records != nullptr) {
      TarnFree(nullptr, parts[bit].records, parts[bit].count);
    }
  }
}

void releaseCommandObject(RAID_CMD_BLOCK *command) {
  if (command->ObjectData == nullptr) {
    return;
  }
  if (command->Revision == blockRevisionKey) {
    // Whatever the controller made of Command: the block may be that of a rekey.
    releaseKeys(command->ObjectData, commandObjectSize);
  } else {
    releaseRecordMembers(command->ObjectData);
    poolFree(command->ObjectData);
  }
  command->ObjectData = nullptr;
}

void releaseCommandData(RAID_CMD_BLOCK *command) {
  poolRelease(command->ObjectIds);
  command->ObjectIdCount = 0;
  releaseCommandObject(command);
}

void releaseConfig(RAID_CONFIG *config) {
  if (config == nullptr) {
    return;
  }
  for (UINT32 i = 0; config->commands != nullptr && i < config->commandCount; ++i) {
    releaseCommandData(&config->commands[i]);
  }
  releaseKeys(config->keyId, sizeof(RAID_KEY_RECORD));
  FreeRaidConfig(config, configAll);
  poolFree(config);
}

} // namespace xyl::driver
