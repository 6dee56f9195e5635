// A configuration document through Verify.

#include "fuzz/support.h"

FUZZ_TARGET(verify) {
  EFI_STATUS status = fuzzVerify(input.text());
  mustHold(status == EFI_SUCCESS || status == EFI_INVALID_PARAMETER || status == EFI_ABORTED, "Verify: status");
}
