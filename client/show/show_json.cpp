#include "client/show/show.h"

#include "base/text.h"
#include "client/output/output.h"
#include "driver/xml/xml.h"

namespace xyl::client {

static void writeFields(Json *json, const XML_NODE *node, const driver::FieldTable &fields);

static void writeContainer(Json *json, const CHAR8 *name, const XML_NODE *node, const driver::FieldTable &fields) {
  jsonObject(json, name);
  writeFields(json, node, fields);
  jsonEnd(json);
}

// All elements of that name below parent as an array of objects.
static void writeContainers(Json *json, const CHAR8 *name, const XML_NODE *parent, const CHAR8 *element,
                            const driver::FieldTable &fields) {
  jsonArray(json, name);
  for (const XML_NODE *node = childNamed(parent, element); node != nullptr; node = nextSame(node)) {
    writeContainer(json, nullptr, node, fields);
  }
  jsonEnd(json);
}

static void writeObjects(Json *json, const XML_NODE *parent, const driver::FieldRow &row,
                         const driver::FieldTable &fields) {
  jsonArray(json, row.element);
  for (const XML_NODE *node = childNamed(parent, row.element); node != nullptr; node = nextSame(node)) {
    jsonObject(json, nullptr);
    writeFields(json, node, driver::g_headerFields);
    writeFields(json, node, fields);
    jsonEnd(json);
  }
  jsonEnd(json);
}

// The texts of the container's items of that name; null: of all.
static void writeItems(Json *json, const CHAR8 *name, const XML_NODE *container, const CHAR8 *item) {
  jsonArray(json, name);
  const XML_NODE *node = container != nullptr ? container->FirstChild : nullptr;
  for (; node != nullptr; node = node->NextSibling) {
    if (item == nullptr || textEqual(node->Name, item)) {
      jsonText(json, nullptr, nodeText(node));
    }
  }
  jsonEnd(json);
}

static void writeCachePolicy(Json *json, const XML_NODE *container, const driver::FieldRow &row) {
  jsonObject(json, row.element);
  for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
    const CHAR8 *item = driver::g_cachePolicyGroups.rows[i].item;
    writeItems(json, item, container, item);
  }
  jsonEnd(json);
}

// In the controller's order, which is the reverse of the documents'.
static void writeIds(Json *json, const XML_NODE *parent, const CHAR8 *element) {
  jsonArray(json, element);
  for (const XML_NODE *node = driver::LastXMLChild(parent); node != nullptr; node = node->PrevSibling) {
    if (textEqual(node->Name, element)) {
      jsonNumber(json, nullptr, parseDecimal(nodeText(node)));
    }
  }
  jsonEnd(json);
}

// A field of one element; absent ones are left out.
static void writeValue(Json *json, const XML_NODE *node, const driver::FieldRow &row) {
  switch (row.format) {
  case driver::FieldFormat::decimal:
    return jsonNumber(json, row.element, parseDecimal(nodeText(node)));
  case driver::FieldFormat::boolean:
  case driver::FieldFormat::mark:
    return jsonBool(json, row.element, !textEqual(nodeText(node), "false"));
  case driver::FieldFormat::mask:
    return writeItems(json, row.element, node, /* item= */ nullptr);
  case driver::FieldFormat::cachePolicy:
    return writeCachePolicy(json, node, row);
  case driver::FieldFormat::pciIdentity:
    return writeContainer(json, row.element, node, driver::g_pciIdentityFields);
  case driver::FieldFormat::raidLevelDesc:
    return writeContainer(json, row.element, node, driver::g_levelDescFields);
  case driver::FieldFormat::raidLevelParams:
    return writeContainers(json, row.element, node, "RAIDLevelDesc", driver::g_levelDescFields);
  default:
    return jsonText(json, row.element, nodeText(node));
  }
}

static void writeField(Json *json, const XML_NODE *parent, const driver::FieldRow &row) {
  switch (row.format) {
  case driver::FieldFormat::enclosure:
    return writeObjects(json, parent, row, driver::g_enclosureFields);
  case driver::FieldFormat::physicalDisk:
    return writeObjects(json, parent, row, driver::g_pdFields);
  case driver::FieldFormat::virtualDisk:
    return writeObjects(json, parent, row, driver::g_vdFields);
  case driver::FieldFormat::rates:
    return writeContainers(json, row.element, parent, row.element, driver::g_rateFields);
  case driver::FieldFormat::idList:
    return writeIds(json, parent, row.element);
  default:
    break;
  }
  const XML_NODE *node = childNamed(parent, row.element);
  if (node != nullptr) {
    writeValue(json, node, row);
  }
}

static void writeFields(Json *json, const XML_NODE *node, const driver::FieldTable &fields) {
  for (UINT32 i = 0; i < fields.rowCount; ++i) {
    const driver::FieldRow &row = fields.rows[i];
    // A row that is only read repeats one that is written, but for nested objects and the key id.
    if ((row.flags & driver::fieldReadOnly) == 0 || row.format >= driver::FieldFormat::enclosure) {
      writeField(json, node, row);
    }
  }
}

void writeConfiguration(const Front *front, const XML_NODE *adapter, const XML_NODE *inventory) {
  Json json = {};
  json.front = front;
  jsonObject(&json, nullptr);
  jsonObject(&json, "Adapter");
  writeFields(&json, adapter, driver::g_headerFields);
  writeFields(&json, adapter, driver::g_adapterFields);
  jsonEnd(&json);
  const XML_NODE *location = childNamed(childNamed(inventory, "Identifier"), "PCILocation");
  if (location != nullptr) {
    writeContainer(&json, "PCILocation", location, driver::g_pciLocationFields);
  }
  jsonEnd(&json);
}

} // namespace xyl::client
