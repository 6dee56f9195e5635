// What the fuzz targets share: the input as a source of values, and one firmware with the driver in it for all runs.
// Every run is judged: what does not hold ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/firmware/firmware.h"
#include "platform/sim_controller/sim_controller.h"
#include "raid_xyl.h"

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

// The body of a target; an engine calls it for every input, the replay under the target's name.
#ifdef FUZZ_ENGINE
#define FUZZ_ENTRY(name) LLVMFuzzerTestOneInput
#else
#define FUZZ_ENTRY(name) fuzz_##name
#endif
#define FUZZ_TARGET(name)                                                                                              \
  static void runOne(FuzzInput input);                                                                                 \
  extern "C" int FUZZ_ENTRY(name)(const uint8_t *data, size_t size) {                                                  \
    runOne(FuzzInput(data, size));                                                                                     \
    return 0;                                                                                                          \
  }                                                                                                                    \
  static void runOne(FuzzInput input)

// Ends the process with a message when holds is false.
void mustHold(bool holds, const std::string &what);

// The firmware with the XML service, the log and the driver in it; it lasts as long as the process.
Firmware &fuzzFirmware();

// The driver's image in it, and its table on a controller handle, or null.
EFI_HANDLE fuzzDriver();
RAID_XYL_PROTOCOL *fuzzTable(EFI_HANDLE controller);

// While it exists one run takes place; when it goes, the pool must hold what it held before, without misuse.
class FuzzBalance {
public:
  explicit FuzzBalance(const SIM_CONTROLLER *sim = nullptr);
  ~FuzzBalance();
  FuzzBalance(const FuzzBalance &) = delete;
  FuzzBalance &operator=(const FuzzBalance &) = delete;

private:
  uint64_t heldBytes() const;

  const SIM_CONTROLLER *sim_;
  uint64_t allocations_;
  uint64_t bytes_;
};

// A small simulated controller: one enclosure, eight disks, two volumes, a hot spare, a key.
struct FUZZ_SIM {
  SIM_CONTROLLER *sim;
  RAID_XYL_PROTOCOL *xyl;
};
FUZZ_SIM &fuzzSim();
// Puts its state back to the start.
void resetFuzzSim();
// The answers came back and nothing wrong did.
void judgeFuzzSim();

// What Set_Live gets as its output argument.
enum FUZZ_OUTPUT { OUTPUT_NULL, OUTPUT_EMPTY, OUTPUT_SMALL, OUTPUT_NEW_DATA, OUTPUT_KINDS };

// Documents of Set_Live; empty ones are left out.
struct FUZZ_DOCUMENTS {
  std::string options;
  std::string saved;
  std::string request;
};

// The operations, with the rules for their results and for who owns which text.
EFI_STATUS fuzzGet(RAID_XYL_PROTOCOL *xyl, std::string *document);
EFI_STATUS fuzzVerify(RAID_XYL_PROTOCOL *xyl, const std::string &saved);
EFI_STATUS fuzzSet(RAID_XYL_PROTOCOL *xyl, const FUZZ_DOCUMENTS &documents, FUZZ_OUTPUT kind);

// Whether the XML service takes the text.
bool fuzzParses(const std::string &document);
