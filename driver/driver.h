// The driver image: entry point, binding, unload handler, component names.
#pragma once

#include "raid_mgmt.h"
#include "raid_xyl.h"
#include "uefi/protocols.h"

// "rXYL", first character in the lowest byte.
#define RAID_XYL_DEV_SIGNATURE 0x4C595872ULL

// One served controller: allocated by Start, freed by Stop.
typedef struct RAID_XYL_DEV {
  UINTN Signature;
  RAID_MGMT_PROTOCOL *RaidMgmtProtocol; // opened BY_DRIVER
  RAID_XYL_PROTOCOL RaidXylProtocol;    // installed on the controller handle
} RAID_XYL_DEV;

// Image entry point. Installs Driver Binding and Component Name 2 on the image handle and sets the image's Unload.
// Returns the status of the install or open that failed, with what was installed taken down again, else EFI_SUCCESS.
extern "C" EFI_STATUS EFIAPI RaidXylEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);
