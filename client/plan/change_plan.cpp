#include "client/plan/change_plan.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "driver/controller/controller.h"
#include "driver/xml/xml.h"
#include "raid_values.h"
#include "records/ids.h"

// What the steps are described from.
struct FACTS {
  const RAID_CONFIG *Saved; // or null
  RAID_CMD_RESULT Disks;
  RAID_CMD_RESULT VirtualDisks;
  ID_INDEX DiskIndex;
  ID_INDEX VirtualDiskIndex;
  ID_INDEX SavedIndex;
  UINT64 *Places; // pool; the disks by their FQDD
};

static const RAID_PD_RECORD *disksOf(const FACTS &facts) {
  return static_cast<const RAID_PD_RECORD *>(facts.Disks.Data);
}

static const RAID_VD_RECORD *virtualDisksOf(const FACTS &facts) {
  return static_cast<const RAID_VD_RECORD *>(facts.VirtualDisks.Data);
}

// --- Reading ---

static UINT32 hashOf(const CHAR16 *text) {
  UINT32 hash = 0;
  for (; text != nullptr && *text != 0; ++text) {
    hash = hash * 31 + *text;
  }
  return hash;
}

static EFI_STATUS readList(RAID_MGMT_PROTOCOL *controller, UINT32 objectType, RAID_CMD_RESULT *answer) {
  EFI_STATUS status = issueCommand(controller, RAID_COMMAND_GET, objectType, answer);
  if (EFI_ERROR(status)) {
    *answer = {};
  }
  return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
}

static EFI_STATUS readFacts(RAID_MGMT_PROTOCOL *controller, const RAID_CONFIG *saved, FACTS *facts) {
  facts->Saved = saved;
  EFI_STATUS status = readList(controller, RAID_OBJECT_PHYSICAL_DISK, &facts->Disks);
  if (!EFI_ERROR(status)) {
    status = readList(controller, RAID_OBJECT_VIRTUAL_DISK, &facts->VirtualDisks);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT32 count = recordCount(&facts->Disks);
  facts->Places = poolNew<UINT64>(UINTN{count} + 1);
  bool made = facts->Places != nullptr && indexRecords(&facts->DiskIndex, disksOf(*facts), count) &&
              indexRecords(&facts->VirtualDiskIndex, virtualDisksOf(*facts), recordCount(&facts->VirtualDisks)) &&
              indexRecords(&facts->SavedIndex, saved != nullptr ? saved->physicalDisks : nullptr,
                           saved != nullptr ? saved->physicalDiskCount : 0);
  if (!made) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < count; ++i) {
    facts->Places[i] = indexKey(hashOf(disksOf(*facts)[i].FQDD), i);
  }
  sortKeys(facts->Places, count);
  return EFI_SUCCESS;
}

static void freeFacts(RAID_MGMT_PROTOCOL *controller, FACTS *facts) {
  ID_INDEX *indices[] = {&facts->DiskIndex, &facts->VirtualDiskIndex, &facts->SavedIndex};
  for (ID_INDEX *index : indices) {
    freeIds(index);
  }
  poolFree(facts->Places);
  giveBack(controller, &facts->Disks);
  giveBack(controller, &facts->VirtualDisks);
}

// --- Objects ---

// The controller's disk that a command's id means, or null. With a saved configuration it is the one in the same place.
static const RAID_PD_RECORD *diskOf(const FACTS &facts, UINT32 command, UINT32 id) {
  UINT32 saved = findId(facts.SavedIndex, id);
  if (saved == ID_NONE || (command != RAID_COMMAND_CREATE && command != RAID_COMMAND_CHANGE)) {
    UINT32 place = findId(facts.DiskIndex, id);
    return place != ID_NONE ? &disksOf(facts)[place] : nullptr;
  }
  const CHAR16 *fqdd = facts.Saved->physicalDisks[saved].FQDD;
  UINT32 count = recordCount(&facts.Disks);
  UINT32 hash = hashOf(fqdd);
  for (UINTN at = lowerBound(facts.Places, count, indexKey(hash, 0)); at < count && facts.Places[at] >> 32 == hash;
       ++at) {
    const RAID_PD_RECORD *disk = &disksOf(facts)[static_cast<UINT32>(facts.Places[at])];
    const CHAR16 *other = disk->FQDD;
    if (fqdd != nullptr && other != nullptr && textEqual(fqdd, other)) {
      return disk;
    }
  }
  return nullptr;
}

static void putVirtualDisk(TEXT *text, const RAID_VD_RECORD &virtualDisk) {
  CHAR8 size[SIZE_TEXT_CAPACITY];
  CHAR8 name[64];
  formatSize(size, virtualDisk.Size);
  textNarrow(name, virtualDisk.Name, sizeof(name) - 1);
  putText(text, "\"");
  putText(text, name);
  putText(text, "\", ");
  putText(text, GetNameFromValue(virtualDisk.RAIDLevel, g_raidLevelTable));
  if (virtualDisk.Size != 0) {
    putText(text, ", ");
    putText(text, size);
  }
}

