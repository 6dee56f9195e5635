// restore and replace.
#include "base/pool.h"
#include "base/text.h"
#include "client/change/change.h"
#include "client/change/saved.h"
#include "client/change/set_live.h"
#include "client/plan/plan.h"
#include "driver/request/request.h"
#include "driver/xml/xml.h"

namespace xyl::client {

// All that a restore holds.
struct RestoreRun {
  Controller controller;
  Change change;
  RAID_CONFIG *saved;
  XML_NODE *savedRoot;
  RestorePlan plan;
  Output backup;
  Text backupName;
  DocumentText before; // what the controller held
};

static void freeRun(const Context &context, RestoreRun *run) {
  dropOutput(context, &run->backup);
  freeText(&run->backupName);
  releaseDocument(&run->before);
  freePlan(&run->plan);
  freeTree(run->savedRoot);
  driver::releaseConfig(run->saved);
  freeChange(context, &run->change);
}

// --- What must be so before anything changes ---

static Result checkRebuild(const Context &context, const RestorePlan &plan) {
  UINT32 foreign = foreignVirtualDisks(plan);
  if (foreign != 0 && !hasOption(context, optionDiscardForeign)) {
    complain(context.front,
             "%d of the saved virtual disks lie on foreign disks that are here%a. A rebuild destroys them; that needs "
             "--discard-foreign. Nothing was changed",
             foreign,
             importableVirtualDisks(plan) != 0 ? ": 'xyl import' may bring them back with their data"
                                               : ", too few of them to import");
    return wrongUsage();
  }
  if (!isPlanComplete(plan) && !hasOption(context, optionPartial)) {
    complain(context.front, "not all that was saved would come back, as 'xyl plan --rebuild' shows, and what is there "
                            "would be destroyed before; that needs --partial. Nothing was changed");
    return wrongUsage();
  }
  return succeeded();
}

// NAME.before of the log's name, or without one of the saved document's.
static bool putBackupName(Text *name, const Context &context) {
  const CHAR8 *log = context.request->options[optionLogFile];
  putText(name, log != nullptr && !isStandardOutput(log) ? log : context.request->operands[0]);
  if (!name->failed && name->length > 4 && textEqual(name->chars + name->length - 4, ".xml")) {
    name->length -= 4;
    name->chars[name->length] = 0;
  }
  putText(name, ".before");
  return !name->failed;
}

static Result openBackup(const Context &context, RestoreRun *run) {
  if (!run->plan.preservesVirtualDisks && !hasOption(context, optionNoBackup)) {
    bool isWhole = true;
    Result result = readWholeInventory(context, run->controller, &run->before, &isWhole);
    if (isFailure(result)) {
      return result;
    }
    if (!putBackupName(&run->backupName, context)) {
      return failed(EFI_OUT_OF_RESOURCES);
    }
    result = openNumbered(context, &run->backupName, ".xml", run->before.size, &run->backup);
    if (isFailure(result) && !hasOption(context, optionJson)) {
      say(context.front, "The controller's present configuration is kept there; --no-backup leaves that out.\n");
    }
    return result;
  }
  return succeeded();
}

// The log of the plan is that of the restore, but for statuses and what a failure prevents.
static UINT32 stepsOf(const RestorePlan &plan) {
  UINT32 count = 0;
  for (const XML_NODE *node = childNamed(plan.log, "Operation"); node != nullptr; node = nextSame(node)) {
    ++count;
  }
  return count;
}

static UINTN logRoom(const RestorePlan &plan) {
  CHAR8 *text = driver::XMLNodeToText(plan.log);
  UINTN size = text != nullptr ? textLength(text) : 0;
  poolFree(text);
  return size + size / 4 + 1024;
}

static Result prepareRestore(const Context &context, RestoreRun *run) {
  const CHAR8 *file = context.request->operands[0];
  Result result = openController(context, &run->controller);
  if (!isFailure(result)) {
    result = readSaved(context, file, &run->change.saved, &run->saved);
  }
  if (!isFailure(result)) {
    result = parseTree(context, file, run->change.saved.text, &run->savedRoot);
  }
  if (!isFailure(result)) {
    result =
        makePlan(context, run->controller.management, {run->saved, run->savedRoot}, run->change.options, &run->plan);
  }
  if (!isFailure(result)) {
    result = checkPlan(context, run->plan);
  }
  if (!isFailure(result)) {
    run->change.steps = stepsOf(run->plan);
    result = openOutput(context, context.request->options[optionLogFile], logRoom(run->plan), &run->change.logFile);
  }
  return result;
}

// Shows what the rebuild means, asks for a yes, and keeps what is there.
static Result confirmRebuild(const Context &context, RestoreRun *run) {
  Result result = hasOption(context, optionJson) ? succeeded() : showRebuild(context, run->controller, run->plan);
  if (!isFailure(result)) {
    result = checkRebuild(context, run->plan);
  }
  if (!isFailure(result)) {
    result = openBackup(context, run);
  }
  if (!isFailure(result)) {
    result = askToGoOn(context, run->controller.identity, "rebuild", run->backup.file);
  }
  if (!isFailure(result) && run->backup.handle != nullptr) {
    result = writeOutput(context, &run->backup, run->before.text, run->before.size, "nothing was changed: ");
  }
  return result;
}

// --- What has come of it ---

// The steps that the plan knows to fail.
static UINT32 expectedFailures(const RestorePlan &plan) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < plan.saved->logicalDiskCount; ++i) {
    count += plan.virtualDiskPlans[i].whyNot.length != 0 ? 1 : 0;
  }
  for (UINT32 i = 0; i < plan.saved->physicalDiskCount; ++i) {
    count += plan.diskPlans[i].spareCommand != 0 && plan.diskPlans[i].whyNoSpare.length != 0 ? 1 : 0;
  }
  return count;
}

