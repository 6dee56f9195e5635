#include "base/log.h"
#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "driver/inventory/inventory.h"
#include "driver/xml/xml.h"

namespace xyl::driver {

static constexpr const CHAR8 *schemaInstance = "http://www.w3.org/2001/XMLSchema-instance";

// A root-like element with the schema attributes, or null without memory.
static XML_NODE *newSchemaElement(const CHAR8 *name, const CHAR8 *schema) {
  XML_NODE *node = CreateXMLNode(name);
  if (node == nullptr) {
    return nullptr;
  }
  XML_ATTRIBUTE *space = NewXMLAttribute("xmlns:xsi", schemaInstance);
  node->Attributes = space;
  XML_ATTRIBUTE *location = space == nullptr ? nullptr : NewXMLAttribute("xsi:noNamespaceSchemaLocation", schema);
  if (location == nullptr) {
    FreeXMLNode(node);
    return nullptr;
  }
  space->Next = location;
  location->Prev = space;
  return node;
}

static EFI_STATUS addPCILocationToXML(const RAID_PCI_IDENTITY *identity, XML_NODE *identifier) {
  addPCIIDToXML(identity, identifier);
  if (identifier->FirstChild == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  XML_NODE *location = CreateXMLNode("PCILocation");
  if (location == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  AppendXMLChild(identifier, location);
  return addFieldsToXML(identity, g_pciLocationFields, location);
}

static EFI_STATUS addFirmwareToXML(const RAID_ADAPTER_RECORD *adapter, XML_NODE *inventory) {
  CHAR8 *version = textNarrowDuplicate(adapter->FirmwareVersion);
  XML_ATTRIBUTE *package = NewXMLAttribute("Package", version);
  poolFree(version);
  if (package == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  XML_NODE *firmware = CreateXMLNode("Firmware");
  if (firmware == nullptr) {
    poolFree(package->Name);
    poolFree(package->Value);
    poolFree(package);
    return EFI_OUT_OF_RESOURCES;
  }
  firmware->Attributes = package;
  PushXMLChild(inventory, firmware);
  return EFI_SUCCESS;
}

static EFI_STATUS addInventoryToXML(const RAID_ADAPTER_RECORD *adapter, XML_NODE *root) {
  XML_NODE *inventory = CreateXMLNode("Inventory");
  if (inventory == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  PushXMLChild(root, inventory);
  EFI_STATUS status = addFirmwareToXML(adapter, inventory);
  if (EFI_ERROR(status)) {
    return status;
  }
  XML_NODE *identifier = CreateXMLNode("Identifier");
  if (identifier == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  PushXMLChild(inventory, identifier);
  addPCILocationToXML(&adapter->PCIID, identifier);
  return addFieldsToXML(adapter, g_inventoryFields, inventory);
}

// Steps on to the element that a writer just linked after last. An object whose own element could not be made ends the
// document; one that was cut short does not.
static bool stepOn(XML_NODE *&last) {
  if (last->NextSibling == nullptr) {
    return false;
  }
  last = last->NextSibling;
  return true;
}

// The keys of all disks by enclosure, those of one enclosure in the order of the array; null without memory.
static UINT64 *newDiskIndex(const RAID_CONFIG *config) {
  UINT64 *index = poolNew<UINT64>(config->physicalDiskCount);
  for (UINT32 j = 0; index != nullptr && j < config->physicalDiskCount; ++j) {
    index[j] = indexKey(config->physicalDisks[j].EnclosureDeviceID, j);
  }
  if (index != nullptr) {
    sortKeys(index, config->physicalDiskCount);
  }
  return index;
}

// The disks of the enclosures, one after the other. Without an index all disks are looked at for each.
struct DiskWalk {
  const RAID_CONFIG *config;
  const UINT64 *index;
  UINT32 next;
};

static void beginDisks(DiskWalk &walk, UINT32 deviceId) {
  walk.next = walk.index == nullptr
                  ? 0
                  : static_cast<UINT32>(lowerBound(walk.index, walk.config->physicalDiskCount, indexKey(deviceId, 0)));
}

// The enclosure's next disk, or null behind the last one.
static const RAID_PD_RECORD *nextDisk(DiskWalk &walk, UINT32 deviceId) {
  while (walk.next < walk.config->physicalDiskCount) {
    UINT32 position = walk.index == nullptr ? walk.next : static_cast<UINT32>(walk.index[walk.next]);
    ++walk.next;
    const RAID_PD_RECORD *disk = &walk.config->physicalDisks[position];
    if (disk->EnclosureDeviceID == deviceId) {
      return disk;
    }
    if (walk.index != nullptr) {
      return nullptr;
    }
  }
  return nullptr;
}

// Adds the enclosure's disks behind its last child. An enclosure that got no child of its own stays empty, as an
// adapter does: there is nothing to link a disk to.
static bool addDisksInside(DiskWalk &walk, UINT32 deviceId, XML_NODE *last) {
  if (last == nullptr) {
    return true;
  }
  beginDisks(walk, deviceId);
  while (const RAID_PD_RECORD *disk = nextDisk(walk, deviceId)) {
    addPDToXML(disk, last);
    if (!stepOn(last)) {
      return false;
    }
  }
  return true;
}

static bool addEnclosures(const RAID_CONFIG *config, XML_NODE *&last) {
  UINT64 *index = config->enclosureCount > 1 ? newDiskIndex(config) : nullptr;
  DiskWalk walk = {config, index, 0};
  bool added = true;
  for (UINT32 i = 0; added && i < config->enclosureCount; ++i) {
    const RAID_ENCLOSURE_RECORD *enclosure = &config->enclosures[i];
    addEnclosureToXML(enclosure, last);
    added = stepOn(last) && addDisksInside(walk, enclosure->DeviceID, LastXMLChild(last));
  }
  poolFree(index);
  return added;
}

static bool addDirectDisks(const RAID_CONFIG *config, XML_NODE *&last) {
  for (UINT32 j = 0; j < config->physicalDiskCount; ++j) {
    const RAID_PD_RECORD *disk = &config->physicalDisks[j];
    if (disk->EnclosureDeviceID != RAID_ENCLOSURE_NONE && config->enclosureCount != 0) {
      continue;
    }
    addPDToXML(disk, last);
    if (!stepOn(last)) {
      return false;
    }
  }
  return true;
}

static bool addVirtualDisks(const RAID_CONFIG *config, XML_NODE *&last) {
  for (UINT32 i = 0; i < config->logicalDiskCount; ++i) {
    addLDsToXML(&config->logicalDisks[i], last);
    if (!stepOn(last)) {
      return false;
    }
  }
  return true;
}

// Everything under "raidData".
static EFI_STATUS addObjectsToXML(const RAID_CONFIG *config, XML_NODE *raidData) {
  addAdapterToXML(config->adapter, raidData);
  XML_NODE *adapter = raidData->FirstChild;
  XML_NODE *last = adapter == nullptr ? nullptr : LastXMLChild(adapter);
  if (last == nullptr) {
    return EFI_SUCCESS;
  }
  if (!addEnclosures(config, last) || !addDirectDisks(config, last) || !addVirtualDisks(config, last)) {
    return EFI_OUT_OF_RESOURCES;
  }
  if (config->keyId != nullptr) {
    LogPrint(LOG_TRACE, "cacheToXML", "Adding Keyid to XML");
    addKeyidToXML(config->keyId, last);
  }
  return EFI_SUCCESS;
}

// The sections under root. On failure the caller releases what was linked.
static EFI_STATUS buildDocument(const RAID_CONFIG *config, XML_NODE *root) {
  if (config->adapter != nullptr) {
    addInventoryToXML(config->adapter, root);
  }
  XML_NODE *configuration = CreateXMLNode("Configuration");
  if (configuration == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  AppendXMLChild(root, configuration);
  XML_NODE *raidData = newSchemaElement("raidData", "raiddata.xsd");
  if (raidData == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  PushXMLChild(configuration, raidData);
  return config->adapter == nullptr ? EFI_SUCCESS : addObjectsToXML(config, raidData);
}

static EFI_STATUS writeDocument(const RAID_CONFIG *config, CHAR8 **text) {
  XML_NODE *root = newSchemaElement("xylComponent", "XYLSchema.xsd");
  if (root == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = buildDocument(config, root);
  if (!EFI_ERROR(status)) {
    *text = XMLNodeToText(root);
  }
  FreeXMLNode(root);
  return status;
}

EFI_STATUS cacheToXML(const RAID_CONFIG *config, CHAR8 **text) {
  static constexpr const CHAR8 *routine = "cacheToXML";
  logEntered(routine);
  if (config == nullptr || text == nullptr) {
    return logExit(routine, EFI_INVALID_PARAMETER);
  }
  *text = nullptr;
  return logExit(routine, writeDocument(config, text));
}

} // namespace xyl::driver
