// Writing single disks, for those that put disks into a set.
#pragma once

#include "providers/ddf_change/work.h"

// Both copies, the one first that readers do not go by.
EFI_STATUS writeDisk(WORK *work, WORK_DISK *disk, UINT32 sequence);
EFI_STATUS writeAnchor(WORK *work, const WORK_DISK &disk);

// The same; a lost disk that cannot be written loses its anchor instead.
EFI_STATUS writeMember(WORK *work, WORK_DISK *disk, UINT32 sequence);

// Gives the leading disk's lists to the others.
void shareLists(WORK *work);
