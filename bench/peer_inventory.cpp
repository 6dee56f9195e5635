#include "bench/peer_inventory.h"

#include <cstring>
#include <pugixml.hpp>

#include "base/text.h"
#include "bench/peers.h"
#include "driver/xml/xml.h"

using namespace xyl;
using namespace xyl::driver;

using pugi::xml_node;

static void addText(xml_node parent, const char *name, const char *text) {
  xml_node node = parent.append_child(name);
  if (*text != 0) {
    node.text().set(text);
  }
}

static void addFields(xml_node parent, const void *record, const FieldTable &fields);

// Texts of fields are made in a buffer on the stack.
struct FieldText {
  char text[256];
};

static void cut(FieldText &out, const char *text, size_t limit) {
  size_t length = std::strlen(text);
  length = length < limit ? length : limit;
  std::memcpy(out.text, text, length);
  out.text[length] = 0;
}

static void fixedText(FieldText &out, const void *record, const FieldRow &row) {
  const char *field = static_cast<const char *>(record) + row.place.offset;
  size_t length = 0;
  while (length < row.place.width && field[length] != 0 && !((row.flags & fieldToBlank) && field[length] == ' ')) {
    ++length;
  }
  size_t begin = 0;
  while ((row.flags & fieldTrimmed) && begin < length && field[begin] == ' ') {
    ++begin;
  }
  while ((row.flags & fieldTrimmed) && length > begin && field[length - 1] == ' ') {
    --length;
  }
  std::memcpy(out.text, field + begin, length - begin);
  out.text[length - begin] = 0;
}

static void fieldText(FieldText &out, const void *record, const FieldRow &row) {
  switch (row.format) {
  case FieldFormat::decimal:
    formatDecimal(out.text, fieldValue(record, row));
    out.text[row.length] = 0;
    return;
  case FieldFormat::hex:
    formatHex(out.text, fieldValue(record, row), row.length);
    return;
  case FieldFormat::wideText:
    textNarrow(out.text, static_cast<const CHAR16 *>(fieldPointer(record, row.place)), sizeof out.text - 1);
    return;
  case FieldFormat::fixedText:
    fixedText(out, record, row);
    return;
  case FieldFormat::boolean:
    cut(out, GetNameFromValue(fieldValue(record, row), g_boolTable), sizeof out.text - 1);
    return;
  case FieldFormat::mark:
    cut(out, "True", 4);
    return;
  default:
    cut(out, GetNameFromValue(fieldValue(record, row), row.names), row.length);
    return;
  }
}

static void addItems(xml_node container, UINT32 mask, const FieldRow &row) {
  for (; mask != 0; mask &= mask - 1) {
    FieldText out;
    cut(out, GetNameFromValue(mask & -mask, row.names), row.length);
    addText(container, row.item, out.text);
  }
}

static void addContainer(xml_node parent, const char *name, const void *record, const FieldTable &fields) {
  addFields(parent.append_child(name), record, fields);
}

static void addCachePolicy(xml_node container, UINT32 word) {
  for (UINT32 i = 0; i < g_cachePolicyGroups.rowCount; ++i) {
    const FieldRow &group = g_cachePolicyGroups.rows[i];
    addItems(container, word & group.mask, group);
  }
}

static void addIds(xml_node parent, const void *record, const FieldRow &row) {
  const auto *ids = static_cast<const UINT32 *>(fieldPointer(record, row.place));
  for (UINT64 i = ids == nullptr ? 0 : fieldLoad(record, row.count); i-- > 0;) {
    char text[21];
    formatDecimal(text, ids[i]);
    addText(parent, row.element, text);
  }
}

static bool isWritten(const void *record, const FieldRow &row) {
  const auto *bytes = static_cast<const char *>(record);
  bool isZero = row.format == FieldFormat::fixedText
                    ? bytes[row.place.offset] == 0
                    : (row.flags & fieldWhenNotZero) != 0 && fieldLoad(record, row.place) == 0;
  return (row.flags & fieldReadOnly) == 0 && !((row.flags & fieldWhenNotZero) && isZero) &&
         !((row.flags & fieldWhenVersioned) && static_cast<const RAID_RECORD_HEADER *>(record)->ObjVersion == 0) &&
         !((row.flags & fieldMode) && (fieldLoad(record, row.place) & RAID_MODE_PRESENT) == 0) &&
         !(row.format == FieldFormat::mark && fieldValue(record, row) == 0);
}

static void addField(xml_node parent, const void *record, const FieldRow &row) {
  const auto *adapter = static_cast<const RAID_ADAPTER_RECORD *>(record);
  const char *field = static_cast<const char *>(record) + row.place.offset;
  FieldText out;
  switch (row.format) {
  case FieldFormat::mask:
    addItems(parent.append_child(row.element), static_cast<UINT32>(fieldLoad(record, row.place)), row);
    return;
  case FieldFormat::cachePolicy:
    addCachePolicy(parent.append_child(row.element), static_cast<UINT32>(fieldLoad(record, row.place)));
    return;
  case FieldFormat::pciIdentity:
    addContainer(parent, row.element, field, g_pciIdentityFields);
    return;
  case FieldFormat::raidLevelDesc:
    addContainer(parent, row.element, field, g_levelDescFields);
    return;
  case FieldFormat::rates:
    for (const RAID_RATE &rate : adapter->Rates) {
      if (rate.Name != nullptr) {
        addContainer(parent, row.element, &rate, g_rateFields);
      }
    }
    return;
  case FieldFormat::raidLevelParams: {
    xml_node container = parent.append_child(row.element);
    for (int i = 0; adapter->RAIDLevelParams != nullptr && i < __builtin_popcount(adapter->SupportedRAIDLevels); ++i) {
      addContainer(container, "RAIDLevelDesc", &adapter->RAIDLevelParams[i], g_levelDescFields);
    }
    return;
  }
  case FieldFormat::idList:
    addIds(parent, record, row);
    return;
  default:
    fieldText(out, record, row);
    addText(parent, row.element, out.text);
    return;
  }
}

