#include "client/verbs/verbs.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/change/change.h"
#include "client/verbs/builders.h"
#include "client/verbs/wipe.h"
#include "driver/request/request.h"

struct VERB {
  const CHAR8 *Command; // its name
  const CHAR8 *What;    // what it does, in messages
  XYL_RESULT (*Build)(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
  const CHAR8 *Violation = nullptr; // what EFI_SECURITY_VIOLATION means
};

static constexpr VERB g_verbs[] = {
    {"import", "import", buildImport},
    {"create", "creation", buildCreate},
    {"delete", "deletion", buildDelete},
    {"spare", "hot spare change", buildSpare},
    {"key lock", "key setting", buildLock},
    {"key rekey", "key change", buildRekey, "the old passphrase is not that of the key"},
    {"key erase", "key removal", buildErase},
    {"set", "setting change", buildSet},
    {"identify", "identification", buildIdentify},
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
    complain(context.Host, "there is not enough memory");
    result = failed(EFI_OUT_OF_RESOURCES);
  }
  if (isFailure(result)) {
    freeText(&writer.Text);
  }
  *document = {writer.Text.Chars, writer.Text.Length};
  return result;
}

XYL_RESULT runVerb(const XYL_CONTEXT &context) {
  const VERB *verb = g_verbs;
  while (!xylIsCommand(*context.Request, verb->Command)) {
    ++verb;
  }
  CONTROLLER controller;
  XYL_RESULT result = openController(context, &controller);
  WIPE wipe = {};
  CHANGE_REQUEST request = {verb->Command, verb->What, {}, /* SavedOf= */ nullptr, runWipe, &wipe, verb->Violation};
  if (!isFailure(result)) {
    result = build(context, controller, *verb, &wipe, &request.Text);
  }
  if (!isFailure(result)) {
    result = applyChanges(context, controller, request);
  }
  poolFree(wipe.Disks);
  return result;
}

XYL_RESULT runIdentifyOf(const XYL_CONTEXT &context) {
  const XYL_REQUEST &request = *context.Request;
  if (request.OperandCount != 0 || hasOption(context, XYL_OPTION_BLINK) || xylDisksAreNames(request)) {
    return runVerb(context);
  }
  if (hasOption(context, XYL_OPTION_SHOW)) {
    complain(context.Host, "--show goes with a disk");
    return wrongUsage();
  }
  return runIdentify(context);
}
