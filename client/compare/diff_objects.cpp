// The objects of two documents, and how they are called.
#include "client/compare/diff_objects.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/output/output.h"

// Where the objects of a kind are found.
struct OBJECT_ELEMENT {
  const CHAR8 *Element;
  bool InEnclosures; // also
};

// Indexed by DIFFERENCE_OBJECT; the adapter itself comes from outside.
static constexpr OBJECT_ELEMENT g_elements[DIFFERENCE_OBJECT_COUNT] = {
    {nullptr, false}, {"Enclosure", false}, {"PD", true}, {"VD", false}};

// Appends the holder's objects; counts only while Items is null.
static void appendObjects(DIFF_OBJECTS *objects, const DIFF_OBJECT *holder, const OBJECT_ELEMENT &element) {
  for (const XML_NODE *node = childNamed(holder->Node, element.Element); node != nullptr; node = nextSame(node)) {
    if (objects->Items != nullptr) {
      objects->Items[objects->Count] = {node, holder, nullptr};
    }
    ++objects->Count;
  }
}

// Of a document whose objects of the kinds before this one are there.
static void appendAll(DIFF_OBJECTS *document, UINTN kind) {
  const OBJECT_ELEMENT &element = g_elements[kind];
  const DIFF_OBJECTS &enclosures = document[DIFFERENCE_ENCLOSURE];
  for (UINT32 i = 0; element.InEnclosures && i < enclosures.Count; ++i) {
    appendObjects(&document[kind], &enclosures.Items[i], element);
  }
  appendObjects(&document[kind], document[DIFFERENCE_ADAPTER].Items, element);
}

EFI_STATUS collectObjects(DIFF *diff, DIFF_SIDE side, const XML_NODE *adapter) {
  for (UINTN kind = 0; kind < DIFFERENCE_OBJECT_COUNT; ++kind) {
    DIFF_OBJECTS *objects = &diff->Objects[side][kind];
    UINT32 count = 1;
    if (kind != DIFFERENCE_ADAPTER) {
      appendAll(diff->Objects[side], kind);
      count = objects->Count;
    }
    objects->Items = poolNew<DIFF_OBJECT>(count + 1);
    objects->Count = 0;
    if (objects->Items == nullptr) {
      return EFI_OUT_OF_RESOURCES;
    }
    if (kind == DIFFERENCE_ADAPTER) {
      objects->Items[objects->Count++] = {adapter, nullptr, nullptr};
    } else {
      appendAll(diff->Objects[side], kind);
    }
    for (UINT32 i = 0; i < objects->Count; ++i) {
      addKey(&objects->Ids, &objects->Items[i], childText(objects->Items[i].Node, "ObjectID"));
    }
    sortTextKeys(&objects->Ids);
    if (objects->Ids.Texts.Failed) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return EFI_SUCCESS;
}

void freeObjects(DIFF *diff) {
  for (auto &side : diff->Objects) {
    for (DIFF_OBJECTS &objects : side) {
      poolRelease(objects.Items);
      freeKeys(&objects.Ids);
    }
  }
}

const DIFF_OBJECT *objectWithId(const DIFF *diff, DIFF_SIDE side, DIFFERENCE_OBJECT kind, const CHAR8 *id) {
  return static_cast<const DIFF_OBJECT *>(thingNamed(diff->Objects[side][kind].Ids, id));
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

bool isInEnclosure(const DIFF_OBJECT &disk) {
  return textEqual(disk.Holder->Node->Name, "Enclosure");
}

bool isReplaced(DIFFERENCE_OBJECT kind, const DIFF_OBJECT &object) {
  const XML_NODE *partner = object.Partner->Node;
  switch (kind) {
  case DIFFERENCE_ADAPTER:
    return !equalChild(object.Node, partner, "WWN");
  case DIFFERENCE_DISK:
    return !sameChild(object.Node, partner, "WWN") && !sameChild(object.Node, partner, "SerialNumber") &&
           (!equalChild(object.Node, partner, "WWN") || !equalChild(object.Node, partner, "SerialNumber"));
  default:
    return false;
  }
}

// Whether a disk of each side stand in the same enclosure. Enclosures have their partners before disks do.
static bool sameHolder(const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  return isInEnclosure(a) && isInEnclosure(b) ? a.Holder->Partner == b.Holder
                                              : equalChild(a.Node, b.Node, "EnclosureObjectID");
}

bool isMoved(const DIFF_OBJECT &oldDisk) {
  const DIFF_OBJECT &newDisk = *oldDisk.Partner;
  return !equalChild(oldDisk.Node, newDisk.Node, "Slot") || !equalChild(oldDisk.Node, newDisk.Node, "Port") ||
         !sameHolder(oldDisk, newDisk);
}

// --- Words ---

void putObjectName(TEXT *text, DIFFERENCE_OBJECT kind, const XML_NODE *node) {
  putText(text, differenceObjectName(kind));
  if (kind == DIFFERENCE_ADAPTER) {
    return;
  }
  putText(text, " ");
  putText(text, childText(node, "ObjectID"));
  if (kind == DIFFERENCE_VIRTUAL_DISK) {
    putText(text, " \"");
    putText(text, childText(node, "Name"));
    putText(text, "\"");
  }
}

void putPlace(TEXT *text, const DIFF_OBJECT &disk) {
  if (isInEnclosure(disk)) {
    putText(text, "enclosure ");
    putText(text, childText(disk.Holder->Node, "ObjectID"));
  } else {
    putText(text, "direct, port ");
    putText(text, childText(disk.Node, "Port"));
  }
  putText(text, ", slot ");
  putText(text, childText(disk.Node, "Slot"));
}

// Indexed by DIFFERENCE_OBJECT: the elements that describe an object.
static constexpr const CHAR8 *g_described[DIFFERENCE_OBJECT_COUNT][5] = {
    {"Name", "WWN"},
    {"Name", "ServiceTag"},
    {"ManufactureName", "ModelName", "SerialNumber", "Size", "State"},
    {"RAIDLevel", "Size", "State"}};

void putDescription(TEXT *text, DIFFERENCE_OBJECT kind, const XML_NODE *node) {
  const CHAR8 *separator = "";
  for (const CHAR8 *element : g_described[kind]) {
    const CHAR8 *value = element != nullptr ? childText(node, element) : "";
    if (*value == 0) {
      continue;
    }
    CHAR8 size[SIZE_TEXT_CAPACITY];
    if (textEqual(element, "Size")) {
      formatSize(size, parseDecimal(value));
      value = size;
    }
    putText(text, separator);
    putText(text, value);
    separator = textEqual(element, "ManufactureName") ? " " : ", ";
  }
}
