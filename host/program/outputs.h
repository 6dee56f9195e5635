// Outputs of the host program, as XYL_HOST has them.
#pragma once

#include "client/client.h"

EFI_STATUS openHostOutput(const XYL_FRONT *front, const CHAR8 *name, UINTN room, bool replaces, void **output);
EFI_STATUS closeHostOutput(const XYL_FRONT *front, void *output, const CHAR8 *data, UINTN size);
bool isSameHostFile(const XYL_FRONT *front, const CHAR8 *a, const CHAR8 *b);
