#include "base/sort.h"
#include "fitting/fitting.h"

namespace xyl::fitting {

namespace {

// Numbers by which disks are sorted and told apart, the most important first.
constexpr UINTN traitCount = 6;
constexpr UINTN kindTraits = 3; // disks are of one kind when the first of them agree
constexpr UINTN placeTrait = 4; // the first that is about the place

struct Traits {
  UINT64 values[traitCount];
};

} // namespace

static Traits traitsOf(const RAID_PD_RECORD &disk) {
  return {{UINT64{disk.Attributes} & RAID_PD_ATTRIBUTE_SSD, disk.Protocol,
           UINT64{disk.Attributes} & RAID_PD_ATTRIBUTE_FDE, disk.Size, disk.EnclosureObjectID, disk.Slot}};
}

// Below, at or above zero, by the traits from first to last.
static int compareTraits(const RAID_PD_RECORD &a, const RAID_PD_RECORD &b, UINTN first, UINTN last) {
  Traits left = traitsOf(a);
  Traits right = traitsOf(b);
  for (UINTN i = first; i <= last; ++i) {
    if (left.values[i] != right.values[i]) {
      return left.values[i] < right.values[i] ? -1 : 1;
    }
  }
  return 0;
}

static void sortFrom(const Disks &disks, UINT32 *places, UINT32 count, UINTN first) {
  sortArray(places, count, [&](UINT32 a, UINT32 b) {
    return compareTraits(disks.items[a], disks.items[b], first, traitCount - 1) < 0;
  });
}

void sortByKind(const Disks &disks, UINT32 *places, UINT32 count) {
  sortFrom(disks, places, count, 0);
}

void sortByPlace(const Disks &disks, UINT32 *places, UINT32 count) {
  sortFrom(disks, places, count, placeTrait);
}

UINT32 bestRow(const Disks &disks, const UINT32 *candidates, UINT32 candidateCount, UINT32 count) {
  UINT32 best = candidateCount;
  const RAID_PD_RECORD *bestFirst = nullptr;
  const RAID_PD_RECORD *bestLast = nullptr;
  for (UINT32 at = 0; count != 0 && count <= candidateCount && at <= candidateCount - count; ++at) {
    const RAID_PD_RECORD *first = &disks.items[candidates[at]];
    const RAID_PD_RECORD *last = &disks.items[candidates[at + count - 1]];
    if (compareTraits(*first, *last, 0, kindTraits - 1) != 0) {
      continue;
    }
    bool isBetter = bestLast == nullptr || last->Size < bestLast->Size ||
                    (last->Size == bestLast->Size && first->Size > bestFirst->Size);
    if (isBetter) {
      best = at;
      bestFirst = first;
      bestLast = last;
    }
  }
  return best;
}

} // namespace xyl::fitting
