// What the fuzz targets share: the input as a source of values, and one world for all runs. Every run is judged: what
// does not hold ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/support/world.h"

// An input, read from its front. What is missing at its end is 0.
class FuzzInput {
public:
  FuzzInput(const uint8_t *data, size_t size) : at_(data), end_(data + size) {}

  bool atEnd() const { return at_ == end_; }
  uint8_t byte() { return atEnd() ? 0 : *at_++; }
  // A little-endian number of that many bytes.
  uint64_t number(unsigned bytes);
  // The text up to the next form feed, which no document contains, or to the end; also cut at a NUL.
  std::string text();

private:
  const uint8_t *at_;
  const uint8_t *end_;
};

// Runs a target's body and judges what it left: the pool as it was, without misuse, and a consistent controller whose
// answers came back. The controller is put back to its start beforehand.
void runJudged(void (*body)(FuzzInput input), FuzzInput input);

// The body of a target; an engine calls it for every input, the replay under the target's name.
#ifdef FUZZ_ENGINE
#define FUZZ_ENTRY(name) LLVMFuzzerTestOneInput
#else
#define FUZZ_ENTRY(name) fuzz_##name
#endif
#define FUZZ_TARGET(name)                                                                                              \
  static void runOne(FuzzInput input);                                                                                 \
  extern "C" int FUZZ_ENTRY(name)(const uint8_t *data, size_t size) {                                                  \
    runJudged(runOne, FuzzInput(data, size));                                                                          \
    return 0;                                                                                                          \
  }                                                                                                                    \
  static void runOne(FuzzInput input)

// Ends the process with a message when holds is false.
void mustHold(bool holds, const std::string &what);

// The world with a small controller: one enclosure, eight disks, two volumes, a hot spare, a key. It lasts as long as
// the process; an expectation of its own that fails ends that too.
World &fuzzWorld();

// Puts the controller's state back to its start.
void resetFuzzWorld();

// The operations, with the rules for their results. Empty documents are left out.
EFI_STATUS fuzzVerify(const std::string &saved);
EFI_STATUS fuzzSet(const std::string &options, const std::string &saved, const std::string &request);
