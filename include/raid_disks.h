// RAID_DISKS_PROTOCOL: on the handle of a controller over disks that firmware sees as block devices too, beside
// RAID_MGMT_PROTOCOL. It tells what keeps a disk from holding volumes. Nothing is written through it.
#ifndef RAIDXYL_RAID_DISKS_H
#define RAIDXYL_RAID_DISKS_H

#include "uefi/types.h"

#define RAID_DISKS_PROTOCOL_GUID                                                                                       \
  {                                                                                                                    \
    0x7f3c1b0a, 0x98d6, 0x4c52, {                                                                                      \
      0x8d, 0x0e, 0x41, 0xc6, 0x5b, 0x27, 0xe9, 0x15                                                                   \
    }                                                                                                                  \
  }

#define RAID_DISK_AREAS_MAX 24

typedef struct RAID_DISK_AREA {
  UINT64 Lba;
  UINT64 Count; // blocks
} RAID_DISK_AREA;

// What stands in the way on a disk. When the areas are blank (zeros), the disk is free for volumes.
typedef struct RAID_DISK_CONTENTS {
  EFI_HANDLE Handle; // has the disk's EFI_BLOCK_IO_PROTOCOL
  CHAR8 Holds[96];   // what was found, in words
  UINT32 AreaCount;
  RAID_DISK_AREA Areas[RAID_DISK_AREAS_MAX]; // inside the disk
} RAID_DISK_CONTENTS;

typedef struct RAID_DISKS_PROTOCOL RAID_DISKS_PROTOCOL;
struct RAID_DISKS_PROTOCOL {
  // Looks at the disk of that ObjectID.
  //   EFI_NOT_FOUND          there is none
  //   EFI_ACCESS_DENIED      it belongs to a set of volumes, which the controller's own commands change; of a set that
  //                          they cannot change, disks are told of as others are
  //   EFI_NOT_READY          a set lists it as missing
  //   EFI_WRITE_PROTECTED    images that are running were loaded from it
  //   EFI_UNSUPPORTED        it is free, or nothing that is on it is the reason why it is not
  //   EFI_OUT_OF_RESOURCES   no memory; and what reading the disk comes to
  EFI_STATUS(EFIAPI *FindContents)(RAID_DISKS_PROTOCOL *This, UINT32 ObjectId, RAID_DISK_CONTENTS *Contents);
  // From now on the controller keeps what it has read of the disks, so that a program's questions that belong together
  // cost one look at them; what was kept before is dropped. Changes look at the disks themselves, and drop it, too. A
  // program that writes to disks calls it anew, and each ends with DropLook.
  void(EFIAPI *KeepLook)(RAID_DISKS_PROTOCOL *This);
  void(EFIAPI *DropLook)(RAID_DISKS_PROTOCOL *This);
};

#endif
