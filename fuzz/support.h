// What the fuzz targets with a controller share: one world for all runs.
#pragma once

#include "fuzz/pure.h"
#include "tests/support/world.h"

// Runs a target's body and judges what it left: the pool as it was, without misuse, and a consistent controller whose
// answers came back. The controller is put back to its start beforehand.
void runJudged(FUZZ_BODY body, FuzzInput input);

#define FUZZ_TARGET(name) FUZZ_TARGET_BY(runJudged, name)

// The world with a small controller: one enclosure, eight disks, two volumes, a hot spare, a key. It lasts as long as
// the process; an expectation of its own that fails ends that too.
World &fuzzWorld();

// Puts the controller's state back to its start.
void resetFuzzWorld();

// The operations, with the rules for their results. Empty documents are left out.
EFI_STATUS fuzzVerify(const std::string &saved);
EFI_STATUS fuzzSet(const std::string &options, const std::string &saved, const std::string &request);
