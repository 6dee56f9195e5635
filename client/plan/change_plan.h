// What the commands of a change document would do, in words.
#pragma once

#include "client/controllers/controllers.h"
#include "raid_records.h"

namespace xyl::client {

struct ChangeStep {
  UINT32 command;     // RAID_COMMAND
  UINT32 objectType;  // RAID_OBJECT_TYPE
  Text what;          // the objects, and what becomes of them
  bool destroys;      // data, or the way to it
  bool isAtRisk;      // what it destroys, only if the controller takes more than what is free beside it
  const CHAR8 *wrong; // why the controller will refuse it, or null
};

struct ChangePlan {
  ChangeStep *steps; // pool
  UINT32 count;
  bool destroys; // any of them
  bool fails;
};

// Reads the controller and describes the commands of a request, whose disk ids are those of saved, or the controller's
// own when that is null. A failure comes with a message. The caller gives the plan, also then, to freeChangePlan.
Result planChanges(const Context &context, const Controller &controller, const RAID_CONFIG &request,
                   const RAID_CONFIG *saved, ChangePlan *plan);
void freeChangePlan(ChangePlan *plan);

// Shows the steps, or with --json writes them as a document; outcomeDifferent when one will fail.
Result tellChanges(const Context &context, const Controller &controller, const ChangePlan &plan);

} // namespace xyl::client
