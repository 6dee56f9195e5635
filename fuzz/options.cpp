// A run-time options document.

#include "base/pool.h"
#include "driver/restore/restore.h"
#include "fuzz/pure.h"

using namespace xyl;

FUZZ_PURE_TARGET(options) {
  constexpr UINT32 known = driver::RUN_MODE_NORMAL | driver::RUN_MODE_RESTORE | driver::RUN_MODE_PRESERVE_VD |
                           driver::RUN_MODE_STOP_ON_ERROR;
  CHAR8 *document = input.poolText();
  UINT32 flags = ~known;
  EFI_STATUS status = driver::parseRunTimeXML(document, &flags);
  poolFree(document);
  mustHold(status == EFI_SUCCESS || status == EFI_INVALID_PARAMETER, "status");
  mustHold((flags & ~known) == ~known, "bits of the caller");
}
