// plan, and what a rebuild shows before it asks.
#include "base/pool.h"
#include "base/text.h"
#include "driver/request/request.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"
#include "xyl/controllers/controllers.h"
#include "xyl/diff/diff.h"
#include "xyl/plan/plan_facts.h"
#include "xyl/steps/steps.h"

static void sayVolume(const XYL_HOST *host, const RAID_VD_RECORD &volume) {
  CHAR8 size[SIZE_TEXT_CAPACITY];
  formatSize(size, volume.Size);
  const CHAR16 *name = volume.Name;
  say(host, u"  virtual disk %d \"%s\", %a, %a", volume.ObjectID, name != nullptr ? name : u"",
      GetNameFromValue(volume.RAIDLevel, g_raidLevelTable), size);
}

static void sayDestroyed(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  say(host, u"The rebuild destroys, with all data:\n");
  for (UINT32 i = 0; i < recordCount(&plan.Volumes); ++i) {
    const RAID_VD_RECORD &volume = currentVolumes(plan)[i];
    const UINT32 *members = volume.PDs;
    WORD_LIST disks = {};
    for (UINT32 j = 0; members != nullptr && j < volume.PDCount; ++j) {
      appendNumber(disks, ", ", members[j]);
    }
    sayVolume(host, volume);
    say(host, u", on disks %a\n", orNone(disks.Text));
  }
  say(host, u"  foreign configurations and hot spare assignments, if there are any\n");
  if (findCommand(plan, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER, nullptr) != nullptr) {
    say(host, u"  the security key\n");
  }
  WORD_LIST lost = {};
  for (UINT32 i = 0; i < recordCount(&plan.Disks); ++i) {
    UINT32 id = currentDisks(plan)[i].ObjectID;
    if (losesContents(plan, id)) {
      appendNumber(lost, ", ", id);
    }
  }
  say(host, u"Disks that lose their contents: %a\n", orNone(lost.Text));
}

// Documents list members in the reverse of the controller's order, and so does what is made from one.
static void sayCreatedVolume(const XYL_HOST *host, const RESTORE_PLAN &plan, UINT32 index) {
  const RAID_VD_RECORD &volume = plan.Saved->logicalDisks[index];
  const UINT32 *members = volume.PDs;
  const PLAN_COMMAND *command = findCommand(plan, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, &volume);
  WORD_LIST disks = {};
  sayVolume(host, volume);
  if (command != nullptr) {
    for (UINT32 j = command->IdCount; j-- > 0;) {
      appendNumber(disks, ", ", command->Ids[j]);
    }
    say(host, u", on disks %a\n", orNone(disks.Text));
    return;
  }
  for (UINT32 j = members != nullptr ? volume.PDCount : 0; j-- > 0;) {
    if (isWithoutPartner(plan, members[j])) {
      appendNumber(disks, ", ", members[j]);
    }
  }
  say(host, u": NOT CREATED, %a%a%a\n", whyNotCreated(plan, index), *disks.Text != 0 ? " " : "", disks.Text);
}

static void sayCreated(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  say(host, u"It then creates:\n");
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    sayCreatedVolume(host, plan, i);
  }
  WORD_LIST spares = {};
  WORD_LIST alone = {};
  for (UINT32 i = 0; i < plan.CommandCount; ++i) {
    const PLAN_COMMAND &command = plan.Commands[i];
    if (command.Command == RAID_COMMAND_CHANGE && command.ObjectType == RAID_OBJECT_PHYSICAL_DISK) {
      appendNumber(spares, ", ", command.Ids[0]);
    }
  }
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    UINT32 id = plan.Saved->physicalDisks[i].ObjectID;
    if (isWithoutPartner(plan, id)) {
      appendNumber(alone, ", ", id);
    }
  }
  say(host, u"  hot spares on disks %a\n", orNone(spares.Text));
  if (plan.EncryptedVolumes != 0) {
    say(host, u"  nothing encrypted: %d of the saved virtual disks were, and come back without encryption\n",
        plan.EncryptedVolumes);
  }
  say(host, u"Saved disks without a partner: %a\n", orNone(alone.Text));
}

XYL_RESULT checkPlan(const XYL_CONTEXT &context, const RESTORE_PLAN &plan) {
  if (!EFI_ERROR(plan.Status)) {
    return succeeded();
  }
  if (plan.Status == EFI_UNSUPPORTED) {
    complain(context.Host,
             u"the saved configuration belongs to another kind of adapter; nothing was changed. Choose the "
             u"controller that it was saved from");
  } else {
    complain(context.Host, u"the restore would end half-way, %a; nothing was changed", statusWords(plan.Status));
  }
  return failed(plan.Status);
}

