// An object is found by the texts that it shares with its partner, so that the time does not grow with the number of
// pairs.
#include "client/compare/diff_match.h"

#include "base/text.h"

// Adds the keys of one object; those of an old and of its new object are equal.
typedef void (*ADD_KEYS)(TEXT_KEYS *keys, const DIFF *diff, DIFF_SIDE side, const DIFF_OBJECT &object);

static void addDistinct(TEXT_KEYS *keys, const DIFF_OBJECT &object, const CHAR8 *element) {
  const CHAR8 *text = childText(object.Node, element);
  if (isDistinct(text)) {
    addKey(keys, &object, text);
  }
}

static void addNothing(TEXT_KEYS *keys, const DIFF *, DIFF_SIDE, const DIFF_OBJECT &object) {
  addKey(keys, &object, "");
}

static void addServiceTag(TEXT_KEYS *keys, const DIFF *, DIFF_SIDE, const DIFF_OBJECT &object) {
  addDistinct(keys, object, "ServiceTag");
}

static void addId(TEXT_KEYS *keys, const DIFF *, DIFF_SIDE, const DIFF_OBJECT &object) {
  addKey(keys, &object, childText(object.Node, "ObjectID"));
}

static void addWwn(TEXT_KEYS *keys, const DIFF *, DIFF_SIDE, const DIFF_OBJECT &object) {
  addDistinct(keys, object, "WWN");
}

static void addSerialNumber(TEXT_KEYS *keys, const DIFF *, DIFF_SIDE, const DIFF_OBJECT &object) {
  addDistinct(keys, object, "SerialNumber");
}

static void addPlaceIn(TEXT_KEYS *keys, const DIFF_OBJECT &disk, const CHAR8 *kind, const CHAR8 *holder) {
  addKey(keys, &disk, kind);
  addKeyPart(keys, holder);
  addKeyPart(keys, childText(disk.Node, "Slot"));
  addKeyPart(keys, childText(disk.Node, "Port"));
}

// The new document's enclosure in which the disk of either side stands, or null.
static const DIFF_OBJECT *newEnclosure(DIFF_SIDE side, const DIFF_OBJECT &disk) {
  return side == DIFF_NEW ? disk.Holder : disk.Holder->Partner;
}

// Disks in enclosures are in the same place when their enclosures are partners; where one of the two is in none, the
// enclosure's id that both name decides.
static void addPlace(TEXT_KEYS *keys, const DIFF *, DIFF_SIDE side, const DIFF_OBJECT &disk) {
  const CHAR8 *id = childText(disk.Node, "EnclosureObjectID");
  bool isOld = side == DIFF_OLD;
  if (!isInEnclosure(disk)) {
    addPlaceIn(keys, disk, "direct", id);
    addPlaceIn(keys, disk, isOld ? "old direct" : "new direct", id);
    return;
  }
  const DIFF_OBJECT *enclosure = newEnclosure(side, disk);
  if (enclosure != nullptr) {
    CHAR8 address[21];
    formatDecimal(address, reinterpret_cast<UINTN>(enclosure));
    addPlaceIn(keys, disk, "enclosure", address);
  }
  addPlaceIn(keys, disk, isOld ? "new direct" : "old direct", id);
}

static void addName(TEXT_KEYS *keys, const DIFF *, DIFF_SIDE, const DIFF_OBJECT &object) {
  addDistinct(keys, object, "Name");
}

static void addNameAndFqdd(TEXT_KEYS *keys, const DIFF *, DIFF_SIDE, const DIFF_OBJECT &object) {
  const CHAR8 *fqdd = childText(object.Node, "FQDD");
  if (isDistinct(fqdd)) {
    addKey(keys, &object, childText(object.Node, "Name"));
    addKeyPart(keys, fqdd);
  }
}

// The id that a member has in the new document, or null.
static const CHAR8 *newMemberId(const DIFF *diff, DIFF_SIDE side, const XML_NODE *member) {
  if (side == DIFF_NEW) {
    return nodeText(member);
  }
  const DIFF_OBJECT *disk = objectWithId(diff, DIFF_OLD, DIFFERENCE_DISK, nodeText(member));
  return disk != nullptr && disk->Partner != nullptr ? childText(disk->Partner->Node, "ObjectID") : nullptr;
}

// Members whose disks the virtual disk's own document does not have are known by their ids alone, as is a virtual disk
// that has neither members nor a name: a document does not differ from itself.
static void addMembers(TEXT_KEYS *keys, const DIFF *diff, DIFF_SIDE side, const DIFF_OBJECT &virtualDisk) {
  const XML_NODE *member = childNamed(virtualDisk.Node, "PD");
  bool hasName = isDistinct(childText(virtualDisk.Node, "Name")) || isDistinct(childText(virtualDisk.Node, "FQDD"));
  if (member == nullptr && hasName) {
    return;
  }
  addKey(keys, &virtualDisk, childText(virtualDisk.Node, "StartingLba"));
  if (member == nullptr) {
    addKeyPart(keys, "volume");
    addKeyPart(keys, childText(virtualDisk.Node, "ObjectID"));
  }
  for (; member != nullptr; member = nextSame(member)) {
    bool isHere = objectWithId(diff, side, DIFFERENCE_DISK, nodeText(member)) != nullptr;
    const CHAR8 *id = isHere ? newMemberId(diff, side, member) : nodeText(member);
    if (id == nullptr) {
      dropKey(keys);
      return;
    }
    addKeyPart(keys, isHere ? "disk" : "unknown");
    addKeyPart(keys, id);
  }
}