// Reads the controller back and says what differs; *verdict is filled without a failure.
static Result readBack(const Context &context, const RestoreRun &run, Json *json, Verdict *verdict) {
  DocumentText now;
  Result result = readInventory(context, run.controller.operations, &now);
  if (isFailure(result)) {
    return result;
  }
  XML_NODE *root = nullptr;
  result = parseTree(context, "the inventory", now.text, &root);
  if (!isFailure(result)) {
    EFI_STATUS status = makeVerdict(run.plan, run.savedRoot, root, &run.plan.verdict, verdict);
    if (EFI_ERROR(status)) {
      complain(context.front, "what came back cannot be compared with what was saved: %a", statusWords(status));
      result = failed(status);
    } else if (hasOption(context, optionJson)) {
      writeVerdict(json, *verdict);
    } else {
      sayVerdict(context.front, *verdict, /* isToCome= */ false);
    }
  }
  freeDifferences(&verdict->differences); // its texts are the trees'
  freeTree(root);
  releaseDocument(&now);
  return result;
}

static Result judge(const Context &context, const Verdict &verdict) {
  if (verdict.counts[blameRestore] != 0) {
    complain(context.front, "%d differences should not be there after the restore", verdict.counts[blameRestore]);
    return failed(EFI_DEVICE_ERROR);
  }
  return verdict.losses != 0 ? different() : succeeded();
}

static void tellBackup(const Context &context, const RestoreRun &run, Json *json) {
  if (run.backup.file == nullptr) {
    return;
  }
  if (hasOption(context, optionJson)) {
    jsonText(json, "backup", run.backup.file);
  } else {
    say(context.front, "What the controller held before is in '%a'\n", run.backup.file);
  }
}

static Result runRestoreSteps(const Context &context, RestoreRun *run) {
  Changed changed;
  Result read = callSetLive(context, run->controller, &run->change, &changed);
  Json json = {};
  tellSteps(context, run->controller, &json, &changed);
  Verdict verdict = {};
  Result compared = readBack(context, *run, &json, &verdict);
  tellBackup(context, *run, &json);
  if (hasOption(context, optionJson)) {
    jsonEnd(&json);
  }
  Expected expected = {expectedFailures(run->plan),
                       isFailure(compared) || verdict.losses != 0 || verdict.counts[blameRestore] != 0};
  Result result = tellOutcome(context, run->controller, &run->change, changed, expected);
  freeChanged(&changed);
  if (!isFailure(result) && !isFailure(compared)) {
    result = judge(context, verdict);
  }
  freeVerdict(&verdict);
  result = isFailure(result) ? result : compared;
  return isFailure(result) ? result : read;
}

Result runRestore(const Context &context) {
  bool rebuild = hasOption(context, optionRebuild);
  if (rebuild && hasOption(context, optionPreserveVd)) {
    complain(context.front, "--rebuild and --preserve-vd exclude each other; give one of them");
    return wrongUsage();
  }
  RestoreRun run = {};
  run.change.what = "restore";
  run.change.options = {/* Restore= */ true, /* PreserveVd= */ !rebuild, hasOption(context, optionStopOnError)};
  Result result = prepareRestore(context, &run);
  if (!isFailure(result) && rebuild) {
    result = confirmRebuild(context, &run);
  }
  if (!isFailure(result)) {
    result = runRestoreSteps(context, &run);
  }
  freeRun(context, &run);
  return result;
}

Result runReplace(const Context &context) {
  Controller controller;
  Result result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  Change change = {};
  change.what = "replacement";
  change.options.preserveVd = true;
  RAID_CONFIG *config = nullptr;
  result = readSaved(context, context.request->operands[0], &change.saved, &config);
  driver::releaseConfig(config);
  if (isFailure(result)) {
    return result;
  }
  Changed changed;
  result = callSetLive(context, controller, &change, &changed);
  Json json = {};
  tellSteps(context, controller, &json, &changed);
  if (hasOption(context, optionJson)) {
    jsonEnd(&json);
  }
  Result told = tellOutcome(context, controller, &change, changed, /* expected= */ {});
  freeChanged(&changed);
  return isFailure(told) ? told : result;
}

} // namespace xyl::client
