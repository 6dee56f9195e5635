#include "xyl/change/change.h"

// restore, replace and apply.
#include "base/pool.h"
#include "base/text.h"
#include "driver/request/request.h"
#include "xyl/controllers/controllers.h"
#include "xyl/documents/documents.h"
#include "xyl/plan/plan.h"
#include "xyl/steps/steps.h"

// One call of Set_Live. The documents are pool texts; an absent one is null.
struct CHANGE {
  RUN_OPTIONS Options;
  DOCUMENT_TEXT Saved;
  DOCUMENT_TEXT Request;
  CHAR8 *Log; // returned; pool
};

static RAID_XYL_BUFFER bufferOf(const DOCUMENT_TEXT &document) {
  UINT32 size = document.Text != nullptr ? static_cast<UINT32>(document.Size + 1) : 0;
  return {RAID_XYL_REVISION, size, document.Text};
}

// Requests may hold passphrases.
static void freeDocument(DOCUMENT_TEXT *document) {
  if (document->Text != nullptr) {
    wipeBytes(document->Text, document->Size);
    poolRelease(document->Text);
  }
}

// Calls the operation, which takes the documents over; change->Log is the log that it returned, or null.
static EFI_STATUS callSetLive(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL *operations, CHANGE *change) {
  CHAR8 *options = makeRunOptions(change->Options);
  if (options == nullptr) {
    freeDocument(&change->Saved);
    freeDocument(&change->Request);
    return EFI_OUT_OF_RESOURCES;
  }
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER inputs[2] = {bufferOf(change->Saved), bufferOf({options, textLength(options)})};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof(inputs), inputs};
  RAID_XYL_BUFFER outputs[2] = {{RAID_XYL_REVISION, 0, nullptr}, bufferOf(change->Request)};
  RAID_XYL_BUFFER output = {RAID_XYL_REVISION, 0, nullptr};
  if (change->Request.Text != nullptr) {
    output = {RAID_XYL_REVISION, sizeof(outputs), outputs};
  }
  bool shows = context.Host->Busy != nullptr && !hasOption(context, XYL_OPTION_JSON);
  if (shows) {
    context.Host->Busy(context.Host, true);
  }
  EFI_STATUS status = operations->Set_Live(operations, &parameter, &input, &output);
  if (shows) {
    context.Host->Busy(context.Host, false);
  }
  change->Log = static_cast<CHAR8 *>(change->Request.Text != nullptr ? outputs[0].Data : output.Data);
  change->Saved = {};
  change->Request = {};
  return status;
}

static XYL_RESULT keepLog(const XYL_CONTEXT &context, const CHAR8 *log) {
  const CHAR8 *file = context.Request->Options[XYL_OPTION_LOG_FILE];
  if (file != nullptr && log == nullptr) {
    complain(context.Host, u"no log came back, so none was written");
  }
  return file != nullptr && log != nullptr ? writeDocument(context, file, log, textLength(log)) : succeeded();
}

// Runs the change and tells how it went; what names it in messages.
static XYL_RESULT runChange(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL *operations, CHANGE *change,
                            const CHAR8 *what) {
  EFI_STATUS status = callSetLive(context, operations, change);
  STEP_COUNTS counts = {};
  XYL_RESULT result = reportLog(context, change->Log, status, &counts);
  XYL_RESULT kept = keepLog(context, change->Log);
  result = isFailure(result) ? result : kept;
  poolFree(change->Log);
  if (EFI_ERROR(status)) {
    complain(context.Host, u"the %a failed: %a; what was done before stays done", what, statusWords(status));
    return failed(status);
  }
  if (counts.Failed != 0) {
    complain(context.Host, u"the %a came to its end, but %d of its steps failed", what, counts.Failed);
    return failed(counts.FirstFailure);
  }
  if (!isFailure(result) && !hasOption(context, XYL_OPTION_JSON)) {
    say(context.Host, u"the %a succeeded\n", what);
  }
  return result;
}

// Reads a saved configuration and makes sure that it is one: the driver then takes over all texts of the call.
static XYL_RESULT readSaved(const XYL_CONTEXT &context, const CHAR8 *file, DOCUMENT_TEXT *saved, RAID_CONFIG **config) {
  *config = nullptr;
  XYL_RESULT result = readDocument(context, file, saved);
  if (isFailure(result)) {
    return result;
  }
  result = readConfiguration(context, file, saved->Text, config);
  if (isFailure(result)) {
    freeDocument(saved);
  }
  return result;
}

