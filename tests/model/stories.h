// Random stories: a controller to begin with, and steps that make sense more often than not.
#pragma once

#include <functional>

#include "tests/model/simulated.h"

// The same numbers for the same seed, everywhere.
struct RANDOM {
  UINT64 state;

  UINT32 below(UINT32 bound);
  bool chance(UINT32 percent) { return below(100) < percent; }
  template <class T> const T &oneOf(const std::vector<T> &values) {
    return values[below(static_cast<UINT32>(values.size()))];
  }
};

using STEP = std::variant<EVENT, CALL>;

// settings are those of the preset; only their values vary.
CONTROLLER randomController(RANDOM &random, const SETTINGS &settings);

// What has been saved so far, for the calls to use.
struct SAVES {
  std::optional<SAVED> saved;
  std::string text; // when the inventory itself was saved
  std::function<std::string()> inventory;
};

STEP randomStep(RANDOM &random, const CONTROLLER &controller, SAVES &saves);
