// Checksums and GUIDs.

#include "providers/ddf/bytes.h"

#include "base/crc32.h"

namespace xyl::ddf {

// The format starts with 0 and does not invert the result.
UINT32 checksum(const void *bytes, UINTN size) {
  constexpr UINT8 field[4] = {0xFF, 0xFF, 0xFF, 0xFF};
  constexpr UINTN behind = 8;
  const UINT8 *at = static_cast<const UINT8 *>(bytes);
  UINT32 crc = crc32Add(0, at, 4);
  crc = crc32Add(crc, field, sizeof(field));
  return crc32Add(crc, at + behind, size - behind);
}

int compareGuids(const Guid &a, const Guid &b) {
  return __builtin_memcmp(&a, &b, sizeof(Guid));
}

bool sameGuid(const Guid &a, const Guid &b) {
  return compareGuids(a, b) == 0;
}

bool isFree(const Guid &guid) {
  for (UINT8 byte : guid.bytes) {
    if (byte != 0xFF) {
      return false;
    }
  }
  return true;
}

} // namespace xyl::ddf
