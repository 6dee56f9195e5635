// Outputs of the host program, as XYL_HOST has them.
#pragma once

#include "client/client.h"

namespace xyl::host {

EFI_STATUS openHostOutput(const client::Front *front, const CHAR8 *name, UINTN room, bool replaces, void **output);
EFI_STATUS closeHostOutput(const client::Front *front, void *output, const CHAR8 *data, UINTN size);
bool isSameHostFile(const client::Front *front, const CHAR8 *a, const CHAR8 *b);

} // namespace xyl::host
