#include "providers/sim_controller/modes.h"

#define MODE(member, values, freeBits)                                                                                 \
  { offsetof(RAID_ADAPTER_RECORD, member), values, freeBits }

// clang-format off
const SIM_MODE_ROW g_simModes[SIM_MODE_COUNT] = {
    MODE(UncertifiedMode, 0x007, 0),
    MODE(LoadBalanceMode, 0x003, 0),
    MODE(LearnMode, 0x007, 0),
    MODE(CheckConsistencyMode, 0x003, 0),
    MODE(PatrolReadMode, 0x111, RAID_PATROL_READ_MODE_CORRECT_AREAS),
    MODE(CopyBackMode, 0x00F, 0),
};
// clang-format on

bool simModeIsNamed(const SIM_MODE_ROW &row, UINT8 value) {
  UINT32 bare = value & ~(RAID_MODE_PRESENT | row.freeBits) & 0xFFU;
  return (value & RAID_MODE_PRESENT) == 0 || (bare < 16 && (row.values >> bare & 1) != 0);
}

UINT8 *simModeByte(RAID_ADAPTER_RECORD *adapter, UINT32 mode) {
  return reinterpret_cast<UINT8 *>(adapter) + g_simModes[mode].offset;
}

UINT8 simModeValue(const RAID_ADAPTER_RECORD *adapter, UINT32 mode) {
  return reinterpret_cast<const UINT8 *>(adapter)[g_simModes[mode].offset];
}
