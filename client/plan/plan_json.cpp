// A plan as JSON.
#include "base/text.h"
#include "client/output/output.h"
#include "client/plan/plan_facts.h"
#include "client/steps/steps.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"

static void writeIds(JSON *json, const CHAR8 *name, const UINT32 *ids, UINT32 count) {
  jsonArray(json, name);
  for (UINT32 i = 0; ids != nullptr && i < count; ++i) {
    jsonNumber(json, nullptr, ids[i]);
  }
  jsonEnd(json);
}

static void writeVirtualDiskMembers(JSON *json, const RAID_VD_RECORD &virtualDisk) {
  jsonNumber(json, "id", virtualDisk.ObjectID);
  jsonWide(json, "name", virtualDisk.Name);
  jsonText(json, "level", GetNameFromValue(virtualDisk.RAIDLevel, g_raidLevelTable));
  jsonNumber(json, "size", virtualDisk.Size);
}

static void writeDestroyed(JSON *json, const RESTORE_PLAN &plan) {
  jsonArray(json, "destroyed");
  for (UINT32 i = 0; !plan.PreservesVirtualDisks && i < recordCount(&plan.VirtualDisks); ++i) {
    const RAID_VD_RECORD &virtualDisk = currentVirtualDisks(plan)[i];
    jsonObject(json, nullptr);
    writeVirtualDiskMembers(json, virtualDisk);
    writeIds(json, "disks", virtualDisk.PDs, virtualDisk.PDCount);
    jsonEnd(json);
  }
  jsonEnd(json);
  jsonBool(json, "securityKeyRemoved",
           findCommand(plan, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER, nullptr) != nullptr);
  jsonArray(json, "contentsLost");
  for (UINT32 i = 0; !plan.PreservesVirtualDisks && i < recordCount(&plan.Disks); ++i) {
    if (plan.LosesContents[i]) {
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
  for (UINT32 i = 0; !plan.PreservesVirtualDisks && i < plan.Saved->logicalDiskCount; ++i) {
    const VIRTUAL_DISK_PLAN &judged = plan.VirtualDiskPlans[i];
    jsonObject(json, nullptr);
    writeVirtualDiskMembers(json, plan.Saved->logicalDisks[i]);
    jsonBool(json, "created", judged.WhyNot.Length == 0);
    if (judged.WhyNot.Length == 0) {
      writeMembers(json, plan.Commands.items[judged.Command - 1]);
    } else {
      jsonText(json, "reason", textOf(judged.WhyNot));
    }
    jsonEnd(json);
  }
  jsonEnd(json);
}

// The saved virtual disks that are not on the controller, and what an import may bring back.
static void writeElsewhere(JSON *json, const RESTORE_PLAN &plan) {
  jsonArray(json, "missing");
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    const VIRTUAL_DISK_PLAN &judged = plan.VirtualDiskPlans[i];
    if (!judged.IsThere) {
      jsonObject(json, nullptr);
      writeVirtualDiskMembers(json, plan.Saved->logicalDisks[i]);
      jsonNumber(json, "members", plan.Saved->logicalDisks[i].PDCount);
      jsonNumber(json, "foreignMembers", judged.ForeignMembers);
      jsonEnd(json);
    }
  }
  jsonEnd(json);
}

static void writeNotBroughtBack(JSON *json, const RESTORE_PLAN &plan) {
  jsonArray(json, "notBroughtBack");
  if (losesKey(plan)) {
    jsonText(json, nullptr, "security key");
  }
  if (losesSecurityMode(plan)) {
    jsonText(json, nullptr, "security mode");
  }
  if (!plan.PreservesVirtualDisks && plan.EncryptedVirtualDisks != 0) {
    jsonText(json, nullptr, "encryption");
  }
  jsonEnd(json);
}

static void writeSpares(JSON *json, const RESTORE_PLAN &plan) {
  jsonArray(json, "hotSpares");
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    const DISK_PLAN &judged = plan.DiskPlans[i];
    if (judged.SpareCommand != 0 && judged.WhyNoSpare.Length == 0) {
      jsonNumber(json, nullptr, plan.Commands.items[judged.SpareCommand - 1].Ids[0]);
    }
  }
  jsonEnd(json);
  jsonArray(json, "hotSparesNotMade");
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    if (plan.DiskPlans[i].WhyNoSpare.Length != 0) {
      jsonObject(json, nullptr);
      jsonNumber(json, "saved", plan.Saved->physicalDisks[i].ObjectID);
      jsonText(json, "reason", textOf(plan.DiskPlans[i].WhyNoSpare));
      jsonEnd(json);
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
  RESTORED_SETTINGS settings;
  findSettings(plan, &settings);
  jsonArray(json, "settings");
  for (UINTN i = 0; i < settings.Count; ++i) {
    const RESTORED_SETTING &setting = settings.Items[i];
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
  for (UINT32 i = 0; i < plan.Commands.count; ++i) {
    const PLAN_COMMAND &command = plan.Commands.items[i];
    jsonObject(json, nullptr);
    jsonText(json, "command", GetNameFromValue(command.Command, g_commandTable));
    jsonText(json, "object", GetNameFromValue(command.ObjectType, g_objectTypeTable));
    writeIds(json, "ids", command.Ids, command.IdCount);
    jsonEnd(json);
  }
  jsonEnd(json);
}

XYL_RESULT writePlan(const XYL_CONTEXT &context, const CONTROLLER &controller, const RESTORE_PLAN &plan) {
  JSON json = {};
  json.Front = context.Front;
  jsonObject(&json, nullptr);
  writeIdentity(&json, controller.Identity);
  jsonBool(&json, "rebuild", !plan.PreservesVirtualDisks);
  jsonBool(&json, "complete", isPlanComplete(plan));
  writeDestroyed(&json, plan);
  writeCreated(&json, plan);
  writeElsewhere(&json, plan);
  writeNotBroughtBack(&json, plan);
  writeSpares(&json, plan);
  writeDisks(&json, plan);
  writeSettings(&json, plan);
  writeCommands(&json, plan);
  STEP_COUNTS counts;
  writeSteps(&json, plan.Log, &counts);
  writeVerdict(&json, plan.Verdict);
  jsonEnd(&json);
  return succeeded();
}
