// apply, and what all commands that send a change document share.
#include "base/pool.h"
#include "base/text.h"
#include "client/change/change.h"
#include "client/change/requests.h"
#include "client/change/saved.h"
#include "client/change/set_live.h"
#include "client/plan/plan.h"
#include "driver/request/request.h"

namespace xyl::client {

Result readRequest(const Context &context, const CHAR8 *name, const CHAR8 *text, RAID_CONFIG **request) {
  *request = nullptr;
  UINT32 methods = 0;
  Result result = countMethods(context, name, text, &methods);
  if (isFailure(result)) {
    return result;
  }
  UINT32 count = 1;
  EFI_STATUS status = driver::ParseXMLBlob(text, request, &count);
  UINT32 readable = !EFI_ERROR(status) && *request != nullptr ? (*request)->commandCount : 0;
  if (EFI_ERROR(status)) {
    complain(context.front, "'%a' is no change document: %a; nothing was changed", name, statusWords(status));
    return failed(status, Reason::document);
  }
  if (readable != methods) {
    complain(context.front, "%d of the %d methods in '%a' cannot be read, look for misspelt names; nothing was changed",
             methods - readable, methods, name);
    return failed(EFI_INVALID_PARAMETER, Reason::document);
  }
  return succeeded();
}

// Shows what the request destroys, and asks.
static Result confirm(const Context &context, const Controller &controller, const ChangeRequest &request,
                      const RAID_CONFIG &parsed, const RAID_CONFIG *saved) {
  ChangePlan plan;
  Result result = planChanges(context, controller, parsed, saved, &plan);
  if (!isFailure(result) && plan.destroys) {
    if (!hasOption(context, optionJson)) {
      static_cast<void>(tellChanges(context, controller, plan)); // what would not be done is told, and no hindrance
    }
    result = askToGoOn(context, controller.identity, request.what);
  }
  freeChangePlan(&plan);
  return result;
}

static Result sendChanges(const Context &context, const Controller &controller, Change *change) {
  Changed changed;
  Result result = callSetLive(context, controller, change, &changed);
  Json json = {};
  tellSteps(context, controller, &json, &changed);
  if (hasOption(context, optionJson)) {
    jsonEnd(&json);
  }
  Result told = tellOutcome(context, controller, change, changed, /* expected= */ {});
  freeChanged(&changed);
  return isFailure(told) ? told : result;
}

// Says that there was nothing to do.
static Result tellNothing(const Context &context, const ChangeRequest &request, const RAID_CONFIG &parsed) {
  if (parsed.adapter != nullptr) {
    complain(context.front, "'%a' is a configuration and has no methods, so nothing was done; 'xyl restore' takes it",
             request.name);
    return failed(EFI_INVALID_PARAMETER, Reason::document);
  }
  complain(context.front, "'%a' has no methods, so nothing was done", request.name);
  return failed(EFI_INVALID_PARAMETER, Reason::document);
}

// What every method may add to the log, with room for the names of its members.
static UINTN logRoom(const DocumentText &request, const RAID_CONFIG &parsed) {
  UINTN room = request.size + 1024;
  for (UINT32 i = 0; i < parsed.commandCount; ++i) {
    room += 1024 + UINTN{parsed.commands[i].ObjectIdCount} * 256;
  }
  return room;
}

static Result applyParsed(const Context &context, const Controller &controller, const ChangeRequest &request,
                          Change *change, RAID_CONFIG **parsed, RAID_CONFIG **saved) {
  Result result = readRequest(context, request.name, change->request.text, parsed);
  if (!isFailure(result) && (*parsed == nullptr || (*parsed)->commandCount == 0)) {
    static constexpr RAID_CONFIG nothing = {};
    result = tellNothing(context, request, *parsed != nullptr ? **parsed : nothing);
  }
  if (!isFailure(result) && request.savedOf != nullptr) {
    result = readSaved(context, request.savedOf, &change->saved, saved);
  }
  if (!isFailure(result)) {
    result = openOutput(context, context.request->options[optionLogFile], logRoom(change->request, **parsed),
                        &change->logFile);
  }
  if (!isFailure(result)) {
    result = confirm(context, controller, request, **parsed, *saved);
  }
  return isFailure(result) || request.prepare == nullptr ? result
                                                         : request.prepare(context, controller, request.prepareData);
}

Result applyChanges(const Context &context, const Controller &controller, const ChangeRequest &request) {
  Change change = {};
  change.what = request.what;
  change.options.preserveVd = true;
  change.request = request.text;
  change.violation = request.violation;
  Result result = succeeded();
  if (hasOption(context, optionShow)) {
    sayDocument(context.front, change.request.text, change.request.size);
  } else {
    RAID_CONFIG *parsed = nullptr;
    RAID_CONFIG *saved = nullptr;
    result = applyParsed(context, controller, request, &change, &parsed, &saved);
    change.steps = parsed != nullptr ? parsed->commandCount : 0;
    driver::releaseConfig(saved);
    driver::releaseConfig(parsed);
    result = isFailure(result) ? result : sendChanges(context, controller, &change);
  }
  freeChange(context, &change);
  return result;
}

Result runApply(const Context &context) {
  Controller controller;
  Result result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  ChangeRequest request = {context.request->operands[0], "change", {}, context.request->options[optionSaved],
                           /* Prepare= */ nullptr,
                           /* PrepareData= */ nullptr};
  result = readDocument(context, request.name, &request.text);
  return isFailure(result) ? result : applyChanges(context, controller, request);
}

} // namespace xyl::client
