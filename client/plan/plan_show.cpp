// A plan in words, and what a rebuild shows before it asks.
#include "base/text.h"
#include "client/compare/compare.h"
#include "client/plan/plan_facts.h"
#include "client/steps/steps.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"

static void sayVolume(const XYL_HOST *host, const RAID_VD_RECORD &volume) {
  CHAR8 size[SIZE_TEXT_CAPACITY];
  formatSize(size, volume.Size);
  const CHAR16 *name = volume.Name;
  say(host, "  virtual disk %d \"%s\", %a, %a", volume.ObjectID, name != nullptr ? name : u"",
      GetNameFromValue(volume.RAIDLevel, g_raidLevelTable), size);
}

static bool isForeignAt(const RESTORE_PLAN &plan, UINT32 place) {
  return isForeign(currentDisks(plan)[place]);
}

static bool losesContentsAt(const RESTORE_PLAN &plan, UINT32 place) {
  return plan.LosesContents[place];
}

// A line with the ids of the current disks of which that is so, if there are any.
static void sayDisksThat(const XYL_HOST *host, const RESTORE_PLAN &plan, const CHAR8 *words,
                         bool (*isSo)(const RESTORE_PLAN &plan, UINT32 place)) {
  const CHAR8 *before = words;
  for (UINT32 i = 0; i < recordCount(&plan.Disks); ++i) {
    if (isSo(plan, i)) {
      say(host, "%a%d", before, currentDisks(plan)[i].ObjectID);
      before = ", ";
    }
  }
  sayLines(host, before == words ? "" : "\n");
}

static void sayDestroyed(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  say(host, "The rebuild destroys, with all data:\n");
  for (UINT32 i = 0; i < recordCount(&plan.Volumes); ++i) {
    const RAID_VD_RECORD &volume = currentVolumes(plan)[i];
    const UINT32 *members = volume.PDs;
    WORD_LIST disks = {};
    for (UINT32 j = 0; members != nullptr && j < volume.PDCount; ++j) {
      appendNumber(disks, ", ", members[j]);
    }
    sayVolume(host, volume);
    say(host, ", on disks %a\n", orNone(disks.Text));
  }
  sayDisksThat(host, plan, "  foreign configurations, on disks ", isForeignAt);
  say(host, "  hot spare assignments\n");
  if (findCommand(plan, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER, nullptr) != nullptr) {
    say(host, "  the security key\n");
  }
  sayDisksThat(host, plan, "Disks that lose their contents: ", losesContentsAt);
}

// Documents list members in the reverse of the controller's order, and so does what is made from one.
static void sayCreatedVolume(const XYL_HOST *host, const RESTORE_PLAN &plan, UINT32 index) {
  const VOLUME_PLAN &judged = plan.VolumePlans[index];
  sayVolume(host, plan.Saved->logicalDisks[index]);
  if (judged.WhyNot.Length != 0) {
    say(host, ": NOT CREATED, %a\n", textOf(judged.WhyNot));
    return;
  }
  const PLAN_COMMAND &command = plan.Commands.items[judged.Command - 1];
  WORD_LIST disks = {};
  for (UINT32 j = command.IdCount; j-- > 0;) {
    appendNumber(disks, ", ", command.Ids[j]);
  }
  say(host, ", on disks %a\n", orNone(disks.Text));
}

static void saySpares(const XYL_HOST *host, const RESTORE_PLAN &plan) {
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
  say(host, "  hot spares on disks %a\n", orNone(spares.Text));
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    if (plan.DiskPlans[i].WhyNoSpare.Length != 0) {
      say(host, "  hot spare %d: NOT MADE, %a\n", plan.Saved->physicalDisks[i].ObjectID,
          textOf(plan.DiskPlans[i].WhyNoSpare));
    }
  }
  say(host, "Saved disks without a partner: %a\n", orNone(alone.Text));
}

static void sayCreated(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  say(host, "It then creates:\n");
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    sayCreatedVolume(host, plan, i);
  }
  saySpares(host, plan);
}

// What no restore brings back, if there is anything.
static void sayNotBroughtBack(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  if (losesKey(plan)) {
    say(host, "Not brought back: the security key, whose passphrase no document holds\n");
  }
  if (losesSecurityMode(plan)) {
    say(host, "Not brought back: the security mode\n");
  }
  if (!plan.PreservesVolumes && plan.EncryptedVolumes != 0) {
    say(host, "Not brought back: the encryption of %d of the saved virtual disks\n", plan.EncryptedVolumes);
  }
}

static void sayMissing(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    if (!plan.VolumePlans[i].IsThere) {
      sayVolume(host, plan.Saved->logicalDisks[i]);
      say(host, ": NOT ON THE CONTROLLER, and this restore does not create it\n");
    }
  }
}

