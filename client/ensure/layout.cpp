// Layout documents as they are read: rows of what each element may hold.
#include "client/ensure/layout.h"

#include "base/text.h"
#include "client/output/output.h"
#include "driver/xml/xml.h"

namespace ensure {

namespace {

// What is known while the document is read.
struct Reader {
  const XYL_CONTEXT &context;
  const CHAR8 *file;
  Layout *layout;
  const CHAR8 *virtualDisk; // the name of the one that is read, "" for one without, or null
};

enum class Often : UINT8 { once, always, repeated }; // at most once; just once; any number

// An element inside another one. All that may stand inside one have routines for the same kind of wish.
struct Row {
  const CHAR8 *name;
  XYL_RESULT (*read)(const Reader &reader, const XML_NODE &node, void *into);
  Often often;
  const CHAR8 *attribute = ""; // that it may have
};

struct Rows {
  const Row *items;
  UINTN count;
};

// The routine READ for a row.
template <auto READ> struct Reading;
template <class WISH, XYL_RESULT (*READ)(const Reader &, const XML_NODE &, WISH *)> struct Reading<READ> {
  static XYL_RESULT read(const Reader &reader, const XML_NODE &node, void *into) {
    return READ(reader, node, static_cast<WISH *>(into));
  }
};

} // namespace

// --- Mistakes ---

// Says what is wrong, and where: 'web.xml', virtual disk 'data': what which more.
static XYL_RESULT mistake(const Reader &reader, const CHAR8 *what, const CHAR8 *which, const CHAR8 *more = "") {
  bool isInside = reader.virtualDisk != nullptr;
  complain(reader.context.Front, "'%a'%a%a%a: %a'%a'%a", reader.file, isInside ? ", virtual disk '" : "",
           isInside ? reader.virtualDisk : "", isInside ? "'" : "", what, which, more);
  return failed(EFI_INVALID_PARAMETER, XYL_REASON_DOCUMENT);
}

static XYL_RESULT wrongText(const Reader &reader, const XML_NODE &node, const CHAR8 *wanted) {
  WORD_LIST what = {};
  append(what, "", node.Name);
  append(what, "", " cannot be ");
  WORD_LIST more = {};
  append(more, "", "; it is ");
  append(more, "", wanted);
  return mistake(reader, what.Text, nodeText(&node), more.Text);
}

// --- Attributes ---

// The value of the attribute of that name, or null. Others are mistakes, but for those about the document itself.
static XYL_RESULT readAttribute(const Reader &reader, const XML_NODE &node, const CHAR8 *name, const CHAR8 **value) {
  *value = nullptr;
  for (const XML_ATTRIBUTE *attribute = node.Attributes; attribute != nullptr; attribute = attribute->Next) {
    const CHAR8 *itsName = attribute->Name;
    bool isAboutXml = itsName[0] == 'x' && (itsName[1] == 'm' || itsName[1] == 's');
    if (textEqual(itsName, name)) {
      *value = attribute->Value;
    } else if (!isAboutXml) {
      return mistake(reader, "there is no attribute ", itsName, "");
    }
  }
  return succeeded();
}

// Reads an attribute that has one of the words, of which the first stands for its absence.
template <UINTN COUNT>
static XYL_RESULT readChoice(const Reader &reader, const XML_NODE &node, const CHAR8 *name,
                             const CHAR8 *const (&words)[COUNT], UINTN *choice) {
  const CHAR8 *value = nullptr;
  XYL_RESULT result = readAttribute(reader, node, name, &value);
  *choice = 0;
  if (isFailure(result) || value == nullptr) {
    return result;
  }
  WORD_LIST names = {};
  for (UINTN i = 0; i < COUNT; ++i) {
    if (textEqual(words[i], value)) {
      *choice = i;
      return succeeded();
    }
    append(names, ", ", words[i]);
  }
  WORD_LIST what = {};
  append(what, "", name);
  append(what, "", " cannot be ");
  WORD_LIST more = {};
  append(more, "", "; it is one of ");
  append(more, "", names.Text);
  return mistake(reader, what.Text, value, more.Text);
}

// --- Elements ---

static UINTN rowOf(const Rows &rows, const CHAR8 *name) {
  UINTN at = 0;
  while (at < rows.count && !textEqual(rows.items[at].name, name)) {
    ++at;
  }
  return at;
}

// The node has something that does not belong there.
static XYL_RESULT notAmong(const Reader &reader, const Rows &rows, const XML_NODE &node, const CHAR8 *kind,
                           const CHAR8 *which) {
  WORD_LIST more = {};
  append(more, "", "; it has ");
  for (UINTN i = 0; i < rows.count; ++i) {
    append(more, i == 0 ? "" : ", ", rows.items[i].name);
  }
  WORD_LIST what = {};
  append(what, "", node.Name);
  append(what, "", kind);
  return mistake(reader, what.Text, which, more.Text);
}

static bool isBlank(const CHAR8 *text) {
  while (*text == ' ' || *text == '\t' || *text == '\n' || *text == '\r') {
    ++text;
  }
  return *text == 0;
}

// Reads the children of node, which are those of the rows.
static XYL_RESULT readChildren(const Reader &reader, const XML_NODE &node, const Rows &rows, void *into) {
  if (!isBlank(nodeText(&node))) {
    return notAmong(reader, rows, node, " has no text ", nodeText(&node)); // <Disks>3</Disks> would be any number
  }
  UINT64 seen = 0;
  for (const XML_NODE *child = node.FirstChild; child != nullptr; child = child->NextSibling) {
    UINTN at = rowOf(rows, child->Name);
    if (at == rows.count) {
      return notAmong(reader, rows, node, " has no element ", child->Name);
    }
    const Row &row = rows.items[at];
    if ((seen >> at & 1) != 0 && row.often != Often::repeated) {
      return mistake(reader, "there are several elements ", child->Name, "; write it once");
    }
    seen |= 1ULL << at;
    const CHAR8 *attribute = nullptr;
    XYL_RESULT result = readAttribute(reader, *child, row.attribute, &attribute);
    if (!isFailure(result)) {
      result = row.read(reader, *child, into);
    }
    if (isFailure(result)) {
      return result;
    }
  }
  for (UINTN i = 0; i < rows.count; ++i) {
    if (rows.items[i].often == Often::always && (seen >> i & 1) == 0) {
      return mistake(reader, "there is no element ", rows.items[i].name);
    }
  }
  return succeeded();
}

template <UINTN COUNT>
static XYL_RESULT readChildren(const Reader &reader, const XML_NODE &node, const Row (&rows)[COUNT], void *into) {
  return readChildren(reader, node, Rows{rows, COUNT}, into);
}

// --- Values ---

// One of the table's names.
static XYL_RESULT readName(const Reader &reader, const XML_NODE &node, const VALUE_NAME_TABLE *table, UINT64 *value) {
  *value = GetValueFromName(nodeText(&node), table);
  if (*value != VALUE_NOT_FOUND) {
    return succeeded();
  }
  WORD_LIST wanted = {};
  append(wanted, "", "one of");
  const CHAR8 *separator = " ";
  for (; table->Name != nullptr; ++table, separator = ", ") {
    append(wanted, separator, table->Name);
  }
  return wrongText(reader, node, wanted.Text);
}

static bool isDecimal(const CHAR8 *text) {
  UINTN digits = 0;
  while (text[digits] >= '0' && text[digits] <= '9') {
    ++digits;
  }
  return digits != 0 && text[digits] == 0;
}

static XYL_RESULT readNumber(const Reader &reader, const XML_NODE &node, UINT64 least, UINT64 most, UINT32 *number) {
  UINT64 value = parseDecimal(nodeText(&node));
  if (!isDecimal(nodeText(&node)) || value < least || value > most) {
    WORD_LIST wanted = {};
    append(wanted, "", "a number from");
    appendNumber(wanted, " ", least);
    appendNumber(wanted, " to ", most);
    return wrongText(reader, node, wanted.Text);
  }
  *number = static_cast<UINT32>(value);
  return succeeded();
}

static XYL_RESULT readBytes(const Reader &reader, const XML_NODE &node, const CHAR8 *wanted, UINT64 *size) {
  *size = parseSize(nodeText(&node));
  return *size != 0 && !lacksUnit(nodeText(&node)) ? succeeded() : wrongText(reader, node, wanted);
}

// --- Disks ---

static constexpr VALUE_NAME_TABLE g_mediumTable[] = {
    {"HDD", RAID_LEVEL_ATTRIBUTE_HDD}, {"SSD", RAID_LEVEL_ATTRIBUTE_SSD}, {nullptr, 0}};

static XYL_RESULT readMedium(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  UINT64 value = 0;
  XYL_RESULT result = readName(reader, node, g_mediumTable, &value);
  wish->medium = static_cast<UINT32>(value);
  return result;
}

static XYL_RESULT readProtocol(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  UINT64 value = 0;
  XYL_RESULT result = readName(reader, node, g_protocolTable, &value);
  wish->protocol = static_cast<UINT32>(value);
  return result;
}

static XYL_RESULT readCount(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  return readNumber(reader, node, 1, 0xFFFF, &wish->count);
}

static XYL_RESULT readSmallest(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  return readBytes(reader, node, "a size with its unit, as 600GB", &wish->smallest);
}

static XYL_RESULT readPlace(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  if (textEqual(nodeText(&node), "direct")) {
    wish->where = Where::direct;
    return succeeded();
  }
  UINT64 number = parseDecimal(nodeText(&node));
  wish->where = Where::enclosure;
  wish->enclosure = static_cast<UINT32>(number);
  bool isNumber = isDecimal(nodeText(&node)) && number <= 0xFFFFFFFFU;
  return isNumber ? succeeded() : wrongText(reader, node, "'direct', or an enclosure's id or position");
}

static constexpr Row g_diskRows[] = {
    {"Count", Reading<readCount>::read, Often::once},       {"Medium", Reading<readMedium>::read, Often::once},
    {"Protocol", Reading<readProtocol>::read, Often::once}, {"Smallest", Reading<readSmallest>::read, Often::once},
    {"Enclosure", Reading<readPlace>::read, Often::once},
};

static XYL_RESULT readDisks(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  return readChildren(reader, node, g_diskRows, wish);
}

// Hot spares are one when no number is given.
static XYL_RESULT readSpares(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  XYL_RESULT result = readDisks(reader, node, wish);
  wish->count = wish->count != 0 ? wish->count : 1;
  return result;
}

// --- Virtual disks ---

static XYL_RESULT readVirtualDiskName(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  const CHAR8 *name = nodeText(&node);
  if (*name == 0 || fitting::judgeName(name, /* isOnDisks= */ false) != fitting::NameVerdict::fits) {
    return wrongText(reader, node, "1 to 63 characters of plain ASCII");
  }
  copyBytes(wish->name, name, textLength(name) + 1);
  return succeeded();
}

static XYL_RESULT readLevel(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  UINT64 value = 0;
  XYL_RESULT result = readName(reader, node, g_raidLevelTable, &value);
  wish->level = static_cast<UINT32>(value);
  return result;
}

static XYL_RESULT readMembers(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  return readDisks(reader, node, &wish->disks);
}

static XYL_RESULT readVirtualDiskSize(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  if (textEqual(nodeText(&node), "all")) {
    wish->size = sizeAll;
    return succeeded();
  }
  return readBytes(reader, node, "'all', or a size with its unit, as 600GB", &wish->size);
}

static XYL_RESULT readStripe(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  UINT64 value = 0;
  XYL_RESULT result = readName(reader, node, g_stripeSizeTable, &value);
  wish->stripe = static_cast<UINT32>(value);
  return result;
}

// The element's group of the cache policy.
static XYL_RESULT readPolicy(const Reader &reader, const XML_NODE &node, UINT32 *cache) {
  for (UINT32 i = 0; i < g_cachePolicyGroups.RowCount; ++i) {
    const FIELD_ROW &row = g_cachePolicyGroups.Rows[i];
    if (textEqual(row.Element, node.Name)) {
      UINT64 value = 0;
      XYL_RESULT result = readName(reader, node, row.Names, &value);
      *cache |= static_cast<UINT32>(value);
      return result;
    }
  }
  return mistake(reader, "there is no cache policy ", node.Name);
}

static constexpr Row g_policyRows[] = {
    {"CachePolicy", Reading<readPolicy>::read, Often::once},
    {"WritePolicy", Reading<readPolicy>::read, Often::once},
    {"ReadPolicy", Reading<readPolicy>::read, Often::once},
    {"DiskPolicy", Reading<readPolicy>::read, Often::once},
};

static XYL_RESULT readCache(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  return readChildren(reader, node, g_policyRows, &wish->cache);
}

static XYL_RESULT readOwnSpares(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  return readSpares(reader, node, &wish->spares);
}

static constexpr Row g_virtualDiskRows[] = {
    {"Name", Reading<readVirtualDiskName>::read, Often::always},
    {"RAIDLevel", Reading<readLevel>::read, Often::always},
    {"Disks", Reading<readMembers>::read, Often::once},
    {"Size", Reading<readVirtualDiskSize>::read, Often::once},
    {"StripeSize", Reading<readStripe>::read, Often::once},
    {"CurrentCachePolicy", Reading<readCache>::read, Often::once},
    {"Spares", Reading<readOwnSpares>::read, Often::once},
};

static bool isNamed(const Layout &layout, const CHAR8 *name) {
  for (UINT32 i = 0; i < layout.virtualDisks.count; ++i) {
    if (textEqual(layout.virtualDisks.items[i].name, name)) {
      return true;
    }
  }
  return false;
}

static XYL_RESULT readVirtualDisk(const Reader &outer, const XML_NODE &node, Layout *layout) {
  static constexpr const CHAR8 *words[] = {"error", "keep", "recreate"};
  Reader reader = {outer.context, outer.file, layout, childText(&node, "Name")};
  VirtualDiskWish wish = {};
  UINTN differs = 0;
  XYL_RESULT result = readChoice(reader, node, "differs", words, &differs);
  if (!isFailure(result)) {
    result = readChildren(reader, node, g_virtualDiskRows, &wish);
  }
  if (isFailure(result)) {
    return result;
  }
  wish.differs = static_cast<Differs>(differs);
  if (isNamed(*layout, wish.name)) {
    return mistake(outer, "there are several virtual disks ", wish.name, "; each needs a name of its own");
  }
  if (layout->virtualDisks.count == virtualDisksMax) {
    return mistake(outer, "there are too many virtual disks, from ", wish.name, " on; 64 are the most");
  }
  VirtualDiskWish *place = arrayAppend(layout->virtualDisks);
  if (place == nullptr) {
    complain(reader.context.Front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  *place = wish;
  return succeeded();
}

// --- Modes and rates ---

static XYL_RESULT readRateName(const Reader &reader, const XML_NODE &node, RateWish *wish) {
  const CHAR8 *name = nodeText(&node);
  if (*name == 0 || textLength(name) >= sizeof(wish->name)) {
    return wrongText(reader, node, "1 to 63 characters");
  }
  copyBytes(wish->name, name, textLength(name) + 1);
  return succeeded();
}

static XYL_RESULT readPercent(const Reader &reader, const XML_NODE &node, RateWish *wish) {
  UINT32 percent = 0;
  XYL_RESULT result = readNumber(reader, node, 0, 100, &percent);
  wish->percent = static_cast<UINT8>(percent);
  return result;
}

static constexpr Row g_rateRows[] = {
    {"Name", Reading<readRateName>::read, Often::always},
    {"Value", Reading<readPercent>::read, Often::always},
};

static XYL_RESULT readRate(const Reader &reader, const XML_NODE &node, Layout *layout) {
  RateWish wish = {};
  XYL_RESULT result = readChildren(reader, node, g_rateRows, &wish);
  for (UINT32 i = 0; i < layout->rateCount && !isFailure(result); ++i) {
    if (textEqual(layout->rates[i].name, wish.name)) {
      result = mistake(reader, "there are several rates ", wish.name, "; write it once");
    }
  }
  if (!isFailure(result) && layout->rateCount == RAID_RATE_COUNT) {
    result = mistake(reader, "there are too many rates, from ", wish.name, " on; 8 are the most");
  }
  if (!isFailure(result)) {
    layout->rates[layout->rateCount++] = wish;
  }
  return result;
}

// The element's mode of the adapter.
static XYL_RESULT readMode(const Reader &reader, const XML_NODE &node, Layout *layout) {
  static constexpr VALUE_NAME_TABLE marks[] = {{"True", 1}, {"False", 0}, {nullptr, 0}};
  for (UINT32 i = 0; i < g_adapterFields.RowCount; ++i) {
    const FIELD_ROW &row = g_adapterFields.Rows[i];
    if (!textEqual(row.Element, node.Name)) {
      continue;
    }
    UINT64 value = 0;
    bool isMark = row.Format == FORMAT_MARK;
    XYL_RESULT result = readName(reader, node, isMark ? marks : row.Names, &value);
    UINT64 bits = isMark && value != 0 ? row.Mask : value;
    fieldStore(&layout->adapter, row.Place, (fieldLoad(&layout->adapter, row.Place) & ~UINT64{row.Mask}) | bits);
    layout->modes |= 1ULL << i;
    return result;
  }
  return mistake(reader, "there is no mode ", node.Name);
}

static constexpr Row g_adapterRows[] = {
    {"CheckConsistencyMode", Reading<readMode>::read, Often::once},
    {"LearnMode", Reading<readMode>::read, Often::once},
    {"LoadBalanceMode", Reading<readMode>::read, Often::once},
    {"UncertifiedMode", Reading<readMode>::read, Often::once},
    {"CopyBackMode", Reading<readMode>::read, Often::once},
    {"CorrectUnconfiguredAreas", Reading<readMode>::read, Often::once},
    {"PatrolReadMode", Reading<readMode>::read, Often::once},
    {"Rate", Reading<readRate>::read, Often::repeated},
};

static XYL_RESULT readAdapter(const Reader &reader, const XML_NODE &node, Layout *layout) {
  return readChildren(reader, node, g_adapterRows, layout);
}

// --- The document ---

static XYL_RESULT readGlobalSpares(const Reader &reader, const XML_NODE &node, Layout *layout) {
  return readSpares(reader, node, &layout->globalSpares);
}

static constexpr Row g_layoutRows[] = {
    {"VD", Reading<readVirtualDisk>::read, Often::repeated, "differs"},
    {"Spares", Reading<readGlobalSpares>::read, Often::once},
    {"Adapter", Reading<readAdapter>::read, Often::once},
};

static XYL_RESULT readRoot(const Reader &reader, const XML_NODE &root) {
  static constexpr const CHAR8 *words[] = {"leave", "delete"};
  if (!textEqual(root.Name, "RaidLayout")) {
    return mistake(reader, "this is no layout, whose root is RaidLayout and not ", root.Name);
  }
  UINTN others = 0;
  XYL_RESULT result = readChoice(reader, root, "others", words, &others);
  reader.layout->others = static_cast<Others>(others);
  return isFailure(result) ? result : readChildren(reader, root, g_layoutRows, reader.layout);
}

XYL_RESULT readLayout(const XYL_CONTEXT &context, const CHAR8 *name, const CHAR8 *text, Layout *layout) {
  XML_NODE *root = nullptr;
  XYL_RESULT result = parseTree(context, name, text, &root);
  if (!isFailure(result)) {
    result = readRoot({context, name, layout, nullptr}, *root);
  }
  freeTree(root);
  return result;
}

} // namespace ensure