// The virtual disks and disks that the command names.
static void putNamed(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &command) {
  for (UINT32 i = 0; i < command.ObjectIdCount; ++i) {
    UINT32 id = command.ObjectIds[i];
    putText(&step->What, i != 0 ? "; " : "");
    bool isVirtualDisk = command.ObjectType == RAID_OBJECT_VIRTUAL_DISK;
    putText(&step->What, isVirtualDisk ? "virtual disk " : "disk ");
    UINT32 place = findId(facts.VirtualDiskIndex, id);
    const RAID_PD_RECORD *disk = isVirtualDisk ? nullptr : diskOf(facts, command.Command, id);
    putNumber(&step->What, disk != nullptr ? disk->ObjectID : id);
    if (isVirtualDisk && place != ID_NONE) {
      putText(&step->What, " ");
      putVirtualDisk(&step->What, virtualDisksOf(facts)[place]);
    } else if (disk == nullptr) {
      putText(&step->What, " (not there)");
      step->Wrong = "it names what is not there";
    }
  }
}

static void putAllVirtualDisks(CHANGE_STEP *step, const FACTS &facts) {
  putText(&step->What, "hot spare assignments and all virtual disks");
  for (UINT32 i = 0; i < recordCount(&facts.VirtualDisks); ++i) {
    putText(&step->What, i == 0 ? ": " : "; ");
    putNumber(&step->What, virtualDisksOf(facts)[i].ObjectID);
    putText(&step->What, " ");
    putVirtualDisk(&step->What, virtualDisksOf(facts)[i]);
  }
}

static bool isForeignDisk(const RAID_PD_RECORD &disk) {
  return disk.State == RAID_STATE_FOREIGN || disk.SecureState == RAID_SECURE_STATE_FOREIGN;
}

// "the foreign configuration on disks 1009, 1010"
static void putForeign(CHANGE_STEP *step, const FACTS &facts) {
  const CHAR8 *separator = "the foreign configuration on disks ";
  for (UINT32 i = 0; i < recordCount(&facts.Disks); ++i) {
    if (isForeignDisk(disksOf(facts)[i])) {
      putText(&step->What, separator);
      putNumber(&step->What, disksOf(facts)[i].ObjectID);
      separator = ", ";
    }
  }
  if (step->What.Length == 0) {
    putText(&step->What, "no disk is foreign");
    step->Wrong = "nothing is foreign";
  }
}

// --- Commands ---

static void describeDelete(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &command) {
  step->Destroys = true;
  if (command.ObjectType == RAID_OBJECT_ADAPTER) {
    putAllVirtualDisks(step, facts);
  } else {
    putNamed(step, facts, command);
  }
}

static void describeClear(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &) {
  step->Destroys = true;
  putForeign(step, facts);
}

static void describeImport(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &) {
  putForeign(step, facts);
}

static void describeErase(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &command) {
  step->Destroys = true;
  if (command.ObjectType == RAID_OBJECT_ADAPTER) {
    putText(&step->What, "the security key, without which what it encrypts cannot be read");
  } else {
    putNamed(step, facts, command);
  }
}

static void describeLoss(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &command) {
  step->Destroys = true;
  if (command.ObjectType == RAID_OBJECT_ADAPTER) {
    putText(&step->What, "the adapter");
  } else {
    putNamed(step, facts, command);
  }
}

static void describeCreate(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &command) {
  const RAID_VD_RECORD *virtualDisk = static_cast<const RAID_VD_RECORD *>(command.ObjectData);
  putText(&step->What, "virtual disk ");
  if (virtualDisk != nullptr && virtualDisk->ObjectType == RAID_OBJECT_VIRTUAL_DISK) {
    putVirtualDisk(&step->What, *virtualDisk);
    putText(&step->What, ", ");
  }
  putText(&step->What, "on ");
  RAID_CMD_BLOCK members = command;
  members.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  putNamed(step, facts, members);
  for (UINT32 i = 0; i < command.ObjectIdCount; ++i) {
    const RAID_PD_RECORD *disk = diskOf(facts, command.Command, command.ObjectIds[i]);
    bool isUsed = disk != nullptr && (disk->VDCount != 0 || isForeignDisk(*disk));
    bool isKept = isUsed && disk->State == RAID_STATE_ONLINE && disk->FreeSize != 0; // if the controller keeps to that
    if (isUsed && (!step->Destroys || (step->IsAtRisk && !isKept))) {
      putText(&step->What, "; there is data on disk ");
      putNumber(&step->What, disk->ObjectID);
      step->Destroys = true;
      step->IsAtRisk = isKept;
    }
  }
}