XYL_RESULT showRebuild(const XYL_CONTEXT &context, const RESTORE_PLAN &plan) {
  XYL_RESULT result = checkPlan(context, plan);
  if (!isFailure(result)) {
    sayDestroyed(context.Host, plan);
    sayCreated(context.Host, plan);
  }
  return result;
}

static EFI_STATUS sayDisks(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  say(host, u"\nDisks:\n  %5a  %10a  %-7a  %a\n", "Saved", "Size", "Now", "Why");
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, plan.Saved->physicalDisks[i].Size);
    WORD_LIST now = {};
    if (plan.Map != nullptr && plan.Map[i] != 0) {
      appendNumber(now, "", plan.Map[i] - 1);
    }
    TEXT reason = {};
    putDiskReason(&reason, plan, i);
    say(host, u"  %5d  %10a  %-7a  %a\n", plan.Saved->physicalDisks[i].ObjectID, size, orNone(now.Text),
        textOf(reason));
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
  say(host, u"\nAdapter settings that %a: %d%a\n", isSent ? "are brought back" : "differ", settings.Count,
      isLeft ? "; this adapter does not take any, they stay as they are" : "");
  for (UINTN i = 0; i < settings.Count; ++i) {
    const SETTING &setting = settings.Items[i];
    TEXT words = {};
    putElementWords(&words, setting.Element);
    say(host, u"  %a%a%a: %a -> %a%a\n", textOf(words), *setting.Rate != 0 ? " " : "", setting.Rate, setting.Current,
        setting.Saved, textEqual(setting.Saved, "-") ? " (not saved, stays)" : "");
    bool isShort = words.Failed;
    freeText(&words);
    if (isShort) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return EFI_SUCCESS;
}

static void saySteps(const XYL_HOST *host, const RESTORE_PLAN &plan) {
  say(host, u"\n%4a  %-20a  %a\n", "", "Step", "Object");
  UINT32 number = 0;
  LOG_STEP step;
  for (const XML_NODE *node = childNamed(plan.Log, "Operation"); node != nullptr; node = nextSame(node)) {
    readStep(node, &step);
    say(host, u"%4d  %-20a  %a%a%a\n", ++number, orNone(step.Name), orNone(step.Object.Text),
        step.Failed ? ": not done, " : "", step.Failed ? statusWords(step.Status) : "");
  }
}

static XYL_RESULT showPlan(const XYL_CONTEXT &context, const RESTORE_PLAN &plan) {
  EFI_STATUS status = EFI_SUCCESS;
  if (plan.PreservesVolumes) {
    say(context.Host, u"The virtual disks and hot spares stay as they are.\n");
  } else {
    sayDestroyed(context.Host, plan);
    sayCreated(context.Host, plan);
    status = sayDisks(context.Host, plan);
  }
  status = EFI_ERROR(status) ? status : saySettings(context.Host, plan);
  if (EFI_ERROR(status)) {
    complain(context.Host, u"the plan cannot be shown: %a", statusWords(status));
    return failed(status);
  }
  saySteps(context.Host, plan);
  return succeeded();
}

static XYL_RESULT plan(const XYL_CONTEXT &context, RAID_MGMT_PROTOCOL *controller, RAID_CONFIG *saved) {
  RUN_OPTIONS options = {/* Restore= */ true, /* PreserveVd= */ !hasOption(context, XYL_OPTION_REBUILD),
                         hasOption(context, XYL_OPTION_STOP_ON_ERROR)};
  RESTORE_PLAN plan;
  XYL_RESULT result = makePlan(context, controller, saved, options, &plan);
  if (isFailure(result)) {
    freePlan(&plan);
    return result;
  }
  result = checkPlan(context, plan);
  if (!isFailure(result)) {
    result = hasOption(context, XYL_OPTION_JSON) ? writePlan(context, plan) : showPlan(context, plan);
  }
  if (!isFailure(result) && !isPlanComplete(plan)) {
    result = different();
  }
  freePlan(&plan);
  return result;
}

XYL_RESULT runPlan(const XYL_CONTEXT &context) {
  RAID_XYL_PROTOCOL *operations = nullptr;
  RAID_MGMT_PROTOCOL *controller = nullptr;
  XYL_RESULT result = selectController(context, &operations, &controller);
  if (isFailure(result)) {
    return result;
  }
  const CHAR8 *file = context.Request->Operands[0];
  DOCUMENT_TEXT document;
  result = readDocument(context, file, &document);
  if (isFailure(result)) {
    return result;
  }
  RAID_CONFIG *saved = nullptr;
  result = readConfiguration(context, file, document.Text, &saved);
  releaseDocument(&document);
  if (isFailure(result)) {
    return result;
  }
  result = plan(context, controller, saved);
  releaseConfig(saved);
  return result;
}
