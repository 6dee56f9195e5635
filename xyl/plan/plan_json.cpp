// A plan as JSON.
#include "base/text.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"
#include "xyl/output/output.h"
#include "xyl/plan/plan_facts.h"
#include "xyl/steps/steps.h"

static void writeIds(JSON *json, const CHAR8 *name, const UINT32 *ids, UINT32 count) {
  jsonArray(json, name);
  for (UINT32 i = 0; ids != nullptr && i < count; ++i) {
    jsonNumber(json, nullptr, ids[i]);
  }
  jsonEnd(json);
}

static void writeVolumeMembers(JSON *json, const RAID_VD_RECORD &volume) {
  jsonNumber(json, "id", volume.ObjectID);
  jsonWide(json, "name", volume.Name);
  jsonText(json, "level", GetNameFromValue(volume.RAIDLevel, g_raidLevelTable));
  jsonNumber(json, "size", volume.Size);
}

static void writeDestroyed(JSON *json, const RESTORE_PLAN &plan) {
  jsonArray(json, "destroyed");
  for (UINT32 i = 0; !plan.PreservesVolumes && i < recordCount(&plan.Volumes); ++i) {
    const RAID_VD_RECORD &volume = currentVolumes(plan)[i];
    jsonObject(json, nullptr);
    writeVolumeMembers(json, volume);
    writeIds(json, "disks", volume.PDs, volume.PDCount);
    jsonEnd(json);
  }
  jsonEnd(json);
  jsonBool(json, "securityKeyRemoved",
           findCommand(plan, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER, nullptr) != nullptr);
  jsonArray(json, "contentsLost");
  for (UINT32 i = 0; !plan.PreservesVolumes && i < recordCount(&plan.Disks); ++i) {
    if (losesContents(plan, currentDisks(plan)[i].ObjectID)) {
      jsonNumber(json, nullptr, currentDisks(plan)[i].ObjectID);
    }
  }
  jsonEnd(json);
}

// As 'show' lists members, which is the reverse of the command's ids.
static void writeMembers(JSON *json, const PLAN_COMMAND &command) {
  jsonArray(json, "disks");
  for (UINT32 i = command.IdCount; i-- > 0;) {
    jsonNumber(json, nullptr, command.Ids[i]);
  }
  jsonEnd(json);
}

static void writeCreated(JSON *json, const RESTORE_PLAN &plan) {
  jsonArray(json, "virtualDisks");
  for (UINT32 i = 0; !plan.PreservesVolumes && i < plan.Saved->logicalDiskCount; ++i) {
    const RAID_VD_RECORD &volume = plan.Saved->logicalDisks[i];
    const PLAN_COMMAND *command = findCommand(plan, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, &volume);
    jsonObject(json, nullptr);
    writeVolumeMembers(json, volume);
    jsonBool(json, "created", command != nullptr);
    if (command != nullptr) {
      writeMembers(json, *command);
    } else {
      jsonText(json, "reason", whyNotCreated(plan, i));
    }
    jsonEnd(json);
  }
  jsonEnd(json);
}

static void writeSpares(JSON *json, const RESTORE_PLAN &plan) {
  jsonArray(json, "hotSpares");
  for (UINT32 i = 0; i < plan.CommandCount; ++i) {
    const PLAN_COMMAND &command = plan.Commands[i];
    if (command.Command == RAID_COMMAND_CHANGE && command.ObjectType == RAID_OBJECT_PHYSICAL_DISK) {
      jsonNumber(json, nullptr, command.Ids[0]);
    }
  }
  jsonEnd(json);
}

static void writeDisks(JSON *json, const RESTORE_PLAN &plan) {
  jsonArray(json, "disks");
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    TEXT reason = {};
    putDiskReason(&reason, plan, i);
    jsonObject(json, nullptr);
    jsonNumber(json, "saved", plan.Saved->physicalDisks[i].ObjectID);
    if (plan.Map != nullptr && plan.Map[i] != 0) {
      jsonNumber(json, "current", plan.Map[i] - 1);
    } else {
      jsonNull(json, "current");
    }
    jsonText(json, "reason", textOf(reason));
    jsonEnd(json);
    freeText(&reason);
  }
  jsonEnd(json);
}

static void writeSettings(JSON *json, const RESTORE_PLAN &plan) {
  SETTINGS settings;
  findSettings(plan, &settings);
  jsonArray(json, "settings");
  for (UINTN i = 0; i < settings.Count; ++i) {
    const SETTING &setting = settings.Items[i];
    jsonObject(json, nullptr);
    jsonText(json, "element", setting.Element);
    if (*setting.Rate != 0) {
      jsonText(json, "rate", setting.Rate);
    }
    jsonText(json, "current", setting.Current);
    jsonText(json, "saved", setting.Saved);
    jsonEnd(json);
  }
  jsonEnd(json);
}

static void writeCommands(JSON *json, const RESTORE_PLAN &plan) {
  jsonArray(json, "commands");
  for (UINT32 i = 0; i < plan.CommandCount; ++i) {
    const PLAN_COMMAND &command = plan.Commands[i];
    jsonObject(json, nullptr);
    jsonText(json, "command", GetNameFromValue(command.Command, g_commandTable));
    jsonText(json, "object", GetNameFromValue(command.ObjectType, g_objectTypeTable));
    writeIds(json, "ids", command.Ids, command.IdCount);
    jsonEnd(json);
  }
  jsonEnd(json);
}

XYL_RESULT writePlan(const XYL_CONTEXT &context, const RESTORE_PLAN &plan) {
  JSON json = {};
  json.Host = context.Host;
  jsonObject(&json, nullptr);
  jsonBool(&json, "rebuild", !plan.PreservesVolumes);
  jsonBool(&json, "complete", isPlanComplete(plan));
  writeDestroyed(&json, plan);
  writeCreated(&json, plan);
  writeSpares(&json, plan);
  writeDisks(&json, plan);
  writeSettings(&json, plan);
  writeCommands(&json, plan);
  STEP_COUNTS counts;
  writeSteps(&json, plan.Log, &counts);
  jsonEnd(&json);
  return succeeded();
}
