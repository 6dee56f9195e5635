#include "client/change/set_live.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::client {

static RAID_XYL_BUFFER bufferOf(const DocumentText &document) {
  UINT32 size = document.text != nullptr ? static_cast<UINT32>(document.size + 1) : 0;
  return {RAID_XYL_REVISION, size, document.text};
}

void freeChange(const Context &context, Change *change) {
  releaseDocument(&change->saved);
  releaseDocument(&change->request);
  dropOutput(context, &change->logFile);
}

namespace {

// While one lives, the front shows that the driver works. What firmware shows would stand in the JSON.
class BusyFront {
public:
  BusyFront(const Context &context, UINT32 steps) {
    bool isApart = context.front->kind == frontHost || !hasOption(context, optionJson);
    if (isApart && context.front->busy != nullptr) {
      front_ = context.front;
      front_->busy(front_, /* begins= */ true, steps);
    }
  }
  ~BusyFront() {
    if (front_ != nullptr) {
      front_->busy(front_, /* begins= */ false, /* steps= */ 0);
    }
  }
  BusyFront(const BusyFront &) = delete;
  BusyFront &operator=(const BusyFront &) = delete;

private:
  const Front *front_ = nullptr;
};

} // namespace

static EFI_STATUS callShown(const Context &context, RAID_XYL_PROTOCOL *operations, UINT32 steps, RAID_XYL_BUFFER *input,
                            RAID_XYL_BUFFER *output) {
  BusyFront busy(context, steps);
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  return operations->Set_Live(operations, &parameter, input, output);
}

// Calls the operation, which takes the documents over; *log is what it returned, or null.
static EFI_STATUS send(const Context &context, RAID_XYL_PROTOCOL *operations, Change *change, CHAR8 **log) {
  CHAR8 *options = makeRunOptions(change->options);
  if (options == nullptr) {
    releaseDocument(&change->saved);
    releaseDocument(&change->request);
    return EFI_OUT_OF_RESOURCES;
  }
  RAID_XYL_BUFFER inputs[2] = {bufferOf(change->saved), bufferOf({options, textLength(options)})};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof(inputs), inputs};
  RAID_XYL_BUFFER outputs[2] = {{RAID_XYL_REVISION, 0, nullptr}, bufferOf(change->request)};
  RAID_XYL_BUFFER output = {RAID_XYL_REVISION, 0, nullptr};
  if (change->request.text != nullptr) {
    output = {RAID_XYL_REVISION, sizeof(outputs), outputs};
  }
  EFI_STATUS status = callShown(context, operations, change->steps, &input, &output);
  *log = static_cast<CHAR8 *>(change->request.text != nullptr ? outputs[0].Data : output.Data);
  change->saved = {};
  change->request = {};
  return status;
}

Result callSetLive(const Context &context, const Controller &controller, Change *change, Changed *changed) {
  *changed = {};
  changed->status = send(context, controller.operations, change, &changed->log);
  return changed->log != nullptr ? parseTree(context, "the returned log", changed->log, &changed->logRoot)
                                 : succeeded();
}

void freeChanged(Changed *changed) {
  freeTree(changed->logRoot);
  poolFree(changed->log);
  *changed = {};
}

void tellSteps(const Context &context, const Controller &controller, Json *json, Changed *changed) {
  if (!hasOption(context, optionJson)) {
    if (changed->logRoot != nullptr) {
      saySteps(context.front, changed->logRoot, &changed->counts);
    }
    return;
  }
  *json = {};
  json->front = context.front;
  jsonObject(json, nullptr);
  writeIdentity(json, controller.identity);
  writeSteps(json, changed->logRoot, &changed->counts);
  jsonNumber(json, "failedSteps", changed->counts.failed);
  jsonText(json, "status", statusWords(changed->status));
  if (EFI_ERROR(changed->status) || changed->counts.failed != 0) {
    jsonText(json, "failure", changed->counts.changes != 0 ? "half done" : "failed");
  }
}

static Result keepLog(const Context &context, Change *change, const CHAR8 *log) {
  if (change->logFile.handle == nullptr) {
    return succeeded();
  }
  if (log == nullptr) {
    dropOutput(context, &change->logFile);
    complain(context.front, "no log came back, so none was written");
    return succeeded();
  }
  Text before = {};
  putText(&before, "the ");
  putText(&before, change->what);
  putText(&before, " is done, but its log is lost: ");
  Result result = writeOutput(context, &change->logFile, log, textLength(log), textOf(before));
  freeText(&before);
  return result;
}

Result tellOutcome(const Context &context, const Controller &controller, Change *change, const Changed &changed,
                   const Expected &expected) {
  Text where = {};
  putIdentity(&where, controller.identity);
  Result result = succeeded();
  if (EFI_ERROR(changed.status)) {
    const CHAR8 *why = changed.status == EFI_SECURITY_VIOLATION ? change->violation : nullptr;
    complain(context.front, "the %a failed on %a: %a%a%a; what was done before stays done", change->what, textOf(where),
             statusWords(changed.status), why != nullptr ? ", " : "", why != nullptr ? why : "");
    result = failed(changed.status);
  } else if (changed.counts.failed > expected.failures) {
    complain(context.front, "the %a on %a came to its end, but %d of its steps failed", change->what, textOf(where),
             changed.counts.failed);
    result = failed(changed.counts.firstFailure);
  } else if (!hasOption(context, optionJson)) {
    bool isWhole = !expected.isLeftShort && changed.counts.failed == 0;
    say(context.front,
        isWhole ? "the %a succeeded on %a\n" : "the %a on %a came to its end; what it left is told above\n",
        change->what, textOf(where));
  }
  freeText(&where);
  Result kept = keepLog(context, change, changed.log);
  return isFailure(result) ? result : kept;
}

} // namespace xyl::client
