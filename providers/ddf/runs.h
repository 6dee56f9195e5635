// What virtual disks use of a disk, and what is free between. That no block gets lost the compiler proves, in
// tests/providers/ddf/laws.cpp.
#pragma once

#include "providers/ddf/bytes.h"

namespace xyl::ddf {

struct UsedExtent {
  UINT32 pd;
  Part part;
  UINT64 start;
  UINT64 end; // behind the last block
};

// A piece cut at limit: from startBelow on, up to endBelow, lie its blocks below limit, whatever numbers they are.
constexpr UINT64 startBelow(UINT64 limit, UINT64 start) {
  return start < limit ? start : limit;
}
constexpr UINT64 endBelow(UINT64 limit, UINT64 start, UINT64 blocks) {
  return fits(start, blocks, limit) ? start + blocks : limit;
}

constexpr void addGap(Pd *pd, UINT64 start, UINT64 end) {
  if (start < end) {
    pd->gaps[pd->gapCount++] = {start, end - start};
    pd->freeBlocks += end - start;
  }
}

// Fills in parts and gaps, for which there is room: the gaps are the runs below the limit that no piece has a block of,
// and none is beside another. The pieces are sorted by start and cut at the limit; they may
// overlap, and none is empty but those behind the limit.
constexpr void divide(Pd *pd, const UsedExtent *pieces, UINTN count) {
  UINT64 at = 0;
  for (UINTN i = 0; i < count; ++i) {
    pd->parts[pd->partCount++] = pieces[i].part;
    addGap(pd, at, pieces[i].start);
    at = pieces[i].end > at ? pieces[i].end : at;
  }
  addGap(pd, at, pd->limit);
  pd->usedBlocks = pd->limit - pd->freeBlocks;
}

} // namespace xyl::ddf
