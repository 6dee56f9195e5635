#include "client/change/set_live.h"

#include "base/pool.h"
#include "base/text.h"

static RAID_XYL_BUFFER bufferOf(const DOCUMENT_TEXT &document) {
  UINT32 size = document.Text != nullptr ? static_cast<UINT32>(document.Size + 1) : 0;
  return {RAID_XYL_REVISION, size, document.Text};
}

void freeChange(const XYL_CONTEXT &context, CHANGE *change) {
  releaseDocument(&change->Saved);
  releaseDocument(&change->Request);
  dropOutput(context, &change->LogFile);
}

namespace {

// While one lives, the front shows that the driver works. What firmware shows would stand in the JSON.
class BusyFront {
public:
  BusyFront(const XYL_CONTEXT &context, UINT32 steps) {
    bool isApart = context.Front->Kind == XYL_FRONT_HOST || !hasOption(context, XYL_OPTION_JSON);
    if (isApart && context.Front->Busy != nullptr) {
      front_ = context.Front;
      front_->Busy(front_, /* begins= */ true, steps);
    }
  }
  ~BusyFront() {
    if (front_ != nullptr) {
      front_->Busy(front_, /* begins= */ false, /* steps= */ 0);
    }
  }
  BusyFront(const BusyFront &) = delete;
  BusyFront &operator=(const BusyFront &) = delete;

private:
  const XYL_FRONT *front_ = nullptr;
};

} // namespace

static EFI_STATUS callShown(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL *operations, UINT32 steps,
                            RAID_XYL_BUFFER *input, RAID_XYL_BUFFER *output) {
  BusyFront busy(context, steps);
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  return operations->Set_Live(operations, &parameter, input, output);
}

// Calls the operation, which takes the documents over; *log is what it returned, or null.
static EFI_STATUS send(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL *operations, CHANGE *change, CHAR8 **log) {
  CHAR8 *options = makeRunOptions(change->Options);
  if (options == nullptr) {
    releaseDocument(&change->Saved);
    releaseDocument(&change->Request);
    return EFI_OUT_OF_RESOURCES;
  }
  RAID_XYL_BUFFER inputs[2] = {bufferOf(change->Saved), bufferOf({options, textLength(options)})};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof(inputs), inputs};
  RAID_XYL_BUFFER outputs[2] = {{RAID_XYL_REVISION, 0, nullptr}, bufferOf(change->Request)};
  RAID_XYL_BUFFER output = {RAID_XYL_REVISION, 0, nullptr};
  if (change->Request.Text != nullptr) {
    output = {RAID_XYL_REVISION, sizeof(outputs), outputs};
  }
  EFI_STATUS status = callShown(context, operations, change->Steps, &input, &output);
  *log = static_cast<CHAR8 *>(change->Request.Text != nullptr ? outputs[0].Data : output.Data);
  change->Saved = {};
  change->Request = {};
  return status;
}

XYL_RESULT callSetLive(const XYL_CONTEXT &context, const CONTROLLER &controller, CHANGE *change, CHANGED *changed) {
  *changed = {};
  changed->Status = send(context, controller.Operations, change, &changed->Log);
  return changed->Log != nullptr ? parseTree(context, "the returned log", changed->Log, &changed->LogRoot)
                                 : succeeded();
}

void freeChanged(CHANGED *changed) {
  freeTree(changed->LogRoot);
  poolFree(changed->Log);
  *changed = {};
}

void tellSteps(const XYL_CONTEXT &context, const CONTROLLER &controller, JSON *json, CHANGED *changed) {
  if (!hasOption(context, XYL_OPTION_JSON)) {
    if (changed->LogRoot != nullptr) {
      saySteps(context.Front, changed->LogRoot, &changed->Counts);
    }
    return;
  }
  *json = {};
  json->Front = context.Front;
  jsonObject(json, nullptr);
  writeIdentity(json, controller.Identity);
  writeSteps(json, changed->LogRoot, &changed->Counts);
  jsonNumber(json, "failedSteps", changed->Counts.Failed);
  jsonText(json, "status", statusWords(changed->Status));
  if (EFI_ERROR(changed->Status) || changed->Counts.Failed != 0) {
    jsonText(json, "failure", changed->Counts.Changes != 0 ? "half done" : "failed");
  }
}

static XYL_RESULT keepLog(const XYL_CONTEXT &context, CHANGE *change, const CHAR8 *log) {
  if (change->LogFile.Handle == nullptr) {
    return succeeded();
  }
  if (log == nullptr) {
    dropOutput(context, &change->LogFile);
    complain(context.Front, "no log came back, so none was written");
    return succeeded();
  }
  TEXT before = {};
  putText(&before, "the ");
  putText(&before, change->What);
  putText(&before, " is done, but its log is lost: ");
  XYL_RESULT result = writeOutput(context, &change->LogFile, log, textLength(log), textOf(before));
  freeText(&before);
  return result;
}

XYL_RESULT tellOutcome(const XYL_CONTEXT &context, const CONTROLLER &controller, CHANGE *change, const CHANGED &changed,
                       const EXPECTED &expected) {
  TEXT where = {};
  putIdentity(&where, controller.Identity);
  XYL_RESULT result = succeeded();
  if (EFI_ERROR(changed.Status)) {
    const CHAR8 *why = changed.Status == EFI_SECURITY_VIOLATION ? change->Violation : nullptr;
    complain(context.Front, "the %a failed on %a: %a%a%a; what was done before stays done", change->What, textOf(where),
             statusWords(changed.Status), why != nullptr ? ", " : "", why != nullptr ? why : "");
    result = failed(changed.Status);
  } else if (changed.Counts.Failed > expected.Failures) {
    complain(context.Front, "the %a on %a came to its end, but %d of its steps failed", change->What, textOf(where),
             changed.Counts.Failed);
    result = failed(changed.Counts.FirstFailure);
  } else if (!hasOption(context, XYL_OPTION_JSON)) {
    bool isWhole = !expected.IsLeftShort && changed.Counts.Failed == 0;
    say(context.Front,
        isWhole ? "the %a succeeded on %a\n" : "the %a on %a came to its end; what it left is told above\n",
        change->What, textOf(where));
  }
  freeText(&where);
  XYL_RESULT kept = keepLog(context, change, changed.Log);
  return isFailure(result) ? result : kept;
}
