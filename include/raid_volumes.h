// RAID_VOLUMES_PROTOCOL: on the image of the driver that shows volumes to firmware as block devices. Who changes what
// is on the disks takes a volume away first, and lets the driver look again afterwards.
#ifndef RAIDXYL_RAID_VOLUMES_H
#define RAIDXYL_RAID_VOLUMES_H

#include "uefi/types.h"

#define RAID_VOLUMES_PROTOCOL_GUID                                                                                     \
  {                                                                                                                    \
    0x2b8e6c41, 0x1f0d, 0x4e95, {                                                                                      \
      0xb3, 0x57, 0x6a, 0xd0, 0x19, 0xc8, 0x7e, 0x24                                                                   \
    }                                                                                                                  \
  }

// A volume's device path is one vendor's hardware node with this GUID, behind which stands the volume's own identity.
#define RAID_VOLUME_PATH_GUID                                                                                          \
  {                                                                                                                    \
    0xc1d7a05e, 0x7b34, 0x4a6f, {                                                                                      \
      0x92, 0x08, 0xe4, 0x3d, 0x5f, 0x61, 0xba, 0x0c                                                                   \
    }                                                                                                                  \
  }

#define RAID_VOLUME_ID_SIZE 24

typedef struct RAID_VOLUMES_PROTOCOL RAID_VOLUMES_PROTOCOL;
struct RAID_VOLUMES_PROTOCOL {
  // Takes a volume away from firmware, and the file systems on it. EFI_SUCCESS also when it was not shown.
  //   EFI_ACCESS_DENIED      something that uses it does not let go
  EFI_STATUS(EFIAPI *Hide)(RAID_VOLUMES_PROTOCOL *This, const UINT8 *Id);
  // Looks at the disks and shows what can be read.
  //   EFI_OUT_OF_RESOURCES   no memory; what is shown stays
  EFI_STATUS(EFIAPI *Refresh)(RAID_VOLUMES_PROTOCOL *This);
  // *Handle: the volume's; null when firmware does not see it, and *Why is then a constant text that says why.
  //   EFI_NOT_FOUND          no volume on the disks has that identity
  EFI_STATUS(EFIAPI *Find)(RAID_VOLUMES_PROTOCOL *This, const UINT8 *Id, EFI_HANDLE *Handle, const CHAR8 **Why);
  // The same of each volume that is known, for Index 0, 1, 2 ..., and *Name, its name and level, which stays with the
  // driver until the next look.
  //   EFI_NOT_FOUND          there are not so many
  EFI_STATUS(EFIAPI *List)
  (RAID_VOLUMES_PROTOCOL *This, UINT32 Index, const CHAR16 **Name, EFI_HANDLE *Handle, const CHAR8 **Why);
};

#endif
