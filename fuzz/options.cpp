// A run-time options document.

#include "base/pool.h"
#include "driver/restore/restore.h"
#include "fuzz/pure.h"

FUZZ_PURE_TARGET(options) {
  constexpr UINT32 KNOWN = RUN_MODE_NORMAL | RUN_MODE_RESTORE | RUN_MODE_PRESERVE_VD | RUN_MODE_STOP_ON_ERROR;
  CHAR8 *document = input.poolText();
  UINT32 flags = ~KNOWN;
  EFI_STATUS status = parseRunTimeXML(document, &flags);
  poolFree(document);
  mustHold(status == EFI_SUCCESS || status == EFI_INVALID_PARAMETER, "status");
  mustHold((flags & ~KNOWN) == ~KNOWN, "bits of the caller");
}
