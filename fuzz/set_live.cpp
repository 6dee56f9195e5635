// Three documents through Set_Live on a small controller. The first byte tells the kind of output, the next two which
// allocation and which command fail, as digits; 0 is none.

#include "fuzz/support.h"

static uint64_t digit(FuzzInput &input) {
  return static_cast<uint8_t>(input.byte() - '0');
}

FUZZ_TARGET(set_live) {
  FUZZ_SIM &bench = fuzzSim();
  resetFuzzSim();
  {
    FuzzBalance balance(bench.sim);
    auto kind = static_cast<FUZZ_OUTPUT>(digit(input) % OUTPUT_KINDS);
    uint64_t failingAllocation = digit(input);
    uint64_t failingCommand = digit(input);
    FUZZ_DOCUMENTS documents = {input.text(), input.text(), input.text()};
    if (failingCommand != 0) {
      simFailCommand(bench.sim, failingCommand, /* once= */ true, EFI_DEVICE_ERROR);
    }
    fuzzFirmware().failAllocation(failingAllocation * failingAllocation);
    fuzzSet(bench.xyl, documents, kind);
  }
  judgeFuzzSim();
}
