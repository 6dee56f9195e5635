// What the fuzz targets with a controller share: one world for all runs.
#pragma once

#include "fuzz/pure.h"
#include "tests/support/world.h"

// The controller of a target. Most have the usual one, with an enclosure, eight disks, two virtual disks, a hot spare
// and a key, of which their documents know. An inventory of the small one takes half the time: it has four disks, of
// which two carry both virtual disks.
enum class FuzzController { usual, small };

// Runs a target's body and judges what it left: the pool as it was, without misuse, and a consistent controller whose
// answers came back. The controller is put back to its start beforehand.
constexpr FuzzLimits worldLimits = {{262144, 256}, {524288, 1024}, {200000000, 50000}};
void runJudged(FuzzBody body, FuzzInput input, const FuzzLimits &limits = worldLimits,
               FuzzController controller = FuzzController::usual);

#define FUZZ_TARGET(name, ...) FUZZ_TARGET_BY(runJudged, name __VA_OPT__(, ) __VA_ARGS__)

// The world with the target's controller. It lasts as long as the process; an expectation of its own that fails ends
// that too.
World &fuzzWorld();

// Puts the controller's state back to its start.
void resetFuzzWorld();

// Lets the run fail when one of the passphrases in the document's methods goes back to the pool from now on. The others
// are handed over in the same run.
void watchSecrets(const std::string &document, const std::string &others);
void forgetSecrets();
bool secretsFreed();

// The operations, with the rules for their results. Empty documents are left out.
EFI_STATUS fuzzVerify(const std::string &saved);
EFI_STATUS fuzzSet(const std::string &options, const std::string &saved, const std::string &request);
