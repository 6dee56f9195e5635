// RAID_SETUP_PROTOCOL: on the handle of a controller that has a page in the firmware's setup.
#ifndef RAIDXYL_RAID_SETUP_H
#define RAIDXYL_RAID_SETUP_H

#include "uefi/types.h"

#define RAID_SETUP_PROTOCOL_GUID                                                                                       \
  {                                                                                                                    \
    0xcc6b02fc, 0xdd3c, 0x4b04, {                                                                                      \
      0xb9, 0x6f, 0x06, 0x3a, 0x50, 0xef, 0x1c, 0x85                                                                   \
    }                                                                                                                  \
  }

typedef struct RAID_SETUP_PROTOCOL RAID_SETUP_PROTOCOL;
struct RAID_SETUP_PROTOCOL {
  // Shows the controller's page on the console and returns when a person has left it.
  //   EFI_UNSUPPORTED   the firmware has nothing that shows pages; and what that answers
  EFI_STATUS(EFIAPI *Show)(RAID_SETUP_PROTOCOL *This);
};

#endif
