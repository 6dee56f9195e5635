// What a record means, and the worse of what its members and its entry say of the state.

#include "providers/ddf/level.h"
#include "providers/ddf/set_stages.h"

namespace xyl::ddf {

// A rebuild that runs shows in the entry only, a disk that was pulled in the members only.
static VdState worseState(VdState members, UINT8 entryState) {
  constexpr UINT8 ranks[8] = {0, 2, 0, 3, 3, 1, 3, 0}; // by VdState
  constexpr VdState states[] = {vdOptimal, vdPartiallyOptimal, vdDegraded, vdFailed};
  UINT8 a = ranks[members], b = ranks[entryState & vdStateBits];
  return states[a > b ? a : b];
}

void judgeVirtualDisk(VirtualDisk *virtualDisk) {
  UINT32 parities = readLevel(virtualDisk);
  virtualDisk->state = worseState(stateOfMembers(*virtualDisk, parities), virtualDisk->entry->state);
}

Shape shapeOf(const Record &record) {
  VirtualDisk virtualDisk = {};
  virtualDisk.record = &record;
  virtualDisk.spans = 1;
  virtualDisk.memberCount = virtualDisk.spanMembers = record.elements;
  readLevel(&virtualDisk);
  return {virtualDisk.level, virtualDisk.assembles, virtualDisk.memberBlocks, virtualDisk.blocks};
}

VdState stateOfMembers(const VirtualDisk &virtualDisk) {
  VirtualDisk judged = virtualDisk;
  return judged.memberCount == 0 ? vdFailed : stateOfMembers(judged, readLevel(&judged));
}

} // namespace xyl::ddf
