// What a record means: its level, what Linux makes of it, how many blocks the volume has, and the state that its
// members leave it in. That it goes together with where blocks lie the compiler proves, in
// tests/providers/ddf/laws.cpp.
#pragma once

#include "base/rounding.h"
#include "providers/ddf/ddf.h"

namespace xyl::ddf {

struct LevelRow {
  UINT8 level;
  UINT8 qualifiers; // bit n: Linux knows qualifier n
  UINT16 fewest;    // members
  UINT16 most;
  VirtualDiskLevel meaning;
  UINT8 parities;
};

constexpr UINT16 anyNumber = 0xFFFF;
inline constexpr LevelRow g_levels[] = {
    {levelRaid0, 0x01, 1, anyNumber, VirtualDiskLevel::raid0, 0},
    {levelRaid1, 0x01, 2, 2, VirtualDiskLevel::raid1, 0},
    {levelRaid1, 0x02, 3, 3, VirtualDiskLevel::raid1, 0},
    {levelRaid4, 0x02, 3, anyNumber, VirtualDiskLevel::raid4, 1},
    {levelRaid5, 0x0D, 3, anyNumber, VirtualDiskLevel::raid5, 1},
    {levelRaid6, 0x0E, 4, anyNumber, VirtualDiskLevel::raid6, 2},
    {levelRaid1e, 0x03, 3, anyNumber, VirtualDiskLevel::raid10, 0},
    {levelConcat, 0x01, 1, anyNumber, VirtualDiskLevel::linear, 0},
};

// The row for a record; *exact tells whether Linux takes it.
constexpr const LevelRow *findLevel(const Record &record, bool *exact) {
  const LevelRow *near = nullptr;
  *exact = false;
  for (const LevelRow &row : g_levels) {
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

constexpr bool isLost(const Member &member) {
  return member.state != MemberState::good;
}

constexpr UINT32 countLost(const Member *members, UINT32 count) {
  UINT32 lost = 0;
  for (UINT32 i = 0; i < count; ++i) {
    lost += isLost(members[i]) ? 1 : 0;
  }
  return lost;
}

// --- State ---

constexpr VdState stateOfSpans(const VirtualDisk &virtualDisk) {
  VdState state = vdOptimal;
  for (UINT32 span = 0; span < virtualDisk.spans; ++span) {
    UINT32 lost = countLost(virtualDisk.members + UINTN{span} * virtualDisk.spanMembers, virtualDisk.spanMembers);
    if (lost == virtualDisk.spanMembers) {
      return vdFailed;
    }
    state = lost != 0 ? vdDegraded : state;
  }
  return state;
}

// Two copies, on neighbours: pairs when their number is even and copies stand in one row, else round the circle.
constexpr VdState stateOfCopies(const VirtualDisk &virtualDisk) {
  UINT32 count = virtualDisk.memberCount;
  bool pairs = virtualDisk.record->qualifier == 0 && count % 2 == 0;
  for (UINT32 i = 0; i < count; i += pairs ? 2 : 1) {
    if (isLost(virtualDisk.members[i]) && isLost(virtualDisk.members[(i + 1) % count])) {
      return vdFailed;
    }
  }
  return countLost(virtualDisk.members, count) != 0 ? vdDegraded : vdOptimal;
}

// The state by the members alone; parities as readLevel gave them. It is failed when a strip is lost, by whatever lays
// the strips out, and optimal when no member is.
constexpr VdState stateOfMembers(const VirtualDisk &virtualDisk, UINT32 parities) {
  if (virtualDisk.spans > 1) {
    return virtualDisk.level == VirtualDiskLevel::raid10                  ? stateOfSpans(virtualDisk)
           : countLost(virtualDisk.members, virtualDisk.memberCount) != 0 ? vdFailed
                                                                          : vdOptimal;
  }
  if (virtualDisk.level == VirtualDiskLevel::raid10) {
    return stateOfCopies(virtualDisk);
  }
  UINT32 spare = virtualDisk.level == VirtualDiskLevel::raid1 ? virtualDisk.memberCount - 1 : parities;
  UINT32 lost = countLost(virtualDisk.members, virtualDisk.memberCount);
  if (lost == 0) {
    return vdOptimal;
  }
  return lost > spare ? vdFailed : lost == spare ? vdDegraded : vdPartiallyOptimal;
}

// --- Size ---

// What the members give; at most 256 of 2^48 blocks.
constexpr UINT64 computeBlocks(const VirtualDisk &virtualDisk, UINT32 parities) {
  UINT64 blocks = virtualDisk.memberBlocks;
  if (virtualDisk.spans > 1) {
    return virtualDisk.spans * blocks * (virtualDisk.record->level == levelRaid1 ? 1 : virtualDisk.spanMembers);
  }
  if (virtualDisk.level == VirtualDiskLevel::raid1) {
    return blocks;
  }
  if (virtualDisk.level == VirtualDiskLevel::raid10) {
    UINT64 both = virtualDisk.memberCount * blocks / 2;
    return virtualDisk.stripBlocks != 0 ? roundDown(both, virtualDisk.stripBlocks) : both;
  }
  return virtualDisk.memberCount > parities ? (virtualDisk.memberCount - parities) * blocks : 0;
}

// Fills in level and sizes, which the record tells; returns how many members parity takes. What the members give is
// what whoever lays the strips out needs.
constexpr UINT32 readLevel(VirtualDisk *virtualDisk) {
  const Record &record = *virtualDisk->record;
  bool exact = false;
  const LevelRow *row = findLevel(record, &exact);
  bool spanned = virtualDisk->spans > 1;
  bool mirrors = record.level == levelRaid1 &&
                 (record.secondaryLevel == secondaryStriped || record.secondaryLevel == secondarySpanned);
  UINT32 parities = row != nullptr && !spanned ? row->parities : 0;
  virtualDisk->level = row == nullptr ? VirtualDiskLevel::unknown : row->meaning;
  if (spanned) {
    virtualDisk->level = mirrors ? VirtualDiskLevel::raid10 : VirtualDiskLevel::unknown;
  }
  virtualDisk->assembles = exact && (!spanned || mirrors);
  bool strips = record.strip != noStrip && virtualDisk->level != VirtualDiskLevel::raid1 &&
                virtualDisk->level != VirtualDiskLevel::linear;
  virtualDisk->stripBlocks = record.strip != noStrip ? 1U << record.strip : 0;
  virtualDisk->memberBlocks = strips ? roundDown(record.memberBlocks, virtualDisk->stripBlocks) : record.memberBlocks;
  UINT64 computed = computeBlocks(*virtualDisk, parities);
  bool plausible = record.blocks != 0 && record.blocks <= computed;
  virtualDisk->blocks = plausible ? UINT64{record.blocks} : computed;
  return parities;
}

} // namespace xyl::ddf
