// A plan in words, and what a rebuild shows before it asks.
#include "base/text.h"
#include "client/compare/compare.h"
#include "client/plan/plan_facts.h"
#include "client/steps/steps.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"

namespace xyl::client {

static void sayVirtualDisk(const Front *front, const RAID_VD_RECORD &virtualDisk) {
  CHAR8 size[sizeTextCapacity];
  formatSize(size, virtualDisk.Size);
  const CHAR16 *name = virtualDisk.Name;
  say(front, "  virtual disk %d \"%s\", %a, %a", virtualDisk.ObjectID, name != nullptr ? name : u"",
      driver::GetNameFromValue(virtualDisk.RAIDLevel, driver::g_raidLevelTable), size);
}

static bool isForeignAt(const RestorePlan &plan, UINT32 place) {
  return isForeign(currentDisks(plan)[place]);
}

static bool losesContentsAt(const RestorePlan &plan, UINT32 place) {
  return plan.losesContents[place];
}

// A line with the ids of the current disks of which that is so, if there are any.
static void sayDisksThat(const Front *front, const RestorePlan &plan, const CHAR8 *words,
                         bool (*isSo)(const RestorePlan &plan, UINT32 place)) {
  const CHAR8 *before = words;
  for (UINT32 i = 0; i < driver::recordCount(&plan.disks); ++i) {
    if (isSo(plan, i)) {
      say(front, "%a%d", before, currentDisks(plan)[i].ObjectID);
      before = ", ";
    }
  }
  sayLines(front, before == words ? "" : "\n");
}

static void sayDestroyed(const Front *front, const RestorePlan &plan) {
  say(front, "The rebuild destroys, with all data:\n");
  for (UINT32 i = 0; i < driver::recordCount(&plan.virtualDisks); ++i) {
    const RAID_VD_RECORD &virtualDisk = currentVirtualDisks(plan)[i];
    const UINT32 *members = virtualDisk.PDs;
    WordList disks = {};
    for (UINT32 j = 0; members != nullptr && j < virtualDisk.PDCount; ++j) {
      appendNumber(disks, ", ", members[j]);
    }
    sayVirtualDisk(front, virtualDisk);
    say(front, ", on disks %a\n", orNone(disks.text));
  }
  sayDisksThat(front, plan, "  foreign configurations, on disks ", isForeignAt);
  say(front, "  hot spare assignments\n");
  if (findCommand(plan, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER, nullptr) != nullptr) {
    say(front, "  the security key\n");
  }
  sayDisksThat(front, plan, "Disks that lose their contents: ", losesContentsAt);
}

// Documents list members in the reverse of the controller's order, and so does what is made from one.
static void sayCreatedVirtualDisk(const Front *front, const RestorePlan &plan, UINT32 index) {
  const VirtualDiskPlan &judged = plan.virtualDiskPlans[index];
  sayVirtualDisk(front, plan.saved->logicalDisks[index]);
  if (judged.whyNot.length != 0) {
    say(front, ": NOT CREATED, %a\n", textOf(judged.whyNot));
    return;
  }
  const PlanCommand &command = plan.commands.items[judged.command - 1];
  WordList disks = {};
  for (UINT32 j = command.idCount; j-- > 0;) {
    appendNumber(disks, ", ", command.ids[j]);
  }
  say(front, ", on disks %a\n", orNone(disks.text));
}

static void saySpares(const Front *front, const RestorePlan &plan) {
  WordList spares = {};
  WordList alone = {};
  for (UINT32 i = 0; i < plan.saved->physicalDiskCount; ++i) {
    const DiskPlan &judged = plan.diskPlans[i];
    if (judged.spareCommand != 0 && judged.whyNoSpare.length == 0) {
      appendNumber(spares, ", ", plan.commands.items[judged.spareCommand - 1].ids[0]);
    }
    if (plan.map == nullptr || plan.map[i] == 0) {
      appendNumber(alone, ", ", plan.saved->physicalDisks[i].ObjectID);
    }
  }
  say(front, "  hot spares on disks %a\n", orNone(spares.text));
  for (UINT32 i = 0; i < plan.saved->physicalDiskCount; ++i) {
    if (plan.diskPlans[i].whyNoSpare.length != 0) {
      say(front, "  hot spare %d: NOT MADE, %a\n", plan.saved->physicalDisks[i].ObjectID,
          textOf(plan.diskPlans[i].whyNoSpare));
    }
  }
  say(front, "Saved disks without a partner: %a\n", orNone(alone.text));
}

static void sayCreated(const Front *front, const RestorePlan &plan) {
  say(front, "It then creates:\n");
  for (UINT32 i = 0; i < plan.saved->logicalDiskCount; ++i) {
    sayCreatedVirtualDisk(front, plan, i);
  }
  saySpares(front, plan);
}

// What no restore brings back, if there is anything.
static void sayNotBroughtBack(const Front *front, const RestorePlan &plan) {
  if (losesKey(plan)) {
    say(front, "Not brought back: the security key, whose passphrase no document holds\n");
  }
  if (losesSecurityMode(plan)) {
    say(front, "Not brought back: the security mode\n");
  }
  if (!plan.preservesVirtualDisks && plan.encryptedVirtualDisks != 0) {
    say(front, "Not brought back: the encryption of %d of the saved virtual disks\n", plan.encryptedVirtualDisks);
  }
}

static void sayMissing(const Front *front, const RestorePlan &plan) {
  for (UINT32 i = 0; i < plan.saved->logicalDiskCount; ++i) {
    if (!plan.virtualDiskPlans[i].isThere) {
      sayVirtualDisk(front, plan.saved->logicalDisks[i]);
      say(front, ": NOT ON THE CONTROLLER, and this restore does not create it\n");
    }
  }
}

// The saved virtual disks of which foreign disks are here: those that an import may bring back, or the others.
static void sayForeignThat(const Front *front, const RestorePlan &plan, bool areWhole, const CHAR8 *words) {
  for (UINT32 i = 0; i < plan.saved->logicalDiskCount; ++i) {
    UINT32 members = plan.virtualDiskPlans[i].foreignMembers;
    if (members != 0 && plan.virtualDiskPlans[i].mayBeImported == areWhole) {
      sayLines(front, words);
      words = "";
      sayVirtualDisk(front, plan.saved->logicalDisks[i]);
      say(front, ": %d of its %d disks are here\n", members, plan.saved->logicalDisks[i].PDCount);
    }
  }
}

static void sayForeign(const Front *front, const RestorePlan &plan) {
  sayForeignThat(front, plan, true,
                 "'xyl import' may bring back with their data, from disks that are here and foreign:\n");
  sayForeignThat(front, plan, false, "Too few foreign disks are here to import:\n");
}

Result checkPlan(const Context &context, const RestorePlan &plan) {
  if (!EFI_ERROR(plan.status)) {
    return succeeded();
  }
  if (plan.status == EFI_UNSUPPORTED) {
    complain(context.front,
             "the saved configuration belongs to another kind of adapter; nothing was changed. Choose the "
             "controller that it was saved from");
  } else {
    complain(context.front, "the restore would end half-way, %a; nothing was changed", statusWords(plan.status));
  }
  return failed(plan.status);
}

static void sayController(const Front *front, const Controller &controller) {
  say(front, "Controller: ");
  sayIdentity(front, controller.identity);
  say(front, "\n");
}

Result showRebuild(const Context &context, const Controller &controller, const RestorePlan &plan) {
  Result result = checkPlan(context, plan);
  if (!isFailure(result)) {
    sayController(context.front, controller);
    sayDestroyed(context.front, plan);
    sayCreated(context.front, plan);
    sayNotBroughtBack(context.front, plan);
    sayForeign(context.front, plan);
  }
  return result;
}

static EFI_STATUS sayDisks(const Front *front, const RestorePlan &plan) {
  say(front, "\nDisks:\n  %5a  %10a  %-7a  %a\n", "Saved", "Size", "Now", "Why");
  for (UINT32 i = 0; i < plan.saved->physicalDiskCount; ++i) {
    CHAR8 size[sizeTextCapacity];
    formatSize(size, plan.saved->physicalDisks[i].Size);
    WordList now = {};
    if (plan.map != nullptr && plan.map[i] != 0) {
      appendNumber(now, "", plan.map[i] - 1);
    }
    Text reason = {};
    putDiskReason(&reason, plan, i);
    say(front, "  %5d  %10a  %-7a  %a\n", plan.saved->physicalDisks[i].ObjectID, size, orNone(now.text),
        textOf(reason));
    bool isShort = reason.failed;
    freeText(&reason);
    if (isShort) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS saySettings(const Front *front, const RestorePlan &plan) {
  RestoredSettings settings;
  findSettings(plan, &settings);
  bool isSent = findCommand(plan, RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, nullptr) != nullptr;
  bool isLeft = settings.count != 0 && !isSent;
  say(front, "\nAdapter settings that %a: %d%a\n", isSent ? "are brought back" : "differ", settings.count,
      isLeft ? "; this adapter does not take any, they stay as they are" : "");
  for (UINTN i = 0; i < settings.count; ++i) {
    const RestoredSetting &setting = settings.items[i];
    Text words = {};
    putElementWords(&words, setting.element);
    say(front, "  %a%a%a: %a -> %a%a\n", textOf(words), *setting.rate != 0 ? " " : "", setting.rate, setting.current,
        setting.saved,
        textEqual(setting.saved, "-") ? " (not saved, stays)"
        : isSent && setting.isFixed   ? " (this adapter does not change it)"
                                      : "");
    bool isShort = words.failed;
    freeText(&words);
    if (isShort) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return EFI_SUCCESS;
}

static void saySteps(const Front *front, const RestorePlan &plan) {
  say(front, "\n%4a  %-20a  %a\n", "", "Step", "Object");
  UINT32 number = 0;
  LogStep step;
  for (const XML_NODE *node = childNamed(plan.log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    say(front, "%4d  %-20a  %a%a%a\n", ++number, orNone(step.name), orNone(step.object.text),
        step.failed ? ": not done, " : "", step.failed ? statusWords(step.status) : "");
  }
}

static Result showPlan(const Context &context, const Controller &controller, const RestorePlan &plan) {
  EFI_STATUS status = EFI_SUCCESS;
  if (plan.preservesVirtualDisks) {
    sayController(context.front, controller);
    say(context.front, "The virtual disks and hot spares stay as they are.\n");
    sayMissing(context.front, plan);
    sayNotBroughtBack(context.front, plan);
    sayForeign(context.front, plan);
  } else {
    Result result = showRebuild(context, controller, plan);
    status = isFailure(result) ? result.status : sayDisks(context.front, plan);
  }
  status = EFI_ERROR(status) ? status : saySettings(context.front, plan);
  if (EFI_ERROR(status)) {
    complain(context.front, "the plan cannot be shown: %a", statusWords(status));
    return failed(status);
  }
  saySteps(context.front, plan);
  say(context.front, "\n");
  sayVerdict(context.front, plan.verdict, /* isToCome= */ true);
  return succeeded();
}

Result tellPlan(const Context &context, const Controller &controller, const RestorePlan &plan) {
  Result result = checkPlan(context, plan);
  if (isFailure(result)) {
    return result;
  }
  result = hasOption(context, optionJson) ? writePlan(context, controller, plan) : showPlan(context, controller, plan);
  return isFailure(result) || isPlanComplete(plan) ? result : different();
}

} // namespace xyl::client
