// What all fuzz targets share: the input as a source of values, and the judgement of what a run left and cost. What
// does not hold ends the process. Targets that need no controller stand on this alone; the others on support.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/firmware/firmware.h"
#include "xml_protocol.h"

// An input, read from its front. What is missing at its end is 0.
class FuzzInput {
public:
  FuzzInput(const uint8_t *data, size_t size) : at_(data), end_(data + size) {}

  bool atEnd() const { return at_ == end_; }
  size_t left() const { return static_cast<size_t>(end_ - at_); }
  uint8_t byte() { return atEnd() ? 0 : *at_++; }
  // A little-endian number of that many bytes.
  uint64_t number(unsigned bytes);
  // The text up to the next form feed, which no document contains, or to the end; also cut at a NUL.
  std::string text();
  // The same as a pool text of just that length, which the target frees or hands over.
  char *poolText();

private:
  const uint8_t *textHere(size_t *length);

  const uint8_t *at_;
  const uint8_t *end_;
};

using FuzzBody = void (*)(FuzzInput input);

// What a run may cost at most: a fixed part, and one for every byte of the input.
struct FuzzCost {
  uint64_t fixed, perByte;

  uint64_t of(size_t size) const { return fixed + perByte * size; }
};
struct FuzzLimits {
  FuzzCost peakBytes, totalBytes; // of the pool
  FuzzCost nanoseconds;           // of the processor
  FuzzCost commands = {32, 1};    // of the controller, if there is one
};

// Runs body, and judges what it cost. With an engine, and only there, one that takes too long is run twice more before
// that counts as a fault.
void runMeasured(FuzzBody body, FuzzInput input, const FuzzLimits &limits);

// Runs a target's body in a firmware with nothing but the XML service (g_xmlProtocol), and judges what it left and
// cost: the pool as it was, without misuse.
constexpr FuzzLimits pureLimits = {{16384, 128}, {16384, 256}, {50000000, 20000}};
void runPure(FuzzBody body, FuzzInput input, const FuzzLimits &limits = pureLimits);

// The second tree was read and says what the first does: names, contents, attributes and order. What was read has no
// content beside children, none that is empty, and is linked both ways.
void mustBeRead(const XML_NODE *node, const XML_NODE *read);

// The body of a target; an engine calls it for every input, the replay under the target's name.
#ifdef FUZZ_ENGINE
#define FUZZ_ENTRY(name) LLVMFuzzerTestOneInput
#else
#define FUZZ_ENTRY(name) fuzz_##name
#endif
#define FUZZ_TARGET_BY(run, name, ...)                                                                                 \
  static void runOne(FuzzInput input);                                                                                 \
  extern "C" int FUZZ_ENTRY(name)(const uint8_t *data, size_t size) {                                                  \
    run(runOne, FuzzInput(data, size) __VA_OPT__(, ) __VA_ARGS__);                                                     \
    return 0;                                                                                                          \
  }                                                                                                                    \
  static void runOne([[maybe_unused]] FuzzInput input)
// Behind the name stand limits if the usual ones do not fit.
#define FUZZ_PURE_TARGET(name, ...) FUZZ_TARGET_BY(runPure, name __VA_OPT__(, ) __VA_ARGS__)

// Ends the process with a message.
[[noreturn]] void fuzzFault(const char *what);

// Ends the process with a message when holds is false.
inline void mustHold(bool holds, const char *what) {
  if (!holds) {
    fuzzFault(what);
  }
}
inline void mustHold(bool holds, const std::string &what) {
  mustHold(holds, what.c_str());
}
