#include "client/ensure/ensure.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/change/set_live.h"
#include "client/controllers/controllers.h"
#include "client/ensure/judge.h"
#include "client/ensure/tell.h"
#include "driver/request/request.h"

namespace ensure {

namespace {

// What the controller holds, and what the layout means for it. Gives back what it holds when it goes.
struct Finding {
  Finding() = default;
  Finding(const Finding &) = delete;
  Finding &operator=(const Finding &) = delete;
  ~Finding() { releaseConfig(config); }

  RAID_CONFIG *config = nullptr;
  Judgement judgement; // goes first
};

struct Run {
  const XYL_CONTEXT &context;
  CONTROLLER controller;
  const CHAR8 *file; // of the layout
  Layout layout;
};

} // namespace

static constexpr const CHAR8 *g_what = "change to the layout";

static bool isJson(const Run &run) {
  return hasOption(run.context, XYL_OPTION_JSON);
}

// --- What is so, and what should be ---

static XYL_RESULT find(const Run &run, Finding *finding) {
  DOCUMENT_TEXT inventory;
  bool isWhole = true;
  XYL_RESULT result = readToldInventory(run.context, run.controller, &inventory, &isWhole);
  if (isFailure(result)) {
    return result;
  }
  result = readConfiguration(run.context, "the inventory", inventory.Text, &finding->config);
  releaseDocument(&inventory);
  if (isFailure(result)) {
    return result;
  }
  bool isOnDisks = machineDisksOf(run.controller.Handle) != nullptr;
  EFI_STATUS status = judge(*finding->config, isOnDisks, run.layout, &finding->judgement);
  if (EFI_ERROR(status)) {
    complain(run.context.Front, "there is not enough memory");
    return failed(status);
  }
  return succeeded();
}

static void tellPlan(const Run &run, const Finding &finding) {
  const XYL_FRONT *front = run.context.Front;
  if (isJson(run)) {
    JSON json = {};
    json.Front = front;
    jsonObject(&json, nullptr);
    writeIdentity(&json, run.controller.Identity);
    writeJudgement(&json, *finding.config, finding.judgement);
    jsonEnd(&json);
    return;
  }
  say(front, "Controller: ");
  sayIdentity(front, run.controller.Identity);
  say(front, "\n");
  sayJudgement(front, *finding.config, finding.judgement, Lines::all);
  if (!finding.judgement.changes() && !finding.judgement.isRefused()) {
    say(front, "nothing to do: the controller is as '%a' says\n", run.file);
  }
}

static XYL_RESULT refuse(const Run &run, const Finding &finding) {
  if (!hasOption(run.context, XYL_OPTION_SHOW)) {
    tellPlan(run, finding);
  }
  const Judgement &judgement = finding.judgement;
  TEXT line = {};
  putText(&line, textOf(judgement.refusals.items[0]));
  if (judgement.refusals.count > 1) {
    putText(&line, "; there is more, ");
    putNumber(&line, judgement.refusals.count);
    putText(&line, " in all");
  }
  complain(run.context.Front, "'%a' cannot be: %a. Nothing was changed", run.file, textOf(line));
  freeText(&line);
  return failed(EFI_INVALID_PARAMETER);
}

// --- The change ---

// Writes the change document; *methods counts what is in it.
static XYL_RESULT writeDocument(const Run &run, const Finding &finding, DOCUMENT_TEXT *document, UINT32 *methods) {
  CHANGE_WRITER writer = {};
  *methods = writeChanges(*finding.config, finding.judgement, &writer);
  closeDocument(&writer);
  if (writer.Text.Failed) {
    freeText(&writer.Text);
    complain(run.context.Front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  *document = {writer.Text.Chars, writer.Text.Length};
  return succeeded();
}

static XYL_RESULT show(const Run &run, const Finding &finding) {
  if (!finding.judgement.changes()) {
    say(run.context.Front, "<raidData/>\n");
    return succeeded();
  }
  DOCUMENT_TEXT document = {};
  UINT32 methods = 0;
  XYL_RESULT result = writeDocument(run, finding, &document, &methods);
  if (!isFailure(result)) {
    sayDocument(run.context.Front, document.Text, document.Size);
  }
  releaseDocument(&document);
  return result;
}

// Reads the controller again, and says what is still not as the layout says; *isLeft tells.
static XYL_RESULT readBack(const Run &run, JSON *json, bool *isLeft) {
  *isLeft = true;
  Finding now;
  XYL_RESULT result = find(run, &now);
  if (isFailure(result)) {
    return result;
  }
  *isLeft = now.judgement.changes() || now.judgement.isRefused();
  if (isJson(run)) {
    writeOpen(json, "left", *now.config, now.judgement);
  } else if (*isLeft) {
    say(run.context.Front, "Not as '%a' says:\n", run.file);
    sayJudgement(run.context.Front, *now.config, now.judgement, Lines::open);
  } else {
    say(run.context.Front, "the controller is as '%a' says\n", run.file);
  }
  return succeeded();
}

static XYL_RESULT sendChange(const Run &run, const Finding &finding, CHANGE *change) {
  CHANGED changed;
  XYL_RESULT read = callSetLive(run.context, run.controller, change, &changed);
  JSON json = {};
  tellSteps(run.context, run.controller, &json, &changed);
  if (isJson(run)) {
    writeJudgement(&json, *finding.config, finding.judgement);
  }
  bool isLeft = true;
  XYL_RESULT back = readBack(run, &json, &isLeft);
  if (isJson(run)) {
    jsonEnd(&json);
  }
  XYL_RESULT result = tellOutcome(run.context, run.controller, change, changed, {/* Failures= */ 0, isLeft});
  freeChanged(&changed);
  if (!isFailure(result) && !isFailure(back) && isLeft) {
    complain(run.context.Front, "all steps are done, and the controller is not as '%a' says", run.file);
    return failed(EFI_DEVICE_ERROR);
  }
  result = isFailure(result) ? result : back;
  return isFailure(result) ? result : read;
}

// The answer may have taken long: it holds for what was shown alone.
static XYL_RESULT checkUnchanged(const Run &run, const Finding &finding) {
  Finding now;
  XYL_RESULT result = find(run, &now);
  if (isFailure(result)) {
    return result;
  }
  TEXT shown = {};
  TEXT lines = {};
  putJudgement(&shown, *finding.config, finding.judgement);
  putJudgement(&lines, *now.config, now.judgement);
  if (shown.Failed || lines.Failed) {
    complain(run.context.Front, "there is not enough memory");
    result = failed(EFI_OUT_OF_RESOURCES);
  } else if (!textEqual(textOf(shown), textOf(lines))) {
    complain(run.context.Front, "the controller changed meanwhile, and other things would be done than were shown; "
                                "look at the plan again. Nothing was changed");
    result = failed(EFI_ABORTED);
  }
  freeText(&lines);
  freeText(&shown);
  return result;
}

static XYL_RESULT askAboutLosses(const Run &run, const Finding &finding) {
  XYL_RESULT result = askToGoOn(run.context, run.controller.Identity, g_what);
  bool isAnswered = !isFailure(result) && !hasOption(run.context, XYL_OPTION_YES);
  return isAnswered ? checkUnchanged(run, finding) : result;
}

// What each method may add to the log, with room for the names of its members.
static UINTN logRoom(const Finding &finding, UINTN document) {
  const Judgement &judgement = finding.judgement;
  UINTN room = document + 4096 + 1024 * (UINTN{judgement.virtualDisks.count} + judgement.spares.count);
  for (UINT32 i = 0; i < judgement.virtualDisks.count; ++i) {
    room += UINTN{judgement.virtualDisks.items[i].members.count} * 256;
  }
  return room;
}

static XYL_RESULT change(const Run &run, const Finding &finding) {
  CHANGE change = {};
  change.What = g_what;
  change.Options.PreserveVd = true;
  XYL_RESULT result = writeDocument(run, finding, &change.Request, &change.Steps);
  if (!isFailure(result)) {
    result = openOutput(run.context, run.context.Request->Options[XYL_OPTION_LOG_FILE],
                        logRoom(finding, change.Request.Size), &change.LogFile);
  }
  if (!isFailure(result) && !isJson(run)) {
    tellPlan(run, finding);
  }
  if (!isFailure(result) && finding.judgement.destroys()) {
    result = askAboutLosses(run, finding);
  }
  if (!isFailure(result)) {
    result = sendChange(run, finding, &change);
  }
  freeChange(run.context, &change);
  return result;
}

// --- All of it ---

static XYL_RESULT runOn(const Run &run) {
  Finding finding;
  XYL_RESULT result = find(run, &finding);
  if (isFailure(result)) {
    return result;
  }
  if (finding.judgement.isRefused()) {
    return refuse(run, finding);
  }
  if (hasOption(run.context, XYL_OPTION_SHOW)) {
    return show(run, finding);
  }
  bool isPlan = hasOption(run.context, XYL_OPTION_PLAN);
  if (isPlan || !finding.judgement.changes()) {
    tellPlan(run, finding);
    return finding.judgement.changes() ? different() : succeeded();
  }
  return change(run, finding);
}

// The text of the layout: of the file that is named, or what the front makes of the one behind --from.
static XYL_RESULT readText(const XYL_CONTEXT &context, const CHAR8 **file, DOCUMENT_TEXT *document) {
  const CHAR8 *from = context.Request->Options[XYL_OPTION_FROM];
  if ((from != nullptr) == (context.Request->OperandCount != 0)) {
    complain(context.Front, context.Front->TranslateLayout != nullptr ? "give a layout, as LAYOUT.xml or as --from FILE"
                                                                      : "give a layout, as LAYOUT.xml");
    return wrongUsage();
  }
  if (from == nullptr) {
    *file = context.Request->Operands[0];
    return readDocument(context, *file, document);
  }
  *file = from;
  XYL_RESULT result = context.Front->TranslateLayout(context.Front, from, &document->Text);
  document->Size = isFailure(result) ? 0 : textLength(document->Text);
  return result;
}

// Of the options that show instead of changing there may be one.
static XYL_RESULT checkShown(const XYL_CONTEXT &context) {
  static constexpr XYL_OPTION_ID shown[] = {XYL_OPTION_PLAN, XYL_OPTION_SHOW, XYL_OPTION_SHOW_LAYOUT};
  const CHAR8 *other = nullptr;
  for (XYL_OPTION_ID id : shown) {
    if (hasOption(context, id) && other != nullptr) {
      complain(context.Front, "%a and %a exclude each other; give one of them", other, g_xylOptions[id].Long);
      return wrongUsage();
    }
    other = hasOption(context, id) ? g_xylOptions[id].Long : other;
  }
  return succeeded();
}

} // namespace ensure

XYL_NEED needOfEnsure(const XYL_REQUEST &request) {
  return request.Options[XYL_OPTION_SHOW_LAYOUT] != nullptr ? XYL_NEED_NOTHING : XYL_NEED_TO_READ;
}

XYL_RESULT runEnsure(const XYL_CONTEXT &context) {
  ensure::Run run = {context, {}, nullptr, {}};
  DOCUMENT_TEXT document = {};
  bool isShown = hasOption(context, XYL_OPTION_SHOW_LAYOUT);
  XYL_RESULT result = ensure::checkShown(context);
  if (!isFailure(result)) {
    result = ensure::readText(context, &run.file, &document);
  }
  if (!isFailure(result) && !isShown) {
    result = openController(context, &run.controller);
  }
  if (!isFailure(result)) {
    result = ensure::readLayout(context, run.file, document.Text, &run.layout);
  }
  if (!isFailure(result) && isShown) {
    sayDocument(context.Front, document.Text, document.Size);
  }
  releaseDocument(&document);
  return isFailure(result) || isShown ? result : ensure::runOn(run);
}
