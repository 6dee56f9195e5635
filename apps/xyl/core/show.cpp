// show: a summary of an inventory document.
#include "apps/xyl/core/controllers.h"
#include "apps/xyl/core/document.h"
#include "base/pool.h"
#include "base/text.h"

#define LIST_CAPACITY 256

// Appends text behind a separator; what does not fit is cut.
static void append(CHAR8 (&list)[LIST_CAPACITY], const CHAR8 *separator, const CHAR8 *text) {
  UINTN length = textLength(list);
  const CHAR8 *parts[] = {length != 0 ? separator : "", text};
  for (const CHAR8 *part : parts) {
    for (; *part != 0 && length < LIST_CAPACITY - 1; ++part) {
      list[length++] = *part;
    }
  }
  list[length] = 0;
}

// Appends the texts of the node's children of that name.
static void appendChildren(CHAR8 (&list)[LIST_CAPACITY], const XML_NODE *node, const CHAR8 *name) {
  const XML_NODE *child = childNamed(node, name);
  for (; child != nullptr; child = nextSame(child)) {
    append(list, ", ", nodeText(child));
  }
}

// As appendChildren, from the last to the first: documents list ids in the reverse of the controller's order.
static void appendIds(CHAR8 (&list)[LIST_CAPACITY], const XML_NODE *node, const CHAR8 *name) {
  const XML_NODE *end = nullptr;
  for (;;) {
    const XML_NODE *last = nullptr;
    for (const XML_NODE *child = childNamed(node, name); child != end && child != nullptr; child = nextSame(child)) {
      last = child;
    }
    if (last == nullptr) {
      return;
    }
    append(list, ", ", nodeText(last));
    end = last;
  }
}

static const CHAR8 *orNone(const CHAR8 *text) {
  return *text != 0 ? text : "-";
}

static UINT32 countChildren(const XML_NODE *node, const CHAR8 *name) {
  UINT32 count = 0;
  for (const XML_NODE *child = childNamed(node, name); child != nullptr; child = nextSame(child)) {
    ++count;
  }
  return count;
}

static void showAdapter(const XYL_HOST *host, const XML_NODE *adapter, const XML_NODE *inventory) {
  const XML_NODE *pci = childNamed(adapter, "PCIID");
  const XML_NODE *location = childNamed(childNamed(inventory, "Identifier"), "PCILocation");
  CHAR8 levels[LIST_CAPACITY] = {};
  appendChildren(levels, childNamed(adapter, "SupportedRAIDLevels"), "RaidLevel");
  say(host, u"Adapter      %a\n", orNone(childText(adapter, "Name")));
  say(host, u"Firmware     %a\n", orNone(childText(adapter, "FirmwareVersion")));
  say(host, u"WWN          %a\n", childText(adapter, "WWN"));
  say(host, u"PCI ids      %a:%a, subsystem %a:%a\n", childText(pci, "VendorID"), childText(pci, "DeviceID"),
      childText(pci, "SubvendorID"), childText(pci, "SubdeviceID"));
  if (location != nullptr) {
    say(host, u"PCI place    bus %a, device %a, function %a\n", childText(location, "PCIBus"),
        childText(location, "PCIDevice"), childText(location, "PCIFunction"));
  }
  say(host, u"RAID levels  %a\n", orNone(levels));
  say(host, u"Key id       %a\n", orNone(childText(adapter, "Keyid")));
}

// What a disk is used for.
static void describeUse(CHAR8 (&use)[LIST_CAPACITY], const XML_NODE *disk) {
  const CHAR8 *spare = childText(disk, "Hotspare");
  CHAR8 volumes[LIST_CAPACITY] = {};
  appendIds(volumes, disk, "VD");
  if (textEqual(spare, "Global")) {
    append(use, "", "global hot spare");
  } else if (textEqual(spare, "Dedicated")) {
    append(use, "", "hot spare of ");
  }
  if (*volumes != 0) {
    append(use, *spare != 0 ? "" : " ", "VD ");
    append(use, "", volumes);
  }
}

