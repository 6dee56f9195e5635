// One call of Set_Live and what came of it.
#pragma once

#include "client/controllers/controllers.h"
#include "client/steps/steps.h"

// The documents are pool texts, which the call takes over; an absent one is null.
struct CHANGE {
  const CHAR8 *What; // as messages call it: "restore"
  RUN_OPTIONS Options;
  DOCUMENT_TEXT Saved;
  DOCUMENT_TEXT Request;
  UINT32 Steps;           // that it will take unless one fails; 0: nobody knows
  OUTPUT LogFile;         // opened before
  const CHAR8 *Violation; // what EFI_SECURITY_VIOLATION means, or null
};

// What the call left.
struct CHANGED {
  EFI_STATUS Status;
  CHAR8 *Log; // pool; null: none came back
  XML_NODE *LogRoot;
  STEP_COUNTS Counts;
};

// Gives back what was not sent, and closes the log's file.
void freeChange(const XYL_CONTEXT &context, CHANGE *change);

// Runs the change. A failure is one of reading the log; that of the operation is in changed->Status. The caller gives
// *changed to freeChanged.
XYL_RESULT callSetLive(const XYL_CONTEXT &context, const CONTROLLER &controller, CHANGE *change, CHANGED *changed);
void freeChanged(CHANGED *changed);

// Begins what is told of a change: the steps as a table, or as members of a JSON document that stays open.
void tellSteps(const XYL_CONTEXT &context, const CONTROLLER &controller, JSON *json, CHANGED *changed);

// What was announced of a change.
struct EXPECTED {
  UINT32 Failures;  // of its steps
  bool IsLeftShort; // it came to its end, but something is left
};

// Tells how the change went, and writes its log.
XYL_RESULT tellOutcome(const XYL_CONTEXT &context, const CONTROLLER &controller, CHANGE *change, const CHANGED &changed,
                       const EXPECTED &expected);