static void addFields(xml_node parent, const void *record, const FieldTable &fields) {
  for (UINT32 i = 0; i < fields.rowCount; ++i) {
    if (isWritten(record, fields.rows[i])) {
      addField(parent, record, fields.rows[i]);
    }
  }
}

static xml_node addObject(xml_node parent, const char *name, const void *record, const FieldTable &fields) {
  xml_node node = parent.append_child(name);
  addFields(node, record, g_headerFields);
  addFields(node, record, fields);
  return node;
}

static void addSchema(xml_node node, const char *schema) {
  node.append_attribute("xmlns:xsi").set_value("http://www.w3.org/2001/XMLSchema-instance");
  node.append_attribute("xsi:noNamespaceSchemaLocation").set_value(schema);
}

static void addIdentity(xml_node root, const RAID_ADAPTER_RECORD &adapter) {
  xml_node inventory = root.append_child("Inventory");
  FieldText out;
  textNarrow(out.text, adapter.Name, sizeof out.text - 1);
  addText(inventory, "MarketingName", out.text);
  formatHex(out.text, adapter.WWN, 16);
  addText(inventory, "WWN", out.text);
  xml_node identifier = inventory.append_child("Identifier");
  addContainer(identifier, "PCIID", &adapter.PCIID, g_pciIdentityFields);
  addContainer(identifier, "PCILocation", &adapter.PCIID, g_pciLocationFields);
  textNarrow(out.text, adapter.FirmwareVersion, sizeof out.text - 1);
  inventory.append_child("Firmware").append_attribute("Package").set_value(out.text);
}

static void addObjects(xml_node raidData, const RAID_CONFIG &config) {
  xml_node adapter = addObject(raidData, "Adapter", config.adapter, g_adapterFields);
  for (UINT32 i = 0; i < config.enclosureCount; ++i) {
    xml_node enclosure = addObject(adapter, "Enclosure", &config.enclosures[i], g_enclosureFields);
    for (UINT32 j = 0; j < config.physicalDiskCount; ++j) {
      if (config.physicalDisks[j].EnclosureDeviceID == config.enclosures[i].DeviceID) {
        addObject(enclosure, "PD", &config.physicalDisks[j], g_pdFields);
      }
    }
  }
  for (UINT32 j = 0; j < config.physicalDiskCount; ++j) {
    if (config.enclosureCount == 0 || config.physicalDisks[j].EnclosureDeviceID == RAID_ENCLOSURE_NONE) {
      addObject(adapter, "PD", &config.physicalDisks[j], g_pdFields);
    }
  }
  for (UINT32 i = 0; i < config.logicalDiskCount; ++i) {
    addObject(adapter, "VD", &config.logicalDisks[i], g_vdFields);
  }
  if (config.keyId != nullptr) {
    addText(adapter, "Keyid", config.keyId);
  }
}

std::string peerInventory(const RAID_CONFIG &config) {
  pugi::xml_document document;
  xml_node root = document.append_child("xylComponent");
  addSchema(root, "XYLSchema.xsd");
  addIdentity(root, *config.adapter);
  xml_node raidData = root.append_child("Configuration").append_child("raidData");
  addSchema(raidData, "raiddata.xsd");
  addObjects(raidData, config);
  return printed(document);
}

static void flatten(xml_node node, size_t depth, ReadyTexts &out) {
  ReadyElement element = {depth, node.name(), node.child_value(), {}};
  for (pugi::xml_attribute attribute : node.attributes()) {
    element.attributes.emplace_back(attribute.name(), attribute.value());
  }
  out.push_back(element);
  for (xml_node child : node.children()) {
    if (child.type() == pugi::node_element) {
      flatten(child, depth + 1, out);
    }
  }
}

ReadyTexts readyTexts(const std::string &document) {
  pugi::xml_document parsed;
  parsed.load_string(document.c_str());
  ReadyTexts texts;
  flatten(parsed.document_element(), 0, texts);
  return texts;
}

std::string peerInventory(const ReadyTexts &texts) {
  pugi::xml_document document;
  std::vector<xml_node> open = {document}; // the parents of what comes next
  for (const ReadyElement &element : texts) {
    open.resize(element.depth + 1);
    xml_node node = open.back().append_child(element.name.c_str());
    for (const auto &[name, value] : element.attributes) {
      node.append_attribute(name.c_str()).set_value(value.c_str());
    }
    if (!element.text.empty()) {
      node.text().set(element.text.c_str());
    }
    open.push_back(node);
  }
  return printed(document);
}

struct ByteCounter : pugi::xml_tree_walker {
  uint64_t bytes = 0;
  bool for_each(xml_node &node) override {
    bytes += std::strlen(node.name()) + std::strlen(node.value());
    return true;
  }
};

uint64_t peerWalk(const std::string &text) {
  pugi::xml_document document;
  document.load_buffer(text.data(), text.size());
  ByteCounter counter;
  document.traverse(counter);
  return counter.bytes;
}
