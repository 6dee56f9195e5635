// Writing single disks, for those that put disks into a set.
#pragma once

#include "providers/ddf_change/work.h"

namespace xyl::ddf_change {

// Both copies, the one first that readers do not go by.
EFI_STATUS writeDisk(Work *work, WorkDisk *disk, UINT32 sequence);
EFI_STATUS writeAnchor(Work *work, const WorkDisk &disk);

// The same; a lost disk that cannot be written loses its anchor instead.
EFI_STATUS writeMember(Work *work, WorkDisk *disk, UINT32 sequence);
EFI_STATUS writeReturning(Work *work, WorkDisk *disk); // with its anchor, which it had lost

// Writes the disks that are behind, and only then gives them the set's sequence: until all have the lists of those that
// are not behind, these are the newest ones.
EFI_STATUS catchUp(Work *work);

// Gives the leading disk's lists to the others.
void shareLists(Work *work);

} // namespace xyl::ddf_change
