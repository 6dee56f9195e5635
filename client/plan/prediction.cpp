#include "client/plan/prediction.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "client/plan/plan_facts.h"
#include "driver/live/live.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"
#include "raid_values.h"

namespace xyl::client {

// A disk of the model.
struct ModelDisk {
  UINT32 virtualDisk; // the number of the last virtual disk on it plus 1; 0: none
  UINT32 asked;       // the number of the last command that names it plus 1
};

// The controller as it will be. It answers as one, so that the driver writes its document.
struct Model {
  RAID_MGMT_PROTOCOL protocol; // first, so that its address is the model's
  RestorePlan *plan;
  bool hasKey;
  RAID_ADAPTER_RECORD adapter;
  RAID_PD_RECORD *disks;        // pool
  ModelDisk *diskStates;        // pool; of each
  RAID_VD_RECORD *virtualDisks; // pool; room for those that are there and those that were saved
  UINT32 virtualDiskCount;
  UINT32 *lists;   // pool; the virtual disks on each disk
  UINT64 *targets; // pool; the saved virtual disks by their target ids
  UINT32 firstId;
};

// --- As a controller ---

static void answer(RAID_CMD_RESULT *result, void *records, UINTN count) {
  result->Data = records;
  result->DataSize = static_cast<UINT32>(count << RAID_RECORD_SHIFT);
}

static EFI_STATUS EFIAPI modelExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  Model *model = reinterpret_cast<Model *>(protocol);
  RAID_MGMT_PROTOCOL *controller = model->plan->controller;
  if (block->Command == RAID_COMMAND_GET_KEY_ID && !model->hasKey) {
    return EFI_NOT_FOUND;
  }
  if (block->Command == RAID_COMMAND_GET && block->ObjectType == RAID_OBJECT_ADAPTER) {
    answer(result, &model->adapter, 1);
  } else if (block->Command == RAID_COMMAND_GET && block->ObjectType == RAID_OBJECT_PHYSICAL_DISK) {
    answer(result, model->disks, driver::recordCount(&model->plan->disks));
  } else if (block->Command == RAID_COMMAND_GET && block->ObjectType == RAID_OBJECT_VIRTUAL_DISK) {
    answer(result, model->virtualDisks, model->virtualDiskCount);
  } else {
    return controller->Execute(controller, block, result);
  }
  return result->DataSize != 0 ? EFI_SUCCESS : EFI_NOT_FOUND;
}

static EFI_STATUS EFIAPI modelFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count) {
  const Model *model = reinterpret_cast<Model *>(protocol);
  bool isOwn = data == &model->adapter || data == model->disks || data == model->virtualDisks;
  RAID_MGMT_PROTOCOL *controller = model->plan->controller;
  return isOwn ? EFI_SUCCESS : controller->FreeRecords(controller, data, count);
}

// --- The controller as it is ---

// Virtual disks get the lowest free ids, which stay as far from their target ids as they are.
static UINT32 firstId(const RestorePlan &plan) {
  bool isEmpty = driver::recordCount(&plan.virtualDisks) == 0;
  const RAID_VD_RECORD *virtualDisk = isEmpty ? plan.saved->logicalDisks : currentVirtualDisks(plan);
  bool isKnown = (!isEmpty || plan.saved->logicalDiskCount != 0) && virtualDisk->ObjectID >= virtualDisk->TargetID;
  return isKnown ? virtualDisk->ObjectID - virtualDisk->TargetID : 1;
}

