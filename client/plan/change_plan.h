// What the commands of a change document would do, in words.
#pragma once

#include "client/controllers/controllers.h"
#include "raid_records.h"

struct CHANGE_STEP {
  UINT32 Command;     // RAID_COMMAND
  UINT32 ObjectType;  // RAID_OBJECT_TYPE
  TEXT What;          // the objects, and what becomes of them
  bool Destroys;      // data, or the way to it
  bool IsAtRisk;      // what it destroys, only if the controller takes more than what is free beside it
  const CHAR8 *Wrong; // why the controller will refuse it, or null
};

struct CHANGE_PLAN {
  CHANGE_STEP *Steps; // pool
  UINT32 Count;
  bool Destroys; // any of them
  bool Fails;
};

// Reads the controller and describes the commands of a request, whose disk ids are those of saved, or the controller's
// own when that is null. A failure comes with a message. The caller gives the plan, also then, to freeChangePlan.
XYL_RESULT planChanges(const XYL_CONTEXT &context, const CONTROLLER &controller, const RAID_CONFIG &request,
                       const RAID_CONFIG *saved, CHANGE_PLAN *plan);
void freeChangePlan(CHANGE_PLAN *plan);

// Shows the steps, or with --json writes them as a document; XYL_DIFFERENT when one will fail.
XYL_RESULT tellChanges(const XYL_CONTEXT &context, const CONTROLLER &controller, const CHANGE_PLAN &plan);