// The saved virtual disks of which foreign disks are here: those that an import may bring back, or the others.
static void sayForeignThat(const XYL_HOST *host, const RESTORE_PLAN &plan, bool areWhole, const CHAR8 *words) {
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    UINT32 members = plan.VolumePlans[i].ForeignMembers;
    if (members != 0 && plan.VolumePlans[i].MayBeImported == areWhole) {
      sayLines(host, words);
      words = "";
      sayVolume(host, plan.Saved->logicalDisks[i]);
      say(host, ": %d of its %d disks are here\n", members, plan.Saved->logicalDisks[i].PDCount);
    }
  }
}

static void sayForeign(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  sayForeignThat(host, plan, true,
                 "'xyl import' may bring back with their data, from disks that are here and foreign:\n");
  sayForeignThat(host, plan, false, "Too few foreign disks are here to import:\n");
}

XYL_RESULT checkPlan(const XYL_CONTEXT &context, const RESTORE_PLAN &plan) {
  if (!EFI_ERROR(plan.Status)) {
    return succeeded();
  }
  if (plan.Status == EFI_UNSUPPORTED) {
    complain(context.Host,
             "the saved configuration belongs to another kind of adapter; nothing was changed. Choose the "
             "controller that it was saved from");
  } else {
    complain(context.Host, "the restore would end half-way, %a; nothing was changed", statusWords(plan.Status));
  }
  return failed(plan.Status);
}

static void sayController(const XYL_HOST *host, const CONTROLLER &controller) {
  say(host, "Controller: ");
  sayIdentity(host, controller.Identity);
  say(host, "\n");
}

XYL_RESULT showRebuild(const XYL_CONTEXT &context, const CONTROLLER &controller, const RESTORE_PLAN &plan) {
  XYL_RESULT result = checkPlan(context, plan);
  if (!isFailure(result)) {
    sayController(context.Host, controller);
    sayDestroyed(context.Host, plan);
    sayCreated(context.Host, plan);
    sayNotBroughtBack(context.Host, plan);
    sayForeign(context.Host, plan);
  }
  return result;
}

static EFI_STATUS sayDisks(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  say(host, "\nDisks:\n  %5a  %10a  %-7a  %a\n", "Saved", "Size", "Now", "Why");
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, plan.Saved->physicalDisks[i].Size);
    WORD_LIST now = {};
    if (plan.Map != nullptr && plan.Map[i] != 0) {
      appendNumber(now, "", plan.Map[i] - 1);
    }
    TEXT reason = {};
    putDiskReason(&reason, plan, i);
    say(host, "  %5d  %10a  %-7a  %a\n", plan.Saved->physicalDisks[i].ObjectID, size, orNone(now.Text), textOf(reason));
    bool isShort = reason.Failed;
    freeText(&reason);
    if (isShort) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS saySettings(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  SETTINGS settings;
  findSettings(plan, &settings);
  bool isSent = findCommand(plan, RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, nullptr) != nullptr;
  bool isLeft = settings.Count != 0 && !isSent;
  say(host, "\nAdapter settings that %a: %d%a\n", isSent ? "are brought back" : "differ", settings.Count,
      isLeft ? "; this adapter does not take any, they stay as they are" : "");
  for (UINTN i = 0; i < settings.Count; ++i) {
    const SETTING &setting = settings.Items[i];
    TEXT words = {};
    putElementWords(&words, setting.Element);
    say(host, "  %a%a%a: %a -> %a%a\n", textOf(words), *setting.Rate != 0 ? " " : "", setting.Rate, setting.Current,
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

static void saySteps(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  say(host, "\n%4a  %-20a  %a\n", "", "Step", "Object");
  UINT32 number = 0;
  LOG_STEP step;
  for (const XML_NODE *node = childNamed(plan.Log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    say(host, "%4d  %-20a  %a%a%a\n", ++number, orNone(step.Name), orNone(step.Object.Text),
        step.Failed ? ": not done, " : "", step.Failed ? statusWords(step.Status) : "");
  }
}

static XYL_RESULT showPlan(const XYL_CONTEXT &context, const CONTROLLER &controller, const RESTORE_PLAN &plan) {
  EFI_STATUS status = EFI_SUCCESS;
  if (plan.PreservesVolumes) {
    sayController(context.Host, controller);
    say(context.Host, "The virtual disks and hot spares stay as they are.\n");
    sayMissing(context.Host, plan);
    sayNotBroughtBack(context.Host, plan);
    sayForeign(context.Host, plan);
  } else {
    showRebuild(context, controller, plan);
    status = sayDisks(context.Host, plan);
  }
  status = EFI_ERROR(status) ? status : saySettings(context.Host, plan);
  if (EFI_ERROR(status)) {
    complain(context.Host, "the plan cannot be shown: %a", statusWords(status));
    return failed(status);
  }
  saySteps(context.Host, plan);
  say(context.Host, "\n");
  sayVerdict(context.Host, plan.Verdict, /* isToCome= */ true);
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
