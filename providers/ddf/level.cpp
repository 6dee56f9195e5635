// What a record means: its level, what Linux makes of it, how many blocks the volume has, and the state that its
// members leave it in.

#include "providers/ddf/set_stages.h"

namespace {

struct LEVEL_ROW {
  UINT8 level;
  UINT8 qualifiers; // bit n: Linux knows qualifier n
  UINT16 fewest;    // members
  UINT16 most;
  DDF_VIRTUAL_DISK_LEVEL meaning;
  UINT8 parities;
};

} // namespace

constexpr UINT16 ANY = 0xFFFF;
static constexpr LEVEL_ROW g_levels[] = {
    {DDF_RAID_0, 0x01, 1, ANY, DDF_LEVEL_0, 0},   {DDF_RAID_1, 0x01, 2, 2, DDF_LEVEL_1, 0},
    {DDF_RAID_1, 0x02, 3, 3, DDF_LEVEL_1, 0},     {DDF_RAID_4, 0x02, 3, ANY, DDF_LEVEL_4, 1},
    {DDF_RAID_5, 0x0D, 3, ANY, DDF_LEVEL_5, 1},   {DDF_RAID_6, 0x0E, 4, ANY, DDF_LEVEL_6, 2},
    {DDF_RAID_1E, 0x03, 3, ANY, DDF_LEVEL_10, 0}, {DDF_CONCAT, 0x01, 1, ANY, DDF_LEVEL_LINEAR, 0},
};

// The row for a record; *exact tells whether Linux takes it.
static const LEVEL_ROW *findLevel(const DDF_RECORD &record, bool *exact) {
  const LEVEL_ROW *near = nullptr;
  *exact = false;
  for (const LEVEL_ROW &row : g_levels) {
    if (row.level != record.level) {
      continue;
    }
    near = &row;
    *exact = record.qualifier < 8 && (row.qualifiers >> record.qualifier & 1) != 0 && record.elements >= row.fewest &&
             record.elements <= row.most;
    if (*exact) {
      break;
    }
  }
  return near;
}

static bool isLost(const DDF_MEMBER &member) {
  return member.state != DDF_MEMBER_GOOD;
}

static UINT32 countLost(const DDF_MEMBER *members, UINT32 count) {
  UINT32 lost = 0;
  for (UINT32 i = 0; i < count; i++) {
    lost += isLost(members[i]) ? 1 : 0;
  }
  return lost;
}

// --- State ---

static DDF_VD_STATE stateOfSpans(const DDF_VIRTUAL_DISK &virtualDisk) {
  DDF_VD_STATE state = DDF_VD_OPTIMAL;
  for (UINT32 span = 0; span < virtualDisk.spans; span++) {
    UINT32 lost = countLost(virtualDisk.members + UINTN{span} * virtualDisk.spanMembers, virtualDisk.spanMembers);
    if (lost == virtualDisk.spanMembers) {
      return DDF_VD_FAILED;
    }
    state = lost != 0 ? DDF_VD_DEGRADED : state;
  }
  return state;
}

// Two copies, on neighbours: pairs when their number is even and copies stand in one row, else round the circle.
static DDF_VD_STATE stateOfCopies(const DDF_VIRTUAL_DISK &virtualDisk) {
  UINT32 count = virtualDisk.memberCount;
  bool pairs = virtualDisk.record->qualifier == 0 && count % 2 == 0;
  for (UINT32 i = 0; i < count; i += pairs ? 2 : 1) {
    if (isLost(virtualDisk.members[i]) && isLost(virtualDisk.members[(i + 1) % count])) {
      return DDF_VD_FAILED;
    }
  }
  return countLost(virtualDisk.members, count) != 0 ? DDF_VD_DEGRADED : DDF_VD_OPTIMAL;
}

static DDF_VD_STATE stateOfMembers(const DDF_VIRTUAL_DISK &virtualDisk, UINT32 parities) {
  if (virtualDisk.spans > 1) {
    return virtualDisk.level == DDF_LEVEL_10                              ? stateOfSpans(virtualDisk)
           : countLost(virtualDisk.members, virtualDisk.memberCount) != 0 ? DDF_VD_FAILED
                                                                          : DDF_VD_OPTIMAL;
  }
  if (virtualDisk.level == DDF_LEVEL_10) {
    return stateOfCopies(virtualDisk);
  }
  UINT32 spare = virtualDisk.level == DDF_LEVEL_1 ? virtualDisk.memberCount - 1 : parities;
  UINT32 lost = countLost(virtualDisk.members, virtualDisk.memberCount);
  if (lost == 0) {
    return DDF_VD_OPTIMAL;
  }
  return lost > spare ? DDF_VD_FAILED : lost == spare ? DDF_VD_DEGRADED : DDF_VD_PARTIALLY_OPTIMAL;
}

