// The log that a restore or a configuration change returns, as a table.
#pragma once

#include "apps/xyl/core/document.h"

struct STEP_COUNTS {
  UINT32 Steps;
  UINT32 Failed;           // reads of the controller not counted: a controller without disks fails one of them
  EFI_STATUS FirstFailure; // of those counted, EFI_SUCCESS without one
};

// Prints the steps of a log. A log that does not parse gives a message and a failure.
XYL_RESULT reportLog(const XYL_CONTEXT &context, const CHAR8 *text, STEP_COUNTS *counts);