static bool startModel(Model *model, RestorePlan *plan) {
  UINT32 disks = driver::recordCount(&plan->disks);
  UINT32 virtualDisks = driver::recordCount(&plan->virtualDisks);
  model->protocol.Execute = modelExecute;
  model->protocol.FreeRecords = modelFreeRecords;
  model->protocol.Revision = plan->controller->Revision;
  model->plan = plan;
  model->hasKey = true;
  model->adapter = *currentAdapter(*plan);
  model->disks = poolNew<RAID_PD_RECORD>(UINTN{disks} + 1);
  model->diskStates = poolNew<ModelDisk>(UINTN{disks} + 1);
  UINT32 saved = plan->saved->logicalDiskCount;
  model->virtualDisks = poolNew<RAID_VD_RECORD>(UINTN{virtualDisks} + saved + 1);
  model->targets = poolNew<UINT64>(UINTN{saved} + 1);
  if (model->disks == nullptr || model->diskStates == nullptr || model->virtualDisks == nullptr ||
      model->targets == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < saved; ++i) {
    model->targets[i] = indexKey(plan->saved->logicalDisks[i].TargetID, i);
  }
  sortKeys(model->targets, saved);
  if (disks != 0) {
    copyBytes(model->disks, plan->disks.Data, UINTN{disks} * sizeof(RAID_PD_RECORD));
  }
  if (virtualDisks != 0) {
    copyBytes(model->virtualDisks, plan->virtualDisks.Data, UINTN{virtualDisks} * sizeof(RAID_VD_RECORD));
  }
  model->virtualDiskCount = virtualDisks;
  model->firstId = firstId(*plan);
  return true;
}

static void freeModel(Model *model) {
  void *arrays[] = {model->disks, model->diskStates, model->virtualDisks, model->lists, model->targets};
  for (void *array : arrays) {
    poolFree(array);
  }
}

// --- What clears it ---

static void setUsed(RAID_PD_RECORD *disk, UINT64 size) {
  disk->UsedSize = size < disk->Size ? size : disk->Size;
  disk->FreeSize = disk->Size - disk->UsedSize;
}

static void deleteConfiguration(Model *model) {
  model->virtualDiskCount = 0;
  for (UINT32 i = 0; i < driver::recordCount(&model->plan->disks); ++i) {
    RAID_PD_RECORD *disk = &model->disks[i];
    bool isMember = disk->Hotspare == RAID_HOTSPARE_NONE && disk->VDCount != 0;
    disk->Hotspare = RAID_HOTSPARE_NONE;
    disk->VDCount = 0;
    if (isMember) {
      setUsed(disk, 0);
      disk->State = disk->State == RAID_STATE_ONLINE ? RAID_STATE_READY : disk->State;
      disk->SecureState = disk->SecureState == RAID_SECURE_STATE_SECURED ? 0 : disk->SecureState;
    }
  }
}

static void clearForeign(Model *model) {
  for (UINT32 i = 0; i < driver::recordCount(&model->plan->disks); ++i) {
    RAID_PD_RECORD *disk = &model->disks[i];
    if (isForeign(*disk)) {
      setUsed(disk, 0);
      disk->State = disk->State == RAID_STATE_FOREIGN ? RAID_STATE_READY : disk->State;
      disk->SecureState = disk->SecureState == RAID_SECURE_STATE_FOREIGN ? 0 : disk->SecureState;
    }
  }
}

static void eraseKey(Model *model) {
  model->hasKey = false;
  model->adapter.Attributes &= ~RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY;
  model->adapter.SecurityMode = 0;
}

// --- Settings ---

static void changeAdapter(Model *model, const RAID_ADAPTER_RECORD &saved) {
  for (UINT16 offset : driver::g_comparedModes) {
    UINT8 wanted = reinterpret_cast<const UINT8 *>(&saved)[offset];
    UINT8 *mode = reinterpret_cast<UINT8 *>(&model->adapter) + offset;
    *mode = (wanted & *mode & RAID_MODE_PRESENT) != 0 ? wanted : *mode;
  }
  for (const RAID_RATE &wanted : saved.Rates) {
    const CHAR16 *name = wanted.Name;
    for (RAID_RATE &rate : model->adapter.Rates) {
      const CHAR16 *itsName = rate.Name;
      bool isEditable = (rate.EditableValue & RAID_RATE_EDITABLE) != 0;
      if (name != nullptr && itsName != nullptr && isEditable && textEqual(name, itsName)) {
        rate.EditableValue = static_cast<UINT8>(wanted.EditableValue | RAID_RATE_EDITABLE);
      }
    }
  }
}

// --- Virtual disks ---

