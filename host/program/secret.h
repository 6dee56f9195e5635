// Passphrases from the terminal, as XYL_HOST has them.
#pragma once

#include "client/client.h"

namespace xyl::host {

EFI_STATUS askHostSecret(const client::Front *front, const CHAR8 *question, CHAR8 *secret, UINTN capacity);

} // namespace xyl::host
