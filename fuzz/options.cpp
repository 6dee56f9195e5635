// A run-time options document, alone and as part of a request that asks for nothing else.

#include "driver/restore/restore.h"
#include "fuzz/support.h"

FUZZ_TARGET(options) {
  constexpr UINT32 KNOWN = RUN_MODE_NORMAL | RUN_MODE_RESTORE | RUN_MODE_PRESERVE_VD | RUN_MODE_STOP_ON_ERROR;
  const SIM_CONTROLLER *sim = fuzzWorld().sim;
  std::string document = input.text();
  UINT32 flags = ~KNOWN;
  EFI_STATUS status = parseRunTimeXML(document.c_str(), &flags);
  mustHold(status == EFI_SUCCESS || status == EFI_INVALID_PARAMETER, "status");
  mustHold((flags & ~KNOWN) == ~KNOWN, "bits of the caller");
  UINT64 commands = sim->commandCount;
  mustHold(fuzzSet(document, "", "") == EFI_INVALID_PARAMETER, "status of Set_Live");
  mustHold(sim->commandCount == commands, "the controller was asked");
}
