// The disks that an input of the target ddf stands for: a sound set, changed byte by byte.
#pragma once

#include "fuzz/pure.h"
#include "tests/providers/ddf/disks.h"

struct DdfInput {
  Disks disks;
  bool change;     // a change on top is wanted
  FuzzInput onTop; // says which
};

// Needs a firmware with a pool.
DdfInput readDdfInput(FuzzInput input);
