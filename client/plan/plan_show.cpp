// A plan in words, and what a rebuild shows before it asks.
#include "base/text.h"
#include "client/compare/compare.h"
#include "client/plan/plan_facts.h"
#include "client/steps/steps.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"

static void sayVirtualDisk(const XYL_FRONT *front, const RAID_VD_RECORD &virtualDisk) {
  CHAR8 size[SIZE_TEXT_CAPACITY];
  formatSize(size, virtualDisk.Size);
  const CHAR16 *name = virtualDisk.Name;
  say(front, "  virtual disk %d \"%s\", %a, %a", virtualDisk.ObjectID, name != nullptr ? name : u"",
      GetNameFromValue(virtualDisk.RAIDLevel, g_raidLevelTable), size);
}

static bool isForeignAt(const RESTORE_PLAN &plan, UINT32 place) {
  return isForeign(currentDisks(plan)[place]);
}

static bool losesContentsAt(const RESTORE_PLAN &plan, UINT32 place) {
  return plan.LosesContents[place];
}

// A line with the ids of the current disks of which that is so, if there are any.
static void sayDisksThat(const XYL_FRONT *front, const RESTORE_PLAN &plan, const CHAR8 *words,
                         bool (*isSo)(const RESTORE_PLAN &plan, UINT32 place)) {
  const CHAR8 *before = words;
  for (UINT32 i = 0; i < recordCount(&plan.Disks); ++i) {
    if (isSo(plan, i)) {
      say(front, "%a%d", before, currentDisks(plan)[i].ObjectID);
      before = ", ";
    }
  }
  sayLines(front, before == words ? "" : "\n");
}

static void sayDestroyed(const XYL_FRONT *front, const RESTORE_PLAN &plan) {
  say(front, "The rebuild destroys, with all data:\n");
  for (UINT32 i = 0; i < recordCount(&plan.VirtualDisks); ++i) {
    const RAID_VD_RECORD &virtualDisk = currentVirtualDisks(plan)[i];
    const UINT32 *members = virtualDisk.PDs;
    WORD_LIST disks = {};
    for (UINT32 j = 0; members != nullptr && j < virtualDisk.PDCount; ++j) {
      appendNumber(disks, ", ", members[j]);
    }
    sayVirtualDisk(front, virtualDisk);
    say(front, ", on disks %a\n", orNone(disks.Text));
  }
  sayDisksThat(front, plan, "  foreign configurations, on disks ", isForeignAt);
  say(front, "  hot spare assignments\n");
  if (findCommand(plan, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER, nullptr) != nullptr) {
    say(front, "  the security key\n");
  }
  sayDisksThat(front, plan, "Disks that lose their contents: ", losesContentsAt);
}

// Documents list members in the reverse of the controller's order, and so does what is made from one.
static void sayCreatedVirtualDisk(const XYL_FRONT *front, const RESTORE_PLAN &plan, UINT32 index) {
  const VIRTUAL_DISK_PLAN &judged = plan.VirtualDiskPlans[index];
  sayVirtualDisk(front, plan.Saved->logicalDisks[index]);
  if (judged.WhyNot.Length != 0) {
    say(front, ": NOT CREATED, %a\n", textOf(judged.WhyNot));
    return;
  }
  const PLAN_COMMAND &command = plan.Commands.items[judged.Command - 1];
  WORD_LIST disks = {};
  for (UINT32 j = command.IdCount; j-- > 0;) {
    appendNumber(disks, ", ", command.Ids[j]);
  }
  say(front, ", on disks %a\n", orNone(disks.Text));
}