static RAID_PD_RECORD *modelDisk(const Model &model, UINT32 id) {
  UINT32 place = records::findId(model.plan->currentIndex, id);
  return place != records::noId ? &model.disks[place] : nullptr;
}

static void putDisk(Text *text, UINT32 id, const CHAR8 *is) {
  putText(text, "disk ");
  putNumber(text, id);
  putText(text, is);
}

// Whether a disk that stands in for several saved ones can be a member of this one: no member twice, and beside another
// virtual disk only where that has the same members.
static bool isMemberAgain(const Model &model, const PlanCommand &command, UINT32 place, UINT32 number) {
  UINT32 beside = model.diskStates[place].virtualDisk;
  const RAID_PD_RECORD *first = modelDisk(model, command.ids[0]);
  return model.diskStates[place].asked == number || beside != model.diskStates[first - model.disks].virtualDisk ||
         (beside != 0 && model.virtualDisks[beside - 1].PDCount != command.idCount);
}

// Why the controller will refuse the command with that number; nothing when it has no reason to.
static void putWhyRefused(Text *why, const Model &model, const RAID_VD_RECORD &virtualDisk, UINT32 number) {
  const RestorePlan &plan = *model.plan;
  const PlanCommand &command = plan.commands.items[number];
  if (driver::recordCount(&plan.disks) == 0) {
    putText(why, "the controller has no disks");
    return;
  }
  if (command.idCount == 0) {
    putText(why, "it was saved without members");
    return;
  }
  if ((model.adapter.SupportedRAIDLevels & virtualDisk.RAIDLevel) == 0) {
    putText(why, "the adapter has no ");
    putText(why, driver::GetNameFromValue(virtualDisk.RAIDLevel, driver::g_raidLevelTable));
    return;
  }
  for (UINT32 j = 0; j < command.idCount; ++j) {
    const RAID_PD_RECORD *disk = modelDisk(model, command.ids[j]);
    if (disk == nullptr) {
      putDisk(why, command.ids[j], " is not there");
      return;
    }
    if (isLost(*disk)) {
      putDisk(why, disk->ObjectID, " is ");
      putText(why, driver::GetNameFromValue(disk->State, driver::g_stateTable));
      return;
    }
    UINT32 place = static_cast<UINT32>(disk - model.disks);
    if (plan.uses[place] > 1 && isMemberAgain(model, command, place, number + 1)) {
      putDisk(why, disk->ObjectID, " would stand in for several saved ones");
      return;
    }
    model.diskStates[place].asked = number + 1;
  }
}

// What a virtual disk takes of each member.
static UINT64 shareOf(const RAID_VD_RECORD &virtualDisk) {
  static constexpr struct {
    UINT32 levels;
    UINT32 parity; // members of each span without data
  } parities[] = {{RAID_LEVEL_3 | RAID_LEVEL_4 | RAID_LEVEL_5 | RAID_LEVEL_30 | RAID_LEVEL_50, 1},
                  {RAID_LEVEL_6 | RAID_LEVEL_60, 2}};
  UINT32 spans = virtualDisk.SpanDepth != 0 ? virtualDisk.SpanDepth : 1;
  UINT32 without = (virtualDisk.RAIDLevel & (RAID_LEVEL_1 | RAID_LEVEL_10)) != 0 ? virtualDisk.PDCount / 2 : 0;
  for (const auto &row : parities) {
    without += (row.levels & virtualDisk.RAIDLevel) != 0 ? row.parity * spans : 0;
  }
  UINT32 members = without < virtualDisk.PDCount ? virtualDisk.PDCount - without : 1;
  return virtualDisk.Size / members;
}

// The FQDD goes with the target id; null where no saved virtual disk tells.
static CHAR16 *fqddOf(const Model &model, UINT32 target) {
  UINT32 count = model.plan->saved->logicalDiskCount;
  UINTN at = lowerBound(model.targets, count, indexKey(target, 0));
  bool isKnown = at < count && model.targets[at] >> 32 == target;
  return isKnown ? model.plan->saved->logicalDisks[static_cast<UINT32>(model.targets[at])].FQDD : nullptr;
}

