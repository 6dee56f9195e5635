// The CRC-32 of Ethernet, ZIP and most disk formats.
#pragma once

#include "uefi/types.h"

namespace xyl {

// Goes on with a sum over more bytes. Sums usually begin with all ones and are inverted at the end (crc32Of); some
// formats do neither.
UINT32 crc32Add(UINT32 sum, const void *bytes, UINTN size);

inline UINT32 crc32Of(const void *bytes, UINTN size) {
  return ~crc32Add(~0U, bytes, size);
}

} // namespace xyl
