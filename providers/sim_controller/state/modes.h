// The adapter's modes.
#pragma once

#include "raid_records.h"

// Bit n for each value n.
template <class... T> constexpr UINT16 simBitsOf(T... values) {
  return static_cast<UINT16>(((1U << values) | ...));
}

struct SIM_MODE_ROW {
  UINT32 offset;  // in the adapter's record
  UINT16 values;  // bit n: value n has a name
  UINT8 freeBits; // bits beside the value
};
#define SIM_MODE_COUNT 6U
extern const SIM_MODE_ROW g_simModes[SIM_MODE_COUNT]; // indexed by SIM_MODE

// Whether a mode byte is absent or carries a value with a name.
bool simModeIsNamed(const SIM_MODE_ROW &row, UINT8 value);

UINT8 *simModeByte(RAID_ADAPTER_RECORD *adapter, UINT32 mode);
UINT8 simModeValue(const RAID_ADAPTER_RECORD *adapter, UINT32 mode);
