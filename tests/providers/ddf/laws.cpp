// What the model says of space, sizes and states: the compiler proves it for small disks and volumes.

#include <iterator>
#include <utility>

#include "base/bits.h"
#include "providers/ddf/level.h"
#include "providers/ddf/runs.h"
#include "providers/volume_map/mapping.h"

using namespace xyl;

using namespace ddf;

// --- Space ---

constexpr UINT64 g_edges[] = {0, 1, 2, 7, 8, UINT64{1} << 63, ~UINT64{0} - 1, ~UINT64{0}};

// Against exact arithmetic, also where a sum leaves 64 bits.
constexpr bool areCut() {
  for (UINT64 start : g_edges) {
    for (UINT64 blocks : g_edges) {
      for (UINT64 limit : g_edges) {
        unsigned __int128 end = static_cast<unsigned __int128>(start) + blocks;
        UINT64 first = startBelow(limit, start), last = endBelow(limit, first, blocks);
        if (fits(start, blocks, limit) != (end <= limit) || first != (start < limit ? start : limit) ||
            last != (end < limit ? end : limit)) {
          return false;
        }
      }
    }
  }
  return true;
}
static_assert(areCut());

// Blocks as bits.
constexpr UINT32 bitsOf(UINT64 start, UINT64 end) {
  return (1U << end) - (1U << start);
}

constexpr bool isDivided(const UsedExtent (&pieces)[3], UINT32 limit) {
  Part parts[3] = {};
  Gap gaps[4] = {};
  Pd pd = {};
  pd.limit = limit, pd.parts = parts, pd.gaps = gaps;
  divide(&pd, pieces, 3);
  UINT32 used = 0, free = 0, beside = 0;
  for (const UsedExtent &piece : pieces) {
    used |= bitsOf(piece.start, piece.end);
  }
  for (UINT32 i = 0; i < pd.gapCount; ++i) {
    UINT32 gap = bitsOf(gaps[i].start, gaps[i].start + gaps[i].blocks);
    beside |= gap == 0 || gap <= free || (gap & free << 1) != 0 ? 1 : 0;
    free |= gap;
  }
  return beside == 0 && (used ^ free) == bitsOf(0, limit) && (used & free) == 0 && pd.freeBlocks == countBits(free) &&
         pd.usedBlocks == countBits(used);
}

// Any pieces from the place at on, of which none begins before the one in front of it.
constexpr bool areDivided(UsedExtent (&pieces)[3], UINT32 at, UINT32 limit) {
  if (at == 3) {
    return isDivided(pieces, limit);
  }
  for (UINT64 start = at == 0 ? 0 : pieces[at - 1].start; start <= limit; ++start) {
    for (UINT64 end = start < limit ? start + 1 : limit; end <= limit; ++end) {
      pieces[at].start = start, pieces[at].end = end;
      if (!areDivided(pieces, at + 1, limit)) {
        return false;
      }
    }
  }
  return true;
}

constexpr bool areDivided(UINT32 limit) {
  UsedExtent pieces[3] = {};
  return areDivided(pieces, 0, limit);
}
static_assert(areDivided(0) && areDivided(1) && areDivided(2) && areDivided(3));
static_assert(areDivided(5));

// --- Levels ---

struct Case {
  UINT8 level, qualifier, secondary;
  UINT32 spans, fewest, most; // members of each span
};
constexpr Case g_cases[] = {
    {levelRaid0, 0, noSecondary, 1, 1, 6},      {levelRaid1, 0, noSecondary, 1, 2, 2},
    {levelRaid1, 1, noSecondary, 1, 3, 3},      {levelRaid4, 1, noSecondary, 1, 3, 6},
    {levelRaid5, 0, noSecondary, 1, 3, 6},      {levelRaid5, 2, noSecondary, 1, 3, 6},
    {levelRaid5, 3, noSecondary, 1, 3, 6},      {levelRaid6, 1, noSecondary, 1, 4, 7},
    {levelRaid6, 2, noSecondary, 1, 4, 7},      {levelRaid6, 3, noSecondary, 1, 4, 7},
    {levelRaid1e, 0, noSecondary, 1, 3, 8},     {levelRaid1e, 1, noSecondary, 1, 3, 8},
    {levelRaid1, 0, secondaryStriped, 3, 2, 2}, {levelRaid1, 1, secondarySpanned, 2, 3, 3},
};

// Whether the blocks can be had without some members: by copies, of which those of level 11 with qualifier 1, which is
// not read, stand on neighbours round the circle; or by parities.
constexpr bool isHad(const volume_map::Layout &layout, UINT32 lost) {
  UINT32 parities = volume_map::paritiesOf(layout.level), n = layout.memberCount;
  bool isRound = layout.level == VirtualDiskLevel::raid10 && layout.qualifier == 1 && layout.copies == 2;
  if (isRound || parities != 0) {
    return isRound ? (lost & (lost << 1 | lost >> (n - 1))) == 0 : countBits(lost) <= parities;
  }
  return volume_map::hasCopies(layout, [lost](UINT32 member) { return (lost >> member & 1) == 0; });
}

// Where blocks lie and what is said of their number and state go together, whichever members are lost.
constexpr bool agrees(const Case &row, UINT32 each) {
  Record record = {};
  record.level = row.level, record.qualifier = row.qualifier, record.secondaryLevel = row.secondary;
  record.elements = static_cast<UINT16>(each);
  record.strip = 1;
  record.memberBlocks = 11; // five strips and a rest
  Member members[8] = {};
  VirtualDisk volume = {};
  volume.record = &record, volume.members = members, volume.spans = row.spans, volume.spanMembers = each;
  volume.memberCount = row.spans * each;
  UINT32 parities = readLevel(&volume);
  volume_map::Layout layout = volume_map::layoutOf(volume);
  UINT64 rest = volume.level == VirtualDiskLevel::raid1 ? volume.blocks % 2 : 0;
  bool all = volume.assembles && parities == volume_map::paritiesOf(volume.level);
  all = all && volume.blocks - rest == layout.blocks;
  for (UINT32 lost = 0; lost >> volume.memberCount == 0 && all; ++lost) {
    for (UINT32 i = 0; i < volume.memberCount; ++i) {
      members[i].state = (lost >> i & 1) != 0 ? MemberState::failed : MemberState::good;
    }
    VdState state = stateOfMembers(volume, parities);
    all = (state == vdFailed) != isHad(layout, lost) && (state == vdOptimal) == (lost == 0);
  }
  return all;
}

constexpr bool agrees(const Case &row) {
  bool all = true;
  for (UINT32 each = row.fewest; each <= row.most && all; ++each) {
    all = agrees(row, each);
  }
  return all;
}

template <UINTN... i> constexpr bool agree(std::integer_sequence<UINTN, i...>) {
  return (std::bool_constant<agrees(g_cases[i])>::value && ...); // each a proof of its own
}
static_assert(agree(std::make_integer_sequence<UINTN, std::size(g_cases)>()));
