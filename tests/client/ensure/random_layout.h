// Random controllers with virtual disks, and layouts for them that make sense more often than not.
#pragma once

#include "tests/model/random.h"

using namespace xyl;

// The adapter with the levels that are made here, so that documents are short.
sim::Adapter fewLevels(sim::Adapter adapter);

// Fills the controller, whose adapter was pristine, anew.
void makeMachine(sim::Controller *sim, Random &random, const sim::Adapter &pristine);

// What a layout says of a virtual disk, as far as tests go by it.
struct LaidOut {
  std::string name;
  bool recreates;
};

struct RandomLayout {
  std::string text;
  bool deletesOthers = false;
  std::vector<LaidOut> virtualDisks;
};

RandomLayout makeLayout(const sim::Controller *sim, Random &random);
