// restore and replace.
#include "base/pool.h"
#include "base/text.h"
#include "client/change/change.h"
#include "client/change/saved.h"
#include "client/change/set_live.h"
#include "client/plan/plan.h"
#include "driver/request/request.h"
#include "driver/xml/xml.h"

// All that a restore holds.
struct RESTORE_RUN {
  CONTROLLER Controller;
  CHANGE Change;
  RAID_CONFIG *Saved;
  XML_NODE *SavedRoot;
  RESTORE_PLAN Plan;
  OUTPUT Backup;
  TEXT BackupName;
  DOCUMENT_TEXT Before; // what the controller held
};

static void freeRun(const XYL_CONTEXT &context, RESTORE_RUN *run) {
  dropOutput(context, &run->Backup);
  freeText(&run->BackupName);
  releaseDocument(&run->Before);
  freePlan(&run->Plan);
  freeTree(run->SavedRoot);
  releaseConfig(run->Saved);
  freeChange(context, &run->Change);
}

// --- What must be so before anything changes ---

static XYL_RESULT checkRebuild(const XYL_CONTEXT &context, const RESTORE_PLAN &plan) {
  UINT32 foreign = foreignVirtualDisks(plan);
  if (foreign != 0 && !hasOption(context, XYL_OPTION_DISCARD_FOREIGN)) {
    complain(context.Front,
             "%d of the saved virtual disks lie on foreign disks that are here%a. A rebuild destroys them; that needs "
             "--discard-foreign. Nothing was changed",
             foreign,
             importableVirtualDisks(plan) != 0 ? ": 'xyl import' may bring them back with their data"
                                               : ", too few of them to import");
    return wrongUsage();
  }
  if (!isPlanComplete(plan) && !hasOption(context, XYL_OPTION_PARTIAL)) {
    complain(context.Front, "not all that was saved would come back, as 'xyl plan --rebuild' shows, and what is there "
                            "would be destroyed before; that needs --partial. Nothing was changed");
    return wrongUsage();
  }
  return succeeded();
}

// NAME.before of the log's name, or without one of the saved document's.
static bool putBackupName(TEXT *name, const XYL_CONTEXT &context) {
  const CHAR8 *log = context.Request->Options[XYL_OPTION_LOG_FILE];
  putText(name, log != nullptr && !isStandardOutput(log) ? log : context.Request->Operands[0]);
  if (!name->Failed && name->Length > 4 && textEqual(name->Chars + name->Length - 4, ".xml")) {
    name->Length -= 4;
    name->Chars[name->Length] = 0;
  }
  putText(name, ".before");
  return !name->Failed;
}

static XYL_RESULT openBackup(const XYL_CONTEXT &context, RESTORE_RUN *run) {
  if (!run->Plan.PreservesVirtualDisks && !hasOption(context, XYL_OPTION_NO_BACKUP)) {
    bool isWhole = true;
    XYL_RESULT result = readWholeInventory(context, run->Controller, &run->Before, &isWhole);
    if (isFailure(result)) {
      return result;
    }
    if (!putBackupName(&run->BackupName, context)) {
      return failed(EFI_OUT_OF_RESOURCES);
    }
    result = openNumbered(context, &run->BackupName, ".xml", run->Before.Size, &run->Backup);
    if (isFailure(result) && !hasOption(context, XYL_OPTION_JSON)) {
      say(context.Front, "The controller's present configuration is kept there; --no-backup leaves that out.\n");
    }
    return result;
  }
  return succeeded();
}

// The log of the plan is that of the restore, but for statuses and what a failure prevents.
static UINT32 stepsOf(const RESTORE_PLAN &plan) {
  UINT32 count = 0;
  for (const XML_NODE *node = childNamed(plan.Log, "Operation"); node != nullptr; node = nextSame(node)) {
    ++count;
  }
  return count;
}

static UINTN logRoom(const RESTORE_PLAN &plan) {
  CHAR8 *text = XMLNodeToText(plan.Log);
  UINTN size = text != nullptr ? textLength(text) : 0;
  poolFree(text);
  return size + size / 4 + 1024;
}

static XYL_RESULT prepareRestore(const XYL_CONTEXT &context, RESTORE_RUN *run) {
  const CHAR8 *file = context.Request->Operands[0];
  XYL_RESULT result = openController(context, &run->Controller);
  if (!isFailure(result)) {
    result = readSaved(context, file, &run->Change.Saved, &run->Saved);
  }
  if (!isFailure(result)) {
    result = parseTree(context, file, run->Change.Saved.Text, &run->SavedRoot);
  }
  if (!isFailure(result)) {
    result =
        makePlan(context, run->Controller.Management, {run->Saved, run->SavedRoot}, run->Change.Options, &run->Plan);
  }
  if (!isFailure(result)) {
    result = checkPlan(context, run->Plan);
  }
  if (!isFailure(result)) {
    run->Change.Steps = stepsOf(run->Plan);
    result =
        openOutput(context, context.Request->Options[XYL_OPTION_LOG_FILE], logRoom(run->Plan), &run->Change.LogFile);
  }
  return result;
}

// Shows what the rebuild means, asks for a yes, and keeps what is there.
static XYL_RESULT confirmRebuild(const XYL_CONTEXT &context, RESTORE_RUN *run) {
  if (!hasOption(context, XYL_OPTION_JSON)) {
    showRebuild(context, run->Controller, run->Plan);
  }
  XYL_RESULT result = checkRebuild(context, run->Plan);
  if (!isFailure(result)) {
    result = openBackup(context, run);
  }
  if (!isFailure(result)) {
    result = askToGoOn(context, run->Controller.Identity, "rebuild", run->Backup.File);
  }
  if (!isFailure(result) && run->Backup.Handle != nullptr) {
    result = writeOutput(context, &run->Backup, run->Before.Text, run->Before.Size, "nothing was changed: ");
  }
  return result;
}

