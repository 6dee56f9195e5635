// Random controllers with virtual disks, and layouts for them that make sense more often than not.
#pragma once

#include "tests/model/random.h"

// The adapter with the levels that are made here, so that documents are short.
sim::Adapter fewLevels(sim::Adapter adapter);

// Fills the controller, whose adapter was pristine, anew.
void makeMachine(sim::Controller *sim, RANDOM &random, const sim::Adapter &pristine);

// What a layout says of a virtual disk, as far as tests go by it.
struct LAID_OUT {
  std::string name;
  bool recreates;
};

struct RANDOM_LAYOUT {
  std::string text;
  bool deletesOthers = false;
  std::vector<LAID_OUT> virtualDisks;
};

RANDOM_LAYOUT makeLayout(const sim::Controller *sim, RANDOM &random);
