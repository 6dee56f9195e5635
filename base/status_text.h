// The words for a status.
#pragma once

#include "uefi/types.h"

namespace xyl {

// The text of a status as %r prints it, or null for one without a name.
const CHAR8 *statusText(EFI_STATUS status);

} // namespace xyl
