// Checksums and GUIDs.

#include "providers/ddf/bytes.h"

#include "base/crc32.h"

// The format starts with 0 and does not invert the result.
UINT32 ddfChecksum(const void *bytes, UINTN size) {
  constexpr UINT8 FIELD[4] = {0xFF, 0xFF, 0xFF, 0xFF};
  constexpr UINTN BEHIND = 8;
  const UINT8 *at = static_cast<const UINT8 *>(bytes);
  UINT32 crc = crc32Add(0, at, 4);
  crc = crc32Add(crc, FIELD, sizeof(FIELD));
  return crc32Add(crc, at + BEHIND, size - BEHIND);
}

int compareGuids(const DDF_GUID &a, const DDF_GUID &b) {
  return __builtin_memcmp(&a, &b, sizeof(DDF_GUID));
}

bool ddfSameGuid(const DDF_GUID &a, const DDF_GUID &b) {
  return compareGuids(a, b) == 0;
}

bool ddfIsFree(const DDF_GUID &guid) {
  for (UINT8 byte : guid.bytes) {
    if (byte != 0xFF) {
      return false;
    }
  }
  return true;
}
