// Passphrases from the terminal, as XYL_HOST has them.
#pragma once

#include "client/client.h"

EFI_STATUS askHostSecret(const XYL_FRONT *front, const CHAR8 *question, CHAR8 *secret, UINTN capacity);
