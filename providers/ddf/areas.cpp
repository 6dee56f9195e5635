// Where a disk is searched.

#include "providers/ddf/ddf.h"

constexpr UINT64 MIB = 2048; // sectors
constexpr UINT64 FRONT = MIB, TAIL = 34 * MIB;
constexpr UINT64 SAMPLE = 8;

UINT32 ddfAreas(UINT64 sectors, DDF_AREA (&areas)[DDF_AREAS]) {
  UINT64 front = sectors < FRONT ? sectors : FRONT;
  UINT64 tail = sectors - front < TAIL ? sectors - front : TAIL;
  areas[0] = {sectors - tail, tail};
  areas[1] = {0, front};
  UINT64 step = (sectors - front - tail) / (DDF_SAMPLES + 1);
  UINT32 count = 2;
  for (UINT32 i = 1; i <= DDF_SAMPLES && step >= 2 * SAMPLE; i++) {
    areas[count++] = {(front + i * step) / SAMPLE * SAMPLE, SAMPLE};
  }
  return count;
}
