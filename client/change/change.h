// The commands that change a controller.
#pragma once

#include "client/controllers/controllers.h"

XYL_RESULT runPlan(const XYL_CONTEXT &context);
XYL_RESULT runRestore(const XYL_CONTEXT &context);
XYL_RESULT runReplace(const XYL_CONTEXT &context);
XYL_RESULT runApply(const XYL_CONTEXT &context);

// A change document and where it comes from.
struct CHANGE_REQUEST {
  const CHAR8 *Name;    // as messages call it
  const CHAR8 *What;    // what it does, in messages: "change"
  DOCUMENT_TEXT Text;   // pool; taken over and overwritten
  const CHAR8 *SavedOf; // the file of the saved configuration whose disk ids it uses, or null
  // Done when everything else is ready, before the document is sent, which a failure prevents. Null: nothing.
  XYL_RESULT (*Prepare)(const XYL_CONTEXT &context, const CONTROLLER &controller, void *data);
  void *PrepareData;
  const CHAR8 *Violation = nullptr; // what EFI_SECURITY_VIOLATION means, for a message
};

// Runs a change document as the options say: checks it, shows it and asks when it destroys something, makes sure of the
// log's file, sends it, and tells how it went. With --show it is printed instead, and nothing else is done.
XYL_RESULT applyChanges(const XYL_CONTEXT &context, const CONTROLLER &controller, const CHANGE_REQUEST &request);
