// The fields of two partners, walked along the tables that documents are written from.
#include "client/compare/diff_fields.h"

#include "base/pool.h"
#include "base/text.h"
#include "client/compare/diff_members.h"
#include "client/compare/text_keys.h"
#include "client/output/output.h"
#include "driver/xml/xml.h"

// Two partners and how far the walk is in them.
struct FIELD_WALK {
  DIFF *Diff;
  DIFFERENCE_OBJECT Kind;
  const DIFF_OBJECT *Object; // of the old document
  const CHAR8 *Element;      // the object's own field that the walk is in, or null
  const CHAR8 *Prefix;       // how What begins
};

// A pair of elements whose children are compared.
struct NODE_PAIR {
  const XML_NODE *Old;
  const XML_NODE *New;
};

// Fields that are no difference by themselves.
enum EXEMPTION { EXEMPT_ALWAYS, EXEMPT_MOVED, EXEMPT_REPLACED };

static constexpr struct {
  const CHAR8 *Element;
  EXEMPTION When;
} g_exemptions[] = {
    // Ids that the controller hands out as it likes.
    {"ObjectID", EXEMPT_ALWAYS},
    {"DeviceID", EXEMPT_ALWAYS},
    {"EnclosureObjectID", EXEMPT_ALWAYS},
    // What only tells the place, or which piece of hardware it is, once that has been said.
    {"EnclosureDeviceID", EXEMPT_MOVED},
    {"Name", EXEMPT_MOVED},
    {"FQDD", EXEMPT_MOVED},
    {"Port", EXEMPT_MOVED},
    {"Slot", EXEMPT_MOVED},
    {"WWN", EXEMPT_REPLACED},
    {"SerialNumber", EXEMPT_REPLACED},
    {"ManufactureDay", EXEMPT_REPLACED},
    {"ManufactureWeek", EXEMPT_REPLACED},
    {"ManufactureYear", EXEMPT_REPLACED},
};

static bool isExempt(const FIELD_WALK &walk, const CHAR8 *element) {
  if (walk.Element != nullptr) {
    return false;
  }
  for (const auto &row : g_exemptions) {
    if (!textEqual(element, row.Element)) {
      continue;
    }
    switch (row.When) {
    case EXEMPT_ALWAYS:
      return true;
    case EXEMPT_MOVED:
      return walk.Kind == DIFFERENCE_DISK && isMoved(*walk.Object);
    case EXEMPT_REPLACED:
      return isReplaced(walk.Kind, *walk.Object);
    }
  }
  return false;
}

// A null row stands for what the prefix names as a whole.
static void putWhat(TEXT *text, const FIELD_WALK &walk, const FIELD_ROW *field) {
  putText(text, walk.Prefix);
  if (field == nullptr) {
    return;
  }
  const FIELD_ROW &row = *field;
  putText(text, *walk.Prefix != 0 ? ", " : "");
  switch (row.Format) {
  case FORMAT_KEY_ID:
    putText(text, "key id");
    break;
  case FORMAT_ID_LIST:
    putText(text, walk.Kind == DIFFERENCE_VIRTUAL_DISK ? "members" : "spare of");
    break;
  default:
    putElementWords(text, row.Element);
  }
}

// --- Values ---

static bool endsWithSize(const CHAR8 *element) {
  UINTN length = textLength(element);
  return length >= 4 && textEqual(element + length - 4, "Size");
}

static void putValue(TEXT *text, const FIELD_ROW &row, const XML_NODE *parent) {
  const CHAR8 *value = childText(parent, row.Element);
  putText(text, value);
  if (row.Format == FORMAT_DECIMAL && endsWithSize(row.Element) && *value != 0) {
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, parseDecimal(value));
    putText(text, " (");
    putText(text, size);
    putText(text, ")");
  }
}

static void putItems(TEXT *text, const XML_NODE *container) {
  const XML_NODE *item = container != nullptr ? container->FirstChild : nullptr;
  for (const CHAR8 *separator = ""; item != nullptr; item = item->NextSibling, separator = ", ") {
    putText(text, separator);
    putText(text, nodeText(item));
  }
}

