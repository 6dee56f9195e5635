// An object is found by the texts that it shares with its partner, so that the time does not grow with the number of
// pairs.
#include "client/compare/diff_match.h"

#include "base/text.h"

namespace xyl::client {

// Adds the keys of one object; those of an old and of its new object are equal.
typedef void (*AddKeys)(TextKeys *keys, const Diff *diff, DiffSide side, const DiffObject &object);

static void addDistinct(TextKeys *keys, const DiffObject &object, const CHAR8 *element) {
  const CHAR8 *text = childText(object.node, element);
  if (isDistinct(text)) {
    addKey(keys, &object, text);
  }
}

static void addNothing(TextKeys *keys, const Diff *, DiffSide, const DiffObject &object) {
  addKey(keys, &object, "");
}

static void addServiceTag(TextKeys *keys, const Diff *, DiffSide, const DiffObject &object) {
  addDistinct(keys, object, "ServiceTag");
}

static void addId(TextKeys *keys, const Diff *, DiffSide, const DiffObject &object) {
  addKey(keys, &object, childText(object.node, "ObjectID"));
}

static void addWwn(TextKeys *keys, const Diff *, DiffSide, const DiffObject &object) {
  addDistinct(keys, object, "WWN");
}

static void addSerialNumber(TextKeys *keys, const Diff *, DiffSide, const DiffObject &object) {
  addDistinct(keys, object, "SerialNumber");
}

static void addPlaceIn(TextKeys *keys, const DiffObject &disk, const CHAR8 *kind, const CHAR8 *holder) {
  addKey(keys, &disk, kind);
  addKeyPart(keys, holder);
  addKeyPart(keys, childText(disk.node, "Slot"));
  addKeyPart(keys, childText(disk.node, "Port"));
}

// The new document's enclosure in which the disk of either side stands, or null.
static const DiffObject *newEnclosure(DiffSide side, const DiffObject &disk) {
  return side == diffNew ? disk.holder : disk.holder->partner;
}

// Disks in enclosures are in the same place when their enclosures are partners; where one of the two is in none, the
// enclosure's id that both name decides.
static void addPlace(TextKeys *keys, const Diff *, DiffSide side, const DiffObject &disk) {
  const CHAR8 *id = childText(disk.node, "EnclosureObjectID");
  bool isOld = side == diffOld;
  if (!isInEnclosure(disk)) {
    addPlaceIn(keys, disk, "direct", id);
    addPlaceIn(keys, disk, isOld ? "old direct" : "new direct", id);
    return;
  }
  const DiffObject *enclosure = newEnclosure(side, disk);
  if (enclosure != nullptr) {
    CHAR8 address[21];
    formatDecimal(address, reinterpret_cast<UINTN>(enclosure));
    addPlaceIn(keys, disk, "enclosure", address);
  }
  addPlaceIn(keys, disk, isOld ? "new direct" : "old direct", id);
}

static void addName(TextKeys *keys, const Diff *, DiffSide, const DiffObject &object) {
  addDistinct(keys, object, "Name");
}

static void addNameAndFqdd(TextKeys *keys, const Diff *, DiffSide, const DiffObject &object) {
  const CHAR8 *fqdd = childText(object.node, "FQDD");
  if (isDistinct(fqdd)) {
    addKey(keys, &object, childText(object.node, "Name"));
    addKeyPart(keys, fqdd);
  }
}

// The id that a member has in the new document, or null.
static const CHAR8 *newMemberId(const Diff *diff, DiffSide side, const XML_NODE *member) {
  if (side == diffNew) {
    return nodeText(member);
  }
  const DiffObject *disk = objectWithId(diff, diffOld, differenceDisk, nodeText(member));
  return disk != nullptr && disk->partner != nullptr ? childText(disk->partner->node, "ObjectID") : nullptr;
}

// Members whose disks the virtual disk's own document does not have are known by their ids alone, as is a virtual disk
// that has neither members nor a name: a document does not differ from itself.
static void addMembers(TextKeys *keys, const Diff *diff, DiffSide side, const DiffObject &virtualDisk) {
  const XML_NODE *member = childNamed(virtualDisk.node, "PD");
  bool hasName = isDistinct(childText(virtualDisk.node, "Name")) || isDistinct(childText(virtualDisk.node, "FQDD"));
  if (member == nullptr && hasName) {
    return;
  }
  addKey(keys, &virtualDisk, childText(virtualDisk.node, "StartingLba"));
  if (member == nullptr) {
    addKeyPart(keys, "volume");
    addKeyPart(keys, childText(virtualDisk.node, "ObjectID"));
  }
  for (; member != nullptr; member = nextSame(member)) {
    bool isHere = objectWithId(diff, side, differenceDisk, nodeText(member)) != nullptr;
    const CHAR8 *id = isHere ? newMemberId(diff, side, member) : nodeText(member);
    if (id == nullptr) {
      dropKey(keys);
      return;
    }
    addKeyPart(keys, isHere ? "disk" : "unknown");
    addKeyPart(keys, id);
  }
}

static void addFqddAndMember(TextKeys *keys, const Diff *diff, DiffSide side, const DiffObject &virtualDisk) {
  const CHAR8 *fqdd = childText(virtualDisk.node, "FQDD");
  const XML_NODE *member = isDistinct(fqdd) ? childNamed(virtualDisk.node, "PD") : nullptr;
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
  DifferenceObject kind;
  AddKeys addKeys;
} g_ways[] = {
    {differenceAdapter, addNothing},
    {differenceEnclosure, addServiceTag},
    {differenceEnclosure, addId},
    {differenceDisk, addWwn},
    {differenceDisk, addSerialNumber},
    {differenceDisk, addPlace},
    {differenceVirtualDisk, addNameAndFqdd},
    {differenceVirtualDisk, addName},
    {differenceVirtualDisk, addMembers},
    {differenceVirtualDisk, addFqddAndMember},
};

// The first object with a key equal to the one given that is still alone, or null.
static DiffObject *firstAlone(TextKeys *keys, const TextKeys &oldKeys, const TextKey &key) {
  UINT32 first = firstEqualKey(*keys, oldKeys, key);
  if (first == keys->all.count) {
    return nullptr;
  }
  // Whoever has a partner keeps it, so those that were passed over once need not be looked at again.
  UINT32 *next = &keys->all.items[first].next;
  for (; *next < keys->all.count && equalKeys(*keys, *next, first); ++*next) {
    const DiffObject *object = static_cast<const DiffObject *>(keys->all.items[*next].thing);
    if (object->partner == nullptr) {
      return const_cast<DiffObject *>(object);
    }
  }
  return nullptr;
}

// Gives each old object the first new one that shares a key with it.
static void joinPartners(TextKeys *newKeys, const TextKeys &oldKeys) {
  DiffObject *partner = nullptr;
  for (UINT32 i = 0; i < oldKeys.all.count; ++i) {
    DiffObject *found = firstAlone(newKeys, oldKeys, oldKeys.all.items[i]);
    // Both stand in the array of the new document's objects.
    partner = found != nullptr && (partner == nullptr || found < partner) ? found : partner;
    const void *object = oldKeys.all.items[i].thing;
    bool hasMoreKeys = i + 1 < oldKeys.all.count && oldKeys.all.items[i + 1].thing == object;
    if (partner != nullptr && !hasMoreKeys) {
      DiffObject *old = static_cast<DiffObject *>(const_cast<void *>(object));
      old->partner = partner;
      partner->partner = old;
      partner = nullptr;
    }
  }
}

EFI_STATUS matchObjects(Diff *diff) {
  EFI_STATUS status = EFI_SUCCESS;
  for (const auto &way : g_ways) {
    TextKeys keys[diffSideCount] = {};
    for (UINTN side = 0; side < diffSideCount; ++side) {
      const DiffObjects &objects = diff->objects[side][way.kind];
      for (UINT32 i = 0; i < objects.count; ++i) {
        if (objects.items[i].partner == nullptr) {
          way.addKeys(&keys[side], diff, static_cast<DiffSide>(side), objects.items[i]);
        }
      }
    }
    sortTextKeys(&keys[diffNew]);
    if (keys[diffOld].texts.failed || keys[diffNew].texts.failed) {
      status = EFI_OUT_OF_RESOURCES;
    } else {
      joinPartners(&keys[diffNew], keys[diffOld]);
    }
    freeKeys(&keys[diffOld]);
    freeKeys(&keys[diffNew]);
  }
  return status;
}

} // namespace xyl::client
