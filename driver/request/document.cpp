// Recognising a configuration document and walking down to its objects.
#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/request/reader.h"
#include "driver/request/request.h"
#include "driver/xml/xml.h"

namespace xyl::driver {

static constexpr const CHAR8 *parseBlobName = "ParseXMLBlob";

// Makes sure that slot holds a configuration, an empty one when fresh.
static bool prepareConfig(RAID_CONFIG **slot, bool fresh) {
  if (*slot == nullptr) {
    *slot = poolNew<RAID_CONFIG>();
  } else if (fresh) {
    zeroBytes(*slot, sizeof(**slot));
  }
  return *slot != nullptr;
}

static EFI_STATUS readRaidData(XML_NODE *raidData, RAID_CONFIG **configs, UINT32 *count,
                               const RAID_PCI_IDENTITY &location) {
  UINT32 filled = 0;
  bool fresh = true;
  for (XML_NODE *child = raidData->FirstChild; child != nullptr && filled < *count; child = child->NextSibling) {
    RAID_CONFIG **slot = &configs[filled];
    if (!prepareConfig(slot, fresh)) {
      *count = 0;
      return EFI_OUT_OF_RESOURCES;
    }
    if (isNamed(child, "Method")) {
      // A method that cannot be read is left out; that memory was short must not stay unsaid.
      if (parseMethod(child, *slot) == EFI_OUT_OF_RESOURCES) {
        LogPrint(LOG_ERROR, "ParseRAIDData", "Out of memory, a method is left out");
      }
      g_unreadElement.text[0] = 0; // fails nothing but its method
      fresh = false;               // the next adapter keeps the commands
    }
    if (!isNamed(child, "Adapter")) {
      continue;
    }
    EFI_STATUS status = parseAdapter(child, *slot);
    if (EFI_ERROR(status)) {
      *count = 0;
      return status;
    }
    RAID_ADAPTER_RECORD *adapter = (*slot)->adapter;
    adapter->PCIID.PCIBus = location.PCIBus;
    adapter->PCIID.PCIDevice = location.PCIDevice;
    adapter->PCIID.PCIFunction = location.PCIFunction;
    ++filled;
    fresh = true;
  }
  *count = filled;
  return EFI_SUCCESS;
}

EFI_STATUS ParseRAIDData(XML_NODE *raidData, RAID_CONFIG **configs, UINT32 *count, UINT8 bus, UINT8 device,
                         UINT8 function) {
  static constexpr const CHAR8 *routine = "ParseRAIDData";
  logEntered(routine);
  if (raidData == nullptr || configs == nullptr || count == nullptr || *count == 0) {
    return logExit(routine, EFI_INVALID_PARAMETER);
  }
  if (raidData->FirstChild == nullptr) {
    return logExit(routine, EFI_UNSUPPORTED);
  }
  RAID_PCI_IDENTITY location = {};
  location.PCIBus = bus;
  location.PCIDevice = device;
  location.PCIFunction = function;
  return logExit(routine, readRaidData(raidData, configs, count, location));
}

// The first "raidData" of a "Configuration", or null.
static XML_NODE *raidDataOf(const XML_NODE *configuration) {
  if (configuration == nullptr || !isNamed(configuration, "Configuration")) {
    return nullptr;
  }
  XML_NODE *first = configuration->FirstChild;
  return first != nullptr && isNamed(first, "raidData") ? first : nullptr;
}

static RAID_PCI_IDENTITY locationOf(const XML_NODE *inventory) {
  RAID_PCI_IDENTITY location = {};
  for (const XML_NODE *child = inventory->FirstChild; child != nullptr; child = child->NextSibling) {
    if (!isNamed(child, "Identifier")) {
      continue;
    }
    for (const XML_NODE *part = child->FirstChild; part != nullptr; part = part->NextSibling) {
      if (isNamed(part, "PCILocation")) {
        readFields(part, g_pciLocationFields, &location);
      }
    }
  }
  return location;
}

static EFI_STATUS readComponent(const XML_NODE *root, RAID_CONFIG **configs, UINT32 *count) {
  const XML_NODE *first = root->FirstChild;
  if (first == nullptr) {
    *count = 0;
    return EFI_INVALID_PARAMETER;
  }
  RAID_PCI_IDENTITY location = {};
  XML_NODE *raidData = raidDataOf(first);
  if (isNamed(first, "Inventory")) {
    location = locationOf(first);
    raidData = raidDataOf(first->NextSibling);
  }
  return raidData == nullptr
             ? EFI_INVALID_PARAMETER
             : ParseRAIDData(raidData, configs, count, location.PCIBus, location.PCIDevice, location.PCIFunction);
}

EFI_STATUS ParseXYLComponent(XML_NODE *root, RAID_CONFIG **configs, UINT32 *count) {
  static constexpr const CHAR8 *routine = "ParseXYLComponent";
  logEntered(routine);
  if (root == nullptr || configs == nullptr || count == nullptr || *count == 0) {
    return logExit(routine, EFI_INVALID_PARAMETER);
  }
  return logExit(routine, readComponent(root, configs, count));
}

static EFI_STATUS readRoot(XML_NODE *root, RAID_CONFIG **configs, UINT32 *count) {
  if (isNamed(root, "xylComponent")) {
    return ParseXYLComponent(root, configs, count);
  }
  if (isNamed(root, "raidData")) {
    return ParseRAIDData(root, configs, count, 0, 0, 0);
  }
  LoggableText shown;
  LogPrint(LOG_ERROR, parseBlobName, "DOC head is %a, I don't know how to parse this", loggableText(root->Name, shown));
  *count = 0;
  return EFI_INVALID_PARAMETER;
}

static void wipeTexts(const XML_NODE *element) {
  if (element->Content != nullptr) {
    wipeBytes(element->Content, textLength(element->Content));
  }
  for (const XML_ATTRIBUTE *attribute = element->Attributes; attribute != nullptr; attribute = attribute->Next) {
    wipeBytes(attribute->Value, textLength(attribute->Value));
  }
}

// Links the children back to one another.
static void linkBack(const XML_NODE *parent) {
  XML_NODE *last = nullptr;
  for (XML_NODE *child = parent->FirstChild; child != nullptr; child = child->NextSibling) {
    child->PrevSibling = last;
    last = child;
  }
}

// Overwrites every text of the tree. A service need not do so when it gives them back, and a passphrase may stand
// anywhere: in a method that was left out or never reached, under a misspelt name, in a wrong place. Documents may be
// of any depth, so that the way up is not kept on the stack: PrevSibling leads to the parent meanwhile.
static void wipeTree(XML_NODE *root) {
  for (XML_NODE *node = root;;) {
    wipeTexts(node);
    if (node->FirstChild != nullptr) {
      node->FirstChild->PrevSibling = node;
      node = node->FirstChild;
      continue;
    }
    while (node != root && node->NextSibling == nullptr) {
      node = node->PrevSibling;
      linkBack(node);
    }
    if (node == root) {
      return;
    }
    node->NextSibling->PrevSibling = node->PrevSibling;
    node = node->NextSibling;
  }
}

static EFI_STATUS parseBlob(const CHAR8 *text, RAID_CONFIG **configs, UINT32 *count) {
  if (text == nullptr || configs == nullptr || count == nullptr || *count == 0) {
    return EFI_INVALID_PARAMETER;
  }
  getXMLProto();
  if (g_xmlProtocol == nullptr) {
    return EFI_NOT_FOUND;
  }
  g_unreadElement.text[0] = 0;
  LogPrint(LOG_TRACE, parseBlobName, "About to Parse the XML blob...");
  XML_NODE *root = nullptr;
  EFI_STATUS status = g_xmlProtocol->Parse(g_xmlProtocol, text, &root);
  LogPrint(LOG_TRACE, parseBlobName, "Return from Parsing blob %r", status);
  if (root == nullptr) {
    LogPrint(LOG_ERROR, parseBlobName, "Parse doc failed to parse");
    *count = 0;
    return status;
  }
  status = readRoot(root, configs, count);
  wipeTree(root);
  FreeXMLNode(root);
  return status;
}

EFI_STATUS ParseXMLBlob(const CHAR8 *text, RAID_CONFIG **configs, UINT32 *count) {
  logEntered(parseBlobName);
  return logExit(parseBlobName, parseBlob(text, configs, count));
}

} // namespace xyl::driver
