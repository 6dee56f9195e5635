// A command looks at the disks of a machine once, however often it asks their controller.
#pragma once

#include "raid_disks.h"

// Controllers that keep what they have read, until endLooks.
struct LOOKS {
  EFI_HANDLE *Handles; // pool
  UINTN Count;
};
LOOKS beginLooks();
void endLooks(LOOKS *looks);