// The objects of an id list, from the last to the first: documents list ids in the reverse of the controller's order.
static void putIds(TEXT *text, const FIELD_WALK &walk, DIFF_SIDE side, const XML_NODE *parent, const CHAR8 *element) {
  DIFFERENCE_OBJECT kind = walk.Kind == DIFFERENCE_VIRTUAL_DISK ? DIFFERENCE_DISK : DIFFERENCE_VIRTUAL_DISK;
  for (const XML_NODE *id = LastXMLChild(parent); id != nullptr; id = id->PrevSibling) {
    if (!textEqual(id->Name, element)) {
      continue;
    }
    const DIFF_OBJECT *object = objectWithId(walk.Diff, side, kind, nodeText(id));
    putText(text, text->Length != 0 ? ", " : "");
    if (object != nullptr) {
      putObjectName(text, kind, object->Node);
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
static void addValues(const FIELD_WALK &walk, const FIELD_ROW *row, const TEXT &oldValue, const TEXT &newValue) {
  DIFFERENCE difference = {};
  difference.Kind = DIFFERENCE_CHANGED;
  difference.Object = walk.Kind;
  difference.OldNode = walk.Object->Node;
  difference.NewNode = walk.Object->Partner->Node;
  difference.Element = walk.Element == nullptr && row != nullptr ? row->Element : walk.Element;
  difference.Old = oldValue;
  difference.New = newValue;
  putObjectName(&difference.Name, walk.Kind, difference.NewNode);
  putWhat(&difference.What, walk, row);
  addDifference(walk.Diff->Out, difference);
}

static void diffTable(const FIELD_WALK &walk, const NODE_PAIR &pair, const FIELD_TABLE &fields);

static void diffInside(const FIELD_WALK &walk, const NODE_PAIR &pair, const FIELD_ROW &row, const FIELD_TABLE &fields,
                       const CHAR8 *prefix) {
  FIELD_WALK inside = walk;
  inside.Element = row.Element;
  inside.Prefix = prefix;
  diffTable(inside, pair, fields);
}

// Adds that the walk has come to something that only one side has.
static void addOneSided(const FIELD_WALK &walk, bool isOld) {
  TEXT present = {};
  putText(&present, "present");
  addValues(walk, /* row= */ nullptr, isOld ? present : TEXT{}, isOld ? TEXT{} : present);
}

// The elements of one side, and the same under the texts of their child key.
struct KEYED_SIDE {
  const XML_NODE *First;
  TEXT_KEYS Keys;
};

// Compares an element with its partner of the other side, if any; what both have is compared once, for the old.
static void diffOneKeyed(const FIELD_WALK &walk, DIFF_SIDE side, const XML_NODE *mine, const XML_NODE *other,
                         const FIELD_TABLE &fields) {
  if (other != nullptr && side == DIFF_NEW) {
    return;
  }
  TEXT prefix = {};
  putElementWords(&prefix, mine->Name);
  putText(&prefix, " ");
  putText(&prefix, childText(mine, fields.Rows[0].Element));
  FIELD_WALK inside = walk;
  inside.Prefix = textOf(prefix);
  if (other == nullptr) {
    addOneSided(inside, side == DIFF_OLD);
  } else {
    diffTable(inside, {mine, other}, fields);
  }
  walk.Diff->Out->Status = prefix.Failed ? EFI_OUT_OF_RESOURCES : walk.Diff->Out->Status;
  freeText(&prefix);
}

// Compares the elements of that name that have the same text in their child key, along fields: of several with one text
// the first with the first, the second with the second.
static void diffKeyed(const FIELD_WALK &walk, const NODE_PAIR &pair, const FIELD_ROW &row, const FIELD_ROW &inner,
                      const FIELD_TABLE &fields) {
  KEYED_SIDE sides[DIFF_SIDE_COUNT] = {{childNamed(pair.Old, inner.Element), {}},
                                       {childNamed(pair.New, inner.Element), {}}};
  for (KEYED_SIDE &side : sides) {
    for (const XML_NODE *node = side.First; node != nullptr; node = nextSame(node)) {
      addKey(&side.Keys, node, childText(node, fields.Rows[0].Element));
    }
    sortTextKeys(&side.Keys);
    walk.Diff->Out->Status = side.Keys.Texts.Failed ? EFI_OUT_OF_RESOURCES : walk.Diff->Out->Status;
  }
  FIELD_WALK inside = walk;
  inside.Element = row.Element;
  for (UINTN i = 0; i < DIFF_SIDE_COUNT && !EFI_ERROR(walk.Diff->Out->Status); ++i) {
    for (const XML_NODE *mine = sides[i].First; mine != nullptr; mine = nextSame(mine)) {
      const void *other = takeNamed(&sides[DIFF_NEW - i].Keys, childText(mine, fields.Rows[0].Element));
      diffOneKeyed(inside, static_cast<DIFF_SIDE>(i), mine, static_cast<const XML_NODE *>(other), fields);
    }
  }
  for (KEYED_SIDE &side : sides) {
    freeKeys(&side.Keys);
  }
}

// The descriptors of two levels have nothing in common but that the level is another one.
static void diffLevelDescription(const FIELD_WALK &walk, const NODE_PAIR &pair, const FIELD_ROW &row) {
  const CHAR8 *level = g_levelDescFields.Rows[0].Element;
  if (textEqual(childText(pair.Old, level), childText(pair.New, level))) {
    diffInside(walk, pair, row, g_levelDescFields, "level");
  }
}

static void diffValue(const FIELD_WALK &walk, const NODE_PAIR &pair, const FIELD_ROW &row) {
  TEXT oldValue = {};
  TEXT newValue = {};
  switch (row.Format) {
  case FORMAT_MASK:
  case FORMAT_CACHE_POLICY:
    putItems(&oldValue, childNamed(pair.Old, row.Element));
    putItems(&newValue, childNamed(pair.New, row.Element));
    break;
  case FORMAT_ID_LIST:
    // The members of a virtual disk stand there; only a spare's virtual disks stand nowhere else.
    if (sameIds(walk.Diff, walk.Kind, *walk.Object, row.Element) ||
        (walk.Kind == DIFFERENCE_DISK && !isSpare(pair.Old) && !isSpare(pair.New))) {
      return;
    }
    putIds(&oldValue, walk, DIFF_OLD, pair.Old, row.Element);
    putIds(&newValue, walk, DIFF_NEW, pair.New, row.Element);
    addValues(walk, &row, oldValue, newValue);
    return;
  default:
    putValue(&oldValue, row, pair.Old);
    putValue(&newValue, row, pair.New);
  }
  if (!oldValue.Failed && !newValue.Failed && textEqual(textOf(oldValue), textOf(newValue))) {
    freeText(&oldValue);
    freeText(&newValue);
    return;
  }
  addValues(walk, &row, oldValue, newValue);
}

static void diffField(const FIELD_WALK &walk, const NODE_PAIR &pair, const FIELD_ROW &row) {
  NODE_PAIR inside = {childNamed(pair.Old, row.Element), childNamed(pair.New, row.Element)};
  switch (row.Format) {
  case FORMAT_ENCLOSURE:
  case FORMAT_PHYSICAL_DISK:
  case FORMAT_VIRTUAL_DISK:
    return; // objects of their own
  case FORMAT_PCI_IDENTITY:
    return diffInside(walk, inside, row, g_pciIdentityFields, "PCI id");
  case FORMAT_RAID_LEVEL_DESC:
    return diffLevelDescription(walk, inside, row);
  case FORMAT_RAID_LEVEL_PARAMS: {
    FIELD_ROW descriptor = {};
    descriptor.Element = "RAIDLevelDesc";
    return diffKeyed(walk, inside, row, descriptor, g_levelDescFields);
  }
  case FORMAT_RATES:
    return diffKeyed(walk, pair, row, row, g_rateFields);
  default:
    return diffValue(walk, pair, row);
  }
}

static void diffTable(const FIELD_WALK &walk, const NODE_PAIR &pair, const FIELD_TABLE &fields) {
  for (UINT32 i = 0; i < fields.RowCount; ++i) {
    const FIELD_ROW &row = fields.Rows[i];
    // A row that is only read repeats one that is written, but for nested objects and the key id.
    bool isRepeated = (row.Flags & FIELD_READ_ONLY) != 0 && row.Format < FORMAT_ENCLOSURE;
    if (!isRepeated && !isExempt(walk, row.Element)) {
      diffField(walk, pair, row);
    }
  }
}

void diffFields(DIFF *diff, DIFFERENCE_OBJECT kind, const DIFF_OBJECT &oldObject) {
  // Indexed by DIFFERENCE_OBJECT.
  static constexpr const FIELD_TABLE *tables[DIFFERENCE_OBJECT_COUNT] = {&g_adapterFields, &g_enclosureFields,
                                                                         &g_pdFields, &g_vdFields};
  FIELD_WALK walk = {diff, kind, &oldObject, /* Element= */ nullptr, /* Prefix= */ ""};
  NODE_PAIR pair = {oldObject.Node, oldObject.Partner->Node};
  diffTable(walk, pair, g_headerFields);
  diffTable(walk, pair, *tables[kind]);
  if (kind != DIFFERENCE_ADAPTER) {
    return;
  }
  NODE_PAIR locations = {};
  const XML_NODE **inventories[DIFF_SIDE_COUNT] = {&locations.Old, &locations.New};
  for (UINTN side = 0; side < DIFF_SIDE_COUNT; ++side) {
    *inventories[side] = childNamed(childNamed(diff->Inventory[side], "Identifier"), "PCILocation");
  }
  if (locations.Old != nullptr && locations.New != nullptr) {
    FIELD_ROW row = {};
    row.Element = "PCILocation";
    diffInside(walk, locations, row, g_pciLocationFields, "place");
  }
}
