// What the controller offers: the levels that Linux assembles, with their limits.
#pragma once

#include "providers/ddf/ddf.h"
#include "raid_records.h"

namespace xyl::disk_controller {

constexpr UINT32 offeredLevels =
    RAID_LEVEL_0 | RAID_LEVEL_1 | RAID_LEVEL_4 | RAID_LEVEL_5 | RAID_LEVEL_6 | RAID_LEVEL_10;
constexpr UINT32 offeredLevelCount = 6;

// A descriptor for each bit of offeredLevels, in their order.
extern const RAID_LEVEL_PARAMS g_offeredLevels[offeredLevelCount];

// The descriptor of that level; for one that is not offered, zeros but for the level itself.
RAID_LEVEL_PARAMS offeredLevel(UINT32 raidLevel);

// The records' level for that of a virtual disk. One that is not known, or a concatenation, is a plain virtual disk:
// documents have no other word for it that their readers take.
UINT32 raidLevelOf(ddf::VirtualDiskLevel level);

} // namespace xyl::disk_controller
