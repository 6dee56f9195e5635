// How far a running operation has come. The driver logs each step once it is done; a front finds these lines in the
// platform's log and shows them to a person.
#pragma once

#include "client/documents/documents.h"

namespace xyl::client::progress {

// The driver's routine whose lines tell of steps.
inline constexpr const CHAR8 *stepRoutine = "_RestoreLogAddProgressNode";

// A step that was done, or failed.
struct Step {
  CHAR8 name[64]; // as the operation's own log has it: "CreateVD"
  EFI_STATUS status;
};

// Reads what that routine logged, length characters; false when it tells of no step.
bool readStep(const CHAR8 *text, UINTN length, Step *step);

// The text of a log provider's ring behind the last line that ends with mark, or null when none does.
const CHAR8 *behindMark(const CHAR8 *ring, const CHAR8 *mark);

// Reads the next step that a ring's text tells of and moves *ring behind it; false when there is none.
bool nextStep(const CHAR8 **ring, Step *step);

// An operation while it runs.
struct Progress {
  UINT32 total = 0; // steps that it will take, unless one fails; 0: nobody knows
  UINT32 done = 0;
  UINT32 failed = 0; // of these
  Step last = {};
};

void countStep(Progress *progress, const Step &step);

// The last step: "step 8 of 14: CreateVD, Out of Resources".
WordList stepLine(const Progress &progress);

// All of it: "[###########---------] 8 of 14, 1 failed, CreateVD, 20 s"; "working, 2 s" before the first step.
WordList barLine(const Progress &progress, UINT32 seconds);

} // namespace xyl::client::progress
