// Calls of Set_Live against the model.
#pragma once

#include "providers/sim_controller/state.h"
#include "tests/model/random.h"

using namespace xyl;

// Makes the call and compares what comes of it with what the model says. Empty when everything is as it must be.
std::string judge(World &world, const Call &call);

// The adapter with only the levels that requests name, so that documents are short.
sim::Adapter shortAdapter(sim::Adapter adapter);
