// The table of commands, and the checks that all of them share.
#include "providers/sim_controller/commands/commands.h"

#include "providers/sim_controller/commands/change.h"
#include "providers/sim_controller/commands/foreign.h"
#include "providers/sim_controller/commands/key.h"
#include "providers/sim_controller/commands/virtual_disks.h"
#include "providers/sim_controller/state/objects.h"
#include "providers/sim_controller/state/records.h"

enum IDS_RULE : UINT8 { IDS_OPTIONAL, IDS_REQUIRED, IDS_MEMBERS };
enum DATA_RULE : UINT8 { DATA_IGNORED, DATA_RECORD, DATA_KEY };

struct COMMAND_ROW {
  UINT32 command;
  UINT32 objectType;
  IDS_RULE ids;
  DATA_RULE data;
  EFI_STATUS (*run)(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *answer);
};

static EFI_STATUS runGet(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *answer) {
  return simAnswerRecords(sim, block->ObjectType, block->ObjectIds, block->ObjectIdCount, answer);
}

static EFI_STATUS runGetKeyId(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *, RAID_ANSWER *answer) {
  return simAnswerKeyId(sim, answer);
}

static EFI_STATUS runDeleteAdapter(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *, RAID_ANSWER *) {
  simResetConfiguration(sim);
  return EFI_SUCCESS;
}

static EFI_STATUS runDeleteVirtualDisks(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *) {
  for (UINT32 i = 0; i < block->ObjectIdCount; i++) {
    simDeleteVirtualDisk(sim, block->ObjectIds[i]);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS runClear(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *, RAID_ANSWER *) {
  return simClearForeign(sim);
}

static EFI_STATUS runImport(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *, RAID_ANSWER *) {
  return simImportForeign(sim);
}

static EFI_STATUS runCreate(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *) {
  return simCreateVirtualDisk(sim, static_cast<const RAID_VD_RECORD *>(block->ObjectData), block->ObjectIds,
                              block->ObjectIdCount, nullptr);
}

static EFI_STATUS runChangeAdapter(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *) {
  return simChangeAdapter(sim, block);
}

static EFI_STATUS runChangeDisks(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *) {
  return simChangeDisks(sim, block);
}

static EFI_STATUS runChangeVirtualDisks(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *) {
  return simChangeVirtualDisks(sim, block);
}

static EFI_STATUS runLock(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *) {
  return simLock(sim, block);
}

static EFI_STATUS runRekey(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *) {
  return simRekey(sim, block);
}

static EFI_STATUS runSecureErase(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *, RAID_ANSWER *) {
  return simSecureErase(sim);
}

static EFI_STATUS runNothing(SIM_CONTROLLER *, const RAID_CMD_BLOCK *, RAID_ANSWER *) {
  return EFI_SUCCESS;
}

static constexpr COMMAND_ROW g_commandRows[] = {
    {RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, IDS_OPTIONAL, DATA_IGNORED, runGet},
    {RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE, IDS_OPTIONAL, DATA_IGNORED, runGet},
    {RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, IDS_OPTIONAL, DATA_IGNORED, runGet},
    {RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, IDS_OPTIONAL, DATA_IGNORED, runGet},
    {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, IDS_MEMBERS, DATA_RECORD, runCreate},
    {RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER, IDS_OPTIONAL, DATA_IGNORED, runDeleteAdapter},
    {RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, IDS_REQUIRED, DATA_IGNORED, runDeleteVirtualDisks},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, IDS_OPTIONAL, DATA_RECORD, runChangeAdapter},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, IDS_REQUIRED, DATA_RECORD, runChangeDisks},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_VIRTUAL_DISK, IDS_REQUIRED, DATA_RECORD, runChangeVirtualDisks},
    {RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER, IDS_OPTIONAL, DATA_IGNORED, runClear},
    {RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER, IDS_OPTIONAL, DATA_IGNORED, runImport},
    {RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER, IDS_OPTIONAL, DATA_KEY, runLock},
    {RAID_COMMAND_REKEY, RAID_OBJECT_ADAPTER, IDS_OPTIONAL, DATA_KEY, runRekey},
    {RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER, IDS_OPTIONAL, DATA_IGNORED, runSecureErase},
    {RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, IDS_OPTIONAL, DATA_IGNORED, runGetKeyId},
    {RAID_COMMAND_CHECK, SIM_ANY, IDS_REQUIRED, DATA_IGNORED, runNothing},
    {RAID_COMMAND_IDENTIFY, SIM_ANY, IDS_REQUIRED, DATA_IGNORED, runNothing},
    {RAID_COMMAND_INIT, SIM_ANY, IDS_REQUIRED, DATA_IGNORED, runNothing},
    {RAID_COMMAND_EXPORT_LOG, SIM_ANY, IDS_REQUIRED, DATA_IGNORED, runNothing},
    {RAID_COMMAND_DISCARD_CACHE, SIM_ANY, IDS_REQUIRED, DATA_IGNORED, runNothing},
};

static bool isKnownType(UINT32 objectType) {
  return objectType == RAID_OBJECT_ADAPTER || objectType == RAID_OBJECT_ENCLOSURE ||
         objectType == RAID_OBJECT_PHYSICAL_DISK || objectType == RAID_OBJECT_VIRTUAL_DISK;
}

static const COMMAND_ROW *findRow(const RAID_CMD_BLOCK *block) {
  for (const COMMAND_ROW &row : g_commandRows) {
    bool typeFits = row.objectType == SIM_ANY ? isKnownType(block->ObjectType) : row.objectType == block->ObjectType;
    if (row.command == block->Command && typeFits) {
      return &row;
    }
  }
  return nullptr;
}

static EFI_STATUS checkIds(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, IDS_RULE rule) {
  if (block->ObjectIdCount != 0 && block->ObjectIds == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  bool mayBeNone = rule == IDS_OPTIONAL || (rule == IDS_REQUIRED && block->ObjectType == RAID_OBJECT_ADAPTER);
  if (block->ObjectIdCount == 0 && !mayBeNone) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINT32 i = 0; rule != IDS_MEMBERS && i < block->ObjectIdCount; i++) {
    UINT32 index = 0;
    if (!simObjectIndex(sim, block->ObjectType, block->ObjectIds[i], &index)) {
      return EFI_NOT_FOUND;
    }
  }
  return EFI_SUCCESS;
}

// A record begins with its object type, so that data of another kind is told apart before all of it is read.
static EFI_STATUS checkData(const RAID_CMD_BLOCK *block, DATA_RULE rule) {
  if (rule == DATA_IGNORED) {
    return EFI_SUCCESS;
  }
  if (block->ObjectData == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  UINT32 objectType = 0;
  copyBytes(&objectType, block->ObjectData, sizeof(objectType));
  return rule == DATA_RECORD && objectType != block->ObjectType ? EFI_INVALID_PARAMETER : EFI_SUCCESS;
}

EFI_STATUS simRunCommand(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, RAID_ANSWER *answer) {
  if (block->Revision > 3) {
    return EFI_INVALID_PARAMETER;
  }
  const COMMAND_ROW *row = findRow(block);
  if (row == nullptr) {
    return EFI_UNSUPPORTED;
  }
  EFI_STATUS status = checkIds(sim, block, row->ids);
  if (!EFI_ERROR(status)) {
    status = checkData(block, row->data);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  return row->run(sim, block, answer);
}