// Refuses a request of which the driver would leave out methods: half of a change is worse than none.
static XYL_RESULT checkRequest(const XYL_CONTEXT &context, const CHAR8 *file, const CHAR8 *text) {
  UINT32 methods = 0;
  XYL_RESULT result = countMethods(context, file, text, &methods);
  if (isFailure(result)) {
    return result;
  }
  RAID_CONFIG *request = nullptr;
  UINT32 count = 1;
  EFI_STATUS status = ParseXMLBlob(text, &request, &count);
  UINT32 readable = !EFI_ERROR(status) && request != nullptr ? request->commandCount : 0;
  releaseConfig(request);
  if (EFI_ERROR(status)) {
    complain(context.Host, u"'%a' is no change document: %a; nothing was changed", file, statusWords(status));
    return failed(status);
  }
  if (readable != methods) {
    complain(context.Host, u"%d of the %d methods in '%a' cannot be read, look for misspelt names; nothing was changed",
             methods - readable, methods, file);
    return failed(EFI_INVALID_PARAMETER);
  }
  return succeeded();
}

static XYL_RESULT askRebuild(const XYL_CONTEXT &context) {
  if (hasOption(context, XYL_OPTION_YES)) {
    return succeeded();
  }
  if (hasOption(context, XYL_OPTION_JSON)) {
    complain(context.Host, u"--json leaves no room for a question; look at 'xyl plan' and give --yes");
    return wrongUsage();
  }
  switch (context.Host->AskYes(context.Host, "Go on? Type yes: ")) {
  case XYL_ANSWER_YES:
    return succeeded();
  case XYL_ANSWER_NO:
    complain(context.Host, u"the rebuild was declined; nothing was changed");
    return failed(EFI_ABORTED);
  default:
    complain(context.Host, u"a rebuild destroys data and nobody can be asked; give --yes. Nothing was changed");
    return wrongUsage();
  }
}

// Shows what the rebuild means and asks for a yes.
static XYL_RESULT confirmRebuild(const XYL_CONTEXT &context, RAID_MGMT_PROTOCOL *controller, const RUN_OPTIONS &options,
                                 RAID_CONFIG *saved) {
  RESTORE_PLAN plan;
  XYL_RESULT result = makePlan(context, controller, saved, options, &plan);
  if (!isFailure(result)) {
    result = hasOption(context, XYL_OPTION_JSON) ? checkPlan(context, plan) : showRebuild(context, plan);
  }
  freePlan(&plan);
  return isFailure(result) ? result : askRebuild(context);
}

XYL_RESULT runRestore(const XYL_CONTEXT &context) {
  bool rebuild = hasOption(context, XYL_OPTION_REBUILD);
  if (rebuild && hasOption(context, XYL_OPTION_PRESERVE_VD)) {
    complain(context.Host, u"--rebuild and --preserve-vd exclude each other; give one of them");
    return wrongUsage();
  }
  RAID_XYL_PROTOCOL *operations = nullptr;
  RAID_MGMT_PROTOCOL *controller = nullptr;
  XYL_RESULT result = selectController(context, &operations, &controller);
  if (isFailure(result)) {
    return result;
  }
  CHANGE change = {};
  change.Options = {/* Restore= */ true, /* PreserveVd= */ !rebuild, hasOption(context, XYL_OPTION_STOP_ON_ERROR)};
  RAID_CONFIG *config = nullptr;
  result = readSaved(context, context.Request->Operands[0], &change.Saved, &config);
  if (isFailure(result)) {
    return result;
  }
  if (rebuild) {
    result = confirmRebuild(context, controller, change.Options, config);
  }
  releaseConfig(config);
  if (isFailure(result)) {
    freeDocument(&change.Saved);
    return result;
  }
  return runChange(context, operations, &change, "restore");
}

XYL_RESULT runReplace(const XYL_CONTEXT &context) {
  RAID_XYL_PROTOCOL *operations = nullptr;
  XYL_RESULT result = selectController(context, &operations);
  if (isFailure(result)) {
    return result;
  }
  CHANGE change = {};
  change.Options.PreserveVd = true;
  RAID_CONFIG *config = nullptr;
  result = readSaved(context, context.Request->Operands[0], &change.Saved, &config);
  if (isFailure(result)) {
    return result;
  }
  releaseConfig(config);
  return runChange(context, operations, &change, "replacement");
}

XYL_RESULT runApply(const XYL_CONTEXT &context) {
  RAID_XYL_PROTOCOL *operations = nullptr;
  XYL_RESULT result = selectController(context, &operations);
  if (isFailure(result)) {
    return result;
  }
  CHANGE change = {};
  change.Options.PreserveVd = true;
  const CHAR8 *savedFile = context.Request->Options[XYL_OPTION_SAVED];
  if (savedFile != nullptr) {
    RAID_CONFIG *config = nullptr;
    result = readSaved(context, savedFile, &change.Saved, &config);
    if (isFailure(result)) {
      return result;
    }
    releaseConfig(config);
  }
  const CHAR8 *file = context.Request->Operands[0];
  result = readDocument(context, file, &change.Request);
  if (!isFailure(result)) {
    result = checkRequest(context, file, change.Request.Text);
  }
  if (isFailure(result)) {
    freeDocument(&change.Request);
    freeDocument(&change.Saved);
    return result;
  }
  return runChange(context, operations, &change, "change");
}
