#include "providers/disk_controller/commands/commands.h"

#include "base/pool.h"
#include "providers/disk_controller/commands/disk_commands.h"
#include "providers/disk_controller/commands/set_commands.h"
#include "providers/disk_controller/commands/volume_commands.h"
#include "providers/disk_controller/model/kept_view.h"
#include "providers/disk_controller/model/records.h"

enum IDS_RULE : UINT8 { IDS_IGNORED, IDS_REQUIRED };
enum DATA_RULE : UINT8 { DATA_IGNORED, DATA_RECORD };

struct COMMAND_ROW {
  UINT32 Command;
  UINT32 ObjectType;
  IDS_RULE Ids;
  DATA_RULE Data;
  EFI_STATUS (*Run)(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *block);
};

template <class RECORD> static const RECORD &dataOf(const RAID_CMD_BLOCK *block) {
  return *static_cast<const RECORD *>(block->ObjectData);
}

static EFI_STATUS runCreate(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *block) {
  return createVirtualDisk(controller, dataOf<RAID_VD_RECORD>(block), block->ObjectIds, block->ObjectIdCount);
}

static EFI_STATUS runDeleteVirtualDisks(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *block) {
  return deleteVirtualDisks(controller, block->ObjectIds, block->ObjectIdCount);
}

static EFI_STATUS runChangeVirtualDisks(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *block) {
  return changeVirtualDisks(controller, dataOf<RAID_VD_RECORD>(block), block->ObjectIds, block->ObjectIdCount);
}

static EFI_STATUS runChangeDisks(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *block) {
  return changeDisks(controller, dataOf<RAID_PD_RECORD>(block), block->ObjectIds, block->ObjectIdCount);
}

static EFI_STATUS runChangeAdapter(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *block) {
  return changeAdapter(controller, dataOf<RAID_ADAPTER_RECORD>(block));
}

static EFI_STATUS runReset(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *) {
  return resetSets(controller);
}

static EFI_STATUS runImport(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *) {
  return importSets(controller);
}

static EFI_STATUS runClear(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *) {
  return clearSets(controller);
}

static constexpr COMMAND_ROW g_rows[] = {
    {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, IDS_REQUIRED, DATA_RECORD, runCreate},
    {RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, IDS_REQUIRED, DATA_IGNORED, runDeleteVirtualDisks},
    {RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER, IDS_IGNORED, DATA_IGNORED, runReset},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_VIRTUAL_DISK, IDS_REQUIRED, DATA_RECORD, runChangeVirtualDisks},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, IDS_REQUIRED, DATA_RECORD, runChangeDisks},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, IDS_IGNORED, DATA_RECORD, runChangeAdapter},
    {RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER, IDS_IGNORED, DATA_IGNORED, runImport},
    {RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER, IDS_IGNORED, DATA_IGNORED, runClear},
};

static EFI_STATUS answerGet(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *block, RAID_ANSWER *answer) {
  VIEW own;
  VIEW *view = nullptr;
  EFI_STATUS status = takeView(&own, controller->Settings, &view);
  if (!EFI_ERROR(status)) {
    controller->Settings = view->Settings;
    status = block->ObjectType == RAID_OBJECT_PHYSICAL_DISK ? searchDisks(*view) : EFI_SUCCESS;
  }
  if (!EFI_ERROR(status)) {
    status = answerRecords(*view, block->ObjectType, block->ObjectIds, block->ObjectIdCount, answer);
  }
  closeView(&own);
  return status;
}

// A record begins with its object type, so that data of another kind is told apart before all of it is read.
static bool isRecordOf(const void *data, UINT32 objectType) {
  UINT32 type = 0;
  if (data != nullptr) {
    copyBytes(&type, data, sizeof(type));
  }
  return data != nullptr && type == objectType;
}

EFI_STATUS runDiskCommand(DISK_CONTROLLER *controller, const RAID_CMD_BLOCK *block, RAID_ANSWER *answer) {
  if (block->Revision > 3 || (block->ObjectIdCount != 0 && block->ObjectIds == nullptr)) {
    return EFI_INVALID_PARAMETER;
  }
  if (block->Command == RAID_COMMAND_GET) {
    return answerGet(controller, block, answer);
  }
  for (const COMMAND_ROW &row : g_rows) {
    if (row.Command != block->Command || row.ObjectType != block->ObjectType) {
      continue;
    }
    bool fits = (row.Ids == IDS_IGNORED || block->ObjectIdCount != 0) &&
                (row.Data == DATA_IGNORED || isRecordOf(block->ObjectData, row.ObjectType));
    return fits ? row.Run(controller, block) : EFI_INVALID_PARAMETER;
  }
  return EFI_UNSUPPORTED;
}
