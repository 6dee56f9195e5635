// A plan as JSON.
#include "base/text.h"
#include "client/output/output.h"
#include "client/plan/plan_facts.h"
#include "client/steps/steps.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"

namespace xyl::client {

static void writeIds(Json *json, const CHAR8 *name, const UINT32 *ids, UINT32 count) {
  jsonArray(json, name);
  for (UINT32 i = 0; ids != nullptr && i < count; ++i) {
    jsonNumber(json, nullptr, ids[i]);
  }
  jsonEnd(json);
}

static void writeVirtualDiskMembers(Json *json, const RAID_VD_RECORD &virtualDisk) {
  jsonNumber(json, "id", virtualDisk.ObjectID);
  jsonWide(json, "name", virtualDisk.Name);
  jsonText(json, "level", driver::GetNameFromValue(virtualDisk.RAIDLevel, driver::g_raidLevelTable));
  jsonNumber(json, "size", virtualDisk.Size);
}

static void writeDestroyed(Json *json, const RestorePlan &plan) {
  jsonArray(json, "destroyed");
  for (UINT32 i = 0; !plan.preservesVirtualDisks && i < driver::recordCount(&plan.virtualDisks); ++i) {
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
  for (UINT32 i = 0; !plan.preservesVirtualDisks && i < driver::recordCount(&plan.disks); ++i) {
    if (plan.losesContents[i]) {
      jsonNumber(json, nullptr, currentDisks(plan)[i].ObjectID);
    }
  }
  jsonEnd(json);
}

// As 'show' lists members, which is the reverse of the command's ids.
static void writeMembers(Json *json, const PlanCommand &command) {
  jsonArray(json, "disks");
  for (UINT32 i = command.idCount; i-- > 0;) {
    jsonNumber(json, nullptr, command.ids[i]);
  }
  jsonEnd(json);
}

static void writeCreated(Json *json, const RestorePlan &plan) {
  jsonArray(json, "virtualDisks");
  for (UINT32 i = 0; !plan.preservesVirtualDisks && i < plan.saved->logicalDiskCount; ++i) {
    const VirtualDiskPlan &judged = plan.virtualDiskPlans[i];
    jsonObject(json, nullptr);
    writeVirtualDiskMembers(json, plan.saved->logicalDisks[i]);
    jsonBool(json, "created", judged.whyNot.length == 0);
    if (judged.whyNot.length == 0) {
      writeMembers(json, plan.commands.items[judged.command - 1]);
    } else {
      jsonText(json, "reason", textOf(judged.whyNot));
    }
    jsonEnd(json);
  }
  jsonEnd(json);
}

// The saved virtual disks that are not on the controller, and what an import may bring back.
static void writeElsewhere(Json *json, const RestorePlan &plan) {
  jsonArray(json, "missing");
  for (UINT32 i = 0; i < plan.saved->logicalDiskCount; ++i) {
    const VirtualDiskPlan &judged = plan.virtualDiskPlans[i];
    if (!judged.isThere) {
      jsonObject(json, nullptr);
      writeVirtualDiskMembers(json, plan.saved->logicalDisks[i]);
      jsonNumber(json, "members", plan.saved->logicalDisks[i].PDCount);
      jsonNumber(json, "foreignMembers", judged.foreignMembers);
      jsonEnd(json);
    }
  }
  jsonEnd(json);
}

static void writeNotBroughtBack(Json *json, const RestorePlan &plan) {
  jsonArray(json, "notBroughtBack");
  if (losesKey(plan)) {
    jsonText(json, nullptr, "security key");
  }
  if (losesSecurityMode(plan)) {
    jsonText(json, nullptr, "security mode");
  }
  if (!plan.preservesVirtualDisks && plan.encryptedVirtualDisks != 0) {
    jsonText(json, nullptr, "encryption");
  }
  jsonEnd(json);
}

static void writeSpares(Json *json, const RestorePlan &plan) {
  jsonArray(json, "hotSpares");
  for (UINT32 i = 0; i < plan.saved->physicalDiskCount; ++i) {
    const DiskPlan &judged = plan.diskPlans[i];
    if (judged.spareCommand != 0 && judged.whyNoSpare.length == 0) {
      jsonNumber(json, nullptr, plan.commands.items[judged.spareCommand - 1].ids[0]);
    }
  }
  jsonEnd(json);
  jsonArray(json, "hotSparesNotMade");
  for (UINT32 i = 0; i < plan.saved->physicalDiskCount; ++i) {
    if (plan.diskPlans[i].whyNoSpare.length != 0) {
      jsonObject(json, nullptr);
      jsonNumber(json, "saved", plan.saved->physicalDisks[i].ObjectID);
      jsonText(json, "reason", textOf(plan.diskPlans[i].whyNoSpare));
      jsonEnd(json);
    }
  }
  jsonEnd(json);
}

static void writeDisks(Json *json, const RestorePlan &plan) {
  jsonArray(json, "disks");
  for (UINT32 i = 0; i < plan.saved->physicalDiskCount; ++i) {
    Text reason = {};
    putDiskReason(&reason, plan, i);
    jsonObject(json, nullptr);
    jsonNumber(json, "saved", plan.saved->physicalDisks[i].ObjectID);
    if (plan.map != nullptr && plan.map[i] != 0) {
      jsonNumber(json, "current", plan.map[i] - 1);
    } else {
      jsonNull(json, "current");
    }
    jsonText(json, "reason", textOf(reason));
    jsonEnd(json);
    freeText(&reason);
  }
  jsonEnd(json);
}

static void writeSettings(Json *json, const RestorePlan &plan) {
  RestoredSettings settings;
  findSettings(plan, &settings);
  jsonArray(json, "settings");
  for (UINTN i = 0; i < settings.count; ++i) {
    const RestoredSetting &setting = settings.items[i];
    jsonObject(json, nullptr);
    jsonText(json, "element", setting.element);
    if (*setting.rate != 0) {
      jsonText(json, "rate", setting.rate);
    }
    jsonText(json, "current", setting.current);
    jsonText(json, "saved", setting.saved);
    jsonEnd(json);
  }
  jsonEnd(json);
}

static void writeCommands(Json *json, const RestorePlan &plan) {
  jsonArray(json, "commands");
  for (UINT32 i = 0; i < plan.commands.count; ++i) {
    const PlanCommand &command = plan.commands.items[i];
    jsonObject(json, nullptr);
    jsonText(json, "command", driver::GetNameFromValue(command.command, driver::g_commandTable));
    jsonText(json, "object", driver::GetNameFromValue(command.objectType, driver::g_objectTypeTable));
    writeIds(json, "ids", command.ids, command.idCount);
    jsonEnd(json);
  }
  jsonEnd(json);
}

Result writePlan(const Context &context, const Controller &controller, const RestorePlan &plan) {
  Json json = {};
  json.front = context.front;
  jsonObject(&json, nullptr);
  writeIdentity(&json, controller.identity);
  jsonBool(&json, "rebuild", !plan.preservesVirtualDisks);
  jsonBool(&json, "complete", isPlanComplete(plan));
  writeDestroyed(&json, plan);
  writeCreated(&json, plan);
  writeElsewhere(&json, plan);
  writeNotBroughtBack(&json, plan);
  writeSpares(&json, plan);
  writeDisks(&json, plan);
  writeSettings(&json, plan);
  writeCommands(&json, plan);
  StepCounts counts;
  writeSteps(&json, plan.log, &counts);
  writeVerdict(&json, plan.verdict);
  jsonEnd(&json);
  return succeeded();
}

} // namespace xyl::client
