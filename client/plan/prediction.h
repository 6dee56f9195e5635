// What the controller will hold after a plan: its own records, with what each command does to them.
#pragma once

#include "client/plan/plan.h"

namespace xyl::client {

// Fills in which commands of a judged plan the controller will refuse, and the document that it gives afterwards.
EFI_STATUS predictAfter(RestorePlan *plan);

} // namespace xyl::client