// --- What has come of it ---

// The steps that the plan knows to fail.
static UINT32 expectedFailures(const RESTORE_PLAN &plan) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    count += plan.VirtualDiskPlans[i].WhyNot.Length != 0 ? 1 : 0;
  }
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    count += plan.DiskPlans[i].SpareCommand != 0 && plan.DiskPlans[i].WhyNoSpare.Length != 0 ? 1 : 0;
  }
  return count;
}

// Reads the controller back and says what differs; *verdict is filled without a failure.
static XYL_RESULT readBack(const XYL_CONTEXT &context, const RESTORE_RUN &run, JSON *json, VERDICT *verdict) {
  DOCUMENT_TEXT now;
  XYL_RESULT result = readInventory(context, run.Controller.Operations, &now);
  if (isFailure(result)) {
    return result;
  }
  XML_NODE *root = nullptr;
  result = parseTree(context, "the inventory", now.Text, &root);
  if (!isFailure(result)) {
    EFI_STATUS status = makeVerdict(run.Plan, run.SavedRoot, root, &run.Plan.Verdict, verdict);
    if (EFI_ERROR(status)) {
      complain(context.Front, "what came back cannot be compared with what was saved: %a", statusWords(status));
      result = failed(status);
    } else if (hasOption(context, XYL_OPTION_JSON)) {
      writeVerdict(json, *verdict);
    } else {
      sayVerdict(context.Front, *verdict, /* isToCome= */ false);
    }
  }
  freeDifferences(&verdict->Differences); // its texts are the trees'
  freeTree(root);
  releaseDocument(&now);
  return result;
}

static XYL_RESULT judge(const XYL_CONTEXT &context, const VERDICT &verdict) {
  if (verdict.Counts[BLAME_RESTORE] != 0) {
    complain(context.Front, "%d differences should not be there after the restore", verdict.Counts[BLAME_RESTORE]);
    return failed(EFI_DEVICE_ERROR);
  }
  return verdict.Losses != 0 ? different() : succeeded();
}

static void tellBackup(const XYL_CONTEXT &context, const RESTORE_RUN &run, JSON *json) {
  if (run.Backup.File == nullptr) {
    return;
  }
  if (hasOption(context, XYL_OPTION_JSON)) {
    jsonText(json, "backup", run.Backup.File);
  } else {
    say(context.Front, "What the controller held before is in '%a'\n", run.Backup.File);
  }
}

static XYL_RESULT runRestoreSteps(const XYL_CONTEXT &context, RESTORE_RUN *run) {
  CHANGED changed;
  XYL_RESULT read = callSetLive(context, run->Controller, &run->Change, &changed);
  JSON json = {};
  tellSteps(context, run->Controller, &json, &changed);
  VERDICT verdict = {};
  XYL_RESULT compared = readBack(context, *run, &json, &verdict);
  tellBackup(context, *run, &json);
  if (hasOption(context, XYL_OPTION_JSON)) {
    jsonEnd(&json);
  }
  EXPECTED expected = {expectedFailures(run->Plan),
                       isFailure(compared) || verdict.Losses != 0 || verdict.Counts[BLAME_RESTORE] != 0};
  XYL_RESULT result = tellOutcome(context, run->Controller, &run->Change, changed, expected);
  freeChanged(&changed);
  if (!isFailure(result) && !isFailure(compared)) {
    result = judge(context, verdict);
  }
  freeVerdict(&verdict);
  result = isFailure(result) ? result : compared;
  return isFailure(result) ? result : read;
}

XYL_RESULT runRestore(const XYL_CONTEXT &context) {
  bool rebuild = hasOption(context, XYL_OPTION_REBUILD);
  if (rebuild && hasOption(context, XYL_OPTION_PRESERVE_VD)) {
    complain(context.Front, "--rebuild and --preserve-vd exclude each other; give one of them");
    return wrongUsage();
  }
  RESTORE_RUN run = {};
  run.Change.What = "restore";
  run.Change.Options = {/* Restore= */ true, /* PreserveVd= */ !rebuild, hasOption(context, XYL_OPTION_STOP_ON_ERROR)};
  XYL_RESULT result = prepareRestore(context, &run);
  if (!isFailure(result) && rebuild) {
    result = confirmRebuild(context, &run);
  }
  if (!isFailure(result)) {
    result = runRestoreSteps(context, &run);
  }
  freeRun(context, &run);
  return result;
}

XYL_RESULT runReplace(const XYL_CONTEXT &context) {
  CONTROLLER controller;
  XYL_RESULT result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  CHANGE change = {};
  change.What = "replacement";
  change.Options.PreserveVd = true;
  RAID_CONFIG *config = nullptr;
  result = readSaved(context, context.Request->Operands[0], &change.Saved, &config);
  releaseConfig(config);
  if (isFailure(result)) {
    return result;
  }
  CHANGED changed;
  result = callSetLive(context, controller, &change, &changed);
  JSON json = {};
  tellSteps(context, controller, &json, &changed);
  if (hasOption(context, XYL_OPTION_JSON)) {
    jsonEnd(&json);
  }
  XYL_RESULT told = tellOutcome(context, controller, &change, changed, /* expected= */ {});
  freeChanged(&changed);
  return isFailure(told) ? told : result;
}
