// The fields of two partners, walked along the tables that documents are written from.
#include "client/compare/diff_fields.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/compare/diff_members.h"
#include "client/compare/text_keys.h"
#include "client/output/output.h"
#include "driver/xml/xml.h"

namespace xyl::client {

// Two partners and how far the walk is in them.
struct FieldWalk {
  Diff *diff;
  DifferenceObject kind;
  const DiffObject *object; // of the old document
  const CHAR8 *element;     // the object's own field that the walk is in, or null
  const CHAR8 *prefix;      // how What begins
};

// A pair of elements whose children are compared.
struct NodePair {
  const XML_NODE *older;
  const XML_NODE *newer;
};

// Fields that are no difference by themselves.
enum class Exemption { always, moved, replaced };

static constexpr struct {
  const CHAR8 *element;
  Exemption when;
} g_exemptions[] = {
    // Ids that the controller hands out as it likes.
    {"ObjectID", Exemption::always},
    {"DeviceID", Exemption::always},
    {"EnclosureObjectID", Exemption::always},
    // What only tells the place, or which piece of hardware it is, once that has been said.
    {"EnclosureDeviceID", Exemption::moved},
    {"Name", Exemption::moved},
    {"FQDD", Exemption::moved},
    {"Port", Exemption::moved},
    {"Slot", Exemption::moved},
    {"WWN", Exemption::replaced},
    {"SerialNumber", Exemption::replaced},
    {"ManufactureDay", Exemption::replaced},
    {"ManufactureWeek", Exemption::replaced},
    {"ManufactureYear", Exemption::replaced},
};

static bool isExempt(const FieldWalk &walk, const CHAR8 *element) {
  if (walk.element != nullptr) {
    return false;
  }
  for (const auto &row : g_exemptions) {
    if (!textEqual(element, row.element)) {
      continue;
    }
    switch (row.when) {
    case Exemption::always:
      return true;
    case Exemption::moved:
      return walk.kind == differenceDisk && isMoved(*walk.object);
    case Exemption::replaced:
      return isReplaced(walk.kind, *walk.object);
    }
  }
  return false;
}

// A null row stands for what the prefix names as a whole.
static void putWhat(Text *text, const FieldWalk &walk, const driver::FieldRow *field) {
  putText(text, walk.prefix);
  if (field == nullptr) {
    return;
  }
  const driver::FieldRow &row = *field;
  putText(text, *walk.prefix != 0 ? ", " : "");
  switch (row.format) {
  case driver::FieldFormat::keyId:
    putText(text, "key id");
    break;
  case driver::FieldFormat::idList:
    putText(text, walk.kind == differenceVirtualDisk ? "members" : "spare of");
    break;
  default:
    putElementWords(text, row.element);
  }
}

// --- Values ---

static bool endsWithSize(const CHAR8 *element) {
  UINTN length = textLength(element);
  return length >= 4 && textEqual(element + length - 4, "Size");
}

static void putValue(Text *text, const driver::FieldRow &row, const XML_NODE *parent) {
  const CHAR8 *value = childText(parent, row.element);
  putText(text, value);
  if (row.format == driver::FieldFormat::decimal && endsWithSize(row.element) && *value != 0) {
    CHAR8 size[sizeTextCapacity];
    formatSize(size, parseDecimal(value));
    putText(text, " (");
    putText(text, size);
    putText(text, ")");
  }
}

static void putItems(Text *text, const XML_NODE *container) {
  const XML_NODE *item = container != nullptr ? container->FirstChild : nullptr;
  for (const CHAR8 *separator = ""; item != nullptr; item = item->NextSibling, separator = ", ") {
    putText(text, separator);
    putText(text, nodeText(item));
  }
}

// The objects of an id list, from the last to the first: documents list ids in the reverse of the controller's order.
static void putIds(Text *text, const FieldWalk &walk, DiffSide side, const XML_NODE *parent, const CHAR8 *element) {
  DifferenceObject kind = walk.kind == differenceVirtualDisk ? differenceDisk : differenceVirtualDisk;
  for (const XML_NODE *id = driver::LastXMLChild(parent); id != nullptr; id = id->PrevSibling) {
    if (!textEqual(id->Name, element)) {
      continue;
    }
    const DiffObject *object = objectWithId(walk.diff, side, kind, nodeText(id));
    putText(text, text->length != 0 ? ", " : "");
    if (object != nullptr) {
      putObjectName(text, kind, object->node);
    } else {
      putText(text, nodeText(id));
      putText(text, " (missing)");
    }
  }
}

static bool isSpare(const XML_NODE *disk) {
  return *childText(disk, "Hotspare") != 0;
}

// --- The walk ---

// Adds the two values as a difference unless they are the same; they are taken over.
static void addValues(const FieldWalk &walk, const driver::FieldRow *row, const Text &oldValue, const Text &newValue) {
  Difference difference = {};
  difference.kind = differenceChanged;
  difference.object = walk.kind;
  difference.oldNode = walk.object->node;
  difference.newNode = walk.object->partner->node;
  difference.element = walk.element == nullptr && row != nullptr ? row->element : walk.element;
  difference.older = oldValue;
  difference.newer = newValue;
  putObjectName(&difference.name, walk.kind, difference.newNode);
  putWhat(&difference.what, walk, row);
  addDifference(walk.diff->out, difference);
}

static void diffTable(const FieldWalk &walk, const NodePair &pair, const driver::FieldTable &fields);

static void diffInside(const FieldWalk &walk, const NodePair &pair, const driver::FieldRow &row,
                       const driver::FieldTable &fields, const CHAR8 *prefix) {
  FieldWalk inside = walk;
  inside.element = row.element;
  inside.prefix = prefix;
  diffTable(inside, pair, fields);
}

// Adds that the walk has come to something that only one side has.
static void addOneSided(const FieldWalk &walk, bool isOld) {
  Text present = {};
  putText(&present, "present");
  addValues(walk, /* row= */ nullptr, isOld ? present : Text{}, isOld ? Text{} : present);
}

// The elements of one side, and the same under the texts of their child key.
struct KeyedSide {
  const XML_NODE *first;
  TextKeys keys;
};

// Compares an element with its partner of the other side, if any; what both have is compared once, for the old.
static void diffOneKeyed(const FieldWalk &walk, DiffSide side, const XML_NODE *mine, const XML_NODE *other,
                         const driver::FieldTable &fields) {
  if (other != nullptr && side == diffNew) {
    return;
  }
  Text prefix = {};
  putElementWords(&prefix, mine->Name);
  putText(&prefix, " ");
  putText(&prefix, childText(mine, fields.rows[0].element));
  FieldWalk inside = walk;
  inside.prefix = textOf(prefix);
  if (other == nullptr) {
    addOneSided(inside, side == diffOld);
  } else {
    diffTable(inside, {mine, other}, fields);
  }
  walk.diff->out->status = prefix.failed ? EFI_OUT_OF_RESOURCES : walk.diff->out->status;
  freeText(&prefix);
}

// Compares the elements of that name that have the same text in their child key, along fields: of several with one text
// the first with the first, the second with the second.
static void diffKeyed(const FieldWalk &walk, const NodePair &pair, const driver::FieldRow &row,
                      const driver::FieldRow &inner, const driver::FieldTable &fields) {
  KeyedSide sides[diffSideCount] = {{childNamed(pair.older, inner.element), {}},
                                    {childNamed(pair.newer, inner.element), {}}};
  for (KeyedSide &side : sides) {
    for (const XML_NODE *node = side.first; node != nullptr; node = nextSame(node)) {
      addKey(&side.keys, node, childText(node, fields.rows[0].element));
    }
    sortTextKeys(&side.keys);
    walk.diff->out->status = side.keys.texts.failed ? EFI_OUT_OF_RESOURCES : walk.diff->out->status;
  }
  FieldWalk inside = walk;
  inside.element = row.element;
  for (UINTN i = 0; i < diffSideCount && !EFI_ERROR(walk.diff->out->status); ++i) {
    for (const XML_NODE *mine = sides[i].first; mine != nullptr; mine = nextSame(mine)) {
      const void *other = takeNamed(&sides[diffNew - i].keys, childText(mine, fields.rows[0].element));
      diffOneKeyed(inside, static_cast<DiffSide>(i), mine, static_cast<const XML_NODE *>(other), fields);
    }
  }
  for (KeyedSide &side : sides) {
    freeKeys(&side.keys);
  }
}

// The descriptors of two levels have nothing in common but that the level is another one.
static void diffLevelDescription(const FieldWalk &walk, const NodePair &pair, const driver::FieldRow &row) {
  const CHAR8 *level = driver::g_levelDescFields.rows[0].element;
  if (textEqual(childText(pair.older, level), childText(pair.newer, level))) {
    diffInside(walk, pair, row, driver::g_levelDescFields, "level");
  }
}

static void diffValue(const FieldWalk &walk, const NodePair &pair, const driver::FieldRow &row) {
  Text oldValue = {};
  Text newValue = {};
  switch (row.format) {
  case driver::FieldFormat::mask:
  case driver::FieldFormat::cachePolicy:
    putItems(&oldValue, childNamed(pair.older, row.element));
    putItems(&newValue, childNamed(pair.newer, row.element));
    break;
  case driver::FieldFormat::idList:
    // The members of a virtual disk stand there; only a spare's virtual disks stand nowhere else.
    if (sameIds(walk.diff, walk.kind, *walk.object, row.element) ||
        (walk.kind == differenceDisk && !isSpare(pair.older) && !isSpare(pair.newer))) {
      return;
    }
    putIds(&oldValue, walk, diffOld, pair.older, row.element);
    putIds(&newValue, walk, diffNew, pair.newer, row.element);
    addValues(walk, &row, oldValue, newValue);
    return;
  default:
    putValue(&oldValue, row, pair.older);
    putValue(&newValue, row, pair.newer);
  }
  if (!oldValue.failed && !newValue.failed && textEqual(textOf(oldValue), textOf(newValue))) {
    freeText(&oldValue);
    freeText(&newValue);
    return;
  }
  addValues(walk, &row, oldValue, newValue);
}

static void diffField(const FieldWalk &walk, const NodePair &pair, const driver::FieldRow &row) {
  NodePair inside = {childNamed(pair.older, row.element), childNamed(pair.newer, row.element)};
  switch (row.format) {
  case driver::FieldFormat::enclosure:
  case driver::FieldFormat::physicalDisk:
  case driver::FieldFormat::virtualDisk:
    return; // objects of their own
  case driver::FieldFormat::pciIdentity:
    return diffInside(walk, inside, row, driver::g_pciIdentityFields, "PCI id");
  case driver::FieldFormat::raidLevelDesc:
    return diffLevelDescription(walk, inside, row);
  case driver::FieldFormat::raidLevelParams: {
    driver::FieldRow descriptor = {};
    descriptor.element = "RAIDLevelDesc";
    return diffKeyed(walk, inside, row, descriptor, driver::g_levelDescFields);
  }
  case driver::FieldFormat::rates:
    return diffKeyed(walk, pair, row, row, driver::g_rateFields);
  default:
    return diffValue(walk, pair, row);
  }
}

static void diffTable(const FieldWalk &walk, const NodePair &pair, const driver::FieldTable &fields) {
  for (UINT32 i = 0; i < fields.rowCount; ++i) {
    const driver::FieldRow &row = fields.rows[i];
    // A row that is only read repeats one that is written, but for nested objects and the key id.
    bool isRepeated = (row.flags & driver::fieldReadOnly) != 0 && row.format < driver::FieldFormat::enclosure;
    if (!isRepeated && !isExempt(walk, row.element)) {
      diffField(walk, pair, row);
    }
  }
}

void diffFields(Diff *diff, DifferenceObject kind, const DiffObject &oldObject) {
  // Indexed by DifferenceObject.
  static constexpr const driver::FieldTable *tables[differenceObjectCount] = {
      &driver::g_adapterFields, &driver::g_enclosureFields, &driver::g_pdFields, &driver::g_vdFields};
  FieldWalk walk = {diff, kind, &oldObject, /* Element= */ nullptr, /* Prefix= */ ""};
  NodePair pair = {oldObject.node, oldObject.partner->node};
  diffTable(walk, pair, driver::g_headerFields);
  diffTable(walk, pair, *tables[kind]);
  if (kind != differenceAdapter) {
    return;
  }
  NodePair locations = {};
  const XML_NODE **inventories[diffSideCount] = {&locations.older, &locations.newer};
  for (UINTN side = 0; side < diffSideCount; ++side) {
    *inventories[side] = childNamed(childNamed(diff->inventory[side], "Identifier"), "PCILocation");
  }
  if (locations.older != nullptr && locations.newer != nullptr) {
    driver::FieldRow row = {};
    row.element = "PCILocation";
    diffInside(walk, locations, row, driver::g_pciLocationFields, "place");
  }
}

} // namespace xyl::client
