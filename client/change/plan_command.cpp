// plan: of a restore, or of a change document.
#include "base/pool.h"
#include "client/change/change.h"
#include "client/change/requests.h"
#include "client/change/saved.h"
#include "client/change/set_live.h"
#include "client/plan/plan.h"
#include "driver/request/request.h"

namespace xyl::client {

static Result planOfRestore(const Context &context, const Controller &controller, const SavedDocument &saved) {
  RunOptions options = {/* Restore= */ true, /* PreserveVd= */ !hasOption(context, optionRebuild),
                        hasOption(context, optionStopOnError)};
  RestorePlan plan;
  Result result = makePlan(context, controller.management, saved, options, &plan);
  if (!isFailure(result)) {
    result = tellPlan(context, controller, plan);
  }
  freePlan(&plan);
  return result;
}

static Result planOfChanges(const Context &context, const Controller &controller, const CHAR8 *file,
                            const CHAR8 *text) {
  const CHAR8 *savedFile = context.request->options[optionSaved];
  RAID_CONFIG *request = nullptr;
  RAID_CONFIG *saved = nullptr;
  DocumentText savedText = {};
  Result result = readRequest(context, file, text, &request);
  if (!isFailure(result) && savedFile != nullptr) {
    result = readSaved(context, savedFile, &savedText, &saved);
  }
  if (!isFailure(result)) {
    ChangePlan plan;
    result = planChanges(context, controller, *request, saved, &plan);
    result = isFailure(result) ? result : tellChanges(context, controller, plan);
    freeChangePlan(&plan);
  }
  releaseDocument(&savedText);
  driver::releaseConfig(saved);
  driver::releaseConfig(request);
  return result;
}

static Result planOf(const Context &context, const Controller &controller, const DocumentText &document) {
  const CHAR8 *file = context.request->operands[0];
  UINT32 methods = 0;
  Result result = countMethods(context, file, document.text, &methods);
  if (isFailure(result)) {
    return result;
  }
  if (methods != 0) {
    return planOfChanges(context, controller, file, document.text);
  }
  RAID_CONFIG *saved = nullptr;
  XML_NODE *root = nullptr;
  result = readConfiguration(context, file, document.text, &saved);
  if (!isFailure(result)) {
    result = checkGaps(context, file, *saved);
  }
  if (!isFailure(result)) {
    result = parseTree(context, file, document.text, &root);
  }
  if (!isFailure(result)) {
    result = planOfRestore(context, controller, {saved, root});
  }
  freeTree(root);
  driver::releaseConfig(saved);
  return result;
}

Result runPlan(const Context &context) {
  Controller controller;
  Result result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  DocumentText document;
  result = readDocument(context, context.request->operands[0], &document);
  if (isFailure(result)) {
    return result;
  }
  result = planOf(context, controller, document);
  releaseDocument(&document);
  return result;
}

} // namespace xyl::client
