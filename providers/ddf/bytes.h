// Sizes and comparisons that all of this room needs.
#pragma once

#include "base/pool.h"
#include "base/sort.h"
#include "providers/ddf/ddf.h"

namespace xyl::ddf {

constexpr UINT64 mebibyte = 2048;                         // sectors
constexpr UINT32 mostSectors = 1024;                      // of a section; Linux takes no longer ones either
constexpr UINT32 elementSize = sizeof(U32) + sizeof(U64); // of a record's arrays

// Below zero, zero or above zero, by the first differing byte.
int compareGuids(const Guid &a, const Guid &b);

// Whether size bytes from one place on lie below limit.
constexpr bool fits(UINT64 from, UINT64 size, UINT64 limit) {
  return from <= limit && size <= limit - from;
}

// The bytes of a section, and of a record.
inline UINTN sectionSize(const Header &header, UINT32 section) {
  return UINTN{header.sections[section].length} * sectorSize;
}
inline UINTN recordSize(const Header &header) {
  return UINTN{header.recordLength} * sectorSize;
}

} // namespace xyl::ddf