static void saySpares(const XYL_FRONT *front, const RESTORE_PLAN &plan) {
  WORD_LIST spares = {};
  WORD_LIST alone = {};
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    const DISK_PLAN &judged = plan.DiskPlans[i];
    if (judged.SpareCommand != 0 && judged.WhyNoSpare.Length == 0) {
      appendNumber(spares, ", ", plan.Commands.items[judged.SpareCommand - 1].Ids[0]);
    }
    if (plan.Map == nullptr || plan.Map[i] == 0) {
      appendNumber(alone, ", ", plan.Saved->physicalDisks[i].ObjectID);
    }
  }
  say(front, "  hot spares on disks %a\n", orNone(spares.Text));
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    if (plan.DiskPlans[i].WhyNoSpare.Length != 0) {
      say(front, "  hot spare %d: NOT MADE, %a\n", plan.Saved->physicalDisks[i].ObjectID,
          textOf(plan.DiskPlans[i].WhyNoSpare));
    }
  }
  say(front, "Saved disks without a partner: %a\n", orNone(alone.Text));
}

static void sayCreated(const XYL_FRONT *front, const RESTORE_PLAN &plan) {
  say(front, "It then creates:\n");
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    sayCreatedVirtualDisk(front, plan, i);
  }
  saySpares(front, plan);
}

// What no restore brings back, if there is anything.
static void sayNotBroughtBack(const XYL_FRONT *front, const RESTORE_PLAN &plan) {
  if (losesKey(plan)) {
    say(front, "Not brought back: the security key, whose passphrase no document holds\n");
  }
  if (losesSecurityMode(plan)) {
    say(front, "Not brought back: the security mode\n");
  }
  if (!plan.PreservesVirtualDisks && plan.EncryptedVirtualDisks != 0) {
    say(front, "Not brought back: the encryption of %d of the saved virtual disks\n", plan.EncryptedVirtualDisks);
  }
}

static void sayMissing(const XYL_FRONT *front, const RESTORE_PLAN &plan) {
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    if (!plan.VirtualDiskPlans[i].IsThere) {
      sayVirtualDisk(front, plan.Saved->logicalDisks[i]);
      say(front, ": NOT ON THE CONTROLLER, and this restore does not create it\n");
    }
  }
}

// The saved virtual disks of which foreign disks are here: those that an import may bring back, or the others.
static void sayForeignThat(const XYL_FRONT *front, const RESTORE_PLAN &plan, bool areWhole, const CHAR8 *words) {
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    UINT32 members = plan.VirtualDiskPlans[i].ForeignMembers;
    if (members != 0 && plan.VirtualDiskPlans[i].MayBeImported == areWhole) {
      sayLines(front, words);
      words = "";
      sayVirtualDisk(front, plan.Saved->logicalDisks[i]);
      say(front, ": %d of its %d disks are here\n", members, plan.Saved->logicalDisks[i].PDCount);
    }
  }
}

static void sayForeign(const XYL_FRONT *front, const RESTORE_PLAN &plan) {
  sayForeignThat(front, plan, true,
                 "'xyl import' may bring back with their data, from disks that are here and foreign:\n");
  sayForeignThat(front, plan, false, "Too few foreign disks are here to import:\n");
}

XYL_RESULT checkPlan(const XYL_CONTEXT &context, const RESTORE_PLAN &plan) {
  if (!EFI_ERROR(plan.Status)) {
    return succeeded();
  }
  if (plan.Status == EFI_UNSUPPORTED) {
    complain(context.Front,
             "the saved configuration belongs to another kind of adapter; nothing was changed. Choose the "
             "controller that it was saved from");
  } else {
    complain(context.Front, "the restore would end half-way, %a; nothing was changed", statusWords(plan.Status));
  }
  return failed(plan.Status);
}

static void sayController(const XYL_FRONT *front, const CONTROLLER &controller) {
  say(front, "Controller: ");
  sayIdentity(front, controller.Identity);
  say(front, "\n");
}

XYL_RESULT showRebuild(const XYL_CONTEXT &context, const CONTROLLER &controller, const RESTORE_PLAN &plan) {
  XYL_RESULT result = checkPlan(context, plan);
  if (!isFailure(result)) {
    sayController(context.Front, controller);
    sayDestroyed(context.Front, plan);
    sayCreated(context.Front, plan);
    sayNotBroughtBack(context.Front, plan);
    sayForeign(context.Front, plan);
  }
  return result;
}

