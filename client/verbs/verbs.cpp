#include "client/verbs/verbs.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/change/change.h"
#include "client/verbs/builders.h"
#include "client/verbs/wipe.h"
#include "driver/request/request.h"

namespace xyl::client {

struct Verb {
  const CHAR8 *what; // what it does, in messages
  Result (*build)(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);
  const CHAR8 *violation = nullptr; // what EFI_SECURITY_VIOLATION means
  // Looks at the request before anything else; null: nothing to look at.
  Result (*check)(const Context &context, const Controller &controller) = nullptr;
};

// Writes the verb's document, for what the controller holds now. The caller gives *document to freeDocument.
static Result build(const Context &context, const Controller &controller, const Verb &verb, Wipe *wipe,
                    DocumentText *document) {
  DocumentText inventory;
  RAID_CONFIG *config = nullptr;
  Result result = readInventory(context, controller.operations, &inventory);
  if (!isFailure(result)) {
    result = readConfiguration(context, "the inventory", inventory.text, &config);
    poolFree(inventory.text);
  }
  if (!isFailure(result) && hasOption(context, optionWipe)) {
    result = planWipe(context, controller, config, wipe);
  }
  ChangeWriter writer = {};
  if (!isFailure(result)) {
    result = verb.build(context, *config, &writer);
  }
  driver::releaseConfig(config);
  if (!isFailure(result)) {
    closeDocument(&writer);
  }
  if (!isFailure(result) && writer.text.failed) {
    complain(context.front, "there is not enough memory");
    result = failed(EFI_OUT_OF_RESOURCES);
  }
  if (isFailure(result)) {
    freeText(&writer.text);
  }
  *document = {writer.text.chars, writer.text.length};
  return result;
}

static Result runVerb(const Context &context, const Verb &verb) {
  Controller controller;
  Result result = openController(context, &controller);
  Wipe wipe = {};
  ChangeRequest request = {
      context.request->command->name, verb.what, {}, /* SavedOf= */ nullptr, runWipe, &wipe, verb.violation};
  if (!isFailure(result) && verb.check != nullptr) {
    result = verb.check(context, controller);
  }
  if (!isFailure(result)) {
    result = build(context, controller, verb, &wipe, &request.text);
  }
  if (!isFailure(result)) {
    result = applyChanges(context, controller, request);
  }
  poolFree(wipe.disks);
  return result;
}

Result runImport(const Context &context) {
  return runVerb(context, {"import", buildImport});
}

Result runCreate(const Context &context) {
  return runVerb(context, {"creation", buildCreate, /* Violation= */ nullptr, checkNewName});
}

Result runDelete(const Context &context) {
  return runVerb(context, {"deletion", buildDelete});
}

Result runSpare(const Context &context) {
  return runVerb(context, {"hot spare change", buildSpare});
}

Result runKeyLock(const Context &context) {
  return runVerb(context, {"key setting", buildLock});
}

Result runKeyRekey(const Context &context) {
  return runVerb(context, {"key change", buildRekey, "the old passphrase is not that of the key"});
}

Result runKeyErase(const Context &context) {
  return runVerb(context, {"key removal", buildErase});
}

Result runSet(const Context &context) {
  return runVerb(context, {"setting change", buildSet});
}

Result runIdentifyOf(const Context &context) {
  const Request &request = *context.request;
  if (request.operandCount != 0 || hasOption(context, optionBlink) || xylDisksAreNames(request)) {
    return runVerb(context, {"identification", buildIdentify});
  }
  if (hasOption(context, optionShow)) {
    complain(context.front, "--show goes with a disk");
    return wrongUsage();
  }
  return runIdentify(context);
}

} // namespace xyl::client
