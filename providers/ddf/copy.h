// Reading the copies of one disk.
#pragma once

#include "providers/ddf/bytes.h"

// Reads the copy whose header lies at lba and checks every length, offset and checksum. What is wrong goes into *fault;
// EFI_OUT_OF_RESOURCES is the only error. *copy is filled when there is no fault, *sequence when the header is sound.
EFI_STATUS readCopy(const DDF_SOURCE &source, const DDF_HEADER &anchor, DDF_HEADER_TYPE type, DDF_COPY *copy,
                    UINT32 *sequence, DDF_FAULT *fault);

// Whether the header is one: signature, checksum, revision, type.
DDF_FAULT headerFault(const DDF_HEADER &header, DDF_HEADER_TYPE type);

// Sectors from the header to the end of the last section.
UINT64 copyLength(const DDF_HEADER &header);

// Judges one disk by itself: kind (DDF_DISK_MEMBER stands for a good copy), faults, copy.
EFI_STATUS readDisk(DDF_DISK *disk);
void setUnreadable(DDF_DISK *disk);
