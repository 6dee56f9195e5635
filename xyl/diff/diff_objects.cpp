// The objects of two documents: which is which, and how they are called.
#include "xyl/diff/diff_objects.h"

#include "base/pool.h"
#include "base/text.h"
#include "xyl/output/output.h"

// Where the objects of a kind are found.
struct OBJECT_ELEMENT {
  const CHAR8 *Element;
  bool InEnclosures; // also
};

// Indexed by DIFFERENCE_OBJECT; the adapter itself comes from outside.
static constexpr OBJECT_ELEMENT g_elements[DIFFERENCE_OBJECT_COUNT] = {
    {nullptr, false}, {"Enclosure", false}, {"PD", true}, {"VD", false}};

// Appends the holder's objects; counts only while Items is null.
static void appendObjects(DIFF_OBJECTS *objects, const XML_NODE *holder, const OBJECT_ELEMENT &element) {
  for (const XML_NODE *node = childNamed(holder, element.Element); node != nullptr; node = nextSame(node)) {
    if (objects->Items != nullptr) {
      objects->Items[objects->Count] = {node, holder, nullptr};
    }
    ++objects->Count;
  }
}

static void appendAll(DIFF_OBJECTS *objects, const XML_NODE *adapter, const OBJECT_ELEMENT &element) {
  const XML_NODE *enclosure = element.InEnclosures ? childNamed(adapter, "Enclosure") : nullptr;
  for (; enclosure != nullptr; enclosure = nextSame(enclosure)) {
    appendObjects(objects, enclosure, element);
  }
  appendObjects(objects, adapter, element);
}

EFI_STATUS collectObjects(DIFF *diff, DIFF_SIDE side, const XML_NODE *adapter) {
  for (UINTN kind = 0; kind < DIFFERENCE_OBJECT_COUNT; ++kind) {
    DIFF_OBJECTS *objects = &diff->Objects[side][kind];
    UINT32 count = 1;
    if (kind != DIFFERENCE_ADAPTER) {
      appendAll(objects, adapter, g_elements[kind]);
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
      appendAll(objects, adapter, g_elements[kind]);
    }
  }
  return EFI_SUCCESS;
}

void freeObjects(DIFF *diff) {
  for (auto &side : diff->Objects) {
    for (DIFF_OBJECTS &objects : side) {
      poolRelease(objects.Items);
    }
  }
}

const DIFF_OBJECT *objectWithId(const DIFF *diff, DIFF_SIDE side, DIFFERENCE_OBJECT kind, const CHAR8 *id) {
  const DIFF_OBJECTS &objects = diff->Objects[side][kind];
  for (UINT32 i = 0; i < objects.Count; ++i) {
    if (textEqual(childText(objects.Items[i].Node, "ObjectID"), id)) {
      return &objects.Items[i];
    }
  }
  return nullptr;
}

// --- Partners ---

// Whether both have the child with the same text, which is not empty and no number 0.
static bool sameChild(const XML_NODE *a, const XML_NODE *b, const CHAR8 *name) {
  const CHAR8 *text = childText(a, name);
  const CHAR8 *digit = text;
  while (*digit == '0') {
    ++digit;
  }
  return *digit != 0 && textEqual(text, childText(b, name));
}

static bool equalChild(const XML_NODE *a, const XML_NODE *b, const CHAR8 *name) {
  return textEqual(childText(a, name), childText(b, name));
}

typedef bool (*IS_SAME)(const DIFF *diff, const DIFF_OBJECT &a, const DIFF_OBJECT &b);

static bool isOnly(const DIFF *, const DIFF_OBJECT &, const DIFF_OBJECT &) {
  return true;
}

static bool hasServiceTag(const DIFF *, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  return sameChild(a.Node, b.Node, "ServiceTag");
}

static bool hasId(const DIFF *, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  return equalChild(a.Node, b.Node, "ObjectID");
}

static bool hasWwn(const DIFF *, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  return sameChild(a.Node, b.Node, "WWN");
}

static bool hasSerialNumber(const DIFF *, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  return sameChild(a.Node, b.Node, "SerialNumber");
}

static bool isInEnclosure(const DIFF_OBJECT &disk) {
  return textEqual(disk.Holder->Name, "Enclosure");
}

// Whether a disk of each side stand in the same enclosure. Enclosures have their partners before disks do.
static bool sameHolder(const DIFF *diff, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  if (!isInEnclosure(a) || !isInEnclosure(b)) {
    return equalChild(a.Node, b.Node, "EnclosureObjectID");
  }
  const DIFF_OBJECT *holder = objectWithId(diff, DIFF_OLD, DIFFERENCE_ENCLOSURE, childText(a.Holder, "ObjectID"));
  return holder != nullptr && holder->Partner != nullptr && holder->Partner->Node == b.Holder;
}

