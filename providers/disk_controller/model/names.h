// The texts under which callers know the objects. They follow from the places alone, so they are the same at every
// boot.
#pragma once

#include "providers/disk_controller/model/view.h"

#define NAME_CAPACITY 128 // units, with the NUL

// "Disk.SATA.0-1F-2:3"; "Enclosure.SATA.0-1F-2" and "Enclosure.NVMe"; "Disk.Virtual.0".
void diskFqdd(const VIEW &view, UINT32 disk, CHAR16 *text);
void enclosureFqdd(const VIEW_ENCLOSURE &enclosure, CHAR16 *text);
void virtualDiskFqdd(const VIEW_VIRTUAL_DISK &virtualDisk, CHAR16 *text);

// "SATA disk 0-1F-2:3", with what stands in the way behind it where the disk can hold no virtual disks.
void diskName(const VIEW &view, UINT32 disk, CHAR16 *text);
void enclosureName(const VIEW_ENCLOSURE &enclosure, CHAR16 *text);
