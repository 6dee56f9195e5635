// Reading the copies of one disk.
#pragma once

#include "providers/ddf/bytes.h"

namespace xyl::ddf {

// Reads the copy whose header lies at lba and checks every length, offset and checksum. What is wrong goes into *fault;
// EFI_OUT_OF_RESOURCES is the only error. *copy is filled when there is no fault, *sequence when the header is sound.
EFI_STATUS readCopy(const Source &source, const Header &anchor, HeaderType type, Copy *copy, UINT32 *sequence,
                    Fault *fault);

// Whether the header is one: signature, checksum, revision, type.
Fault headerFault(const Header &header, HeaderType type);

// Sectors from the header to the end of the last section.
UINT64 copyLength(const Header &header);

// Judges one disk by itself: kind (DiskKind::member stands for a good copy), faults, copy.
EFI_STATUS readDisk(Disk *disk);
void setUnreadable(Disk *disk);

} // namespace xyl::ddf
