// The adapter's modes.
#pragma once

#include "raid_records.h"

namespace xyl::sim {

// Bit n for each value n.
template <class... T> constexpr UINT16 bitsOf(T... values) {
  return static_cast<UINT16>(((1U << values) | ...));
}

struct ModeRow {
  UINT32 offset;  // in the adapter's record
  UINT16 values;  // bit n: value n has a name
  UINT8 freeBits; // bits beside the value
};
constexpr UINT32 modeCount = 6;
extern const ModeRow g_modes[modeCount]; // indexed by Mode

// Whether a mode byte is absent or carries a value with a name.
bool modeIsNamed(const ModeRow &row, UINT8 value);

UINT8 *modeByte(RAID_ADAPTER_RECORD *adapter, UINT32 mode);
UINT8 modeValue(const RAID_ADAPTER_RECORD *adapter, UINT32 mode);

} // namespace xyl::sim
