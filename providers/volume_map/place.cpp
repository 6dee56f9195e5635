#include "providers/volume_map/place.h"

namespace volume_map {

// Copies stand side by side, row after row round the members.
static UINT64 placeCopy(const Map &map, UINT64 strip, UINT32 copy, Place *place) {
  UINT64 turn = strip * map.copies + copy;
  place->member = static_cast<UINT32>(turn % map.memberCount);
  return turn / map.memberCount;
}

// Parity goes round the members; data fills the row from the left, or begins behind the parity.
static UINT64 placeInFive(const Map &map, UINT64 strip, Place *place) {
  UINT32 n = map.memberCount;
  UINT32 data = static_cast<UINT32>(strip % (n - 1));
  UINT64 row = strip / (n - 1);
  UINT32 turn = static_cast<UINT32>(row % n);
  UINT32 p = map.qualifier == 0 ? turn : n - 1 - turn;
  place->member = map.qualifier == 3 ? (p + 1 + data) % n : data + (data >= p ? 1 : 0);
  place->p = p;
  return row;
}

static UINT64 placeInSix(const Map &map, UINT64 strip, Place *place) {
  UINT32 n = map.memberCount;
  UINT32 data = static_cast<UINT32>(strip % (n - 2));
  UINT64 row = strip / (n - 2);
  UINT32 turn = static_cast<UINT32>(row % n);
  UINT32 p = map.qualifier == 1 ? turn : map.qualifier == 2 ? n - 1 - (turn + 1) % n : n - 1 - turn;
  if (map.qualifier == 3) {
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

Place placeOf(const Map &map, UINT64 block, UINT32 copy) {
  Place place = {copy, none, none, block, map.blocks - block};
  if (map.level == ddf::VirtualDiskLevel::raid1 || map.memberCount == 1) {
    return place;
  }
  UINT64 strip = block / map.stripBlocks;
  UINT64 offset = block % map.stripBlocks;
  UINT64 row = 0;
  switch (map.level) {
  case ddf::VirtualDiskLevel::raid4:
    row = strip / (map.memberCount - 1);
    place.member = static_cast<UINT32>(strip % (map.memberCount - 1));
    place.p = map.memberCount - 1;
    break;
  case ddf::VirtualDiskLevel::raid5:
    row = placeInFive(map, strip, &place);
    break;
  case ddf::VirtualDiskLevel::raid6:
    row = placeInSix(map, strip, &place);
    break;
  default: // 0, of one copy, and 10
    row = placeCopy(map, strip, copy, &place);
    break;
  }
  place.at = row * map.stripBlocks + offset;
  place.length = map.stripBlocks - offset;
  return place;
}

} // namespace volume_map
