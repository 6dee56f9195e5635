// One call of Set_Live and what came of it.
#pragma once

#include "client/controllers/controllers.h"
#include "client/steps/steps.h"

namespace xyl::client {

// The documents are pool texts, which the call takes over; an absent one is null.
struct Change {
  const CHAR8 *what; // as messages call it: "restore"
  RunOptions options;
  DocumentText saved;
  DocumentText request;
  UINT32 steps;           // that it will take unless one fails; 0: nobody knows
  Output logFile;         // opened before
  const CHAR8 *violation; // what EFI_SECURITY_VIOLATION means, or null
};

// What the call left.
struct Changed {
  EFI_STATUS status;
  CHAR8 *log; // pool; null: none came back
  XML_NODE *logRoot;
  StepCounts counts;
};

// Gives back what was not sent, and closes the log's file.
void freeChange(const Context &context, Change *change);

// Runs the change. A failure is one of reading the log; that of the operation is in changed->Status. The caller gives
// *changed to freeChanged.
Result callSetLive(const Context &context, const Controller &controller, Change *change, Changed *changed);
void freeChanged(Changed *changed);

// Begins what is told of a change: the steps as a table, or as members of a JSON document that stays open.
void tellSteps(const Context &context, const Controller &controller, Json *json, Changed *changed);

// What was announced of a change.
struct Expected {
  UINT32 failures;  // of its steps
  bool isLeftShort; // it came to its end, but something is left
};

// Tells how the change went, and writes its log.
Result tellOutcome(const Context &context, const Controller &controller, Change *change, const Changed &changed,
                   const Expected &expected);

} // namespace xyl::client
