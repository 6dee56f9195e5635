#include "client/verbs/verbs.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/change/change.h"
#include "client/verbs/builders.h"
#include "client/verbs/wipe.h"
#include "driver/request/request.h"

struct VERB {
  const CHAR8 *What; // what it does, in messages
  XYL_RESULT (*Build)(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
  const CHAR8 *Violation = nullptr; // what EFI_SECURITY_VIOLATION means
  // Looks at the request before anything else; null: nothing to look at.
  XYL_RESULT (*Check)(const XYL_CONTEXT &context, const CONTROLLER &controller) = nullptr;
};

// Writes the verb's document, for what the controller holds now. The caller gives *document to freeDocument.
static XYL_RESULT build(const XYL_CONTEXT &context, const CONTROLLER &controller, const VERB &verb, WIPE *wipe,
                        DOCUMENT_TEXT *document) {
  DOCUMENT_TEXT inventory;
  RAID_CONFIG *config = nullptr;
  XYL_RESULT result = readInventory(context, controller.Operations, &inventory);
  if (!isFailure(result)) {
    result = readConfiguration(context, "the inventory", inventory.Text, &config);
    poolFree(inventory.Text);
  }
  if (!isFailure(result) && hasOption(context, XYL_OPTION_WIPE)) {
    result = planWipe(context, controller, config, wipe);
  }
  CHANGE_WRITER writer = {};
  if (!isFailure(result)) {
    result = verb.Build(context, *config, &writer);
  }
  releaseConfig(config);
  if (!isFailure(result)) {
    closeDocument(&writer);
  }
  if (!isFailure(result) && writer.Text.Failed) {
    complain(context.Front, "there is not enough memory");
    result = failed(EFI_OUT_OF_RESOURCES);
  }
  if (isFailure(result)) {
    freeText(&writer.Text);
  }
  *document = {writer.Text.Chars, writer.Text.Length};
  return result;
}

static XYL_RESULT runVerb(const XYL_CONTEXT &context, const VERB &verb) {
  CONTROLLER controller;
  XYL_RESULT result = openController(context, &controller);
  WIPE wipe = {};
  CHANGE_REQUEST request = {
      context.Request->Command->Name, verb.What, {}, /* SavedOf= */ nullptr, runWipe, &wipe, verb.Violation};
  if (!isFailure(result) && verb.Check != nullptr) {
    result = verb.Check(context, controller);
  }
  if (!isFailure(result)) {
    result = build(context, controller, verb, &wipe, &request.Text);
  }
  if (!isFailure(result)) {
    result = applyChanges(context, controller, request);
  }
  poolFree(wipe.Disks);
  return result;
}

XYL_RESULT runImport(const XYL_CONTEXT &context) {
  return runVerb(context, {"import", buildImport});
}

XYL_RESULT runCreate(const XYL_CONTEXT &context) {
  return runVerb(context, {"creation", buildCreate, /* Violation= */ nullptr, checkNewName});
}

XYL_RESULT runDelete(const XYL_CONTEXT &context) {
  return runVerb(context, {"deletion", buildDelete});
}

XYL_RESULT runSpare(const XYL_CONTEXT &context) {
  return runVerb(context, {"hot spare change", buildSpare});
}

XYL_RESULT runKeyLock(const XYL_CONTEXT &context) {
  return runVerb(context, {"key setting", buildLock});
}

XYL_RESULT runKeyRekey(const XYL_CONTEXT &context) {
  return runVerb(context, {"key change", buildRekey, "the old passphrase is not that of the key"});
}

XYL_RESULT runKeyErase(const XYL_CONTEXT &context) {
  return runVerb(context, {"key removal", buildErase});
}

XYL_RESULT runSet(const XYL_CONTEXT &context) {
  return runVerb(context, {"setting change", buildSet});
}

XYL_RESULT runIdentifyOf(const XYL_CONTEXT &context) {
  const XYL_REQUEST &request = *context.Request;
  if (request.OperandCount != 0 || hasOption(context, XYL_OPTION_BLINK) || xylDisksAreNames(request)) {
    return runVerb(context, {"identification", buildIdentify});
  }
  if (hasOption(context, XYL_OPTION_SHOW)) {
    complain(context.Front, "--show goes with a disk");
    return wrongUsage();
  }
  return runIdentify(context);
}
