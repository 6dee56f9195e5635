// A run-time options document, alone and as part of a request that asks for nothing else.

#include "fuzz/support.h"
#include "restore/restore.h"

FUZZ_TARGET(options) {
  constexpr UINT32 MODES = RUN_MODE_NORMAL | RUN_MODE_RESTORE;
  constexpr UINT32 KNOWN = MODES | RUN_MODE_PRESERVE_VD | RUN_MODE_STOP_ON_ERROR;
  FUZZ_SIM &bench = fuzzSim();
  FuzzBalance balance(bench.sim);
  std::string document = input.text();
  UINT32 flags = ~KNOWN;
  EFI_STATUS status = parseRunTimeXML(document.c_str(), &flags);
  mustHold(status == EFI_SUCCESS || status == EFI_INVALID_PARAMETER, "status");
  mustHold((flags & ~KNOWN) == ~KNOWN, "bits of the caller");
  if (!EFI_ERROR(status) && (flags & MODES) == 0) {
    status = EFI_INVALID_PARAMETER;
  }
  UINT64 commands = bench.sim->commandCount;
  if (!document.empty()) {
    mustHold(fuzzSet(bench.xyl, {document, {}, {}}, OUTPUT_SMALL) == status, "status of Set_Live");
  }
  mustHold(bench.sim->commandCount == commands, "the controller was asked");
}
