#include "client/plan/prediction.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "client/plan/plan_facts.h"
#include "driver/live/live.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"
#include "raid_values.h"

// A disk of the model.
struct MODEL_DISK {
  UINT32 VirtualDisk; // the number of the last virtual disk on it plus 1; 0: none
  UINT32 Asked;       // the number of the last command that names it plus 1
};

// The controller as it will be. It answers as one, so that the driver writes its document.
struct MODEL {
  RAID_MGMT_PROTOCOL Protocol; // first, so that its address is the model's
  RESTORE_PLAN *Plan;
  bool HasKey;
  RAID_ADAPTER_RECORD Adapter;
  RAID_PD_RECORD *Disks;        // pool
  MODEL_DISK *DiskStates;       // pool; of each
  RAID_VD_RECORD *VirtualDisks; // pool; room for those that are there and those that were saved
  UINT32 VirtualDiskCount;
  UINT32 *Lists;   // pool; the virtual disks on each disk
  UINT64 *Targets; // pool; the saved virtual disks by their target ids
  UINT32 FirstId;
};

// --- As a controller ---

static void answer(RAID_CMD_RESULT *result, void *records, UINTN count) {
  result->Data = records;
  result->DataSize = static_cast<UINT32>(count << RAID_RECORD_SHIFT);
}

static EFI_STATUS EFIAPI modelExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  MODEL *model = reinterpret_cast<MODEL *>(protocol);
  RAID_MGMT_PROTOCOL *controller = model->Plan->Controller;
  if (block->Command == RAID_COMMAND_GET_KEY_ID && !model->HasKey) {
    return EFI_NOT_FOUND;
  }
  if (block->Command == RAID_COMMAND_GET && block->ObjectType == RAID_OBJECT_ADAPTER) {
    answer(result, &model->Adapter, 1);
  } else if (block->Command == RAID_COMMAND_GET && block->ObjectType == RAID_OBJECT_PHYSICAL_DISK) {
    answer(result, model->Disks, recordCount(&model->Plan->Disks));
  } else if (block->Command == RAID_COMMAND_GET && block->ObjectType == RAID_OBJECT_VIRTUAL_DISK) {
    answer(result, model->VirtualDisks, model->VirtualDiskCount);
  } else {
    return controller->Execute(controller, block, result);
  }
  return result->DataSize != 0 ? EFI_SUCCESS : EFI_NOT_FOUND;
}

static EFI_STATUS EFIAPI modelFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count) {
  const MODEL *model = reinterpret_cast<MODEL *>(protocol);
  bool isOwn = data == &model->Adapter || data == model->Disks || data == model->VirtualDisks;
  RAID_MGMT_PROTOCOL *controller = model->Plan->Controller;
  return isOwn ? EFI_SUCCESS : controller->FreeRecords(controller, data, count);
}

// --- The controller as it is ---

// Virtual disks get the lowest free ids, which stay as far from their target ids as they are.
static UINT32 firstId(const RESTORE_PLAN &plan) {
  bool isEmpty = recordCount(&plan.VirtualDisks) == 0;
  const RAID_VD_RECORD *virtualDisk = isEmpty ? plan.Saved->logicalDisks : currentVirtualDisks(plan);
  bool isKnown = (!isEmpty || plan.Saved->logicalDiskCount != 0) && virtualDisk->ObjectID >= virtualDisk->TargetID;
  return isKnown ? virtualDisk->ObjectID - virtualDisk->TargetID : 1;
}

