// Two documents compared: what is gone, new, replaced or moved, and then field by field.
#include "client/compare/compare.h"

#include "client/compare/diff_fields.h"
#include "client/compare/diff_match.h"

namespace xyl::client {

// An object that only one side has.
static void addLonely(Diff *diff, DiffSide side, DifferenceObject kind, const DiffObject &object) {
  Difference difference = {};
  bool isOld = side == diffOld;
  difference.kind = isOld ? differenceRemoved : differenceAdded;
  difference.object = kind;
  (isOld ? difference.oldNode : difference.newNode) = object.node;
  putObjectName(&difference.name, kind, object.node);
  Text *description = isOld ? &difference.older : &difference.newer;
  putDescription(description, kind, object.node);
  if (kind == differenceDisk) {
    putText(description, ", ");
    putPlace(description, object);
  }
  addDifference(diff->out, difference);
}

// What partners have become as a whole: moved or replaced.
static Difference wholeDifference(DifferenceKind what, DifferenceObject kind, const DiffObject &oldObject) {
  Difference difference = {};
  difference.kind = what;
  difference.object = kind;
  difference.oldNode = oldObject.node;
  difference.newNode = oldObject.partner->node;
  putObjectName(&difference.name, kind, difference.newNode);
  return difference;
}

static void diffPartners(Diff *diff, DifferenceObject kind, const DiffObject &oldObject) {
  if (isReplaced(kind, oldObject)) {
    Difference difference = wholeDifference(differenceReplaced, kind, oldObject);
    putDescription(&difference.older, kind, oldObject.node);
    putDescription(&difference.newer, kind, oldObject.partner->node);
    addDifference(diff->out, difference);
  }
  if (kind == differenceDisk && isMoved(oldObject)) {
    Difference difference = wholeDifference(differenceMoved, kind, oldObject);
    putPlace(&difference.older, oldObject);
    putPlace(&difference.newer, *oldObject.partner);
    addDifference(diff->out, difference);
  }
  diffFields(diff, kind, oldObject);
}

static void diffObjects(Diff *diff, DifferenceObject kind) {
  const DiffObjects &oldObjects = diff->objects[diffOld][kind];
  const DiffObjects &newObjects = diff->objects[diffNew][kind];
  for (UINT32 i = 0; i < oldObjects.count; ++i) {
    if (oldObjects.items[i].partner == nullptr) {
      addLonely(diff, diffOld, kind, oldObjects.items[i]);
    } else {
      diffPartners(diff, kind, oldObjects.items[i]);
    }
  }
  for (UINT32 i = 0; i < newObjects.count; ++i) {
    if (newObjects.items[i].partner == nullptr) {
      addLonely(diff, diffNew, kind, newObjects.items[i]);
    }
  }
}

static EFI_STATUS diffAdapters(Diff *diff, const XML_NODE *oldAdapter, const XML_NODE *newAdapter) {
  EFI_STATUS status = collectObjects(diff, diffOld, oldAdapter);
  if (!EFI_ERROR(status)) {
    status = collectObjects(diff, diffNew, newAdapter);
  }
  if (!EFI_ERROR(status)) {
    status = matchObjects(diff);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  for (UINTN kind = 0; kind < differenceObjectCount; ++kind) {
    diffObjects(diff, static_cast<DifferenceObject>(kind));
  }
  return diff->out->status;
}

EFI_STATUS diffDocuments(const XML_NODE *oldRoot, const XML_NODE *newRoot, Differences *differences) {
  *differences = {};
  const XML_NODE *oldAdapter = adapterOf(oldRoot);
  const XML_NODE *newAdapter = adapterOf(newRoot);
  if (oldAdapter == nullptr || newAdapter == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  Diff diff = {};
  diff.inventory[diffOld] = childNamed(oldRoot, "Inventory");
  diff.inventory[diffNew] = childNamed(newRoot, "Inventory");
  diff.out = differences;
  EFI_STATUS status = diffAdapters(&diff, oldAdapter, newAdapter);
  freeObjects(&diff);
  return status;
}

} // namespace xyl::client
