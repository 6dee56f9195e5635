#include "base/crc32.h"

namespace xyl {

struct CrcTable {
  UINT32 entries[256];
};

static consteval CrcTable makeTable() {
  CrcTable table = {};
  for (UINT32 byte = 0; byte < 256; byte++) {
    UINT32 value = byte;
    for (int bit = 0; bit < 8; bit++) {
      value = value >> 1 ^ ((value & 1) != 0 ? 0xEDB88320 : 0);
    }
    table.entries[byte] = value;
  }
  return table;
}

static constexpr CrcTable g_crcTable = makeTable();

static constexpr UINT32 add(UINT32 sum, const UINT8 *bytes, UINTN size) {
  for (UINTN i = 0; i < size; ++i) {
    sum = g_crcTable.entries[(sum ^ bytes[i]) & 0xFF] ^ sum >> 8;
  }
  return sum;
}

// What the world checks its sums with.
static constexpr UINT8 g_digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
static_assert(~add(~0U, g_digits, sizeof(g_digits)) == 0xCBF43926);

UINT32 crc32Add(UINT32 sum, const void *bytes, UINTN size) {
  return add(sum, static_cast<const UINT8 *>(bytes), size);
}

} // namespace xyl
