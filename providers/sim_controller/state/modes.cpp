#include "providers/sim_controller/state/modes.h"

namespace xyl::sim {

#define MODE(member, values, freeBits)                                                                                 \
  { offsetof(RAID_ADAPTER_RECORD, member), values, freeBits }

const ModeRow g_modes[modeCount] = {
    MODE(UncertifiedMode, bitsOf(RAID_UNCERTIFIED_MODE_BLOCK, RAID_UNCERTIFIED_MODE_ALLOW, RAID_UNCERTIFIED_MODE_WARN),
         0),
    MODE(LoadBalanceMode, bitsOf(RAID_LOAD_BALANCE_MODE_AUTO, RAID_LOAD_BALANCE_MODE_NONE), 0),
    MODE(LearnMode, bitsOf(RAID_LEARN_MODE_AUTO, RAID_LEARN_MODE_DISABLED, RAID_LEARN_MODE_WARN), 0),
    MODE(CheckConsistencyMode, bitsOf(RAID_CHECK_CONSISTENCY_MODE_NORMAL, RAID_CHECK_CONSISTENCY_MODE_STOP_ON_ERROR),
         0),
    MODE(PatrolReadMode,
         bitsOf(RAID_PATROL_READ_MODE_DISABLED, RAID_PATROL_READ_MODE_MANUAL, RAID_PATROL_READ_MODE_AUTO),
         RAID_PATROL_READ_MODE_CORRECT_AREAS),
    MODE(CopyBackMode,
         bitsOf(RAID_COPY_BACK_MODE_OFF, RAID_COPY_BACK_MODE_ON, RAID_COPY_BACK_MODE_SMART,
                RAID_COPY_BACK_MODE_ON_SMART),
         0),
};

bool modeIsNamed(const ModeRow &row, UINT8 value) {
  UINT32 bare = value & ~(RAID_MODE_PRESENT | row.freeBits) & 0xFFU;
  return (value & RAID_MODE_PRESENT) == 0 || (bare < 16 && (row.values >> bare & 1) != 0);
}

UINT8 *modeByte(RAID_ADAPTER_RECORD *adapter, UINT32 mode) {
  return reinterpret_cast<UINT8 *>(adapter) + g_modes[mode].offset;
}

UINT8 modeValue(const RAID_ADAPTER_RECORD *adapter, UINT32 mode) {
  return reinterpret_cast<const UINT8 *>(adapter)[g_modes[mode].offset];
}

} // namespace xyl::sim
