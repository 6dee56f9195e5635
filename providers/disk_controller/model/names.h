// The texts under which callers know the objects. They follow from the places alone, so they are the same at every
// boot.
#pragma once

#include "providers/disk_controller/model/view.h"

namespace xyl::disk_controller {

constexpr UINTN nameCapacity = 128; // units, with the NUL

// "Disk.SATA.0-1F-2:3"; "Enclosure.SATA.0-1F-2" and "Enclosure.NVMe"; "Disk.Virtual.0".
void diskFqdd(const View &view, UINT32 disk, CHAR16 *text);
void enclosureFqdd(const ViewEnclosure &enclosure, CHAR16 *text);
void virtualDiskFqdd(const ViewVirtualDisk &virtualDisk, CHAR16 *text);

// "SATA disk 0-1F-2:3", with what stands in the way behind it where the disk can hold no virtual disks.
void diskName(const View &view, UINT32 disk, CHAR16 *text);
void enclosureName(const ViewEnclosure &enclosure, CHAR16 *text);

} // namespace xyl::disk_controller
