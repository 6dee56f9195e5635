#include "client/ensure/ensure.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/change/set_live.h"
#include "client/controllers/controllers.h"
#include "client/ensure/judge.h"
#include "client/ensure/tell.h"
#include "driver/request/request.h"

namespace xyl::client::ensure {

namespace {

// What the controller holds, and what the layout means for it. Gives back what it holds when it goes.
struct Finding {
  Finding() = default;
  Finding(const Finding &) = delete;
  Finding &operator=(const Finding &) = delete;
  ~Finding() { driver::releaseConfig(config); }

  RAID_CONFIG *config = nullptr;
  Judgement judgement; // goes first
};

struct Run {
  const Context &context;
  Controller controller;
  const CHAR8 *file; // of the layout
  Layout layout;
};

} // namespace

static constexpr const CHAR8 *g_what = "change to the layout";

static bool isJson(const Run &run) {
  return hasOption(run.context, optionJson);
}

// --- What is so, and what should be ---

static Result find(const Run &run, Finding *finding) {
  DocumentText inventory;
  bool isWhole = true;
  Result result = readToldInventory(run.context, run.controller, &inventory, &isWhole);
  if (isFailure(result)) {
    return result;
  }
  result = readConfiguration(run.context, "the inventory", inventory.text, &finding->config);
  releaseDocument(&inventory);
  if (isFailure(result)) {
    return result;
  }
  bool isOnDisks = machineDisksOf(run.controller.handle) != nullptr;
  EFI_STATUS status = judge(*finding->config, isOnDisks, run.layout, &finding->judgement);
  if (EFI_ERROR(status)) {
    complain(run.context.front, "there is not enough memory");
    return failed(status);
  }
  return succeeded();
}

static void tellPlan(const Run &run, const Finding &finding) {
  const Front *front = run.context.front;
  if (isJson(run)) {
    Json json = {};
    json.front = front;
    jsonObject(&json, nullptr);
    writeIdentity(&json, run.controller.identity);
    writeJudgement(&json, *finding.config, finding.judgement);
    jsonEnd(&json);
    return;
  }
  say(front, "Controller: ");
  sayIdentity(front, run.controller.identity);
  say(front, "\n");
  sayJudgement(front, *finding.config, finding.judgement, Lines::all);
  if (!finding.judgement.changes() && !finding.judgement.isRefused()) {
    say(front, "nothing to do: the controller is as '%a' says\n", run.file);
  }
}

static Result refuse(const Run &run, const Finding &finding) {
  if (!hasOption(run.context, optionShow)) {
    tellPlan(run, finding);
  }
  const Judgement &judgement = finding.judgement;
  Text line = {};
  putText(&line, textOf(judgement.refusals.items[0]));
  if (judgement.refusals.count > 1) {
    putText(&line, "; there is more, ");
    putNumber(&line, judgement.refusals.count);
    putText(&line, " in all");
  }
  complain(run.context.front, "'%a' cannot be: %a. Nothing was changed", run.file, textOf(line));
  freeText(&line);
  return failed(EFI_INVALID_PARAMETER);
}

// --- The change ---

// Writes the change document; *methods counts what is in it.
static Result writeDocument(const Run &run, const Finding &finding, DocumentText *document, UINT32 *methods) {
  ChangeWriter writer = {};
  *methods = writeChanges(*finding.config, finding.judgement, &writer);
  closeDocument(&writer);
  if (writer.text.failed) {
    freeText(&writer.text);
    complain(run.context.front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  *document = {writer.text.chars, writer.text.length};
  return succeeded();
}

static Result show(const Run &run, const Finding &finding) {
  if (!finding.judgement.changes()) {
    say(run.context.front, "<raidData/>\n");
    return succeeded();
  }
  DocumentText document = {};
  UINT32 methods = 0;
  Result result = writeDocument(run, finding, &document, &methods);
  if (!isFailure(result)) {
    sayDocument(run.context.front, document.text, document.size);
  }
  releaseDocument(&document);
  return result;
}

// Reads the controller again, and says what is still not as the layout says; *isLeft tells.
static Result readBack(const Run &run, Json *json, bool *isLeft) {
  *isLeft = true;
  Finding now;
  Result result = find(run, &now);
  if (isFailure(result)) {
    return result;
  }
  *isLeft = now.judgement.changes() || now.judgement.isRefused();
  if (isJson(run)) {
    writeOpen(json, "left", *now.config, now.judgement);
  } else if (*isLeft) {
    say(run.context.front, "Not as '%a' says:\n", run.file);
    sayJudgement(run.context.front, *now.config, now.judgement, Lines::open);
  } else {
    say(run.context.front, "the controller is as '%a' says\n", run.file);
  }
  return succeeded();
}

static Result sendChange(const Run &run, const Finding &finding, Change *change) {
  Changed changed;
  Result read = callSetLive(run.context, run.controller, change, &changed);
  Json json = {};
  tellSteps(run.context, run.controller, &json, &changed);
  if (isJson(run)) {
    writeJudgement(&json, *finding.config, finding.judgement);
  }
  bool isLeft = true;
  Result back = readBack(run, &json, &isLeft);
  if (isJson(run)) {
    jsonEnd(&json);
  }
  Result result = tellOutcome(run.context, run.controller, change, changed, {/* Failures= */ 0, isLeft});
  freeChanged(&changed);
  if (!isFailure(result) && !isFailure(back) && isLeft) {
    complain(run.context.front, "all steps are done, and the controller is not as '%a' says", run.file);
    return failed(EFI_DEVICE_ERROR);
  }
  result = isFailure(result) ? result : back;
  return isFailure(result) ? result : read;
}

// The answer may have taken long: it holds for what was shown alone.
static Result checkUnchanged(const Run &run, const Finding &finding) {
  Finding now;
  Result result = find(run, &now);
  if (isFailure(result)) {
    return result;
  }
  Text shown = {};
  Text lines = {};
  putJudgement(&shown, *finding.config, finding.judgement);
  putJudgement(&lines, *now.config, now.judgement);
  if (shown.failed || lines.failed) {
    complain(run.context.front, "there is not enough memory");
    result = failed(EFI_OUT_OF_RESOURCES);
  } else if (!textEqual(textOf(shown), textOf(lines))) {
    complain(run.context.front, "the controller changed meanwhile, and other things would be done than were shown; "
                                "look at the plan again. Nothing was changed");
    result = failed(EFI_ABORTED);
  }
  freeText(&lines);
  freeText(&shown);
  return result;
}

static Result askAboutLosses(const Run &run, const Finding &finding) {
  Result result = askToGoOn(run.context, run.controller.identity, g_what);
  bool isAnswered = !isFailure(result) && !hasOption(run.context, optionYes);
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

static Result change(const Run &run, const Finding &finding) {
  Change change = {};
  change.what = g_what;
  change.options.preserveVd = true;
  Result result = writeDocument(run, finding, &change.request, &change.steps);
  if (!isFailure(result)) {
    result = openOutput(run.context, run.context.request->options[optionLogFile], logRoom(finding, change.request.size),
                        &change.logFile);
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

static Result runOn(const Run &run) {
  Finding finding;
  Result result = find(run, &finding);
  if (isFailure(result)) {
    return result;
  }
  if (finding.judgement.isRefused()) {
    return refuse(run, finding);
  }
  if (hasOption(run.context, optionShow)) {
    return show(run, finding);
  }
  bool isPlan = hasOption(run.context, optionPlan);
  if (isPlan || !finding.judgement.changes()) {
    tellPlan(run, finding);
    return finding.judgement.changes() ? different() : succeeded();
  }
  return change(run, finding);
}

// The text of the layout: of the file that is named, or what the front makes of the one behind --from.
static Result readText(const Context &context, const CHAR8 **file, DocumentText *document) {
  const CHAR8 *from = context.request->options[optionFrom];
  if ((from != nullptr) == (context.request->operandCount != 0)) {
    complain(context.front, context.front->translateLayout != nullptr ? "give a layout, as LAYOUT.xml or as --from FILE"
                                                                      : "give a layout, as LAYOUT.xml");
    return wrongUsage();
  }
  if (from == nullptr) {
    *file = context.request->operands[0];
    return readDocument(context, *file, document);
  }
  *file = from;
  Result result = context.front->translateLayout(context.front, from, &document->text);
  document->size = isFailure(result) ? 0 : textLength(document->text);
  return result;
}

// Of the options that show instead of changing there may be one.
static Result checkShown(const Context &context) {
  static constexpr OptionId shown[] = {optionPlan, optionShow, optionShowLayout};
  const CHAR8 *other = nullptr;
  for (OptionId id : shown) {
    if (hasOption(context, id) && other != nullptr) {
      complain(context.front, "%a and %a exclude each other; give one of them", other, g_xylOptions[id].longName);
      return wrongUsage();
    }
    other = hasOption(context, id) ? g_xylOptions[id].longName : other;
  }
  return succeeded();
}

Need needOfEnsure(const Request &request) {
  return request.options[optionShowLayout] != nullptr ? Need::nothing : Need::toRead;
}

Result runEnsure(const Context &context) {
  ensure::Run run = {context, {}, nullptr, {}};
  DocumentText document = {};
  bool isShown = hasOption(context, optionShowLayout);
  Result result = ensure::checkShown(context);
  if (!isFailure(result)) {
    result = ensure::readText(context, &run.file, &document);
  }
  if (!isFailure(result) && !isShown) {
    result = openController(context, &run.controller);
  }
  if (!isFailure(result)) {
    result = ensure::readLayout(context, run.file, document.text, &run.layout);
  }
  if (!isFailure(result) && isShown) {
    sayDocument(context.front, document.text, document.size);
  }
  releaseDocument(&document);
  return isFailure(result) || isShown ? result : ensure::runOn(run);
}

} // namespace xyl::client::ensure