static void showDisks(const XYL_HOST *host, const XML_NODE *parent) {
  const XML_NODE *disk = childNamed(parent, "PD");
  if (disk == nullptr) {
    return;
  }
  say(host, u"  %4a  %6a  %-24a  %-8a  %10a  %-10a  %a\n", "Slot", "Id", "Model", "Protocol", "Size", "State", "Use");
  for (; disk != nullptr; disk = nextSame(disk)) {
    CHAR8 model[LIST_CAPACITY] = {};
    append(model, "", childText(disk, "ManufactureName"));
    append(model, " ", childText(disk, "ModelName"));
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, parseDecimal(childText(disk, "Size")));
    CHAR8 use[LIST_CAPACITY] = {};
    describeUse(use, disk);
    say(host, u"  %4a  %6a  %-24a  %-8a  %10a  %-10a  %a\n", childText(disk, "Slot"), childText(disk, "ObjectID"),
        orNone(model), childText(disk, "Protocol"), size, childText(disk, "State"), orNone(use));
  }
}

static void showEnclosures(const XYL_HOST *host, const XML_NODE *adapter) {
  const XML_NODE *enclosure = childNamed(adapter, "Enclosure");
  for (; enclosure != nullptr; enclosure = nextSame(enclosure)) {
    UINT32 disks = countChildren(enclosure, "PD");
    say(host, u"\nEnclosure %a, %a: %a slots, %d disk%a\n", childText(enclosure, "ObjectID"),
        orNone(childText(enclosure, "Name")), childText(enclosure, "SlotCount"), disks, disks == 1 ? "" : "s");
    showDisks(host, enclosure);
  }
  if (childNamed(adapter, "PD") != nullptr) {
    say(host, u"\nDirectly attached disks: %d\n", countChildren(adapter, "PD"));
    showDisks(host, adapter);
  }
}

static void showVirtualDisks(const XYL_HOST *host, const XML_NODE *adapter) {
  const XML_NODE *volume = childNamed(adapter, "VD");
  say(host, u"\nVirtual disks: %d\n", countChildren(adapter, "VD"));
  if (volume == nullptr) {
    return;
  }
  say(host, u"  %6a  %-16a  %-8a  %10a  %-10a  %-16a  %a\n", "Id", "Name", "Level", "Size", "State", "Disks", "Cache");
  for (; volume != nullptr; volume = nextSame(volume)) {
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, parseDecimal(childText(volume, "Size")));
    CHAR8 members[LIST_CAPACITY] = {};
    appendIds(members, volume, "PD");
    CHAR8 cache[LIST_CAPACITY] = {};
    const XML_NODE *policy = childNamed(volume, "CurrentCachePolicy");
    for (const XML_NODE *item = policy != nullptr ? policy->FirstChild : nullptr; item != nullptr;
         item = item->NextSibling) {
      append(cache, ", ", nodeText(item));
    }
    say(host, u"  %6a  %-16a  %-8a  %10a  %-10a  %-16a  %a\n", childText(volume, "ObjectID"),
        orNone(childText(volume, "Name")), childText(volume, "RAIDLevel"), size, childText(volume, "State"),
        orNone(members), orNone(cache));
  }
}

static XYL_RESULT showDocument(const XYL_CONTEXT &context, const CHAR8 *name, const CHAR8 *text) {
  XML_NODE *root = nullptr;
  XYL_RESULT result = parseTree(context, name, text, &root);
  if (isFailure(result)) {
    return result;
  }
  const XML_NODE *adapter = adapterOf(root);
  if (adapter != nullptr) {
    showAdapter(context.Host, adapter, childNamed(root, "Inventory"));
    showEnclosures(context.Host, adapter);
    showVirtualDisks(context.Host, adapter);
  } else {
    complain(context.Host, u"%a has no adapter, so it is no configuration document", name);
    result = failed(EFI_INVALID_PARAMETER);
  }
  freeTree(root);
  return result;
}

XYL_RESULT runShow(const XYL_CONTEXT &context) {
  DOCUMENT_TEXT document;
  XYL_RESULT result;
  const CHAR8 *name = "the inventory";
  if (context.Request->OperandCount != 0) {
    name = context.Request->Operands[0];
    result = readDocument(context, name, &document);
  } else {
    RAID_XYL_PROTOCOL *operations = nullptr;
    result = selectController(context, &operations);
    if (!isFailure(result)) {
      result = readInventory(context, operations, &document);
    }
  }
  if (isFailure(result)) {
    return result;
  }
  result = showDocument(context, name, document.Text);
  poolFree(document.Text);
  return result;
}
