// show: a summary of an inventory document.
#include "xyl/show/show.h"
#include "base/pool.h"
#include "base/text.h"
#include "xyl/controllers/controllers.h"
#include "xyl/documents/documents.h"

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
  WORD_LIST levels = {};
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
  say(host, u"RAID levels  %a\n", orNone(levels.Text));
  say(host, u"Key id       %a\n", orNone(childText(adapter, "Keyid")));
}

// What a disk is used for.
static void describeUse(WORD_LIST &use, const XML_NODE *disk) {
  const CHAR8 *spare = childText(disk, "Hotspare");
  WORD_LIST volumes = {};
  appendReversed(volumes, disk, "VD");
  if (textEqual(spare, "Global")) {
    append(use, "", "global hot spare");
  } else if (textEqual(spare, "Dedicated")) {
    append(use, "", "hot spare of ");
  }
  if (*volumes.Text != 0) {
    append(use, *spare != 0 ? "" : " ", "VD ");
    append(use, "", volumes.Text);
  }
}

static void showDisks(const XYL_HOST *host, const XML_NODE *parent) {
  const XML_NODE *disk = childNamed(parent, "PD");
  if (disk == nullptr) {
    return;
  }
  say(host, u"  %4a  %6a  %-24a  %-8a  %10a  %-10a  %a\n", "Slot", "Id", "Model", "Protocol", "Size", "State", "Use");
  for (; disk != nullptr; disk = nextSame(disk)) {
    WORD_LIST model = {};
    append(model, "", childText(disk, "ManufactureName"));
    append(model, " ", childText(disk, "ModelName"));
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, parseDecimal(childText(disk, "Size")));
    WORD_LIST use = {};
    describeUse(use, disk);
    say(host, u"  %4a  %6a  %-24a  %-8a  %10a  ", childText(disk, "Slot"), childText(disk, "ObjectID"),
        orNone(model.Text), childText(disk, "Protocol"), size);
    sayMarked(host, childText(disk, "State"), 10);
    say(host, u"  %a\n", orNone(use.Text));
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
  say(host, u"  %6a  %-16a  %-8a  %10a  %-10a  %-24a  %a\n", "Id", "Name", "Level", "Size", "State", "Disks", "Cache");
  for (; volume != nullptr; volume = nextSame(volume)) {
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, parseDecimal(childText(volume, "Size")));
    WORD_LIST members = {};
    appendReversed(members, volume, "PD");
    WORD_LIST cache = {};
    const XML_NODE *policy = childNamed(volume, "CurrentCachePolicy");
    for (const XML_NODE *item = policy != nullptr ? policy->FirstChild : nullptr; item != nullptr;
         item = item->NextSibling) {
      append(cache, ", ", nodeText(item));
    }
    say(host, u"  %6a  %-16a  %-8a  %10a  ", childText(volume, "ObjectID"), orNone(childText(volume, "Name")),
        childText(volume, "RAIDLevel"), size);
    sayMarked(host, childText(volume, "State"), 10);
    say(host, u"  %-24a  %a\n", orNone(members.Text), orNone(cache.Text));
  }
}

static XYL_RESULT showDocument(const XYL_CONTEXT &context, const CHAR8 *name, const CHAR8 *text) {
  XML_NODE *root = nullptr;
  XYL_RESULT result = parseTree(context, name, text, &root);
  if (isFailure(result)) {
    return result;
  }
  const XML_NODE *adapter = adapterOf(root);
  if (adapter != nullptr && hasOption(context, XYL_OPTION_JSON)) {
    writeConfiguration(context.Host, adapter, childNamed(root, "Inventory"));
  } else if (adapter != nullptr) {
    showAdapter(context.Host, adapter, childNamed(root, "Inventory"));
    showEnclosures(context.Host, adapter);
    showVirtualDisks(context.Host, adapter);
  } else {
    complain(context.Host, u"%a has no adapter, so it is no configuration document; 'xyl get -o FILE' writes one",
             name);
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
  releaseDocument(&document);
  return result;
}
