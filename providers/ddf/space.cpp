// How much of each disk of a set virtual disks use, and where the gaps are.

#include "providers/ddf/runs.h"
#include "providers/ddf/set_stages.h"

namespace xyl::ddf {

// Pieces of all members that lie on a known disk, even a missing one, cut at the disk's limit.
static UINTN collectPieces(const Set &set, UsedExtent *pieces) {
  UINTN count = 0;
  for (UINT32 i = 0; i < set.virtualDiskCount; ++i) {
    const VirtualDisk &virtualDisk = set.virtualDisks[i];
    for (UINT32 j = 0; j < virtualDisk.memberCount; ++j) {
      const Member &member = virtualDisk.members[j];
      if (member.pd == noIndex) {
        continue;
      }
      UINT64 limit = set.pds[member.pd].limit;
      UINT64 start = startBelow(limit, member.start);
      pieces[count++] = {member.pd, {i, j}, start, endBelow(limit, start, virtualDisk.record->memberBlocks)};
    }
  }
  sortArray(pieces, count, [](const UsedExtent &a, const UsedExtent &b) {
    if (a.pd != b.pd) {
      return a.pd < b.pd;
    }
    return a.start != b.start ? a.start < b.start : a.part.virtualDisk < b.part.virtualDisk;
  });
  return count;
}

// pieces are those of this disk.
static bool readPd(Pd *pd, const UsedExtent *pieces, UINTN count) {
  pd->gaps = poolNew<Gap>(count + 1);
  pd->parts = poolNew<Part>(count + 1);
  if (pd->gaps == nullptr || pd->parts == nullptr) {
    return false;
  }
  divide(pd, pieces, count);
  return true;
}

static bool readAllPds(Set *set, const UsedExtent *pieces, UINTN count) {
  UINTN from = 0;
  for (UINT32 i = 0; i < set->pdCount; ++i) {
    UINTN end = from;
    while (end < count && pieces[end].pd == i) {
      ++end;
    }
    if (!readPd(&set->pds[i], pieces + from, end - from)) {
      return false;
    }
    from = end;
  }
  return true;
}

bool readSpace(Set *set) {
  UINTN members = 0;
  for (UINT32 i = 0; i < set->virtualDiskCount; ++i) {
    members += set->virtualDisks[i].memberCount;
  }
  UsedExtent *pieces = poolNew<UsedExtent>(members + 1);
  if (pieces == nullptr) {
    return false;
  }
  bool done = readAllPds(set, pieces, collectPieces(*set, pieces));
  poolFree(pieces);
  return done;
}

} // namespace xyl::ddf
