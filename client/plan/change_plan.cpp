#include "client/plan/change_plan.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "driver/controller/controller.h"
#include "driver/xml/xml.h"
#include "raid_values.h"
#include "records/ids.h"

namespace xyl::client {

// What the steps are described from.
struct Facts {
  const RAID_CONFIG *saved; // or null
  RAID_CMD_RESULT disks;
  RAID_CMD_RESULT virtualDisks;
  records::IdIndex diskIndex;
  records::IdIndex virtualDiskIndex;
  records::IdIndex savedIndex;
  UINT64 *places; // pool; the disks by their FQDD
};

static const RAID_PD_RECORD *disksOf(const Facts &facts) {
  return static_cast<const RAID_PD_RECORD *>(facts.disks.Data);
}

static const RAID_VD_RECORD *virtualDisksOf(const Facts &facts) {
  return static_cast<const RAID_VD_RECORD *>(facts.virtualDisks.Data);
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
  EFI_STATUS status = driver::issueCommand(controller, RAID_COMMAND_GET, objectType, answer);
  if (EFI_ERROR(status)) {
    *answer = {};
  }
  return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
}

static EFI_STATUS readFacts(RAID_MGMT_PROTOCOL *controller, const RAID_CONFIG *saved, Facts *facts) {
  facts->saved = saved;
  EFI_STATUS status = readList(controller, RAID_OBJECT_PHYSICAL_DISK, &facts->disks);
  if (!EFI_ERROR(status)) {
    status = readList(controller, RAID_OBJECT_VIRTUAL_DISK, &facts->virtualDisks);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT32 count = driver::recordCount(&facts->disks);
  facts->places = poolNew<UINT64>(UINTN{count} + 1);
  bool made = facts->places != nullptr && records::indexRecords(&facts->diskIndex, disksOf(*facts), count) &&
              records::indexRecords(&facts->virtualDiskIndex, virtualDisksOf(*facts),
                                    driver::recordCount(&facts->virtualDisks)) &&
              records::indexRecords(&facts->savedIndex, saved != nullptr ? saved->physicalDisks : nullptr,
                                    saved != nullptr ? saved->physicalDiskCount : 0);
  if (!made) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < count; ++i) {
    facts->places[i] = indexKey(hashOf(disksOf(*facts)[i].FQDD), i);
  }
  sortKeys(facts->places, count);
  return EFI_SUCCESS;
}

static void freeFacts(RAID_MGMT_PROTOCOL *controller, Facts *facts) {
  records::IdIndex *indices[] = {&facts->diskIndex, &facts->virtualDiskIndex, &facts->savedIndex};
  for (records::IdIndex *index : indices) {
    records::freeIds(index);
  }
  poolFree(facts->places);
  driver::giveBack(controller, &facts->disks);
  driver::giveBack(controller, &facts->virtualDisks);
}

// --- Objects ---

// The controller's disk that a command's id means, or null. With a saved configuration it is the one in the same place.
static const RAID_PD_RECORD *diskOf(const Facts &facts, UINT32 command, UINT32 id) {
  UINT32 saved = records::findId(facts.savedIndex, id);
  if (saved == records::noId || (command != RAID_COMMAND_CREATE && command != RAID_COMMAND_CHANGE)) {
    UINT32 place = records::findId(facts.diskIndex, id);
    return place != records::noId ? &disksOf(facts)[place] : nullptr;
  }
  const CHAR16 *fqdd = facts.saved->physicalDisks[saved].FQDD;
  UINT32 count = driver::recordCount(&facts.disks);
  UINT32 hash = hashOf(fqdd);
  for (UINTN at = lowerBound(facts.places, count, indexKey(hash, 0)); at < count && facts.places[at] >> 32 == hash;
       ++at) {
    const RAID_PD_RECORD *disk = &disksOf(facts)[static_cast<UINT32>(facts.places[at])];
    const CHAR16 *other = disk->FQDD;
    if (fqdd != nullptr && other != nullptr && textEqual(fqdd, other)) {
      return disk;
    }
  }
  return nullptr;
}

static void putVirtualDisk(Text *text, const RAID_VD_RECORD &virtualDisk) {
  CHAR8 size[sizeTextCapacity];
  CHAR8 name[64];
  formatSize(size, virtualDisk.Size);
  textNarrow(name, virtualDisk.Name, sizeof(name) - 1);
  putText(text, "\"");
  putText(text, name);
  putText(text, "\", ");
  putText(text, driver::GetNameFromValue(virtualDisk.RAIDLevel, driver::g_raidLevelTable));
  if (virtualDisk.Size != 0) {
    putText(text, ", ");
    putText(text, size);
  }
}

// The virtual disks and disks that the command names.
static void putNamed(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &command) {
  for (UINT32 i = 0; i < command.ObjectIdCount; ++i) {
    UINT32 id = command.ObjectIds[i];
    putText(&step->what, i != 0 ? "; " : "");
    bool isVirtualDisk = command.ObjectType == RAID_OBJECT_VIRTUAL_DISK;
    putText(&step->what, isVirtualDisk ? "virtual disk " : "disk ");
    UINT32 place = records::findId(facts.virtualDiskIndex, id);
    const RAID_PD_RECORD *disk = isVirtualDisk ? nullptr : diskOf(facts, command.Command, id);
    putNumber(&step->what, disk != nullptr ? disk->ObjectID : id);
    if (isVirtualDisk && place != records::noId) {
      putText(&step->what, " ");
      putVirtualDisk(&step->what, virtualDisksOf(facts)[place]);
    } else if (disk == nullptr) {
      putText(&step->what, " (not there)");
      step->wrong = "it names what is not there";
    }
  }
}

static void putAllVirtualDisks(ChangeStep *step, const Facts &facts) {
  putText(&step->what, "hot spare assignments and all virtual disks");
  for (UINT32 i = 0; i < driver::recordCount(&facts.virtualDisks); ++i) {
    putText(&step->what, i == 0 ? ": " : "; ");
    putNumber(&step->what, virtualDisksOf(facts)[i].ObjectID);
    putText(&step->what, " ");
    putVirtualDisk(&step->what, virtualDisksOf(facts)[i]);
  }
}

static bool isForeignDisk(const RAID_PD_RECORD &disk) {
  return disk.State == RAID_STATE_FOREIGN || disk.SecureState == RAID_SECURE_STATE_FOREIGN;
}

// "the foreign configuration on disks 1009, 1010"
static void putForeign(ChangeStep *step, const Facts &facts) {
  const CHAR8 *separator = "the foreign configuration on disks ";
  for (UINT32 i = 0; i < driver::recordCount(&facts.disks); ++i) {
    if (isForeignDisk(disksOf(facts)[i])) {
      putText(&step->what, separator);
      putNumber(&step->what, disksOf(facts)[i].ObjectID);
      separator = ", ";
    }
  }
  if (step->what.length == 0) {
    putText(&step->what, "no disk is foreign");
    step->wrong = "nothing is foreign";
  }
}

// --- Commands ---

static void describeDelete(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &command) {
  step->destroys = true;
  if (command.ObjectType == RAID_OBJECT_ADAPTER) {
    putAllVirtualDisks(step, facts);
  } else {
    putNamed(step, facts, command);
  }
}

static void describeClear(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &) {
  step->destroys = true;
  putForeign(step, facts);
}

static void describeImport(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &) {
  putForeign(step, facts);
}

static void describeErase(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &command) {
  step->destroys = true;
  if (command.ObjectType == RAID_OBJECT_ADAPTER) {
    putText(&step->what, "the security key, without which what it encrypts cannot be read");
  } else {
    putNamed(step, facts, command);
  }
}

static void describeLoss(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &command) {
  step->destroys = true;
  if (command.ObjectType == RAID_OBJECT_ADAPTER) {
    putText(&step->what, "the adapter");
  } else {
    putNamed(step, facts, command);
  }
}

static void describeCreate(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &command) {
  const RAID_VD_RECORD *virtualDisk = static_cast<const RAID_VD_RECORD *>(command.ObjectData);
  putText(&step->what, "virtual disk ");
  if (virtualDisk != nullptr && virtualDisk->ObjectType == RAID_OBJECT_VIRTUAL_DISK) {
    putVirtualDisk(&step->what, *virtualDisk);
    putText(&step->what, ", ");
  }
  putText(&step->what, "on ");
  RAID_CMD_BLOCK members = command;
  members.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  putNamed(step, facts, members);
  for (UINT32 i = 0; i < command.ObjectIdCount; ++i) {
    const RAID_PD_RECORD *disk = diskOf(facts, command.Command, command.ObjectIds[i]);
    bool isUsed = disk != nullptr && (disk->VDCount != 0 || isForeignDisk(*disk));
    bool isKept = isUsed && disk->State == RAID_STATE_ONLINE && disk->FreeSize != 0; // if the controller keeps to that
    if (isUsed && (!step->destroys || (step->isAtRisk && !isKept))) {
      putText(&step->what, "; there is data on disk ");
      putNumber(&step->what, disk->ObjectID);
      step->destroys = true;
      step->isAtRisk = isKept;
    }
  }
}

static void describeOther(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &command) {
  if (command.ObjectType == RAID_OBJECT_ADAPTER || command.ObjectIdCount == 0) {
    putText(&step->what, "the adapter");
  } else {
    putNamed(step, facts, command);
  }
}

static constexpr struct {
  UINT32 command;
  void (*describe)(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &command);
} g_descriptions[] = {
    {RAID_COMMAND_DELETE, describeDelete}, {RAID_COMMAND_CLEAR, describeClear},
    {RAID_COMMAND_IMPORT, describeImport}, {RAID_COMMAND_SECURE_ERASE, describeErase},
    {RAID_COMMAND_INIT, describeLoss},     {RAID_COMMAND_DISCARD_CACHE, describeLoss},
    {RAID_COMMAND_CREATE, describeCreate},
};

static void describe(ChangeStep *step, const Facts &facts, const RAID_CMD_BLOCK &command) {
  step->command = command.Command;
  step->objectType = command.ObjectType;
  auto *routine = describeOther;
  for (const auto &row : g_descriptions) {
    routine = row.command == command.Command ? row.describe : routine;
  }
  routine(step, facts, command);
}

static EFI_STATUS describeAll(const Facts &facts, const RAID_CONFIG &request, ChangePlan *plan) {
  plan->steps = poolNew<ChangeStep>(UINTN{request.commandCount} + 1);
  if (plan->steps == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (; plan->count < request.commandCount; ++plan->count) {
    ChangeStep *step = &plan->steps[plan->count];
    describe(step, facts, request.commands[plan->count]);
    plan->destroys = plan->destroys || step->destroys;
    plan->fails = plan->fails || step->wrong != nullptr;
    status = step->what.failed ? EFI_OUT_OF_RESOURCES : status;
  }
  return status;
}

Result planChanges(const Context &context, const Controller &controller, const RAID_CONFIG &request,
                   const RAID_CONFIG *saved, ChangePlan *plan) {
  *plan = {};
  Facts facts = {};
  EFI_STATUS status = readFacts(controller.management, saved, &facts);
  if (!EFI_ERROR(status)) {
    status = describeAll(facts, request, plan);
  }
  freeFacts(controller.management, &facts);
  if (EFI_ERROR(status)) {
    complain(context.front, "the change cannot be planned: %a; nothing was changed", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

void freeChangePlan(ChangePlan *plan) {
  for (UINT32 i = 0; i < plan->count; ++i) {
    freeText(&plan->steps[i].what);
  }
  poolRelease(plan->steps);
}

// --- Telling ---

static const CHAR8 *lossOf(const ChangeStep &step) {
  if (!step.destroys) {
    return "";
  }
  return step.isAtRisk ? ", beside which there is room: AT RISK" : ": DESTROYED, with all data";
}

static void sayChanges(const Front *front, const Controller &controller, const ChangePlan &plan) {
  say(front, "Controller: ");
  sayIdentity(front, controller.identity);
  say(front, "\n");
  for (UINT32 i = 0; i < plan.count; ++i) {
    const ChangeStep &step = plan.steps[i];
    say(front, "%4d  %-12a  ", i + 1, driver::GetNameFromValue(step.command, driver::g_commandTable));
    sayText(front, textOf(step.what)); // may be longer than a formatted line
    say(front, "%a%a%a\n", lossOf(step), step.wrong != nullptr ? "; will fail: " : "",
        step.wrong != nullptr ? step.wrong : "");
  }
}

static void writeChanges(const Front *front, const Controller &controller, const ChangePlan &plan) {
  Json json = {};
  json.front = front;
  jsonObject(&json, nullptr);
  writeIdentity(&json, controller.identity);
  jsonBool(&json, "destroys", plan.destroys);
  jsonBool(&json, "complete", !plan.fails);
  jsonArray(&json, "changes");
  for (UINT32 i = 0; i < plan.count; ++i) {
    const ChangeStep &step = plan.steps[i];
    jsonObject(&json, nullptr);
    jsonText(&json, "command", driver::GetNameFromValue(step.command, driver::g_commandTable));
    jsonText(&json, "object", driver::GetNameFromValue(step.objectType, driver::g_objectTypeTable));
    jsonText(&json, "what", textOf(step.what));
    jsonBool(&json, "destroys", step.destroys);
    if (step.wrong != nullptr) {
      jsonText(&json, "wrong", step.wrong);
    }
    jsonEnd(&json);
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

Result tellChanges(const Context &context, const Controller &controller, const ChangePlan &plan) {
  if (hasOption(context, optionJson)) {
    writeChanges(context.front, controller, plan);
  } else {
    sayChanges(context.front, controller, plan);
  }
  return plan.fails ? different() : succeeded();
}

} // namespace xyl::client
