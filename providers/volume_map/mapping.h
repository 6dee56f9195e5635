// From a block of a volume to a block of a member: arithmetic alone. What is said of it here the compiler proves, for
// all small layouts, in tests/providers/volume_map/laws.cpp.
#pragma once

#include "providers/ddf/ddf.h"

namespace xyl::volume_map {

constexpr UINT32 none = 0xFFFFFFFF; // no member

// How a volume is dealt out to its members.
struct Layout {
  ddf::VirtualDiskLevel level;
  UINT8 qualifier;
  UINT32 copies; // of level 1 and 10
  UINT32 memberCount;
  UINT32 stripBlocks; // of level 1: none
  UINT64 blocks;      // of the volume

  bool operator==(const Layout &) const = default;
};

struct Place {
  UINT32 member;
  UINT32 p, q;   // members that have the row's parities, or none
  UINT64 at;     // block, counted from where the volume's part of each member begins
  UINT64 length; // blocks from there on that lie together
};

constexpr UINT32 paritiesOf(ddf::VirtualDiskLevel level) {
  switch (level) {
  case ddf::VirtualDiskLevel::raid6:
    return 2;
  case ddf::VirtualDiskLevel::raid4:
  case ddf::VirtualDiskLevel::raid5:
    return 1;
  default:
    return 0;
  }
}

// Copies stand side by side, row after row round the members.
constexpr UINT64 placeCopy(const Layout &layout, UINT64 strip, UINT32 copy, Place *place) {
  UINT64 turn = strip * layout.copies + copy;
  place->member = static_cast<UINT32>(turn % layout.memberCount);
  return turn / layout.memberCount;
}

// Parity goes round the members; data fills the row from the left, or begins behind the parity.
constexpr UINT64 placeInFive(const Layout &layout, UINT64 strip, Place *place) {
  UINT32 n = layout.memberCount;
  UINT32 data = static_cast<UINT32>(strip % (n - 1));
  UINT64 row = strip / (n - 1);
  UINT32 turn = static_cast<UINT32>(row % n);
  UINT32 p = layout.qualifier == 0 ? turn : n - 1 - turn;
  place->member = layout.qualifier == 3 ? (p + 1 + data) % n : data + (data >= p ? 1 : 0);
  place->p = p;
  return row;
}

constexpr UINT64 placeInSix(const Layout &layout, UINT64 strip, Place *place) {
  UINT32 n = layout.memberCount;
  UINT32 data = static_cast<UINT32>(strip % (n - 2));
  UINT64 row = strip / (n - 2);
  UINT32 turn = static_cast<UINT32>(row % n);
  UINT32 p = layout.qualifier == 1 ? turn : layout.qualifier == 2 ? n - 1 - (turn + 1) % n : n - 1 - turn;
  if (layout.qualifier == 3) {
    place->member = (p + 1 + data) % n;
    place->q = (p + n - 1) % n;
  } else {
    // The second parity follows the first, at the row's beginning when that stands last.
    place->member = p == n - 1 ? data + 1 : data + (data >= p ? 2 : 0);
    place->q = (p + 1) % n;
  }
  place->p = p;
  return row;
}

// The place of a block in one of the volume's copies, of which levels without any have the first one only. No two
// blocks or copies share a place, the copies of a block and the parities over it lie on members of their own, and
// blocks up to length keep their distance.
constexpr Place placeOf(const Layout &layout, UINT64 block, UINT32 copy) {
  Place place = {copy, none, none, block, layout.blocks - block};
  if (layout.level == ddf::VirtualDiskLevel::raid1 || layout.memberCount == 1) {
    return place;
  }
  UINT64 strip = block / layout.stripBlocks;
  UINT64 offset = block % layout.stripBlocks;
  UINT64 row = 0;
  switch (layout.level) {
  case ddf::VirtualDiskLevel::raid4:
    row = strip / (layout.memberCount - 1);
    place.member = static_cast<UINT32>(strip % (layout.memberCount - 1));
    place.p = layout.memberCount - 1;
    break;
  case ddf::VirtualDiskLevel::raid5:
    row = placeInFive(layout, strip, &place);
    break;
  case ddf::VirtualDiskLevel::raid6:
    row = placeInSix(layout, strip, &place);
    break;
  default: // 0, of one copy, and 10
    row = placeCopy(layout, strip, copy, &place);
    break;
  }
  place.at = row * layout.stripBlocks + offset;
  place.length = layout.stripBlocks - offset;
  return place;
}

// As many blocks as Linux makes of it, whatever the record says: the end is where a partition table has its copy. All
// of them lie inside the members' whole strips, of which fewer are left over than a strip has copies.
constexpr UINT64 blocksOf(const Layout &layout, UINT64 memberBlocks) {
  if (layout.level == ddf::VirtualDiskLevel::raid1) {
    return memberBlocks - memberBlocks % 2;
  }
  UINT64 rows = memberBlocks / layout.stripBlocks;
  return rows * (layout.memberCount - paritiesOf(layout.level)) / layout.copies * layout.stripBlocks;
}

constexpr Layout layoutOf(const ddf::VirtualDisk &volume) {
  bool isMirror = volume.level == ddf::VirtualDiskLevel::raid1;
  UINT32 copies = isMirror                                        ? volume.memberCount
                  : volume.level != ddf::VirtualDiskLevel::raid10 ? 1
                  : volume.spans > 1                              ? volume.spanMembers
                                                                  : 2;
  UINT32 strip = isMirror ? 0 : volume.stripBlocks;
  Layout layout = {volume.level, volume.record->qualifier, copies, volume.memberCount, strip, 0};
  layout.blocks = blocksOf(layout, volume.memberBlocks);
  return layout;
}

// Whether every block has a copy on a member that is readable.
template <class IsReadable> constexpr bool hasCopies(const Layout &layout, IsReadable isReadable) {
  for (UINT32 strip = 0; strip < layout.memberCount; ++strip) {
    bool any = false;
    for (UINT32 copy = 0; copy < layout.copies; ++copy) {
      any = any || isReadable((strip * layout.copies + copy) % layout.memberCount);
    }
    if (!any) {
      return false;
    }
  }
  return true;
}

} // namespace xyl::volume_map
