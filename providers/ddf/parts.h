// What the files of this room share among themselves.
#pragma once

#include "base/pool.h"
#include "base/sort.h"
#include "providers/ddf/ddf.h"

// --- bytes.cpp ---

// Below zero, zero or above zero, by the first differing byte.
int compareGuids(const DDF_GUID &a, const DDF_GUID &b);

// Whether size bytes from one place on lie below limit.
inline bool fits(UINT64 from, UINT64 size, UINT64 limit) {
  return from <= limit && size <= limit - from;
}

// The bytes of a section, and of a record.
inline UINTN sectionSize(const DDF_HEADER &header, UINT32 section) {
  return UINTN{header.sections[section].length} * DDF_SECTOR;
}
inline UINTN recordSize(const DDF_HEADER &header) {
  return UINTN{header.recordLength} * DDF_SECTOR;
}

// --- copy.cpp ---

// Reads the copy whose header lies at lba and checks every length, offset and checksum. What is wrong goes into *fault;
// EFI_OUT_OF_RESOURCES is the only error. *copy is filled when there is no fault, *sequence when the header is sound.
EFI_STATUS readCopy(const DDF_SOURCE &source, const DDF_HEADER &anchor, DDF_HEADER_TYPE type, DDF_COPY *copy,
                    UINT32 *sequence, DDF_FAULT *fault);

// Whether the header is one: signature, checksum, revision, type.
DDF_FAULT headerFault(const DDF_HEADER &header, DDF_HEADER_TYPE type);

// Sectors from the header to the end of the last section.
UINT64 copyLength(const DDF_HEADER &header);

// --- disk.cpp ---

// Judges one disk by itself: kind (DDF_DISK_MEMBER stands for a good copy), faults, copy.
EFI_STATUS readDisk(DDF_DISK *disk);

// --- volumes.cpp and below: each completes one set of a model; false without memory ---

// What is looked up in a set, sorted.
struct REFERENCE_KEY {
  UINT32 reference;
  UINT32 pd;
};
struct VOLUME_KEY {
  const DDF_GUID *guid;
  UINT32 volume;
};
struct SET_INDEX {
  REFERENCE_KEY *references; // of the set's pds
  VOLUME_KEY *volumes;
  UINT32 *lastVolumes; // by pd: the last volume that was found to have a member on it, counted from 1
};

// The first pd of that reference, respectively the first volume of that GUID, or DDF_NONE.
UINT32 findReference(const DDF_SET &set, const SET_INDEX &index, UINT32 reference);
UINT32 findVolume(const DDF_SET &set, const SET_INDEX &index, const DDF_GUID &guid);

// volumes.cpp: the volumes' records and members. index.volumes is filled here.
bool indexVolumes(const DDF_SET &set, SET_INDEX *index);
bool readVolumes(const DDF_MODEL &model, DDF_SET *set, SET_INDEX *index);

// level.cpp: level, size and state from the record and the members.
void judgeVolume(DDF_VOLUME *volume);

// space.cpp: what volumes use of each pd, and the gaps between.
bool readSpace(DDF_SET *set);

// spares.cpp
bool readSpares(const DDF_MODEL &model, DDF_SET *set, const SET_INDEX &index);
