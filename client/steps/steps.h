// The log that a restore or a configuration change returns, as a table.
#pragma once

#include "client/documents/documents.h"
#include "client/output/output.h"

namespace xyl::client {

// One "Operation" of a log; its texts are the tree's.
struct LogStep {
  const CHAR8 *name;   // as the log names it: "CreateVD"
  const CHAR8 *result; // "Success" or "Fail"
  EFI_STATUS status;
  WordList object; // what the step worked on, in words
  bool failed;     // not for reads of the controller: a controller without disks fails one of them
};

void readStep(const XML_NODE *operation, LogStep *step);

struct StepCounts {
  UINT32 steps;
  UINT32 failed;
  UINT32 changes;          // that were done: what only reads or compares is none
  EFI_STATUS firstFailure; // of those counted, EFI_SUCCESS without one
};

// Writes the steps of a log, which may be null, as the array "steps" of an open object.
void writeSteps(Json *json, const XML_NODE *log, StepCounts *counts);

// Shows the steps of a log as a table.
void saySteps(const Front *front, const XML_NODE *log, StepCounts *counts);

} // namespace xyl::client
