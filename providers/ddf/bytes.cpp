// Checksums and GUIDs.

#include "providers/ddf/bytes.h"

struct CRC_TABLE {
  UINT32 entries[256];
};

static consteval CRC_TABLE makeTable() {
  CRC_TABLE table = {};
  for (UINT32 byte = 0; byte < 256; byte++) {
    UINT32 value = byte;
    for (int bit = 0; bit < 8; bit++) {
      value = value >> 1 ^ ((value & 1) != 0 ? 0xEDB88320 : 0);
    }
    table.entries[byte] = value;
  }
  return table;
}

static constexpr CRC_TABLE g_crcTable = makeTable();

static UINT32 addBytes(UINT32 crc, const UINT8 *bytes, UINTN size) {
  for (UINTN i = 0; i < size; i++) {
    crc = g_crcTable.entries[(crc ^ bytes[i]) & 0xFF] ^ crc >> 8;
  }
  return crc;
}

// The format starts with 0 and does not invert the result.
UINT32 ddfChecksum(const void *bytes, UINTN size) {
  constexpr UINT8 FIELD[4] = {0xFF, 0xFF, 0xFF, 0xFF};
  constexpr UINTN BEHIND = 8;
  const UINT8 *at = static_cast<const UINT8 *>(bytes);
  UINT32 crc = addBytes(0, at, 4);
  crc = addBytes(crc, FIELD, sizeof(FIELD));
  return addBytes(crc, at + BEHIND, size - BEHIND);
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
