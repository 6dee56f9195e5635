// What keeps disks from holding volumes, and where it lies.
#pragma once

#include "raid_disks.h"

// RAID_DISKS_PROTOCOL's members.
EFI_STATUS EFIAPI findContents(RAID_DISKS_PROTOCOL *protocol, UINT32 objectId, RAID_DISK_CONTENTS *contents);
EFI_STATUS EFIAPI findVolumeInFirmware(RAID_DISKS_PROTOCOL *protocol, UINT32 objectId, EFI_HANDLE *handle,
                                       const CHAR8 **why);
