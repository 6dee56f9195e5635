// Three documents through Set_Live on a small controller. The first two bytes tell which allocation and which command
// fail, as digits; 0 is none.

#include "fuzz/support.h"

using namespace xyl;

static uint64_t digit(FuzzInput &input) {
  return static_cast<uint8_t>(input.byte() - '0');
}

FUZZ_TARGET(set_live) {
  uint64_t failingAllocation = digit(input);
  uint64_t failingCommand = digit(input);
  std::string options = input.text(), saved = input.text(), request = input.text();
  watchSecrets(saved, options + request);
  watchSecrets(request, options + saved);
  if (failingCommand != 0) {
    sim::failCommand(fuzzWorld().sim, failingCommand, /* once= */ true, EFI_DEVICE_ERROR);
  }
  fuzzWorld().firmware.failAllocation(failingAllocation * failingAllocation);
  uint64_t commands = fuzzWorld().sim->commandCount;
  EFI_STATUS status = fuzzSet(options, saved, request);
  bool asked = fuzzWorld().sim->commandCount != commands;
  mustHold(!asked || !(saved + request).empty(), "options alone asked the controller");
  mustHold(EFI_ERROR(status) || !options.empty(), "a success without options");
}
