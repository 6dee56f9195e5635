// From a block of a volume to a block of a member.
#pragma once

#include "providers/volume_map/volume_map.h"

namespace volume_map {

constexpr UINT32 none = 0xFFFFFFFF; // no member

struct Place {
  UINT32 member;
  UINT32 p, q;   // members that have the row's parities, or none
  UINT64 at;     // block, counted from where the volume's part of each member begins
  UINT64 length; // blocks from there on that lie together
};

// The place of a block in one of the volume's copies, of which levels without any have the first one only.
Place placeOf(const Map &map, UINT64 block, UINT32 copy);

} // namespace volume_map
