// The table of commands, and the checks that all of them share.
#include "providers/sim_controller/commands/commands.h"

#include "providers/sim_controller/commands/change.h"
#include "providers/sim_controller/commands/foreign.h"
#include "providers/sim_controller/commands/key.h"
#include "providers/sim_controller/commands/virtual_disks.h"
#include "providers/sim_controller/state/objects.h"
#include "providers/sim_controller/state/records.h"

namespace xyl::sim {

enum class IdsRule : UINT8 { optional, required, members };
enum class DataRule : UINT8 { ignored, record, key };

struct CommandRow {
  UINT32 command;
  UINT32 objectType;
  IdsRule ids;
  DataRule data;
  EFI_STATUS (*run)(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *answer);
};

static EFI_STATUS runGet(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *answer) {
  return answerRecords(sim, block->ObjectType, block->ObjectIds, block->ObjectIdCount, answer);
}

static EFI_STATUS runGetKeyId(Controller *sim, const RAID_CMD_BLOCK *, records::Answer *answer) {
  return answerKeyId(sim, answer);
}

static EFI_STATUS runDeleteAdapter(Controller *sim, const RAID_CMD_BLOCK *, records::Answer *) {
  resetConfiguration(sim);
  return EFI_SUCCESS;
}

static EFI_STATUS runDeleteVirtualDisks(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *) {
  for (UINT32 i = 0; i < block->ObjectIdCount; ++i) {
    deleteVirtualDisk(sim, block->ObjectIds[i]);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS runClear(Controller *sim, const RAID_CMD_BLOCK *, records::Answer *) {
  return clearForeign(sim);
}

static EFI_STATUS runImport(Controller *sim, const RAID_CMD_BLOCK *, records::Answer *) {
  return importForeign(sim);
}

static EFI_STATUS runCreate(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *) {
  return createVirtualDisk(sim, static_cast<const RAID_VD_RECORD *>(block->ObjectData), block->ObjectIds,
                           block->ObjectIdCount, nullptr);
}

static EFI_STATUS runChangeAdapter(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *) {
  return changeAdapter(sim, block);
}

static EFI_STATUS runChangeDisks(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *) {
  return changeDisks(sim, block);
}

static EFI_STATUS runChangeVirtualDisks(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *) {
  return changeVirtualDisks(sim, block);
}

static EFI_STATUS runLock(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *) {
  return lock(sim, block);
}

static EFI_STATUS runRekey(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *) {
  return rekey(sim, block);
}

static EFI_STATUS runSecureErase(Controller *sim, const RAID_CMD_BLOCK *, records::Answer *) {
  return secureErase(sim);
}

static EFI_STATUS runNothing(Controller *, const RAID_CMD_BLOCK *, records::Answer *) {
  return EFI_SUCCESS;
}

static constexpr CommandRow g_commandRows[] = {
    {RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, IdsRule::optional, DataRule::ignored, runGet},
    {RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE, IdsRule::optional, DataRule::ignored, runGet},
    {RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, IdsRule::optional, DataRule::ignored, runGet},
    {RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, IdsRule::optional, DataRule::ignored, runGet},
    {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, IdsRule::members, DataRule::record, runCreate},
    {RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER, IdsRule::optional, DataRule::ignored, runDeleteAdapter},
    {RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, IdsRule::required, DataRule::ignored, runDeleteVirtualDisks},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, IdsRule::optional, DataRule::record, runChangeAdapter},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, IdsRule::required, DataRule::record, runChangeDisks},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_VIRTUAL_DISK, IdsRule::required, DataRule::record, runChangeVirtualDisks},
    {RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER, IdsRule::optional, DataRule::ignored, runClear},
    {RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER, IdsRule::optional, DataRule::ignored, runImport},
    {RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER, IdsRule::optional, DataRule::key, runLock},
    {RAID_COMMAND_REKEY, RAID_OBJECT_ADAPTER, IdsRule::optional, DataRule::key, runRekey},
    {RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER, IdsRule::optional, DataRule::ignored, runSecureErase},
    {RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, IdsRule::optional, DataRule::ignored, runGetKeyId},
    {RAID_COMMAND_CHECK, anyCode, IdsRule::required, DataRule::ignored, runNothing},
    {RAID_COMMAND_IDENTIFY, anyCode, IdsRule::required, DataRule::ignored, runNothing},
    {RAID_COMMAND_INIT, anyCode, IdsRule::required, DataRule::ignored, runNothing},
    {RAID_COMMAND_EXPORT_LOG, anyCode, IdsRule::required, DataRule::ignored, runNothing},
    {RAID_COMMAND_DISCARD_CACHE, anyCode, IdsRule::required, DataRule::ignored, runNothing},
};

static bool isKnownType(UINT32 objectType) {
  return objectType == RAID_OBJECT_ADAPTER || objectType == RAID_OBJECT_ENCLOSURE ||
         objectType == RAID_OBJECT_PHYSICAL_DISK || objectType == RAID_OBJECT_VIRTUAL_DISK;
}

static const CommandRow *findRow(const RAID_CMD_BLOCK *block) {
  for (const CommandRow &row : g_commandRows) {
    bool typeFits = row.objectType == anyCode ? isKnownType(block->ObjectType) : row.objectType == block->ObjectType;
    if (row.command == block->Command && typeFits) {
      return &row;
    }
  }
  return nullptr;
}

static EFI_STATUS checkIds(Controller *sim, const RAID_CMD_BLOCK *block, IdsRule rule) {
  if (block->ObjectIdCount != 0 && block->ObjectIds == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  bool mayBeNone = rule == IdsRule::optional || (rule == IdsRule::required && block->ObjectType == RAID_OBJECT_ADAPTER);
  if (block->ObjectIdCount == 0 && !mayBeNone) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINT32 i = 0; rule != IdsRule::members && i < block->ObjectIdCount; ++i) {
    UINT32 index = 0;
    if (!objectIndex(sim, block->ObjectType, block->ObjectIds[i], &index)) {
      return EFI_NOT_FOUND;
    }
  }
  return EFI_SUCCESS;
}

// A record begins with its object type, so that data of another kind is told apart before all of it is read.
static EFI_STATUS checkData(const RAID_CMD_BLOCK *block, DataRule rule) {
  if (rule == DataRule::ignored) {
    return EFI_SUCCESS;
  }
  if (block->ObjectData == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  UINT32 objectType = 0;
  copyBytes(&objectType, block->ObjectData, sizeof(objectType));
  return rule == DataRule::record && objectType != block->ObjectType ? EFI_INVALID_PARAMETER : EFI_SUCCESS;
}

EFI_STATUS runCommand(Controller *sim, const RAID_CMD_BLOCK *block, records::Answer *answer) {
  if (block->Revision > 3) {
    return EFI_INVALID_PARAMETER;
  }
  const CommandRow *row = findRow(block);
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

} // namespace xyl::sim
