// A configuration document through Verify.

#include "fuzz/support.h"

FUZZ_TARGET(verify) {
  FUZZ_SIM &bench = fuzzSim();
  FuzzBalance balance(bench.sim);
  EFI_STATUS status = fuzzVerify(bench.xyl, input.text());
  mustHold(status == EFI_SUCCESS || status == EFI_INVALID_PARAMETER || status == EFI_ABORTED, "Verify: status");
  judgeFuzzSim();
}
