// The disks that firmware sees, as they are at this moment: whole ones, with their place and what they say of
// themselves.
#pragma once

#include "uefi/storage.h"

namespace xyl::disk_controller {

enum DiskBus : UINT8 { busSata, busNvme, busScsi, busOther };

// Where a disk is; the same at every boot as long as nobody moves it. Disks are in the order of their places.
struct DiskPlace {
  DiskBus bus;
  UINT16 pciBus; // of the storage function that the disk is behind
  UINT8 pciDevice;
  UINT8 pciFunction;
  UINT64 port; // SATA: port and, in bits 16 up, that of a multiplier; NVMe: namespace; SCSI: target and, in bits 16 up,
               // logical unit; else a number that follows from the path, or 0
};

// Below zero, zero or above zero.
int comparePlaces(const DiskPlace &a, const DiskPlace &b);

// Blanks around the texts are gone, what is no printable character is "?"; empty and zero: not told.
struct DiskIdentity {
  CHAR8 vendor[9];
  CHAR8 model[41];
  CHAR8 revision[9];
  CHAR8 serial[41];
  UINT64 wwn;
  UINT32 speeds; // bits 0 to 2: SATA generations 1 to 3
  bool solidState;
  bool shortFlush; // an ATA disk that has no command of 48 bits to flush its cache
};

struct Disk {
  EFI_HANDLE handle;
  EFI_BLOCK_IO_PROTOCOL *blockIo; // the firmware's; gone when the disk is disconnected
  DiskPlace place;
  DiskIdentity identity;
  UINT64 sectors;        // of 512 bytes; of another size: as many bytes as that
  const CHAR8 *unusable; // why it can hold no virtual disks whatever is on it, or null
  bool hasFileSystem;    // firmware has one on it or on its partitions
};

struct DiskList {
  Disk *items; // pool
  UINT32 count;
};

// Finds the disks: whole ones with a medium in them, neither removable nor on USB. Without any the list is empty and
// the status EFI_SUCCESS. The caller gives the list to freeDisks, and uses no disk of it after drivers were connected
// or disconnected. EFI_OUT_OF_RESOURCES leaves an empty list.
EFI_STATUS findDisks(DiskList *list);
void freeDisks(DiskList *list);

} // namespace xyl::disk_controller
