#include "client/compare/diff_members.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"

namespace xyl::client {

static UINTN countIds(const XML_NODE *parent, const CHAR8 *element) {
  UINTN count = 0;
  for (const XML_NODE *id = childNamed(parent, element); id != nullptr; id = nextSame(id)) {
    ++count;
  }
  return count;
}

// How many neighbours of a virtual disk's members fail together; of a spare's virtual disks all are alike.
static UINTN groupSize(DifferenceObject kind, const XML_NODE *node, UINTN count) {
  const CHAR8 *level = childText(node, "RAIDLevel");
  UINTN size = kind != differenceVirtualDisk ? count
               : textEqual(level, "RAID 10") ? 2
                                             : static_cast<UINTN>(parseDecimal(childText(node, "PDsPerSpan")));
  return size != 0 && count % size == 0 ? size : count;
}

// Equal for ids of both sides that name the same object: its number in the new document, or what nobody else has.
static UINT64 identityOf(const Diff *diff, DiffSide side, DifferenceObject named, const CHAR8 *id) {
  const DiffObject *object = objectWithId(diff, side, named, id);
  if (object == nullptr) {
    return 4 * parseDecimal(id);
  }
  const DiffObject *known = side == diffNew ? object : object->partner;
  return known != nullptr ? 4 * static_cast<UINT64>(known - diff->objects[diffNew][named].items) + 1
                          : 4 * static_cast<UINT64>(object - diff->objects[diffOld][named].items) + 2;
}

// One side's ids: sorted in each group, and the groups by their first.
static void listIds(const Diff *diff, DiffSide side, DifferenceObject named, const XML_NODE *first, UINT64 *ids) {
  for (const XML_NODE *id = first; id != nullptr; id = nextSame(id)) {
    *ids++ = identityOf(diff, side, named, nodeText(id));
  }
}

static void sortGroups(const UINT64 *ids, UINTN count, UINTN size, UINTN *groups) {
  for (UINTN i = 0; i < count / size; ++i) {
    groups[i] = i * size;
  }
  sortArray(groups, count / size, [&](UINTN a, UINTN b) { return ids[a] < ids[b]; });
}

static bool sameGroups(UINT64 *const (&ids)[diffSideCount], UINTN *const (&groups)[diffSideCount], UINTN count,
                       UINTN size) {
  for (UINTN side = 0; side < diffSideCount; ++side) {
    for (UINTN start = 0; start < count; start += size) {
      sortKeys(ids[side] + start, size);
    }
    sortGroups(ids[side], count, size, groups[side]);
  }
  for (UINTN i = 0; i < count; ++i) {
    if (ids[diffOld][groups[diffOld][i / size] + i % size] != ids[diffNew][groups[diffNew][i / size] + i % size]) {
      return false;
    }
  }
  return true;
}

bool sameIds(const Diff *diff, DifferenceObject kind, const DiffObject &oldObject, const CHAR8 *element) {
  const XML_NODE *nodes[diffSideCount] = {oldObject.node, oldObject.partner->node};
  DifferenceObject named = kind == differenceVirtualDisk ? differenceDisk : differenceVirtualDisk;
  UINTN count = countIds(nodes[diffOld], element);
  UINTN size = groupSize(kind, nodes[diffOld], count);
  if (count == 0 || countIds(nodes[diffNew], element) != count || groupSize(kind, nodes[diffNew], count) != size) {
    return count == 0 && countIds(nodes[diffNew], element) == 0;
  }
  UINT64 *block = poolNew<UINT64>(2 * count);
  UINTN *groups = poolNew<UINTN>(2 * count);
  bool isSame = false;
  if (block == nullptr || groups == nullptr) {
    diff->out->status = EFI_OUT_OF_RESOURCES;
  } else {
    for (UINTN side = 0; side < diffSideCount; ++side) {
      listIds(diff, static_cast<DiffSide>(side), named, childNamed(nodes[side], element), block + side * count);
    }
    isSame = sameGroups({block, block + count}, {groups, groups + count}, count, size);
  }
  poolFree(groups);
  poolFree(block);
  return isSame;
}

} // namespace xyl::client
