#include "driver/restore/disk_finder.h"

#include "base/pool.h"
#include "base/sort.h"

static GROUPED_DISK grouped(DISK_GROUPING grouping, const RAID_PD_RECORD &disk, UINT32 number) {
  UINT64 place = UINT64{disk.EnclosureObjectID} << 16 | static_cast<UINT64>(disk.Slot) << 8 | disk.Port;
  UINT64 medium = (disk.Attributes & RAID_PD_ATTRIBUTE_SSD) != 0 ? 1 : 0;
  return {(grouping == GROUPED_BY_PLACE ? place << 1 : 0) | medium, disk.Protocol, number};
}

static bool isSameGroup(const GROUPED_DISK &a, const GROUPED_DISK &b) {
  return a.Group == b.Group && a.Protocol == b.Protocol;
}

static bool isBefore(const GROUPED_DISK &a, const GROUPED_DISK &b) {
  if (a.Group != b.Group) {
    return a.Group < b.Group;
  }
  return a.Protocol != b.Protocol ? a.Protocol < b.Protocol : a.Number < b.Number;
}

// Sets an inner node after what is below it.
static void setNode(const DISK_FINDER &finder, UINT32 *tree, UINT32 node) {
  UINTN below = 2 * UINTN{node};
  UINT32 left = tree[below];
  UINT32 right = tree[below + 1];
  bool isRight = left == 0 || (right != 0 && finder.Disks[right - 1].Size > finder.Disks[left - 1].Size);
  tree[node] = isRight ? right : left;
}

static void fillTrees(const DISK_FINDER &finder) {
  for (UINT32 place = 0; place < finder.Count; ++place) {
    UINT32 number = finder.Order[place].Number;
    bool encrypts = (finder.Disks[number].Attributes & RAID_PD_ATTRIBUTE_FDE) != 0;
    finder.Largest[DISK_ANY][finder.Leaves + place] = number + 1;
    finder.Largest[DISK_ENCRYPTING][finder.Leaves + place] = encrypts ? number + 1 : 0;
  }
  for (UINT32 *tree : finder.Largest) {
    for (UINT32 node = finder.Leaves - 1; node != 0; --node) {
      setNode(finder, tree, node);
    }
  }
}

void makeFinder(DISK_FINDER *finder, const RAID_PD_RECORD *disks, UINT32 count, DISK_GROUPING grouping) {
  *finder = {disks, count, grouping, nullptr, 0, {}};
  UINT32 leaves = 1;
  while (leaves < count) {
    leaves *= 2;
  }
  UINTN orderSize = UINTN{count} * sizeof(GROUPED_DISK);
  UINTN treeSize = 2 * UINTN{leaves} * sizeof(UINT32);
  UINT8 *block = static_cast<UINT8 *>(poolAllocateZero(orderSize + DISK_CHOICE_COUNT * treeSize));
  if (block == nullptr) {
    return;
  }
  finder->Order = reinterpret_cast<GROUPED_DISK *>(block);
  finder->Leaves = leaves;
  for (UINTN choice = 0; choice < DISK_CHOICE_COUNT; ++choice) {
    finder->Largest[choice] = reinterpret_cast<UINT32 *>(block + orderSize + choice * treeSize);
  }
  for (UINT32 i = 0; i < count; ++i) {
    finder->Order[i] = grouped(grouping, disks[i], i);
  }
  sortArray(finder->Order, count, isBefore);
  fillTrees(*finder);
}

void freeFinder(DISK_FINDER *finder) {
  poolFree(finder->Order);
  *finder = {};
}

UINT32 groupOf(const DISK_FINDER &finder, const RAID_PD_RECORD &saved) {
  if (finder.Order == nullptr) {
    return 0;
  }
  GROUPED_DISK first = grouped(finder.Grouping, saved, /* number= */ 0);
  return static_cast<UINT32>(
      countBefore(finder.Order, finder.Count, [=](const GROUPED_DISK &disk) { return isBefore(disk, first); }));
}

static UINT32 walkToLargeEnough(const DISK_FINDER &finder, const RAID_PD_RECORD &saved, DISK_CHOICE choice,
                                UINT32 place) {
  GROUPED_DISK wanted = grouped(finder.Grouping, saved, /* number= */ 0);
  for (; place < finder.Count; ++place) {
    const RAID_PD_RECORD &disk = finder.Disks[place];
    bool isChosen = choice == DISK_ANY || (disk.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0;
    if (isChosen && disk.Size >= saved.Size && isSameGroup(grouped(finder.Grouping, disk, place), wanted)) {
      break;
    }
  }
  return place;
}

UINT32 findLargeEnough(const DISK_FINDER &finder, const RAID_PD_RECORD &saved, DISK_CHOICE choice, UINT32 place) {
  if (finder.Order == nullptr) {
    return walkToLargeEnough(finder, saved, choice, place);
  }
  const UINT32 *tree = finder.Largest[choice];
  auto hasOne = [&](UINT32 node) { return tree[node] != 0 && finder.Disks[tree[node] - 1].Size >= saved.Size; };
  if (place >= finder.Count) {
    return finder.Count;
  }
  UINT32 node = finder.Leaves + place;
  while (!hasOne(node)) {
    // What stands on the right of the node begins at the sibling of the first left child above it.
    while ((node & 1) != 0) {
      node /= 2;
    }
    if (node == 0) {
      return finder.Count;
    }
    ++node;
  }
  while (node < finder.Leaves) {
    node *= 2;
    node += hasOne(node) ? 0 : 1;
  }
  const GROUPED_DISK &found = finder.Order[node - finder.Leaves];
  GROUPED_DISK wanted = grouped(finder.Grouping, saved, /* number= */ 0);
  return isSameGroup(found, wanted) ? node - finder.Leaves : finder.Count;
}

void removeDisk(DISK_FINDER *finder, UINT32 place) {
  if (finder->Order == nullptr) {
    return;
  }
  for (UINT32 *tree : finder->Largest) {
    UINT32 node = finder->Leaves + place;
    tree[node] = 0;
    for (node /= 2; node != 0; node /= 2) {
      setNode(*finder, tree, node);
    }
  }
}