static bool startModel(MODEL *model, RESTORE_PLAN *plan) {
  UINT32 disks = recordCount(&plan->Disks);
  UINT32 virtualDisks = recordCount(&plan->VirtualDisks);
  model->Protocol.Execute = modelExecute;
  model->Protocol.FreeRecords = modelFreeRecords;
  model->Protocol.Revision = plan->Controller->Revision;
  model->Plan = plan;
  model->HasKey = true;
  model->Adapter = *currentAdapter(*plan);
  model->Disks = poolNew<RAID_PD_RECORD>(UINTN{disks} + 1);
  model->DiskStates = poolNew<MODEL_DISK>(UINTN{disks} + 1);
  UINT32 saved = plan->Saved->logicalDiskCount;
  model->VirtualDisks = poolNew<RAID_VD_RECORD>(UINTN{virtualDisks} + saved + 1);
  model->Targets = poolNew<UINT64>(UINTN{saved} + 1);
  if (model->Disks == nullptr || model->DiskStates == nullptr || model->VirtualDisks == nullptr ||
      model->Targets == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < saved; ++i) {
    model->Targets[i] = indexKey(plan->Saved->logicalDisks[i].TargetID, i);
  }
  sortKeys(model->Targets, saved);
  if (disks != 0) {
    copyBytes(model->Disks, plan->Disks.Data, UINTN{disks} * sizeof(RAID_PD_RECORD));
  }
  if (virtualDisks != 0) {
    copyBytes(model->VirtualDisks, plan->VirtualDisks.Data, UINTN{virtualDisks} * sizeof(RAID_VD_RECORD));
  }
  model->VirtualDiskCount = virtualDisks;
  model->FirstId = firstId(*plan);
  return true;
}

static void freeModel(MODEL *model) {
  void *arrays[] = {model->Disks, model->DiskStates, model->VirtualDisks, model->Lists, model->Targets};
  for (void *array : arrays) {
    poolFree(array);
  }
}

// --- What clears it ---

static void setUsed(RAID_PD_RECORD *disk, UINT64 size) {
  disk->UsedSize = size < disk->Size ? size : disk->Size;
  disk->FreeSize = disk->Size - disk->UsedSize;
}