static bool hasPlace(const DIFF *diff, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  return equalChild(a.Node, b.Node, "Slot") && equalChild(a.Node, b.Node, "Port") && sameHolder(diff, a, b);
}

static bool hasName(const DIFF *, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  return sameChild(a.Node, b.Node, "Name");
}

static bool hasNameAndFqdd(const DIFF *, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  return equalChild(a.Node, b.Node, "Name") && sameChild(a.Node, b.Node, "FQDD");
}

// Whether a member's partner is the other one.
static bool isSameMember(const DIFF *diff, const CHAR8 *oldId, const CHAR8 *newId) {
  const DIFF_OBJECT *disk = objectWithId(diff, DIFF_OLD, DIFFERENCE_DISK, oldId);
  return disk != nullptr && disk->Partner != nullptr && textEqual(childText(disk->Partner->Node, "ObjectID"), newId);
}

static bool hasMembers(const DIFF *diff, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  const XML_NODE *mine = childNamed(a.Node, "PD");
  const XML_NODE *other = childNamed(b.Node, "PD");
  if (mine == nullptr) {
    return false;
  }
  while (mine != nullptr && other != nullptr && isSameMember(diff, nodeText(mine), nodeText(other))) {
    mine = nextSame(mine);
    other = nextSame(other);
  }
  return mine == nullptr && other == nullptr && equalChild(a.Node, b.Node, "StartingLba");
}

static bool hasFqddAndSomeMember(const DIFF *diff, const DIFF_OBJECT &a, const DIFF_OBJECT &b) {
  if (!sameChild(a.Node, b.Node, "FQDD")) {
    return false;
  }
  for (const XML_NODE *mine = childNamed(a.Node, "PD"); mine != nullptr; mine = nextSame(mine)) {
    for (const XML_NODE *other = childNamed(b.Node, "PD"); other != nullptr; other = nextSame(other)) {
      if (isSameMember(diff, nodeText(mine), nodeText(other))) {
        return true;
      }
    }
  }
  return false;
}

// The ways to find a partner, the surest first; each looks only at what is still alone.
static constexpr struct {
  DIFFERENCE_OBJECT Kind;
  IS_SAME IsSame;
} g_ways[] = {
    {DIFFERENCE_ADAPTER, isOnly},        {DIFFERENCE_ENCLOSURE, hasServiceTag},
    {DIFFERENCE_ENCLOSURE, hasId},       {DIFFERENCE_DISK, hasWwn},
    {DIFFERENCE_DISK, hasSerialNumber},  {DIFFERENCE_DISK, hasPlace},
    {DIFFERENCE_VOLUME, hasNameAndFqdd}, {DIFFERENCE_VOLUME, hasName},
    {DIFFERENCE_VOLUME, hasMembers},     {DIFFERENCE_VOLUME, hasFqddAndSomeMember},
};

static DIFF_OBJECT *findPartner(const DIFF *diff, const DIFF_OBJECT &object, DIFFERENCE_OBJECT kind, IS_SAME isSame) {
  const DIFF_OBJECTS &others = diff->Objects[DIFF_NEW][kind];
  for (UINT32 i = 0; i < others.Count; ++i) {
    if (others.Items[i].Partner == nullptr && isSame(diff, object, others.Items[i])) {
      return &others.Items[i];
    }
  }
  return nullptr;
}

void matchObjects(DIFF *diff) {
  for (const auto &way : g_ways) {
    DIFF_OBJECTS &objects = diff->Objects[DIFF_OLD][way.Kind];
    for (UINT32 i = 0; i < objects.Count; ++i) {
      DIFF_OBJECT &object = objects.Items[i];
      DIFF_OBJECT *partner = object.Partner == nullptr ? findPartner(diff, object, way.Kind, way.IsSame) : nullptr;
      if (partner != nullptr) {
        object.Partner = partner;
        partner->Partner = &object;
      }
    }
  }
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

bool isMoved(const DIFF *diff, const DIFF_OBJECT &oldDisk) {
  return !hasPlace(diff, oldDisk, *oldDisk.Partner);
}

// --- Words ---

void putObjectName(TEXT *text, DIFFERENCE_OBJECT kind, const XML_NODE *node) {
  putText(text, differenceObjectName(kind));
  if (kind == DIFFERENCE_ADAPTER) {
    return;
  }
  putText(text, " ");
  putText(text, childText(node, "ObjectID"));
  if (kind == DIFFERENCE_VOLUME) {
    putText(text, " \"");
    putText(text, childText(node, "Name"));
    putText(text, "\"");
  }
}

void putPlace(TEXT *text, const DIFF_OBJECT &disk) {
  if (isInEnclosure(disk)) {
    putText(text, "enclosure ");
    putText(text, childText(disk.Holder, "ObjectID"));
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
