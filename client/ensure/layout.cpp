// Layout documents as they are read: rows of what each element may hold.
#include "client/ensure/layout.h"

#include "base/text.h"
#include "client/output/output.h"
#include "driver/xml/xml.h"

namespace xyl::client::ensure {

namespace {

// What is known while the document is read.
struct Reader {
  const Context &context;
  const CHAR8 *file;
  Layout *layout;
  const CHAR8 *virtualDisk; // the name of the one that is read, "" for one without, or null
};

enum class Often : UINT8 { once, always, repeated }; // at most once; just once; any number

// An element inside another one. All that may stand inside one have routines for the same kind of wish.
struct Row {
  const CHAR8 *name;
  Result (*read)(const Reader &reader, const XML_NODE &node, void *into);
  Often often;
  const CHAR8 *attribute = ""; // that it may have
};

struct Rows {
  const Row *items;
  UINTN count;
};

// The routine readRow for a row.
template <auto readRow> struct Reading;
template <class Wish, Result (*readRow)(const Reader &, const XML_NODE &, Wish *)> struct Reading<readRow> {
  static Result read(const Reader &reader, const XML_NODE &node, void *into) {
    return readRow(reader, node, static_cast<Wish *>(into));
  }
};

} // namespace

// --- Mistakes ---

// Says what is wrong, and where: 'web.xml', virtual disk 'data': what which more.
static Result mistake(const Reader &reader, const CHAR8 *what, const CHAR8 *which, const CHAR8 *more = "") {
  bool isInside = reader.virtualDisk != nullptr;
  complain(reader.context.front, "'%a'%a%a%a: %a'%a'%a", reader.file, isInside ? ", virtual disk '" : "",
           isInside ? reader.virtualDisk : "", isInside ? "'" : "", what, which, more);
  return failed(EFI_INVALID_PARAMETER, Reason::document);
}

static Result wrongText(const Reader &reader, const XML_NODE &node, const CHAR8 *wanted) {
  WordList what = {};
  append(what, "", node.Name);
  append(what, "", " cannot be ");
  WordList more = {};
  append(more, "", "; it is ");
  append(more, "", wanted);
  return mistake(reader, what.text, nodeText(&node), more.text);
}

// --- Attributes ---

// The value of the attribute of that name, or null. Others are mistakes, but for those about the document itself.
static Result readAttribute(const Reader &reader, const XML_NODE &node, const CHAR8 *name, const CHAR8 **value) {
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
template <UINTN count>
static Result readChoice(const Reader &reader, const XML_NODE &node, const CHAR8 *name,
                         const CHAR8 *const (&words)[count], UINTN *choice) {
  const CHAR8 *value = nullptr;
  Result result = readAttribute(reader, node, name, &value);
  *choice = 0;
  if (isFailure(result) || value == nullptr) {
    return result;
  }
  WordList names = {};
  for (UINTN i = 0; i < count; ++i) {
    if (textEqual(words[i], value)) {
      *choice = i;
      return succeeded();
    }
    append(names, ", ", words[i]);
  }
  WordList what = {};
  append(what, "", name);
  append(what, "", " cannot be ");
  WordList more = {};
  append(more, "", "; it is one of ");
  append(more, "", names.text);
  return mistake(reader, what.text, value, more.text);
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
static Result notAmong(const Reader &reader, const Rows &rows, const XML_NODE &node, const CHAR8 *kind,
                       const CHAR8 *which) {
  WordList more = {};
  append(more, "", "; it has ");
  for (UINTN i = 0; i < rows.count; ++i) {
    append(more, i == 0 ? "" : ", ", rows.items[i].name);
  }
  WordList what = {};
  append(what, "", node.Name);
  append(what, "", kind);
  return mistake(reader, what.text, which, more.text);
}

static bool isBlank(const CHAR8 *text) {
  while (*text == ' ' || *text == '\t' || *text == '\n' || *text == '\r') {
    ++text;
  }
  return *text == 0;
}

// Reads the children of node, which are those of the rows.
static Result readChildren(const Reader &reader, const XML_NODE &node, const Rows &rows, void *into) {
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
    Result result = readAttribute(reader, *child, row.attribute, &attribute);
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

template <UINTN count>
static Result readChildren(const Reader &reader, const XML_NODE &node, const Row (&rows)[count], void *into) {
  return readChildren(reader, node, Rows{rows, count}, into);
}

// --- Values ---

// One of the table's names.
static Result readName(const Reader &reader, const XML_NODE &node, const driver::VALUE_NAME_TABLE *table,
                       UINT64 *value) {
  *value = driver::GetValueFromName(nodeText(&node), table);
  if (*value != driver::valueNotFound) {
    return succeeded();
  }
  WordList wanted = {};
  append(wanted, "", "one of");
  const CHAR8 *separator = " ";
  for (; table->Name != nullptr; ++table, separator = ", ") {
    append(wanted, separator, table->Name);
  }
  return wrongText(reader, node, wanted.text);
}

static bool isDecimal(const CHAR8 *text) {
  UINTN digits = 0;
  while (text[digits] >= '0' && text[digits] <= '9') {
    ++digits;
  }
  return digits != 0 && text[digits] == 0;
}

static Result readNumber(const Reader &reader, const XML_NODE &node, UINT64 least, UINT64 most, UINT32 *number) {
  UINT64 value = parseDecimal(nodeText(&node));
  if (!isDecimal(nodeText(&node)) || value < least || value > most) {
    WordList wanted = {};
    append(wanted, "", "a number from");
    appendNumber(wanted, " ", least);
    appendNumber(wanted, " to ", most);
    return wrongText(reader, node, wanted.text);
  }
  *number = static_cast<UINT32>(value);
  return succeeded();
}

static Result readBytes(const Reader &reader, const XML_NODE &node, const CHAR8 *wanted, UINT64 *size) {
  *size = parseSize(nodeText(&node));
  return *size != 0 && !lacksUnit(nodeText(&node)) ? succeeded() : wrongText(reader, node, wanted);
}

// --- Disks ---

static constexpr driver::VALUE_NAME_TABLE g_mediumTable[] = {
    {"HDD", RAID_LEVEL_ATTRIBUTE_HDD}, {"SSD", RAID_LEVEL_ATTRIBUTE_SSD}, {nullptr, 0}};

static Result readMedium(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  UINT64 value = 0;
  Result result = readName(reader, node, g_mediumTable, &value);
  wish->medium = static_cast<UINT32>(value);
  return result;
}

static Result readProtocol(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  UINT64 value = 0;
  Result result = readName(reader, node, driver::g_protocolTable, &value);
  wish->protocol = static_cast<UINT32>(value);
  return result;
}

static Result readCount(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  return readNumber(reader, node, 1, 0xFFFF, &wish->count);
}

static Result readSmallest(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  return readBytes(reader, node, "a size with its unit, as 600GB", &wish->smallest);
}

static Result readPlace(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
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

static Result readDisks(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  return readChildren(reader, node, g_diskRows, wish);
}

// Hot spares are one when no number is given.
static Result readSpares(const Reader &reader, const XML_NODE &node, DiskWish *wish) {
  Result result = readDisks(reader, node, wish);
  wish->count = wish->count != 0 ? wish->count : 1;
  return result;
}

// --- Virtual disks ---

static Result readVirtualDiskName(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  const CHAR8 *name = nodeText(&node);
  if (*name == 0 || fitting::judgeName(name, /* isOnDisks= */ false) != fitting::NameVerdict::fits) {
    return wrongText(reader, node, "1 to 63 characters of plain ASCII");
  }
  copyBytes(wish->name, name, textLength(name) + 1);
  return succeeded();
}

static Result readLevel(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  UINT64 value = 0;
  Result result = readName(reader, node, driver::g_raidLevelTable, &value);
  wish->level = static_cast<UINT32>(value);
  return result;
}

static Result readMembers(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  return readDisks(reader, node, &wish->disks);
}

static Result readVirtualDiskSize(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  if (textEqual(nodeText(&node), "all")) {
    wish->size = sizeAll;
    return succeeded();
  }
  return readBytes(reader, node, "'all', or a size with its unit, as 600GB", &wish->size);
}

static Result readStripe(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  UINT64 value = 0;
  Result result = readName(reader, node, driver::g_stripeSizeTable, &value);
  wish->stripe = static_cast<UINT32>(value);
  return result;
}

// The element's group of the cache policy.
static Result readPolicy(const Reader &reader, const XML_NODE &node, UINT32 *cache) {
  for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_cachePolicyGroups.rows[i];
    if (textEqual(row.element, node.Name)) {
      UINT64 value = 0;
      Result result = readName(reader, node, row.names, &value);
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

static Result readCache(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
  return readChildren(reader, node, g_policyRows, &wish->cache);
}

static Result readOwnSpares(const Reader &reader, const XML_NODE &node, VirtualDiskWish *wish) {
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

static Result readVirtualDisk(const Reader &outer, const XML_NODE &node, Layout *layout) {
  static constexpr const CHAR8 *words[] = {"error", "keep", "recreate"};
  Reader reader = {outer.context, outer.file, layout, childText(&node, "Name")};
  VirtualDiskWish wish = {};
  UINTN differs = 0;
  Result result = readChoice(reader, node, "differs", words, &differs);
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
    complain(reader.context.front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  *place = wish;
  return succeeded();
}

// --- Modes and rates ---

static Result readRateName(const Reader &reader, const XML_NODE &node, RateWish *wish) {
  const CHAR8 *name = nodeText(&node);
  if (*name == 0 || textLength(name) >= sizeof(wish->name)) {
    return wrongText(reader, node, "1 to 63 characters");
  }
  copyBytes(wish->name, name, textLength(name) + 1);
  return succeeded();
}

static Result readPercent(const Reader &reader, const XML_NODE &node, RateWish *wish) {
  UINT32 percent = 0;
  Result result = readNumber(reader, node, 0, 100, &percent);
  wish->percent = static_cast<UINT8>(percent);
  return result;
}

static constexpr Row g_rateRows[] = {
    {"Name", Reading<readRateName>::read, Often::always},
    {"Value", Reading<readPercent>::read, Often::always},
};

static Result readRate(const Reader &reader, const XML_NODE &node, Layout *layout) {
  RateWish wish = {};
  Result result = readChildren(reader, node, g_rateRows, &wish);
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
static Result readMode(const Reader &reader, const XML_NODE &node, Layout *layout) {
  static constexpr driver::VALUE_NAME_TABLE marks[] = {{"True", 1}, {"False", 0}, {nullptr, 0}};
  for (UINT32 i = 0; i < driver::g_adapterFields.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_adapterFields.rows[i];
    if (!textEqual(row.element, node.Name)) {
      continue;
    }
    UINT64 value = 0;
    bool isMark = row.format == driver::FieldFormat::mark;
    Result result = readName(reader, node, isMark ? marks : row.names, &value);
    UINT64 bits = isMark && value != 0 ? row.mask : value;
    driver::fieldStore(&layout->adapter, row.place,
                       (driver::fieldLoad(&layout->adapter, row.place) & ~UINT64{row.mask}) | bits);
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

static Result readAdapter(const Reader &reader, const XML_NODE &node, Layout *layout) {
  return readChildren(reader, node, g_adapterRows, layout);
}

// --- The document ---

static Result readGlobalSpares(const Reader &reader, const XML_NODE &node, Layout *layout) {
  return readSpares(reader, node, &layout->globalSpares);
}

static constexpr Row g_layoutRows[] = {
    {"VD", Reading<readVirtualDisk>::read, Often::repeated, "differs"},
    {"Spares", Reading<readGlobalSpares>::read, Often::once},
    {"Adapter", Reading<readAdapter>::read, Often::once},
};

static Result readRoot(const Reader &reader, const XML_NODE &root) {
  static constexpr const CHAR8 *words[] = {"leave", "delete"};
  if (!textEqual(root.Name, "RaidLayout")) {
    return mistake(reader, "this is no layout, whose root is RaidLayout and not ", root.Name);
  }
  UINTN others = 0;
  Result result = readChoice(reader, root, "others", words, &others);
  reader.layout->others = static_cast<Others>(others);
  return isFailure(result) ? result : readChildren(reader, root, g_layoutRows, reader.layout);
}

Result readLayout(const Context &context, const CHAR8 *name, const CHAR8 *text, Layout *layout) {
  XML_NODE *root = nullptr;
  Result result = parseTree(context, name, text, &root);
  if (!isFailure(result)) {
    result = readRoot({context, name, layout, nullptr}, *root);
  }
  freeTree(root);
  return result;
}

} // namespace xyl::client::ensure
