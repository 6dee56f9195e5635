#include "base/crc32.h"

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

UINT32 crc32Add(UINT32 sum, const void *bytes, UINTN size) {
  const UINT8 *at = static_cast<const UINT8 *>(bytes);
  for (UINTN i = 0; i < size; ++i) {
    sum = g_crcTable.entries[(sum ^ at[i]) & 0xFF] ^ sum >> 8;
  }
  return sum;
}