static void addFqddAndMember(TEXT_KEYS *keys, const DIFF *diff, DIFF_SIDE side, const DIFF_OBJECT &virtualDisk) {
  const CHAR8 *fqdd = childText(virtualDisk.Node, "FQDD");
  const XML_NODE *member = isDistinct(fqdd) ? childNamed(virtualDisk.Node, "PD") : nullptr;
  for (; member != nullptr; member = nextSame(member)) {
    const CHAR8 *id = newMemberId(diff, side, member);
    if (id != nullptr) {
      addKey(keys, &virtualDisk, fqdd);
      addKeyPart(keys, id);
    }
  }
}

// The ways to find a partner, the surest first; each looks only at what is still alone.
static constexpr struct {
  DIFFERENCE_OBJECT Kind;
  ADD_KEYS AddKeys;
} g_ways[] = {
    {DIFFERENCE_ADAPTER, addNothing},
    {DIFFERENCE_ENCLOSURE, addServiceTag},
    {DIFFERENCE_ENCLOSURE, addId},
    {DIFFERENCE_DISK, addWwn},
    {DIFFERENCE_DISK, addSerialNumber},
    {DIFFERENCE_DISK, addPlace},
    {DIFFERENCE_VIRTUAL_DISK, addNameAndFqdd},
    {DIFFERENCE_VIRTUAL_DISK, addName},
    {DIFFERENCE_VIRTUAL_DISK, addMembers},
    {DIFFERENCE_VIRTUAL_DISK, addFqddAndMember},
};

// The first object with a key equal to the one given that is still alone, or null.
static DIFF_OBJECT *firstAlone(TEXT_KEYS *keys, const TEXT_KEYS &oldKeys, const TEXT_KEY &key) {
  UINT32 first = firstEqualKey(*keys, oldKeys, key);
  if (first == keys->All.count) {
    return nullptr;
  }
  // Whoever has a partner keeps it, so those that were passed over once need not be looked at again.
  UINT32 *next = &keys->All.items[first].Next;
  for (; *next < keys->All.count && equalKeys(*keys, *next, first); ++*next) {
    const DIFF_OBJECT *object = static_cast<const DIFF_OBJECT *>(keys->All.items[*next].Thing);
    if (object->Partner == nullptr) {
      return const_cast<DIFF_OBJECT *>(object);
    }
  }
  return nullptr;
}

// Gives each old object the first new one that shares a key with it.
static void joinPartners(TEXT_KEYS *newKeys, const TEXT_KEYS &oldKeys) {
  DIFF_OBJECT *partner = nullptr;
  for (UINT32 i = 0; i < oldKeys.All.count; ++i) {
    DIFF_OBJECT *found = firstAlone(newKeys, oldKeys, oldKeys.All.items[i]);
    // Both stand in the array of the new document's objects.
    partner = found != nullptr && (partner == nullptr || found < partner) ? found : partner;
    const void *object = oldKeys.All.items[i].Thing;
    bool hasMoreKeys = i + 1 < oldKeys.All.count && oldKeys.All.items[i + 1].Thing == object;
    if (partner != nullptr && !hasMoreKeys) {
      DIFF_OBJECT *old = static_cast<DIFF_OBJECT *>(const_cast<void *>(object));
      old->Partner = partner;
      partner->Partner = old;
      partner = nullptr;
    }
  }
}

EFI_STATUS matchObjects(DIFF *diff) {
  EFI_STATUS status = EFI_SUCCESS;
  for (const auto &way : g_ways) {
    TEXT_KEYS keys[DIFF_SIDE_COUNT] = {};
    for (UINTN side = 0; side < DIFF_SIDE_COUNT; ++side) {
      const DIFF_OBJECTS &objects = diff->Objects[side][way.Kind];
      for (UINT32 i = 0; i < objects.Count; ++i) {
        if (objects.Items[i].Partner == nullptr) {
          way.AddKeys(&keys[side], diff, static_cast<DIFF_SIDE>(side), objects.Items[i]);
        }
      }
    }
    sortTextKeys(&keys[DIFF_NEW]);
    if (keys[DIFF_OLD].Texts.Failed || keys[DIFF_NEW].Texts.Failed) {
      status = EFI_OUT_OF_RESOURCES;
    } else {
      joinPartners(&keys[DIFF_NEW], keys[DIFF_OLD]);
    }
    freeKeys(&keys[DIFF_OLD]);
    freeKeys(&keys[DIFF_NEW]);
  }
  return status;
}
