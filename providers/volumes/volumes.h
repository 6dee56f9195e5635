// A driver that takes disks with volumes away from firmware's other drivers and shows the volumes instead: block
// devices that can be read, so that firmware boots from them. It never writes.
#pragma once

#include "uefi/protocols.h"

namespace xyl::volumes {

// Image entry point. Installs a driver binding, names and RAID_VOLUMES_PROTOCOL on the image, connects all controllers,
// so that every disk is known, and shows every volume that can be read. Sets the image's Unload, which gives the disks
// back. Returns the firmware's status; nothing stays installed on failure.
extern "C" EFI_STATUS EFIAPI RaidVolumesEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

} // namespace xyl::volumes
