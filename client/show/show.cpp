// show: a summary of an inventory document.
#include "client/show/show.h"
#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "client/controllers/controllers.h"
#include "client/documents/documents.h"
#include "raid_disks.h"
#include "raid_volumes.h"

namespace xyl::client {

static UINT32 countChildren(const XML_NODE *node, const CHAR8 *name) {
  UINT32 count = 0;
  for (const XML_NODE *child = childNamed(node, name); child != nullptr; child = nextSame(child)) {
    ++count;
  }
  return count;
}

static void showAdapter(const Front *front, const XML_NODE *adapter, const XML_NODE *inventory) {
  const XML_NODE *pci = childNamed(adapter, "PCIID");
  const XML_NODE *location = childNamed(childNamed(inventory, "Identifier"), "PCILocation");
  WordList levels = {};
  appendChildren(levels, childNamed(adapter, "SupportedRAIDLevels"), "RaidLevel");
  say(front, "Adapter      %a\n", orNone(childText(adapter, "Name")));
  say(front, "Firmware     %a\n", orNone(childText(adapter, "FirmwareVersion")));
  say(front, "WWN          %a\n", childText(adapter, "WWN"));
  say(front, "PCI ids      %a:%a, subsystem %a:%a\n", childText(pci, "VendorID"), childText(pci, "DeviceID"),
      childText(pci, "SubvendorID"), childText(pci, "SubdeviceID"));
  if (location != nullptr) {
    say(front, "PCI place    bus %a, device %a, function %a\n", childText(location, "PCIBus"),
        childText(location, "PCIDevice"), childText(location, "PCIFunction"));
  }
  say(front, "RAID levels  %a\n", orNone(levels.text));
  say(front, "Key id       %a\n", orNone(childText(adapter, "Keyid")));
}

// What a disk is used for.
static void describeUse(WordList &use, const XML_NODE *disk) {
  const CHAR8 *spare = childText(disk, "Hotspare");
  WordList virtualDisks = {};
  appendReversed(virtualDisks, disk, "VD");
  if (textEqual(spare, "Global")) {
    append(use, "", "global spare");
  } else if (textEqual(spare, "Dedicated")) {
    append(use, "", "spare of ");
  }
  if (*virtualDisks.text != 0) {
    append(use, *spare != 0 ? "" : " ", "VD ");
    append(use, "", virtualDisks.text);
  }
}

// Where the name tells in brackets what keeps a disk from being used, that is as good as its use.
static void describeFault(WordList &use, const XML_NODE *disk) {
  const CHAR8 *name = childText(disk, "Name");
  UINTN length = textLength(name), from = 0;
  while (from < length && name[from] != '(') {
    ++from;
  }
  if (from < length && name[length - 1] == ')') {
    append(use, " ", name + from);
  }
}

static void addSize(Table *table, const XML_NODE *node) {
  CHAR8 size[sizeTextCapacity];
  formatSize(size, parseDecimal(childText(node, "Size")));
  addCell(table, size);
}

static void addDisk(Table *table, const XML_NODE *disk) {
  WordList model = {};
  append(model, "", childText(disk, "ManufactureName"));
  append(model, " ", childText(disk, "ModelName"));
  WordList use = {};
  describeUse(use, disk);
  describeFault(use, disk);
  addCell(table, childText(disk, "Slot"));
  addCell(table, childText(disk, "ObjectID"));
  addCell(table, orNone(model.text));
  addCell(table, childText(disk, "Protocol"));
  addSize(table, disk);
  addCell(table, childText(disk, "State"));
  addCell(table, orNone(use.text));
}

static constexpr TableColumn g_diskColumns[] = {
    {"Slot", 4, true, false}, {"Id", 10, true, false},   {"Model", 24, false, false}, {"Bus", 7, false, false},
    {"Size", 9, true, false}, {"State", 8, false, true}, {"Use", 999, false, false},
};

// In the order of the slots, whatever the document's is.
static bool showDisks(const Front *front, const XML_NODE *parent) {
  struct Placed {
    UINT64 slot;
    UINT32 number; // disks that say the same slot stay in the document's order
    const XML_NODE *disk;
  };
  UINT32 count = countChildren(parent, "PD");
  Placed *placed = poolNew<Placed>(UINTN{count} + 1);
  if (placed == nullptr) {
    return false;
  }
  const XML_NODE *disk = childNamed(parent, "PD");
  for (UINT32 i = 0; i < count; ++i, disk = nextSame(disk)) {
    placed[i] = {parseDecimal(childText(disk, "Slot")), i, disk};
  }
  sortArray(placed, count,
            [](const Placed &a, const Placed &b) { return a.slot != b.slot ? a.slot < b.slot : a.number < b.number; });
  Table table = {g_diskColumns, sizeof(g_diskColumns) / sizeof(g_diskColumns[0]), {}, false};
  for (UINT32 i = 0; i < count; ++i) {
    addDisk(&table, placed[i].disk);
  }
  poolFree(placed);
  return count == 0 || sayTable(front, &table);
}

static bool showEnclosures(const Front *front, const XML_NODE *adapter) {
  bool isDone = true;
  const XML_NODE *enclosure = childNamed(adapter, "Enclosure");
  for (; enclosure != nullptr; enclosure = nextSame(enclosure)) {
    UINT32 disks = countChildren(enclosure, "PD");
    say(front, "\nEnclosure %a, %a: %a slots, %d disk%a\n", childText(enclosure, "ObjectID"),
        orNone(childText(enclosure, "Name")), childText(enclosure, "SlotCount"), disks, disks == 1 ? "" : "s");
    isDone = showDisks(front, enclosure) && isDone;
  }
  if (childNamed(adapter, "PD") != nullptr) {
    say(front, "\nDirectly attached disks: %d\n", countChildren(adapter, "PD"));
    isDone = showDisks(front, adapter) && isDone;
  }
  return isDone;
}

// --- Virtual disks ---

static void addIds(UINT64 *ids, UINT32 *count, const XML_NODE *parent) {
  for (const XML_NODE *disk = childNamed(parent, "PD"); disk != nullptr; disk = nextSame(disk)) {
    ids[(*count)++] = parseDecimal(childText(disk, "ObjectID"));
  }
}

// The ids of all disks in order, and their number; null without memory. The caller frees them.
static UINT64 *diskIds(const XML_NODE *adapter, UINT32 *count) {
  UINT32 room = countChildren(adapter, "PD");
  const XML_NODE *enclosure = childNamed(adapter, "Enclosure");
  for (; enclosure != nullptr; enclosure = nextSame(enclosure)) {
    room += countChildren(enclosure, "PD");
  }
  UINT64 *ids = poolNew<UINT64>(UINTN{room} + 1);
  *count = 0;
  if (ids != nullptr) {
    addIds(ids, count, adapter);
    for (enclosure = childNamed(adapter, "Enclosure"); enclosure != nullptr; enclosure = nextSame(enclosure)) {
      addIds(ids, count, enclosure);
    }
    sortKeys(ids, *count);
  }
  return ids;
}

// The members in the controller's order, and which of them are not there.
static void describeMembers(Text *members, const XML_NODE *virtualDisk, const UINT64 *ids, UINT32 count) {
  const XML_NODE *node = virtualDisk->FirstChild;
  while (node != nullptr && node->NextSibling != nullptr) {
    node = node->NextSibling;
  }
  for (; node != nullptr; node = node->PrevSibling) {
    if (textEqual(node->Name, "PD")) {
      UINT64 id = parseDecimal(nodeText(node));
      UINTN at = lowerBound(ids, count, id);
      putText(members, members->length != 0 ? ", " : "");
      putText(members, nodeText(node));
      putText(members, at < count && ids[at] == id ? "" : " missing");
    }
  }
}

// What tables have room for.
static constexpr struct {
  const CHAR8 *policy;
  const CHAR8 *letter;
} g_cacheWords[] = {
    {"Write Back", "WB"}, {"Write Through", "WT"},  {"Force Write Back", "FWB"}, {"Adaptive Read Ahead", "ARA"},
    {"Read Ahead", "RA"}, {"No Read Ahead", "NRA"}, {"Direct I/O", "DIO"},       {"Cache I/O", "CIO"},
};

static void describeCache(WordList &cache, const XML_NODE *virtualDisk) {
  const XML_NODE *policy = childNamed(virtualDisk, "CurrentCachePolicy");
  for (const auto &word : g_cacheWords) {
    const XML_NODE *item = policy != nullptr ? policy->FirstChild : nullptr;
    while (item != nullptr && !textEqual(nodeText(item), word.policy)) {
      item = item->NextSibling;
    }
    append(cache, " ", item != nullptr ? word.letter : "");
  }
}

static constexpr TableColumn g_virtualDiskColumns[] = {
    {"Id", 10, true, false},   {"Name", 16, false, false},  {"Level", 7, false, false},   {"Size", 9, true, false},
    {"State", 8, false, true}, {"Cache", 12, false, false}, {"Disks", 999, false, false},
};

static void addVirtualDisk(Table *table, const XML_NODE *virtualDisk, const UINT64 *ids, UINT32 count) {
  WordList cache = {};
  describeCache(cache, virtualDisk);
  Text members = {};
  describeMembers(&members, virtualDisk, ids, count);
  addCell(table, childText(virtualDisk, "ObjectID"));
  addCell(table, orNone(childText(virtualDisk, "Name")));
  addCell(table, childText(virtualDisk, "RAIDLevel"));
  addSize(table, virtualDisk);
  addCell(table, childText(virtualDisk, "State"));
  addCell(table, orNone(cache.text));
  addCell(table, orNone(textOf(members)));
  table->failed = table->failed || members.failed;
  freeText(&members);
}

static bool showVirtualDisks(const Front *front, const XML_NODE *adapter) {
  UINT32 virtualDisks = countChildren(adapter, "VD");
  say(front, "\nVirtual disks: %d\n", virtualDisks);
  UINT32 count = 0;
  UINT64 *ids = diskIds(adapter, &count);
  if (ids == nullptr) {
    return false;
  }
  Table table = {g_virtualDiskColumns, sizeof(g_virtualDiskColumns) / sizeof(g_virtualDiskColumns[0]), {}, false};
  for (const XML_NODE *virtualDisk = childNamed(adapter, "VD"); virtualDisk != nullptr;
       virtualDisk = nextSame(virtualDisk)) {
    addVirtualDisk(&table, virtualDisk, ids, count);
  }
  poolFree(ids);
  return virtualDisks == 0 || sayTable(front, &table);
}

// Whether a controller works on the disks that firmware sees.
static bool isOverDisks(EFI_HANDLE controller) {
  static const EFI_GUID disksGuid = RAID_DISKS_PROTOCOL_GUID;
  void *disks = nullptr;
  return controller != nullptr && !EFI_ERROR(g_bootServices->HandleProtocol(controller, &disksGuid, &disks));
}

// Which volumes firmware sees as block devices, where a driver shows them.
static void showInFirmware(const Front *front) {
  static const EFI_GUID volumesGuid = RAID_VOLUMES_PROTOCOL_GUID;
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->LocateProtocol(&volumesGuid, /* Registration= */ nullptr, &found))) {
    return;
  }
  RAID_VOLUMES_PROTOCOL *driver = static_cast<RAID_VOLUMES_PROTOCOL *>(found);
  const CHAR16 *name = nullptr;
  EFI_HANDLE handle = nullptr;
  const CHAR8 *why = nullptr;
  say(front, "\nBlock devices of the firmware\n");
  for (UINT32 i = 0; !EFI_ERROR(driver->List(driver, i, &name, &handle, &why)); ++i) {
    CHAR8 text[64];
    textNarrow(text, name, sizeof(text) - 1);
    say(front, handle != nullptr ? "%a\n" : "not %a: %a\n", text, why);
  }
}