static EFI_STATUS sayDisks(const XYL_FRONT *front, const RESTORE_PLAN &plan) {
  say(front, "\nDisks:\n  %5a  %10a  %-7a  %a\n", "Saved", "Size", "Now", "Why");
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, plan.Saved->physicalDisks[i].Size);
    WORD_LIST now = {};
    if (plan.Map != nullptr && plan.Map[i] != 0) {
      appendNumber(now, "", plan.Map[i] - 1);
    }
    TEXT reason = {};
    putDiskReason(&reason, plan, i);
    say(front, "  %5d  %10a  %-7a  %a\n", plan.Saved->physicalDisks[i].ObjectID, size, orNone(now.Text),
        textOf(reason));
    bool isShort = reason.Failed;
    freeText(&reason);
    if (isShort) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS saySettings(const XYL_FRONT *front, const RESTORE_PLAN &plan) {
  RESTORED_SETTINGS settings;
  findSettings(plan, &settings);
  bool isSent = findCommand(plan, RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, nullptr) != nullptr;
  bool isLeft = settings.Count != 0 && !isSent;
  say(front, "\nAdapter settings that %a: %d%a\n", isSent ? "are brought back" : "differ", settings.Count,
      isLeft ? "; this adapter does not take any, they stay as they are" : "");
  for (UINTN i = 0; i < settings.Count; ++i) {
    const RESTORED_SETTING &setting = settings.Items[i];
    TEXT words = {};
    putElementWords(&words, setting.Element);
    say(front, "  %a%a%a: %a -> %a%a\n", textOf(words), *setting.Rate != 0 ? " " : "", setting.Rate, setting.Current,
        setting.Saved,
        textEqual(setting.Saved, "-") ? " (not saved, stays)"
        : isSent && setting.IsFixed   ? " (this adapter does not change it)"
                                      : "");
    bool isShort = words.Failed;
    freeText(&words);
    if (isShort) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return EFI_SUCCESS;
}

static void saySteps(const XYL_FRONT *front, const RESTORE_PLAN &plan) {
  say(front, "\n%4a  %-20a  %a\n", "", "Step", "Object");
  UINT32 number = 0;
  LOG_STEP step;
  for (const XML_NODE *node = childNamed(plan.Log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    say(front, "%4d  %-20a  %a%a%a\n", ++number, orNone(step.Name), orNone(step.Object.Text),
        step.Failed ? ": not done, " : "", step.Failed ? statusWords(step.Status) : "");
  }
}

static XYL_RESULT showPlan(const XYL_CONTEXT &context, const CONTROLLER &controller, const RESTORE_PLAN &plan) {
  EFI_STATUS status = EFI_SUCCESS;
  if (plan.PreservesVirtualDisks) {
    sayController(context.Front, controller);
    say(context.Front, "The virtual disks and hot spares stay as they are.\n");
    sayMissing(context.Front, plan);
    sayNotBroughtBack(context.Front, plan);
    sayForeign(context.Front, plan);
  } else {
    showRebuild(context, controller, plan);
    status = sayDisks(context.Front, plan);
  }
  status = EFI_ERROR(status) ? status : saySettings(context.Front, plan);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the plan cannot be shown: %a", statusWords(status));
    return failed(status);
  }
  saySteps(context.Front, plan);
  say(context.Front, "\n");
  sayVerdict(context.Front, plan.Verdict, /* isToCome= */ true);
  return succeeded();
}

XYL_RESULT tellPlan(const XYL_CONTEXT &context, const CONTROLLER &controller, const RESTORE_PLAN &plan) {
  XYL_RESULT result = checkPlan(context, plan);
  if (isFailure(result)) {
    return result;
  }
  result =
      hasOption(context, XYL_OPTION_JSON) ? writePlan(context, controller, plan) : showPlan(context, controller, plan);
  return isFailure(result) || isPlanComplete(plan) ? result : different();
}
