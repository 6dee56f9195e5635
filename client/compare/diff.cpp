// Two documents compared: what is gone, new, replaced or moved, and then field by field.
#include "client/compare/compare.h"

#include "client/compare/diff_fields.h"
#include "client/compare/diff_match.h"

// An object that only one side has.
static void addLonely(DIFF *diff, DIFF_SIDE side, DIFFERENCE_OBJECT kind, const DIFF_OBJECT &object) {
  DIFFERENCE difference = {};
  bool isOld = side == DIFF_OLD;
  difference.Kind = isOld ? DIFFERENCE_REMOVED : DIFFERENCE_ADDED;
  difference.Object = kind;
  (isOld ? difference.OldNode : difference.NewNode) = object.Node;
  putObjectName(&difference.Name, kind, object.Node);
  TEXT *description = isOld ? &difference.Old : &difference.New;
  putDescription(description, kind, object.Node);
  if (kind == DIFFERENCE_DISK) {
    putText(description, ", ");
    putPlace(description, object);
  }
  addDifference(diff->Out, difference);
}

// What partners have become as a whole: moved or replaced.
static DIFFERENCE wholeDifference(DIFFERENCE_KIND what, DIFFERENCE_OBJECT kind, const DIFF_OBJECT &oldObject) {
  DIFFERENCE difference = {};
  difference.Kind = what;
  difference.Object = kind;
  difference.OldNode = oldObject.Node;
  difference.NewNode = oldObject.Partner->Node;
  putObjectName(&difference.Name, kind, difference.NewNode);
  return difference;
}

static void diffPartners(DIFF *diff, DIFFERENCE_OBJECT kind, const DIFF_OBJECT &oldObject) {
  if (isReplaced(kind, oldObject)) {
    DIFFERENCE difference = wholeDifference(DIFFERENCE_REPLACED, kind, oldObject);
    putDescription(&difference.Old, kind, oldObject.Node);
    putDescription(&difference.New, kind, oldObject.Partner->Node);
    addDifference(diff->Out, difference);
  }
  if (kind == DIFFERENCE_DISK && isMoved(oldObject)) {
    DIFFERENCE difference = wholeDifference(DIFFERENCE_MOVED, kind, oldObject);
    putPlace(&difference.Old, oldObject);
    putPlace(&difference.New, *oldObject.Partner);
    addDifference(diff->Out, difference);
  }
  diffFields(diff, kind, oldObject);
}

static void diffObjects(DIFF *diff, DIFFERENCE_OBJECT kind) {
  const DIFF_OBJECTS &oldObjects = diff->Objects[DIFF_OLD][kind];
  const DIFF_OBJECTS &newObjects = diff->Objects[DIFF_NEW][kind];
  for (UINT32 i = 0; i < oldObjects.Count; ++i) {
    if (oldObjects.Items[i].Partner == nullptr) {
      addLonely(diff, DIFF_OLD, kind, oldObjects.Items[i]);
    } else {
      diffPartners(diff, kind, oldObjects.Items[i]);
    }
  }
  for (UINT32 i = 0; i < newObjects.Count; ++i) {
    if (newObjects.Items[i].Partner == nullptr) {
      addLonely(diff, DIFF_NEW, kind, newObjects.Items[i]);
    }
  }
}

static EFI_STATUS diffAdapters(DIFF *diff, const XML_NODE *oldAdapter, const XML_NODE *newAdapter) {
  EFI_STATUS status = collectObjects(diff, DIFF_OLD, oldAdapter);
  if (!EFI_ERROR(status)) {
    status = collectObjects(diff, DIFF_NEW, newAdapter);
  }
  if (!EFI_ERROR(status)) {
    status = matchObjects(diff);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  for (UINTN kind = 0; kind < DIFFERENCE_OBJECT_COUNT; ++kind) {
    diffObjects(diff, static_cast<DIFFERENCE_OBJECT>(kind));
  }
  return diff->Out->Status;
}

EFI_STATUS diffDocuments(const XML_NODE *oldRoot, const XML_NODE *newRoot, DIFFERENCES *differences) {
  *differences = {};
  const XML_NODE *oldAdapter = adapterOf(oldRoot);
  const XML_NODE *newAdapter = adapterOf(newRoot);
  if (oldAdapter == nullptr || newAdapter == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  DIFF diff = {};
  diff.Inventory[DIFF_OLD] = childNamed(oldRoot, "Inventory");
  diff.Inventory[DIFF_NEW] = childNamed(newRoot, "Inventory");
  diff.Out = differences;
  EFI_STATUS status = diffAdapters(&diff, oldAdapter, newAdapter);
  freeObjects(&diff);
  return status;
}