static Result showAll(const Front *front, const XML_NODE *adapter, const XML_NODE *inventory) {
  showAdapter(front, adapter, inventory);
  bool isDone = showEnclosures(front, adapter);
  isDone = showVirtualDisks(front, adapter) && isDone;
  if (!isDone) {
    complain(front, "there is not enough memory, so a table is missing");
  }
  return isDone ? succeeded() : failed(EFI_OUT_OF_RESOURCES);
}

// controller: that it is of, null: none that is here.
static Result showDocument(const Context &context, const CHAR8 *name, const CHAR8 *text, EFI_HANDLE controller) {
  XML_NODE *root = nullptr;
  Result result = parseTree(context, name, text, &root);
  if (isFailure(result)) {
    return result;
  }
  const XML_NODE *adapter = adapterOf(root);
  if (adapter != nullptr && hasOption(context, optionJson)) {
    writeConfiguration(context.front, adapter, childNamed(root, "Inventory"));
  } else if (adapter != nullptr) {
    result = showAll(context.front, adapter, childNamed(root, "Inventory"));
    if (isOverDisks(controller)) {
      showInFirmware(context.front);
    }
  } else {
    complain(context.front, "%a has no adapter, so it is no configuration document; 'xyl get -o FILE' writes one",
             name);
    result = failed(EFI_INVALID_PARAMETER, Reason::document);
  }
  freeTree(root);
  return result;
}

Result runShow(const Context &context) {
  DocumentText document;
  Result result;
  const CHAR8 *name = "the inventory";
  EFI_HANDLE handle = nullptr;
  if (context.request->operandCount != 0) {
    name = context.request->operands[0];
    result = readDocument(context, name, &document);
  } else {
    Controller controller;
    bool isWhole = true;
    result = openController(context, &controller);
    handle = isFailure(result) ? nullptr : controller.handle;
    if (!isFailure(result)) {
      result = readToldInventory(context, controller, &document, &isWhole);
    }
  }
  if (isFailure(result)) {
    return result;
  }
  result = showDocument(context, name, document.text, handle);
  releaseDocument(&document);
  return result;
}

} // namespace xyl::client
