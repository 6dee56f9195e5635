// The objects of two documents, and how they are called.
#include "client/compare/diff_objects.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/output/output.h"

namespace xyl::client {

// Where the objects of a kind are found.
struct ObjectElement {
  const CHAR8 *element;
  bool inEnclosures; // also
};

// Indexed by DifferenceObject; the adapter itself comes from outside.
static constexpr ObjectElement g_elements[differenceObjectCount] = {
    {nullptr, false}, {"Enclosure", false}, {"PD", true}, {"VD", false}};

// Appends the holder's objects; counts only while Items is null.
static void appendObjects(DiffObjects *objects, const DiffObject *holder, const ObjectElement &element) {
  for (const XML_NODE *node = childNamed(holder->node, element.element); node != nullptr; node = nextSame(node)) {
    if (objects->items != nullptr) {
      objects->items[objects->count] = {node, holder, nullptr};
    }
    ++objects->count;
  }
}

// Of a document whose objects of the kinds before this one are there.
static void appendAll(DiffObjects *document, UINTN kind) {
  const ObjectElement &element = g_elements[kind];
  const DiffObjects &enclosures = document[differenceEnclosure];
  for (UINT32 i = 0; element.inEnclosures && i < enclosures.count; ++i) {
    appendObjects(&document[kind], &enclosures.items[i], element);
  }
  appendObjects(&document[kind], document[differenceAdapter].items, element);
}

EFI_STATUS collectObjects(Diff *diff, DiffSide side, const XML_NODE *adapter) {
  for (UINTN kind = 0; kind < differenceObjectCount; ++kind) {
    DiffObjects *objects = &diff->objects[side][kind];
    UINT32 count = 1;
    if (kind != differenceAdapter) {
      appendAll(diff->objects[side], kind);
      count = objects->count;
    }
    objects->items = poolNew<DiffObject>(count + 1);
    objects->count = 0;
    if (objects->items == nullptr) {
      return EFI_OUT_OF_RESOURCES;
    }
    if (kind == differenceAdapter) {
      objects->items[objects->count++] = {adapter, nullptr, nullptr};
    } else {
      appendAll(diff->objects[side], kind);
    }
    for (UINT32 i = 0; i < objects->count; ++i) {
      addKey(&objects->ids, &objects->items[i], childText(objects->items[i].node, "ObjectID"));
    }
    sortTextKeys(&objects->ids);
    if (objects->ids.texts.failed) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return EFI_SUCCESS;
}

void freeObjects(Diff *diff) {
  for (auto &side : diff->objects) {
    for (DiffObjects &objects : side) {
      poolRelease(objects.items);
      freeKeys(&objects.ids);
    }
  }
}

const DiffObject *objectWithId(const Diff *diff, DiffSide side, DifferenceObject kind, const CHAR8 *id) {
  return static_cast<const DiffObject *>(thingNamed(diff->objects[side][kind].ids, id));
}

// --- Partners ---

bool isDistinct(const CHAR8 *text) {
  while (*text == '0') {
    ++text;
  }
  return *text != 0;
}

bool equalChild(const XML_NODE *a, const XML_NODE *b, const CHAR8 *name) {
  return textEqual(childText(a, name), childText(b, name));
}

bool sameChild(const XML_NODE *a, const XML_NODE *b, const CHAR8 *name) {
  return isDistinct(childText(a, name)) && equalChild(a, b, name);
}

bool isInEnclosure(const DiffObject &disk) {
  return textEqual(disk.holder->node->Name, "Enclosure");
}

bool isReplaced(DifferenceObject kind, const DiffObject &object) {
  const XML_NODE *partner = object.partner->node;
  switch (kind) {
  case differenceAdapter:
    return !equalChild(object.node, partner, "WWN");
  case differenceDisk:
    return !sameChild(object.node, partner, "WWN") && !sameChild(object.node, partner, "SerialNumber") &&
           (!equalChild(object.node, partner, "WWN") || !equalChild(object.node, partner, "SerialNumber"));
  default:
    return false;
  }
}

// Whether a disk of each side stand in the same enclosure. Enclosures have their partners before disks do.
static bool sameHolder(const DiffObject &a, const DiffObject &b) {
  return isInEnclosure(a) && isInEnclosure(b) ? a.holder->partner == b.holder
                                              : equalChild(a.node, b.node, "EnclosureObjectID");
}

bool isMoved(const DiffObject &oldDisk) {
  const DiffObject &newDisk = *oldDisk.partner;
  return !equalChild(oldDisk.node, newDisk.node, "Slot") || !equalChild(oldDisk.node, newDisk.node, "Port") ||
         !sameHolder(oldDisk, newDisk);
}

// --- Words ---

void putObjectName(Text *text, DifferenceObject kind, const XML_NODE *node) {
  putText(text, differenceObjectName(kind));
  if (kind == differenceAdapter) {
    return;
  }
  putText(text, " ");
  putText(text, childText(node, "ObjectID"));
  if (kind == differenceVirtualDisk) {
    putText(text, " \"");
    putText(text, childText(node, "Name"));
    putText(text, "\"");
  }
}

void putPlace(Text *text, const DiffObject &disk) {
  if (isInEnclosure(disk)) {
    putText(text, "enclosure ");
    putText(text, childText(disk.holder->node, "ObjectID"));
  } else {
    putText(text, "direct, port ");
    putText(text, childText(disk.node, "Port"));
  }
  putText(text, ", slot ");
  putText(text, childText(disk.node, "Slot"));
}

// Indexed by DifferenceObject: the elements that describe an object.
static constexpr const CHAR8 *g_described[differenceObjectCount][5] = {
    {"Name", "WWN"},
    {"Name", "ServiceTag"},
    {"ManufactureName", "ModelName", "SerialNumber", "Size", "State"},
    {"RAIDLevel", "Size", "State"}};

void putDescription(Text *text, DifferenceObject kind, const XML_NODE *node) {
  const CHAR8 *separator = "";
  for (const CHAR8 *element : g_described[kind]) {
    const CHAR8 *value = element != nullptr ? childText(node, element) : "";
    if (*value == 0) {
      continue;
    }
    CHAR8 size[sizeTextCapacity];
    if (textEqual(element, "Size")) {
      formatSize(size, parseDecimal(value));
      value = size;
    }
    putText(text, separator);
    putText(text, value);
    separator = textEqual(element, "ManufactureName") ? " " : ", ";
  }
}

} // namespace xyl::client
