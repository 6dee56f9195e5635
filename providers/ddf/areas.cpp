// Where a disk is searched.

#include "providers/ddf/bytes.h"

namespace xyl::ddf {

constexpr UINT64 frontSectors = mebibyte, tailSectors = 34 * mebibyte;
constexpr UINT64 sampleSectors = 8;

UINT32 searchedAreas(UINT64 sectors, Area (&areas)[areaCount]) {
  UINT64 front = sectors < frontSectors ? sectors : frontSectors;
  UINT64 tail = sectors - front < tailSectors ? sectors - front : tailSectors;
  areas[0] = {sectors - tail, tail};
  areas[1] = {0, front};
  UINT64 step = (sectors - front - tail) / (sampleCount + 1);
  UINT32 count = 2;
  for (UINT32 i = 1; i <= sampleCount && step >= 2 * sampleSectors; ++i) {
    areas[count++] = {(front + i * step) / sampleSectors * sampleSectors, sampleSectors};
  }
  return count;
}

} // namespace xyl::ddf
