// Random controllers, events and calls that make sense more often than not.
#pragma once

#include "providers/sim_controller/state.h"
#include "tests/model/expect.h"
#include "tests/support/world.h"

using namespace xyl;

// The same numbers for the same seed, everywhere.
struct Random {
  UINT64 state;

  UINT32 below(UINT32 bound);
  bool chance(UINT32 percent) { return below(100) < percent; }
  template <class T> const T &oneOf(const std::vector<T> &values) {
    return values[below(static_cast<UINT32>(values.size()))];
  }
};

// Fills the controller, whose adapter was pristine, anew; there are no virtual disks then.
void makeController(sim::Controller *sim, Random &random, const sim::Adapter &pristine);

// Something that happens between calls.
void happen(sim::Controller *sim, Random &random);

// The inventory of the controller as it is, or of a state that it has only for this.
Saved save(World &world, Random &random, bool distorted);

Call randomCall(Random &random, const State &state, const Saved &saved);
std::string optionsText(const Call &call);
std::string requestText(const Call &call);
