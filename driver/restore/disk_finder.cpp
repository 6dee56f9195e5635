#include "driver/restore/disk_finder.h"

#include "base/pool.h"
#include "base/sort.h"

namespace xyl::driver {

static GroupedDisk grouped(DiskGrouping grouping, const RAID_PD_RECORD &disk, UINT32 number) {
  UINT64 place = UINT64{disk.EnclosureObjectID} << 16 | static_cast<UINT64>(disk.Slot) << 8 | disk.Port;
  UINT64 medium = (disk.Attributes & RAID_PD_ATTRIBUTE_SSD) != 0 ? 1 : 0;
  return {(grouping == DiskGrouping::byPlace ? place << 1 : 0) | medium, disk.Protocol, number};
}

static bool isSameGroup(const GroupedDisk &a, const GroupedDisk &b) {
  return a.group == b.group && a.protocol == b.protocol;
}

static bool isBefore(const GroupedDisk &a, const GroupedDisk &b) {
  if (a.group != b.group) {
    return a.group < b.group;
  }
  return a.protocol != b.protocol ? a.protocol < b.protocol : a.number < b.number;
}

// Sets an inner node after what is below it.
static void setNode(const DiskFinder &finder, UINT32 *tree, UINT32 node) {
  UINTN below = 2 * UINTN{node};
  UINT32 left = tree[below];
  UINT32 right = tree[below + 1];
  bool isRight = left == 0 || (right != 0 && finder.disks[right - 1].Size > finder.disks[left - 1].Size);
  tree[node] = isRight ? right : left;
}

static void fillTrees(const DiskFinder &finder) {
  for (UINT32 place = 0; place < finder.count; ++place) {
    UINT32 number = finder.order[place].number;
    bool encrypts = (finder.disks[number].Attributes & RAID_PD_ATTRIBUTE_FDE) != 0;
    finder.largest[diskAny][finder.leaves + place] = number + 1;
    finder.largest[diskEncrypting][finder.leaves + place] = encrypts ? number + 1 : 0;
  }
  for (UINT32 *tree : finder.largest) {
    for (UINT32 node = finder.leaves - 1; node != 0; --node) {
      setNode(finder, tree, node);
    }
  }
}

void makeFinder(DiskFinder *finder, const RAID_PD_RECORD *disks, UINT32 count, DiskGrouping grouping) {
  *finder = {disks, count, grouping, nullptr, 0, {}};
  UINT32 leaves = 1;
  while (leaves < count) {
    leaves *= 2;
  }
  UINTN orderSize = UINTN{count} * sizeof(GroupedDisk);
  UINTN treeSize = 2 * UINTN{leaves} * sizeof(UINT32);
  UINT8 *block = static_cast<UINT8 *>(poolAllocateZero(orderSize + diskChoiceCount * treeSize));
  if (block == nullptr) {
    return;
  }
  finder->order = reinterpret_cast<GroupedDisk *>(block);
  finder->leaves = leaves;
  for (UINTN choice = 0; choice < diskChoiceCount; ++choice) {
    finder->largest[choice] = reinterpret_cast<UINT32 *>(block + orderSize + choice * treeSize);
  }
  for (UINT32 i = 0; i < count; ++i) {
    finder->order[i] = grouped(grouping, disks[i], i);
  }
  sortArray(finder->order, count, isBefore);
  fillTrees(*finder);
}

void freeFinder(DiskFinder *finder) {
  poolFree(finder->order);
  *finder = {};
}

UINT32 groupOf(const DiskFinder &finder, const RAID_PD_RECORD &saved) {
  if (finder.order == nullptr) {
    return 0;
  }
  GroupedDisk first = grouped(finder.grouping, saved, /* number= */ 0);
  return static_cast<UINT32>(
      countBefore(finder.order, finder.count, [=](const GroupedDisk &disk) { return isBefore(disk, first); }));
}

static UINT32 walkToLargeEnough(const DiskFinder &finder, const RAID_PD_RECORD &saved, DiskChoice choice,
                                UINT32 place) {
  GroupedDisk wanted = grouped(finder.grouping, saved, /* number= */ 0);
  for (; place < finder.count; ++place) {
    const RAID_PD_RECORD &disk = finder.disks[place];
    bool isChosen = choice == diskAny || (disk.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0;
    if (isChosen && disk.Size >= saved.Size && isSameGroup(grouped(finder.grouping, disk, place), wanted)) {
      break;
    }
  }
  return place;
}

UINT32 findLargeEnough(const DiskFinder &finder, const RAID_PD_RECORD &saved, DiskChoice choice, UINT32 place) {
  if (finder.order == nullptr) {
    return walkToLargeEnough(finder, saved, choice, place);
  }
  const UINT32 *tree = finder.largest[choice];
  auto hasOne = [&](UINT32 node) { return tree[node] != 0 && finder.disks[tree[node] - 1].Size >= saved.Size; };
  if (place >= finder.count) {
    return finder.count;
  }
  UINT32 node = finder.leaves + place;
  while (!hasOne(node)) {
    // What stands on the right of the node begins at the sibling of the first left child above it.
    while ((node & 1) != 0) {
      node /= 2;
    }
    if (node == 0) {
      return finder.count;
    }
    ++node;
  }
  while (node < finder.leaves) {
    node *= 2;
    node += hasOne(node) ? 0 : 1;
  }
  const GroupedDisk &found = finder.order[node - finder.leaves];
  GroupedDisk wanted = grouped(finder.grouping, saved, /* number= */ 0);
  return isSameGroup(found, wanted) ? node - finder.leaves : finder.count;
}

void removeDisk(DiskFinder *finder, UINT32 place) {
  if (finder->order == nullptr) {
    return;
  }
  for (UINT32 *tree : finder->largest) {
    UINT32 node = finder->leaves + place;
    tree[node] = 0;
    for (node /= 2; node != 0; node /= 2) {
      setNode(*finder, tree, node);
    }
  }
}

} // namespace xyl::driver
