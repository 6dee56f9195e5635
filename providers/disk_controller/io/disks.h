// The disks that firmware sees, as they are at this moment: whole ones, with their place and what they say of
// themselves.
#pragma once

#include "uefi/storage.h"

enum DISK_BUS : UINT8 { DISK_BUS_SATA, DISK_BUS_NVME, DISK_BUS_SCSI, DISK_BUS_OTHER };

// Where a disk is; the same at every boot as long as nobody moves it. Disks are in the order of their places.
struct DISK_PLACE {
  DISK_BUS Bus;
  UINT16 PciBus; // of the storage function that the disk is behind
  UINT8 PciDevice;
  UINT8 PciFunction;
  UINT64 Port; // SATA: port and, in bits 16 up, that of a multiplier; NVMe: namespace; SCSI: target and, in bits 16 up,
               // logical unit; else a number that follows from the path, or 0
};

// Below zero, zero or above zero.
int comparePlaces(const DISK_PLACE &a, const DISK_PLACE &b);

// Blanks around the texts are gone, what is no printable character is "?"; empty and zero: not told.
struct DISK_IDENTITY {
  CHAR8 Vendor[9];
  CHAR8 Model[41];
  CHAR8 Revision[9];
  CHAR8 Serial[41];
  UINT64 Wwn;
  UINT32 Speeds; // bits 0 to 2: SATA generations 1 to 3
  bool SolidState;
  bool ShortFlush; // an ATA disk that has no command of 48 bits to flush its cache
};

struct DISK {
  EFI_HANDLE Handle;
  EFI_BLOCK_IO_PROTOCOL *BlockIo; // the firmware's; gone when the disk is disconnected
  DISK_PLACE Place;
  DISK_IDENTITY Identity;
  UINT64 Sectors;        // of 512 bytes; of another size: as many bytes as that
  const CHAR8 *Unusable; // why it can hold no virtual disks whatever is on it, or null
  bool HasFileSystem;    // firmware has one on it or on its partitions
};

struct DISK_LIST {
  DISK *Items; // pool
  UINT32 Count;
};

// Finds the disks: whole ones with a medium in them, neither removable nor on USB. Without any the list is empty and
// the status EFI_SUCCESS. The caller gives the list to freeDisks, and uses no disk of it after drivers were connected
// or disconnected. EFI_OUT_OF_RESOURCES leaves an empty list.
EFI_STATUS findDisks(DISK_LIST *list);
void freeDisks(DISK_LIST *list);