// A rebuild that runs shows in the entry only, a disk that was pulled in the members only.
static DDF_VD_STATE worseState(DDF_VD_STATE members, UINT8 entryState) {
  constexpr UINT8 RANKS[8] = {0, 2, 0, 3, 3, 1, 3, 0}; // by DDF_VD_STATE
  constexpr DDF_VD_STATE STATES[] = {DDF_VD_OPTIMAL, DDF_VD_PARTIALLY_OPTIMAL, DDF_VD_DEGRADED, DDF_VD_FAILED};
  UINT8 a = RANKS[members], b = RANKS[entryState & DDF_VD_STATE_BITS];
  return STATES[a > b ? a : b];
}

// --- Size ---

// What the members give; at most 256 of 2^48 blocks.
static UINT64 computeBlocks(const DDF_VIRTUAL_DISK &virtualDisk, UINT32 parities) {
  UINT64 blocks = virtualDisk.memberBlocks;
  if (virtualDisk.spans > 1) {
    return virtualDisk.spans * blocks * (virtualDisk.record->level == DDF_RAID_1 ? 1 : virtualDisk.spanMembers);
  }
  if (virtualDisk.level == DDF_LEVEL_1) {
    return blocks;
  }
  if (virtualDisk.level == DDF_LEVEL_10) {
    UINT64 both = virtualDisk.memberCount * blocks / 2;
    return virtualDisk.stripBlocks != 0 ? both - both % virtualDisk.stripBlocks : both;
  }
  return virtualDisk.memberCount > parities ? (virtualDisk.memberCount - parities) * blocks : 0;
}

// Fills in level and sizes, which the record tells; returns how many members parity takes.
static UINT32 readLevel(DDF_VIRTUAL_DISK *virtualDisk) {
  const DDF_RECORD &record = *virtualDisk->record;
  bool exact = false;
  const LEVEL_ROW *row = findLevel(record, &exact);
  bool spanned = virtualDisk->spans > 1;
  bool mirrors = record.level == DDF_RAID_1 &&
                 (record.secondaryLevel == DDF_SECONDARY_STRIPED || record.secondaryLevel == DDF_SECONDARY_SPANNED);
  UINT32 parities = row != nullptr && !spanned ? row->parities : 0;
  virtualDisk->level = row == nullptr ? DDF_LEVEL_UNKNOWN : row->meaning;
  if (spanned) {
    virtualDisk->level = mirrors ? DDF_LEVEL_10 : DDF_LEVEL_UNKNOWN;
  }
  virtualDisk->assembles = exact && (!spanned || mirrors);
  bool strips =
      record.strip != DDF_NO_STRIP && virtualDisk->level != DDF_LEVEL_1 && virtualDisk->level != DDF_LEVEL_LINEAR;
  virtualDisk->stripBlocks = record.strip != DDF_NO_STRIP ? 1U << record.strip : 0;
  virtualDisk->memberBlocks = record.memberBlocks;
  if (strips) {
    virtualDisk->memberBlocks -= virtualDisk->memberBlocks % virtualDisk->stripBlocks;
  }
  UINT64 computed = computeBlocks(*virtualDisk, parities);
  bool plausible = record.blocks != 0 && record.blocks <= computed;
  virtualDisk->blocks = plausible ? UINT64{record.blocks} : computed;
  return parities;
}

void judgeVirtualDisk(DDF_VIRTUAL_DISK *virtualDisk) {
  UINT32 parities = readLevel(virtualDisk);
  virtualDisk->state = worseState(stateOfMembers(*virtualDisk, parities), virtualDisk->entry->state);
}

DDF_SHAPE ddfShapeOf(const DDF_RECORD &record) {
  DDF_VIRTUAL_DISK virtualDisk = {};
  virtualDisk.record = &record;
  virtualDisk.spans = 1;
  virtualDisk.memberCount = virtualDisk.spanMembers = record.elements;
  readLevel(&virtualDisk);
  return {virtualDisk.level, virtualDisk.assembles, virtualDisk.memberBlocks, virtualDisk.blocks};
}

DDF_VD_STATE ddfStateOfMembers(const DDF_VIRTUAL_DISK &virtualDisk) {
  DDF_VIRTUAL_DISK judged = virtualDisk;
  return judged.memberCount == 0 ? DDF_VD_FAILED : stateOfMembers(judged, readLevel(&judged));
}
