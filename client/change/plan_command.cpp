// plan: of a restore, or of a change document.
#include "base/pool.h"
#include "client/change/change.h"
#include "client/change/requests.h"
#include "client/change/saved.h"
#include "client/change/set_live.h"
#include "client/plan/plan.h"
#include "driver/request/request.h"

static XYL_RESULT planOfRestore(const XYL_CONTEXT &context, const CONTROLLER &controller, const SAVED_DOCUMENT &saved) {
  RUN_OPTIONS options = {/* Restore= */ true, /* PreserveVd= */ !hasOption(context, XYL_OPTION_REBUILD),
                         hasOption(context, XYL_OPTION_STOP_ON_ERROR)};
  RESTORE_PLAN plan;
  XYL_RESULT result = makePlan(context, controller.Management, saved, options, &plan);
  if (!isFailure(result)) {
    result = tellPlan(context, controller, plan);
  }
  freePlan(&plan);
  return result;
}

static XYL_RESULT planOfChanges(const XYL_CONTEXT &context, const CONTROLLER &controller, const CHAR8 *file,
                                const CHAR8 *text) {
  const CHAR8 *savedFile = context.Request->Options[XYL_OPTION_SAVED];
  RAID_CONFIG *request = nullptr;
  RAID_CONFIG *saved = nullptr;
  DOCUMENT_TEXT savedText = {};
  XYL_RESULT result = readRequest(context, file, text, &request);
  if (!isFailure(result) && savedFile != nullptr) {
    result = readSaved(context, savedFile, &savedText, &saved);
  }
  if (!isFailure(result)) {
    CHANGE_PLAN plan;
    result = planChanges(context, controller, *request, saved, &plan);
    result = isFailure(result) ? result : tellChanges(context, controller, plan);
    freeChangePlan(&plan);
  }
  releaseDocument(&savedText);
  releaseConfig(saved);
  releaseConfig(request);
  return result;
}

static XYL_RESULT planOf(const XYL_CONTEXT &context, const CONTROLLER &controller, const DOCUMENT_TEXT &document) {
  const CHAR8 *file = context.Request->Operands[0];
  UINT32 methods = 0;
  XYL_RESULT result = countMethods(context, file, document.Text, &methods);
  if (isFailure(result)) {
    return result;
  }
  if (methods != 0) {
    return planOfChanges(context, controller, file, document.Text);
  }
  RAID_CONFIG *saved = nullptr;
  XML_NODE *root = nullptr;
  result = readConfiguration(context, file, document.Text, &saved);
  if (!isFailure(result)) {
    result = checkGaps(context, file, *saved);
  }
  if (!isFailure(result)) {
    result = parseTree(context, file, document.Text, &root);
  }
  if (!isFailure(result)) {
    result = planOfRestore(context, controller, {saved, root});
  }
  freeTree(root);
  releaseConfig(saved);
  return result;
}

XYL_RESULT runPlan(const XYL_CONTEXT &context) {
  CONTROLLER controller;
  XYL_RESULT result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  DOCUMENT_TEXT document;
  result = readDocument(context, context.Request->Operands[0], &document);
  if (isFailure(result)) {
    return result;
  }
  result = planOf(context, controller, document);
  releaseDocument(&document);
  return result;
}
