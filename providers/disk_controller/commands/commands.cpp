#include "providers/disk_controller/commands/commands.h"

#include "base/pool.h"
#include "providers/disk_controller/commands/disk_commands.h"
#include "providers/disk_controller/commands/set_commands.h"
#include "providers/disk_controller/commands/volume_commands.h"
#include "providers/disk_controller/model/kept_view.h"
#include "providers/disk_controller/model/records.h"

namespace xyl::disk_controller {

enum class IdsRule : UINT8 { ignored, required };
enum class DataRule : UINT8 { ignored, record };

struct CommandRow {
  UINT32 command;
  UINT32 objectType;
  IdsRule ids;
  DataRule data;
  EFI_STATUS (*run)(DiskController *controller, const RAID_CMD_BLOCK *block);
};

template <class Record> static const Record &dataOf(const RAID_CMD_BLOCK *block) {
  return *static_cast<const Record *>(block->ObjectData);
}

static EFI_STATUS runCreate(DiskController *controller, const RAID_CMD_BLOCK *block) {
  return createVirtualDisk(controller, dataOf<RAID_VD_RECORD>(block), block->ObjectIds, block->ObjectIdCount);
}

static EFI_STATUS runDeleteVirtualDisks(DiskController *controller, const RAID_CMD_BLOCK *block) {
  return deleteVirtualDisks(controller, block->ObjectIds, block->ObjectIdCount);
}

static EFI_STATUS runChangeVirtualDisks(DiskController *controller, const RAID_CMD_BLOCK *block) {
  return changeVirtualDisks(controller, dataOf<RAID_VD_RECORD>(block), block->ObjectIds, block->ObjectIdCount);
}

static EFI_STATUS runChangeDisks(DiskController *controller, const RAID_CMD_BLOCK *block) {
  return changeDisks(controller, dataOf<RAID_PD_RECORD>(block), block->ObjectIds, block->ObjectIdCount);
}

static EFI_STATUS runChangeAdapter(DiskController *controller, const RAID_CMD_BLOCK *block) {
  return changeAdapter(controller, dataOf<RAID_ADAPTER_RECORD>(block));
}

static EFI_STATUS runReset(DiskController *controller, const RAID_CMD_BLOCK *) {
  return resetSets(controller);
}

static EFI_STATUS runImport(DiskController *controller, const RAID_CMD_BLOCK *) {
  return importSets(controller);
}

static EFI_STATUS runClear(DiskController *controller, const RAID_CMD_BLOCK *) {
  return clearSets(controller);
}

static constexpr CommandRow g_rows[] = {
    {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, IdsRule::required, DataRule::record, runCreate},
    {RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, IdsRule::required, DataRule::ignored, runDeleteVirtualDisks},
    {RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER, IdsRule::ignored, DataRule::ignored, runReset},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_VIRTUAL_DISK, IdsRule::required, DataRule::record, runChangeVirtualDisks},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, IdsRule::required, DataRule::record, runChangeDisks},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, IdsRule::ignored, DataRule::record, runChangeAdapter},
    {RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER, IdsRule::ignored, DataRule::ignored, runImport},
    {RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER, IdsRule::ignored, DataRule::ignored, runClear},
};

static EFI_STATUS answerGet(DiskController *controller, const RAID_CMD_BLOCK *block, records::Answer *answer) {
  View own;
  View *view = nullptr;
  EFI_STATUS status = takeView(&own, controller->settings, &view);
  if (!EFI_ERROR(status)) {
    controller->settings = view->settings;
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

EFI_STATUS runDiskCommand(DiskController *controller, const RAID_CMD_BLOCK *block, records::Answer *answer) {
  if (block->Revision > 3 || (block->ObjectIdCount != 0 && block->ObjectIds == nullptr)) {
    return EFI_INVALID_PARAMETER;
  }
  if (block->Command == RAID_COMMAND_GET) {
    return answerGet(controller, block, answer);
  }
  for (const CommandRow &row : g_rows) {
    if (row.command != block->Command || row.objectType != block->ObjectType) {
      continue;
    }
    bool fits = (row.ids == IdsRule::ignored || block->ObjectIdCount != 0) &&
                (row.data == DataRule::ignored || isRecordOf(block->ObjectData, row.objectType));
    return fits ? row.run(controller, block) : EFI_INVALID_PARAMETER;
  }
  return EFI_UNSUPPORTED;
}

} // namespace xyl::disk_controller