static void deleteConfiguration(MODEL *model) {
  model->VirtualDiskCount = 0;
  for (UINT32 i = 0; i < recordCount(&model->Plan->Disks); ++i) {
    RAID_PD_RECORD *disk = &model->Disks[i];
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

static void clearForeign(MODEL *model) {
  for (UINT32 i = 0; i < recordCount(&model->Plan->Disks); ++i) {
    RAID_PD_RECORD *disk = &model->Disks[i];
    if (isForeign(*disk)) {
      setUsed(disk, 0);
      disk->State = disk->State == RAID_STATE_FOREIGN ? RAID_STATE_READY : disk->State;
      disk->SecureState = disk->SecureState == RAID_SECURE_STATE_FOREIGN ? 0 : disk->SecureState;
    }
  }
}

static void eraseKey(MODEL *model) {
  model->HasKey = false;
  model->Adapter.Attributes &= ~RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY;
  model->Adapter.SecurityMode = 0;
}

// --- Settings ---

static void changeAdapter(MODEL *model, const RAID_ADAPTER_RECORD &saved) {
  for (UINT16 offset : g_comparedModes) {
    UINT8 wanted = reinterpret_cast<const UINT8 *>(&saved)[offset];
    UINT8 *mode = reinterpret_cast<UINT8 *>(&model->Adapter) + offset;
    *mode = (wanted & *mode & RAID_MODE_PRESENT) != 0 ? wanted : *mode;
  }
  for (const RAID_RATE &wanted : saved.Rates) {
    const CHAR16 *name = wanted.Name;
    for (RAID_RATE &rate : model->Adapter.Rates) {
      const CHAR16 *itsName = rate.Name;
      bool isEditable = (rate.EditableValue & RAID_RATE_EDITABLE) != 0;
      if (name != nullptr && itsName != nullptr && isEditable && textEqual(name, itsName)) {
        rate.EditableValue = static_cast<UINT8>(wanted.EditableValue | RAID_RATE_EDITABLE);
      }
    }
  }
}

// --- Virtual disks ---

static RAID_PD_RECORD *modelDisk(const MODEL &model, UINT32 id) {
  UINT32 place = findId(model.Plan->CurrentIndex, id);
  return place != ID_NONE ? &model.Disks[place] : nullptr;
}

static void putDisk(TEXT *text, UINT32 id, const CHAR8 *is) {
  putText(text, "disk ");
  putNumber(text, id);
  putText(text, is);
}

// Whether a disk that stands in for several saved ones can be a member of this one: no member twice, and beside another
// virtual disk only where that has the same members.
static bool isMemberAgain(const MODEL &model, const PLAN_COMMAND &command, UINT32 place, UINT32 number) {
  UINT32 beside = model.DiskStates[place].VirtualDisk;
  const RAID_PD_RECORD *first = modelDisk(model, command.Ids[0]);
  return model.DiskStates[place].Asked == number || beside != model.DiskStates[first - model.Disks].VirtualDisk ||
         (beside != 0 && model.VirtualDisks[beside - 1].PDCount != command.IdCount);
}

// Why the controller will refuse the command with that number; nothing when it has no reason to.
static void putWhyRefused(TEXT *why, const MODEL &model, const RAID_VD_RECORD &virtualDisk, UINT32 number) {
  const RESTORE_PLAN &plan = *model.Plan;
  const PLAN_COMMAND &command = plan.Commands.items[number];
  if (recordCount(&plan.Disks) == 0) {
    putText(why, "the controller has no disks");
    return;
  }
  if (command.IdCount == 0) {
    putText(why, "it was saved without members");
    return;
  }
  if ((model.Adapter.SupportedRAIDLevels & virtualDisk.RAIDLevel) == 0) {
    putText(why, "the adapter has no ");
    putText(why, GetNameFromValue(virtualDisk.RAIDLevel, g_raidLevelTable));
    return;
  }
  for (UINT32 j = 0; j < command.IdCount; ++j) {
    const RAID_PD_RECORD *disk = modelDisk(model, command.Ids[j]);
    if (disk == nullptr) {
      putDisk(why, command.Ids[j], " is not there");
      return;
    }
    if (isLost(*disk)) {
      putDisk(why, disk->ObjectID, " is ");
      putText(why, GetNameFromValue(disk->State, g_stateTable));
      return;
    }
    UINT32 place = static_cast<UINT32>(disk - model.Disks);
    if (plan.Uses[place] > 1 && isMemberAgain(model, command, place, number + 1)) {
      putDisk(why, disk->ObjectID, " would stand in for several saved ones");
      return;
    }
    model.DiskStates[place].Asked = number + 1;
  }
}

// What a virtual disk takes of each member.
static UINT64 shareOf(const RAID_VD_RECORD &virtualDisk) {
  static constexpr struct {
    UINT32 Levels;
    UINT32 Parity; // members of each span without data
  } parities[] = {{RAID_LEVEL_3 | RAID_LEVEL_4 | RAID_LEVEL_5 | RAID_LEVEL_30 | RAID_LEVEL_50, 1},
                  {RAID_LEVEL_6 | RAID_LEVEL_60, 2}};
  UINT32 spans = virtualDisk.SpanDepth != 0 ? virtualDisk.SpanDepth : 1;
  UINT32 without = (virtualDisk.RAIDLevel & (RAID_LEVEL_1 | RAID_LEVEL_10)) != 0 ? virtualDisk.PDCount / 2 : 0;
  for (const auto &row : parities) {
    without += (row.Levels & virtualDisk.RAIDLevel) != 0 ? row.Parity * spans : 0;
  }
  UINT32 members = without < virtualDisk.PDCount ? virtualDisk.PDCount - without : 1;
  return virtualDisk.Size / members;
}

// The FQDD goes with the target id; null where no saved virtual disk tells.
static CHAR16 *fqddOf(const MODEL &model, UINT32 target) {
  UINT32 count = model.Plan->Saved->logicalDiskCount;
  UINTN at = lowerBound(model.Targets, count, indexKey(target, 0));
  bool isKnown = at < count && model.Targets[at] >> 32 == target;
  return isKnown ? model.Plan->Saved->logicalDisks[static_cast<UINT32>(model.Targets[at])].FQDD : nullptr;
}

static void createVirtualDisk(MODEL *model, const RAID_VD_RECORD &saved, UINT32 number) {
  const PLAN_COMMAND &command = model->Plan->Commands.items[number];
  const RAID_VD_RECORD *before =
      model->VirtualDiskCount != 0 ? &model->VirtualDisks[model->VirtualDiskCount - 1] : nullptr;
  UINT32 id = before != nullptr ? before->ObjectID + 1 : model->FirstId;
  while (modelDisk(*model, id) != nullptr) {
    ++id;
  }
  RAID_VD_RECORD *virtualDisk = &model->VirtualDisks[model->VirtualDiskCount++];
  *virtualDisk = saved;
  virtualDisk->ObjectID = id;
  virtualDisk->TargetID = before != nullptr ? before->TargetID + 1 : 0;
  virtualDisk->FQDD = fqddOf(*model, virtualDisk->TargetID);
  virtualDisk->State = RAID_STATE_ONLINE;
  virtualDisk->PDs = command.Ids;
  virtualDisk->PDCount = command.IdCount;
  for (UINT32 j = 0; j < command.IdCount; ++j) {
    RAID_PD_RECORD *disk = modelDisk(*model, command.Ids[j]);
    disk->State = RAID_STATE_ONLINE;
    setUsed(disk, disk->UsedSize + shareOf(*virtualDisk));
    model->DiskStates[disk - model->Disks].VirtualDisk = model->VirtualDiskCount;
  }
}

// --- Hot spares ---

// The virtual disk of the model with that id, or null. They were created one after the other.
static const RAID_VD_RECORD *modelVirtualDisk(const MODEL &model, UINT32 id) {
  UINTN at = countBefore(model.VirtualDisks, model.VirtualDiskCount,
                         [&](const RAID_VD_RECORD &virtualDisk) { return virtualDisk.ObjectID < id; });
  return at < model.VirtualDiskCount && model.VirtualDisks[at].ObjectID == id ? &model.VirtualDisks[at] : nullptr;
}

static void putWhyNoSpare(TEXT *why, const MODEL &model, const RAID_PD_RECORD &saved, UINT32 id) {
  const RAID_PD_RECORD *disk = modelDisk(model, id);
  if (disk == nullptr || disk->State != RAID_STATE_READY) {
    putDisk(why, id, " is ");
    putText(why, disk != nullptr ? GetNameFromValue(disk->State, g_stateTable) : "not there");
    return;
  }
  if (saved.Hotspare != RAID_HOTSPARE_DEDICATED) {
    return;
  }
  const UINT32 *ids = saved.VDs;
  if (ids == nullptr || saved.VDCount == 0) {
    putText(why, "it was saved without virtual disks");
  }
  for (UINT32 i = 0; ids != nullptr && i < saved.VDCount && why->Length == 0; ++i) {
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

static void makeSpare(const MODEL &model, const RAID_PD_RECORD &saved, UINT32 id) {
  RAID_PD_RECORD *disk = modelDisk(model, id);
  disk->Hotspare = saved.Hotspare;
  disk->VDCount = saved.Hotspare == RAID_HOTSPARE_DEDICATED ? saved.VDCount : 0;
  disk->VDs = saved.VDs;
}

// --- All of it ---

static void applyCommand(MODEL *model, UINT32 number) {
  RESTORE_PLAN *plan = model->Plan;
  const PLAN_COMMAND &command = plan->Commands.items[number];
  switch (command.Command) {
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
    const RAID_VD_RECORD *virtualDisk = static_cast<const RAID_VD_RECORD *>(command.Data);
    TEXT *why = &plan->VirtualDiskPlans[virtualDisk - plan->Saved->logicalDisks].WhyNot;
    putWhyRefused(why, *model, *virtualDisk, number);
    if (why->Length == 0) {
      createVirtualDisk(model, *virtualDisk, number);
    }
    break;
  }
  default:
    if (command.ObjectType == RAID_OBJECT_ADAPTER) {
      changeAdapter(model, *static_cast<const RAID_ADAPTER_RECORD *>(command.Data));
      break;
    }
    const RAID_PD_RECORD *saved = static_cast<const RAID_PD_RECORD *>(command.Data);
    TEXT *why = &plan->DiskPlans[saved - plan->Saved->physicalDisks].WhyNoSpare;
    putWhyNoSpare(why, *model, *saved, command.Ids[0]);
    if (why->Length == 0) {
      makeSpare(*model, *saved, command.Ids[0]);
    }
  }
}

// Gives the members of the virtual disks, of which all are new, their lists.
static bool listVirtualDisks(MODEL *model) {
  UINTN total = 0;
  for (UINT32 v = 0; v < model->VirtualDiskCount; ++v) {
    const RAID_VD_RECORD &virtualDisk = model->VirtualDisks[v];
    total += virtualDisk.PDCount;
    for (UINT32 j = 0; j < virtualDisk.PDCount; ++j) {
      RAID_PD_RECORD *disk = modelDisk(*model, static_cast<const UINT32 *>(virtualDisk.PDs)[j]);
      disk->VDCount = static_cast<UINT8>(disk->VDCount + 1);
    }
  }
  model->Lists = poolNew<UINT32>(total + 1);
  if (model->Lists == nullptr) {
    return false;
  }
  UINT32 *list = model->Lists;
  for (UINT32 i = 0; i < recordCount(&model->Plan->Disks); ++i) {
    RAID_PD_RECORD *disk = &model->Disks[i];
    if (disk->Hotspare == RAID_HOTSPARE_NONE) {
      disk->VDs = list;
      list += disk->VDCount;
      disk->VDCount = 0;
    }
  }
  for (UINT32 v = 0; v < model->VirtualDiskCount; ++v) {
    const RAID_VD_RECORD &virtualDisk = model->VirtualDisks[v];
    for (UINT32 j = 0; j < virtualDisk.PDCount; ++j) {
      RAID_PD_RECORD *disk = modelDisk(*model, static_cast<const UINT32 *>(virtualDisk.PDs)[j]);
      static_cast<UINT32 *>(disk->VDs)[disk->VDCount] = virtualDisk.ObjectID;
      disk->VDCount = static_cast<UINT8>(disk->VDCount + 1);
    }
  }
  return true;
}

static EFI_STATUS writeModel(MODEL *model, XML_NODE **tree) {
  RAID_XYL_DEV device = {};
  device.RaidMgmtProtocol = &model->Protocol;
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER text = {};
  EFI_STATUS status = RAIDXYLGet_Live(&device.RaidXylProtocol, &parameter, &text);
  if (!EFI_ERROR(status)) {
    status = g_xmlProtocol->Parse(g_xmlProtocol, static_cast<CHAR8 *>(text.Data), tree);
    poolFree(text.Data);
  }
  return EFI_ERROR(status) || *tree != nullptr ? status : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS predictAfter(RESTORE_PLAN *plan) {
  MODEL model = {};
  bool hasRoom = startModel(&model, plan);
  for (UINT32 i = 0; hasRoom && i < plan->Commands.count; ++i) {
    applyCommand(&model, i);
  }
  hasRoom = hasRoom && (plan->PreservesVirtualDisks || listVirtualDisks(&model));
  EFI_STATUS status = hasRoom ? writeModel(&model, &plan->After) : EFI_OUT_OF_RESOURCES;
  freeModel(&model);
  return status;
}