static void createVirtualDisk(Model *model, const RAID_VD_RECORD &saved, UINT32 number) {
  const PlanCommand &command = model->plan->commands.items[number];
  const RAID_VD_RECORD *before =
      model->virtualDiskCount != 0 ? &model->virtualDisks[model->virtualDiskCount - 1] : nullptr;
  UINT32 id = before != nullptr ? before->ObjectID + 1 : model->firstId;
  while (modelDisk(*model, id) != nullptr) {
    ++id;
  }
  RAID_VD_RECORD *virtualDisk = &model->virtualDisks[model->virtualDiskCount++];
  *virtualDisk = saved;
  virtualDisk->ObjectID = id;
  virtualDisk->TargetID = before != nullptr ? before->TargetID + 1 : 0;
  virtualDisk->FQDD = fqddOf(*model, virtualDisk->TargetID);
  virtualDisk->State = RAID_STATE_ONLINE;
  virtualDisk->PDs = command.ids;
  virtualDisk->PDCount = command.idCount;
  for (UINT32 j = 0; j < command.idCount; ++j) {
    RAID_PD_RECORD *disk = modelDisk(*model, command.ids[j]);
    disk->State = RAID_STATE_ONLINE;
    setUsed(disk, disk->UsedSize + shareOf(*virtualDisk));
    model->diskStates[disk - model->disks].virtualDisk = model->virtualDiskCount;
  }
}

// --- Hot spares ---

// The virtual disk of the model with that id, or null. They were created one after the other.
static const RAID_VD_RECORD *modelVirtualDisk(const Model &model, UINT32 id) {
  UINTN at = countBefore(model.virtualDisks, model.virtualDiskCount,
                         [&](const RAID_VD_RECORD &virtualDisk) { return virtualDisk.ObjectID < id; });
  return at < model.virtualDiskCount && model.virtualDisks[at].ObjectID == id ? &model.virtualDisks[at] : nullptr;
}

static void putWhyNoSpare(Text *why, const Model &model, const RAID_PD_RECORD &saved, UINT32 id) {
  const RAID_PD_RECORD *disk = modelDisk(model, id);
  if (disk == nullptr || disk->State != RAID_STATE_READY) {
    putDisk(why, id, " is ");
    putText(why, disk != nullptr ? driver::GetNameFromValue(disk->State, driver::g_stateTable) : "not there");
    return;
  }
  if (saved.Hotspare != RAID_HOTSPARE_DEDICATED) {
    return;
  }
  const UINT32 *ids = saved.VDs;
  if (ids == nullptr || saved.VDCount == 0) {
    putText(why, "it was saved without virtual disks");
  }
  for (UINT32 i = 0; ids != nullptr && i < saved.VDCount && why->length == 0; ++i) {
    const RAID_VD_RECORD *virtualDisk = modelVirtualDisk(model, ids[i]);
    if (virtualDisk == nullptr) {
      putText(why, "no virtual disk will have the id ");
      putNumber(why, ids[i]);
    } else if (shareOf(*virtualDisk) > disk->Size) {
      putDisk(why, id, " is too small for virtual disk ");
      putNumber(why, ids[i]);
    }
  }
}

static void makeSpare(const Model &model, const RAID_PD_RECORD &saved, UINT32 id) {
  RAID_PD_RECORD *disk = modelDisk(model, id);
  disk->Hotspare = saved.Hotspare;
  disk->VDCount = saved.Hotspare == RAID_HOTSPARE_DEDICATED ? saved.VDCount : 0;
  disk->VDs = saved.VDs;
}

// --- All of it ---

