// The log that a restore or a configuration change returns, as a table.
#pragma once

#include "client/documents/documents.h"
#include "client/output/output.h"

// One "Operation" of a log; its texts are the tree's.
struct LOG_STEP {
  const CHAR8 *Name;   // as the log names it: "CreateVD"
  const CHAR8 *Result; // "Success" or "Fail"
  EFI_STATUS Status;
  WORD_LIST Object; // what the step worked on, in words
  bool Failed;      // not for reads of the controller: a controller without disks fails one of them
};

void readStep(const XML_NODE *operation, LOG_STEP *step);

struct STEP_COUNTS {
  UINT32 Steps;
  UINT32 Failed;
  UINT32 Changes;          // that were done: what only reads or compares is none
  EFI_STATUS FirstFailure; // of those counted, EFI_SUCCESS without one
};

// Writes the steps of a log, which may be null, as the array "steps" of an open object.
void writeSteps(JSON *json, const XML_NODE *log, STEP_COUNTS *counts);

// Shows the steps of a log as a table.
void saySteps(const XYL_FRONT *front, const XML_NODE *log, STEP_COUNTS *counts);
