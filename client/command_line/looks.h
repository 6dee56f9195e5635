// A command looks at the disks of a machine once, however often it asks their controller.
#pragma once

#include "raid_disks.h"

namespace xyl::client {

// Controllers that keep what they have read, until endLooks.
struct Looks {
  EFI_HANDLE *handles; // pool
  UINTN count;
};
Looks beginLooks();
void endLooks(Looks *looks);

} // namespace xyl::client
