// Where the blocks of a volume lie on its members, what is read instead of a member that is lost, and which volumes may
// be read at all. Nothing here writes.
//
// A volume is read as Linux reads it, or not at all. Blocks have 512 bytes.
#pragma once

#include "providers/volume_map/mapping.h"

namespace xyl::volume_map {

constexpr UINT32 mostMembers = 64; // of a volume that is read

struct Member {
  UINT64 start;  // block of the disk with which its part begins
  UINT32 disk;   // of the model, noIndex: not there
  bool readable; // what is on it is the volume's
};

// How a volume lies on its members; all that reading takes.
struct Map {
  Layout layout;
  bool parityHolds; // redundancy was built, and nothing happened to it
  Member members[mostMembers];
};

enum class Readiness : UINT8 {
  barred,   // whatever comes, it is not read: why tells the reason
  lost,     // too few members are there
  degraded, // it can be read, though a member is away of which nobody has said that it failed: it may come yet
  ready,
};

struct Judgement {
  Readiness readiness;
  const CHAR8 *why; // of barred and lost ones, else null
};

// Judges a volume of the model's set, and fills the map, which counts for degraded and ready ones.
Judgement judge(const ddf::Model &model, const ddf::Set &set, const ddf::VirtualDisk &volume, Map *map);

// Whether the members that are readable are enough.
bool isReadable(const Map &map);

// Reads from members. read gets count blocks from block on of the disk that a member lies on; a failure is that
// member's alone. scratch has room for scratchBlocks blocks.
struct Access {
  EFI_STATUS (*read)(void *context, UINT32 member, UINT64 block, UINTN count, void *buffer);
  void *context;
  void *scratch;
  UINT32 scratchBlocks;
};

// Reads count blocks from block on, which lie inside the volume. What a member does not give comes from another copy or
// from parity. EFI_DEVICE_ERROR when there is no other way.
EFI_STATUS read(const Map &map, const Access &access, UINT64 block, UINTN count, void *buffer);

} // namespace xyl::volume_map