static void applyCommand(Model *model, UINT32 number) {
  RestorePlan *plan = model->plan;
  const PlanCommand &command = plan->commands.items[number];
  switch (command.command) {
  case RAID_COMMAND_DELETE:
    deleteConfiguration(model);
    break;
  case RAID_COMMAND_CLEAR:
    clearForeign(model);
    break;
  case RAID_COMMAND_SECURE_ERASE:
    eraseKey(model);
    break;
  case RAID_COMMAND_CREATE: {
    const RAID_VD_RECORD *virtualDisk = static_cast<const RAID_VD_RECORD *>(command.data);
    Text *why = &plan->virtualDiskPlans[virtualDisk - plan->saved->logicalDisks].whyNot;
    putWhyRefused(why, *model, *virtualDisk, number);
    if (why->length == 0) {
      createVirtualDisk(model, *virtualDisk, number);
    }
    break;
  }
  default:
    if (command.objectType == RAID_OBJECT_ADAPTER) {
      changeAdapter(model, *static_cast<const RAID_ADAPTER_RECORD *>(command.data));
      break;
    }
    const RAID_PD_RECORD *saved = static_cast<const RAID_PD_RECORD *>(command.data);
    Text *why = &plan->diskPlans[saved - plan->saved->physicalDisks].whyNoSpare;
    putWhyNoSpare(why, *model, *saved, command.ids[0]);
    if (why->length == 0) {
      makeSpare(*model, *saved, command.ids[0]);
    }
  }
}

// Gives the members of the virtual disks, of which all are new, their lists.
static bool listVirtualDisks(Model *model) {
  UINTN total = 0;
  for (UINT32 v = 0; v < model->virtualDiskCount; ++v) {
    const RAID_VD_RECORD &virtualDisk = model->virtualDisks[v];
    total += virtualDisk.PDCount;
    for (UINT32 j = 0; j < virtualDisk.PDCount; ++j) {
      RAID_PD_RECORD *disk = modelDisk(*model, static_cast<const UINT32 *>(virtualDisk.PDs)[j]);
      disk->VDCount = static_cast<UINT8>(disk->VDCount + 1);
    }
  }
  model->lists = poolNew<UINT32>(total + 1);
  if (model->lists == nullptr) {
    return false;
  }
  UINT32 *list = model->lists;
  for (UINT32 i = 0; i < driver::recordCount(&model->plan->disks); ++i) {
    RAID_PD_RECORD *disk = &model->disks[i];
    if (disk->Hotspare == RAID_HOTSPARE_NONE) {
      disk->VDs = list;
      list += disk->VDCount;
      disk->VDCount = 0;
    }
  }
  for (UINT32 v = 0; v < model->virtualDiskCount; ++v) {
    const RAID_VD_RECORD &virtualDisk = model->virtualDisks[v];
    for (UINT32 j = 0; j < virtualDisk.PDCount; ++j) {
      RAID_PD_RECORD *disk = modelDisk(*model, static_cast<const UINT32 *>(virtualDisk.PDs)[j]);
      static_cast<UINT32 *>(disk->VDs)[disk->VDCount] = virtualDisk.ObjectID;
      disk->VDCount = static_cast<UINT8>(disk->VDCount + 1);
    }
  }
  return true;
}

static EFI_STATUS writeModel(Model *model, XML_NODE **tree) {
  driver::RAID_XYL_DEV device = {};
  device.RaidMgmtProtocol = &model->protocol;
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER text = {};
  EFI_STATUS status = driver::RAIDXYLGet_Live(&device.RaidXylProtocol, &parameter, &text);
  if (!EFI_ERROR(status)) {
    status = driver::g_xmlProtocol->Parse(driver::g_xmlProtocol, static_cast<CHAR8 *>(text.Data), tree);
    poolFree(text.Data);
  }
  return EFI_ERROR(status) || *tree != nullptr ? status : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS predictAfter(RestorePlan *plan) {
  Model model = {};
  bool hasRoom = startModel(&model, plan);
  for (UINT32 i = 0; hasRoom && i < plan->commands.count; ++i) {
    applyCommand(&model, i);
  }
  hasRoom = hasRoom && (plan->preservesVirtualDisks || listVirtualDisks(&model));
  EFI_STATUS status = hasRoom ? writeModel(&model, &plan->after) : EFI_OUT_OF_RESOURCES;
  freeModel(&model);
  return status;
}

} // namespace xyl::client
