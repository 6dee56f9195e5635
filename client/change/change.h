// The commands that change a controller.
#pragma once

#include "client/controllers/controllers.h"

namespace xyl::client {

Result runPlan(const Context &context);
Result runRestore(const Context &context);
Result runReplace(const Context &context);
Result runApply(const Context &context);

// A change document and where it comes from.
struct ChangeRequest {
  const CHAR8 *name;    // as messages call it
  const CHAR8 *what;    // what it does, in messages: "change"
  DocumentText text;    // pool; taken over and overwritten
  const CHAR8 *savedOf; // the file of the saved configuration whose disk ids it uses, or null
  // Done when everything else is ready, before the document is sent, which a failure prevents. Null: nothing.
  Result (*prepare)(const Context &context, const Controller &controller, void *data);
  void *prepareData;
  const CHAR8 *violation = nullptr; // what EFI_SECURITY_VIOLATION means, for a message
};

// Runs a change document as the options say: checks it, shows it and asks when it destroys something, makes sure of the
// log's file, sends it, and tells how it went. With --show it is printed instead, and nothing else is done.
Result applyChanges(const Context &context, const Controller &controller, const ChangeRequest &request);

} // namespace xyl::client
