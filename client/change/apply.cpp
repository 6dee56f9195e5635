// apply, and what all commands that send a change document share.
#include "base/pool.h"
#include "base/text.h"
#include "client/change/change.h"
#include "client/change/requests.h"
#include "client/change/saved.h"
#include "client/change/set_live.h"
#include "client/plan/plan.h"
#include "driver/request/request.h"

XYL_RESULT readRequest(const XYL_CONTEXT &context, const CHAR8 *name, const CHAR8 *text, RAID_CONFIG **request) {
  *request = nullptr;
  UINT32 methods = 0;
  XYL_RESULT result = countMethods(context, name, text, &methods);
  if (isFailure(result)) {
    return result;
  }
  UINT32 count = 1;
  EFI_STATUS status = ParseXMLBlob(text, request, &count);
  UINT32 readable = !EFI_ERROR(status) && *request != nullptr ? (*request)->commandCount : 0;
  if (EFI_ERROR(status)) {
    complain(context.Front, "'%a' is no change document: %a; nothing was changed", name, statusWords(status));
    return failed(status, XYL_REASON_DOCUMENT);
  }
  if (readable != methods) {
    complain(context.Front, "%d of the %d methods in '%a' cannot be read, look for misspelt names; nothing was changed",
             methods - readable, methods, name);
    return failed(EFI_INVALID_PARAMETER, XYL_REASON_DOCUMENT);
  }
  return succeeded();
}

// Shows what the request destroys, and asks.
static XYL_RESULT confirm(const XYL_CONTEXT &context, const CONTROLLER &controller, const CHANGE_REQUEST &request,
                          const RAID_CONFIG &parsed, const RAID_CONFIG *saved) {
  CHANGE_PLAN plan;
  XYL_RESULT result = planChanges(context, controller, parsed, saved, &plan);
  if (!isFailure(result) && plan.Destroys) {
    if (!hasOption(context, XYL_OPTION_JSON)) {
      tellChanges(context, controller, plan);
    }
    result = askToGoOn(context, controller.Identity, request.What);
  }
  freeChangePlan(&plan);
  return result;
}

static XYL_RESULT sendChanges(const XYL_CONTEXT &context, const CONTROLLER &controller, CHANGE *change) {
  CHANGED changed;
  XYL_RESULT result = callSetLive(context, controller, change, &changed);
  JSON json = {};
  tellSteps(context, controller, &json, &changed);
  if (hasOption(context, XYL_OPTION_JSON)) {
    jsonEnd(&json);
  }
  XYL_RESULT told = tellOutcome(context, controller, change, changed, /* expected= */ {});
  freeChanged(&changed);
  return isFailure(told) ? told : result;
}

// Says that there was nothing to do.
static XYL_RESULT tellNothing(const XYL_CONTEXT &context, const CHANGE_REQUEST &request, const RAID_CONFIG &parsed) {
  if (parsed.adapter != nullptr) {
    complain(context.Front, "'%a' is a configuration and has no methods, so nothing was done; 'xyl restore' takes it",
             request.Name);
    return failed(EFI_INVALID_PARAMETER, XYL_REASON_DOCUMENT);
  }
  complain(context.Front, "'%a' has no methods, so nothing was done", request.Name);
  return failed(EFI_INVALID_PARAMETER, XYL_REASON_DOCUMENT);
}

// What every method may add to the log, with room for the names of its members.
static UINTN logRoom(const DOCUMENT_TEXT &request, const RAID_CONFIG &parsed) {
  UINTN room = request.Size + 1024;
  for (UINT32 i = 0; i < parsed.commandCount; ++i) {
    room += 1024 + UINTN{parsed.commands[i].ObjectIdCount} * 256;
  }
  return room;
}

static XYL_RESULT applyParsed(const XYL_CONTEXT &context, const CONTROLLER &controller, const CHANGE_REQUEST &request,
                              CHANGE *change, RAID_CONFIG **parsed, RAID_CONFIG **saved) {
  XYL_RESULT result = readRequest(context, request.Name, change->Request.Text, parsed);
  if (!isFailure(result) && (*parsed == nullptr || (*parsed)->commandCount == 0)) {
    static constexpr RAID_CONFIG nothing = {};
    result = tellNothing(context, request, *parsed != nullptr ? **parsed : nothing);
  }
  if (!isFailure(result) && request.SavedOf != nullptr) {
    result = readSaved(context, request.SavedOf, &change->Saved, saved);
  }
  if (!isFailure(result)) {
    result = openOutput(context, context.Request->Options[XYL_OPTION_LOG_FILE], logRoom(change->Request, **parsed),
                        &change->LogFile);
  }
  if (!isFailure(result)) {
    result = confirm(context, controller, request, **parsed, *saved);
  }
  return isFailure(result) || request.Prepare == nullptr ? result
                                                         : request.Prepare(context, controller, request.PrepareData);
}

XYL_RESULT applyChanges(const XYL_CONTEXT &context, const CONTROLLER &controller, const CHANGE_REQUEST &request) {
  CHANGE change = {};
  change.What = request.What;
  change.Options.PreserveVd = true;
  change.Request = request.Text;
  change.Violation = request.Violation;
  XYL_RESULT result = succeeded();
  if (hasOption(context, XYL_OPTION_SHOW)) {
    sayDocument(context.Front, change.Request.Text, change.Request.Size);
  } else {
    RAID_CONFIG *parsed = nullptr;
    RAID_CONFIG *saved = nullptr;
    result = applyParsed(context, controller, request, &change, &parsed, &saved);
    change.Steps = parsed != nullptr ? parsed->commandCount : 0;
    releaseConfig(saved);
    releaseConfig(parsed);
    result = isFailure(result) ? result : sendChanges(context, controller, &change);
  }
  freeChange(context, &change);
  return result;
}

XYL_RESULT runApply(const XYL_CONTEXT &context) {
  CONTROLLER controller;
  XYL_RESULT result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  CHANGE_REQUEST request = {context.Request->Operands[0], "change", {}, context.Request->Options[XYL_OPTION_SAVED],
                            /* Prepare= */ nullptr,
                            /* PrepareData= */ nullptr};
  result = readDocument(context, request.Name, &request.Text);
  return isFailure(result) ? result : applyChanges(context, controller, request);
}