static void describeOther(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &command) {
  if (command.ObjectType == RAID_OBJECT_ADAPTER || command.ObjectIdCount == 0) {
    putText(&step->What, "the adapter");
  } else {
    putNamed(step, facts, command);
  }
}

static constexpr struct {
  UINT32 Command;
  void (*Describe)(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &command);
} g_descriptions[] = {
    {RAID_COMMAND_DELETE, describeDelete}, {RAID_COMMAND_CLEAR, describeClear},
    {RAID_COMMAND_IMPORT, describeImport}, {RAID_COMMAND_SECURE_ERASE, describeErase},
    {RAID_COMMAND_INIT, describeLoss},     {RAID_COMMAND_DISCARD_CACHE, describeLoss},
    {RAID_COMMAND_CREATE, describeCreate},
};

static void describe(CHANGE_STEP *step, const FACTS &facts, const RAID_CMD_BLOCK &command) {
  step->Command = command.Command;
  step->ObjectType = command.ObjectType;
  auto *routine = describeOther;
  for (const auto &row : g_descriptions) {
    routine = row.Command == command.Command ? row.Describe : routine;
  }
  routine(step, facts, command);
}

static EFI_STATUS describeAll(const FACTS &facts, const RAID_CONFIG &request, CHANGE_PLAN *plan) {
  plan->Steps = poolNew<CHANGE_STEP>(UINTN{request.commandCount} + 1);
  if (plan->Steps == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (; plan->Count < request.commandCount; ++plan->Count) {
    CHANGE_STEP *step = &plan->Steps[plan->Count];
    describe(step, facts, request.commands[plan->Count]);
    plan->Destroys = plan->Destroys || step->Destroys;
    plan->Fails = plan->Fails || step->Wrong != nullptr;
    status = step->What.Failed ? EFI_OUT_OF_RESOURCES : status;
  }
  return status;
}

XYL_RESULT planChanges(const XYL_CONTEXT &context, const CONTROLLER &controller, const RAID_CONFIG &request,
                       const RAID_CONFIG *saved, CHANGE_PLAN *plan) {
  *plan = {};
  FACTS facts = {};
  EFI_STATUS status = readFacts(controller.Management, saved, &facts);
  if (!EFI_ERROR(status)) {
    status = describeAll(facts, request, plan);
  }
  freeFacts(controller.Management, &facts);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the change cannot be planned: %a; nothing was changed", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

void freeChangePlan(CHANGE_PLAN *plan) {
  for (UINT32 i = 0; i < plan->Count; ++i) {
    freeText(&plan->Steps[i].What);
  }
  poolRelease(plan->Steps);
}

// --- Telling ---

static const CHAR8 *lossOf(const CHANGE_STEP &step) {
  if (!step.Destroys) {
    return "";
  }
  return step.IsAtRisk ? ", beside which there is room: AT RISK" : ": DESTROYED, with all data";
}

static void sayChanges(const XYL_FRONT *front, const CONTROLLER &controller, const CHANGE_PLAN &plan) {
  say(front, "Controller: ");
  sayIdentity(front, controller.Identity);
  say(front, "\n");
  for (UINT32 i = 0; i < plan.Count; ++i) {
    const CHANGE_STEP &step = plan.Steps[i];
    say(front, "%4d  %-12a  ", i + 1, GetNameFromValue(step.Command, g_commandTable));
    sayText(front, textOf(step.What)); // may be longer than a formatted line
    say(front, "%a%a%a\n", lossOf(step), step.Wrong != nullptr ? "; will fail: " : "",
        step.Wrong != nullptr ? step.Wrong : "");
  }
}

static void writeChanges(const XYL_FRONT *front, const CONTROLLER &controller, const CHANGE_PLAN &plan) {
  JSON json = {};
  json.Front = front;
  jsonObject(&json, nullptr);
  writeIdentity(&json, controller.Identity);
  jsonBool(&json, "destroys", plan.Destroys);
  jsonBool(&json, "complete", !plan.Fails);
  jsonArray(&json, "changes");
  for (UINT32 i = 0; i < plan.Count; ++i) {
    const CHANGE_STEP &step = plan.Steps[i];
    jsonObject(&json, nullptr);
    jsonText(&json, "command", GetNameFromValue(step.Command, g_commandTable));
    jsonText(&json, "object", GetNameFromValue(step.ObjectType, g_objectTypeTable));
    jsonText(&json, "what", textOf(step.What));
    jsonBool(&json, "destroys", step.Destroys);
    if (step.Wrong != nullptr) {
      jsonText(&json, "wrong", step.Wrong);
    }
    jsonEnd(&json);
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

XYL_RESULT tellChanges(const XYL_CONTEXT &context, const CONTROLLER &controller, const CHANGE_PLAN &plan) {
  if (hasOption(context, XYL_OPTION_JSON)) {
    writeChanges(context.Front, controller, plan);
  } else {
    sayChanges(context.Front, controller, plan);
  }
  return plan.Fails ? different() : succeeded();
}
