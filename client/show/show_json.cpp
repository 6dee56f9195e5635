#include "client/show/show.h"

#include "base/text.h"
#include "client/output/output.h"
#include "driver/xml/xml.h"

static void writeFields(JSON *json, const XML_NODE *node, const FIELD_TABLE &fields);

static void writeContainer(JSON *json, const CHAR8 *name, const XML_NODE *node, const FIELD_TABLE &fields) {
  jsonObject(json, name);
  writeFields(json, node, fields);
  jsonEnd(json);
}

// All elements of that name below parent as an array of objects.
static void writeContainers(JSON *json, const CHAR8 *name, const XML_NODE *parent, const CHAR8 *element,
                            const FIELD_TABLE &fields) {
  jsonArray(json, name);
  for (const XML_NODE *node = childNamed(parent, element); node != nullptr; node = nextSame(node)) {
    writeContainer(json, nullptr, node, fields);
  }
  jsonEnd(json);
}

static void writeObjects(JSON *json, const XML_NODE *parent, const FIELD_ROW &row, const FIELD_TABLE &fields) {
  jsonArray(json, row.Element);
  for (const XML_NODE *node = childNamed(parent, row.Element); node != nullptr; node = nextSame(node)) {
    jsonObject(json, nullptr);
    writeFields(json, node, g_headerFields);
    writeFields(json, node, fields);
    jsonEnd(json);
  }
  jsonEnd(json);
}

// The texts of the container's items of that name; null: of all.
static void writeItems(JSON *json, const CHAR8 *name, const XML_NODE *container, const CHAR8 *item) {
  jsonArray(json, name);
  const XML_NODE *node = container != nullptr ? container->FirstChild : nullptr;
  for (; node != nullptr; node = node->NextSibling) {
    if (item == nullptr || textEqual(node->Name, item)) {
      jsonText(json, nullptr, nodeText(node));
    }
  }
  jsonEnd(json);
}

static void writeCachePolicy(JSON *json, const XML_NODE *container, const FIELD_ROW &row) {
  jsonObject(json, row.Element);
  for (UINT32 i = 0; i < g_cachePolicyGroups.RowCount; ++i) {
    const CHAR8 *item = g_cachePolicyGroups.Rows[i].Item;
    writeItems(json, item, container, item);
  }
  jsonEnd(json);
}

// In the controller's order, which is the reverse of the documents'.
static void writeIds(JSON *json, const XML_NODE *parent, const CHAR8 *element) {
  jsonArray(json, element);
  for (const XML_NODE *node = LastXMLChild(parent); node != nullptr; node = node->PrevSibling) {
    if (textEqual(node->Name, element)) {
      jsonNumber(json, nullptr, parseDecimal(nodeText(node)));
    }
  }
  jsonEnd(json);
}

// A field of one element; absent ones are left out.
static void writeValue(JSON *json, const XML_NODE *node, const FIELD_ROW &row) {
  switch (row.Format) {
  case FORMAT_DECIMAL:
    return jsonNumber(json, row.Element, parseDecimal(nodeText(node)));
  case FORMAT_BOOLEAN:
  case FORMAT_MARK:
    return jsonBool(json, row.Element, !textEqual(nodeText(node), "false"));
  case FORMAT_MASK:
    return writeItems(json, row.Element, node, /* item= */ nullptr);
  case FORMAT_CACHE_POLICY:
    return writeCachePolicy(json, node, row);
  case FORMAT_PCI_IDENTITY:
    return writeContainer(json, row.Element, node, g_pciIdentityFields);
  case FORMAT_RAID_LEVEL_DESC:
    return writeContainer(json, row.Element, node, g_levelDescFields);
  case FORMAT_RAID_LEVEL_PARAMS:
    return writeContainers(json, row.Element, node, "RAIDLevelDesc", g_levelDescFields);
  default:
    return jsonText(json, row.Element, nodeText(node));
  }
}

static void writeField(JSON *json, const XML_NODE *parent, const FIELD_ROW &row) {
  switch (row.Format) {
  case FORMAT_ENCLOSURE:
    return writeObjects(json, parent, row, g_enclosureFields);
  case FORMAT_PHYSICAL_DISK:
    return writeObjects(json, parent, row, g_pdFields);
  case FORMAT_VIRTUAL_DISK:
    return writeObjects(json, parent, row, g_vdFields);
  case FORMAT_RATES:
    return writeContainers(json, row.Element, parent, row.Element, g_rateFields);
  case FORMAT_ID_LIST:
    return writeIds(json, parent, row.Element);
  default:
    break;
  }
  const XML_NODE *node = childNamed(parent, row.Element);
  if (node != nullptr) {
    writeValue(json, node, row);
  }
}

static void writeFields(JSON *json, const XML_NODE *node, const FIELD_TABLE &fields) {
  for (UINT32 i = 0; i < fields.RowCount; ++i) {
    const FIELD_ROW &row = fields.Rows[i];
    // A row that is only read repeats one that is written, but for nested objects and the key id.
    if ((row.Flags & FIELD_READ_ONLY) == 0 || row.Format >= FORMAT_ENCLOSURE) {
      writeField(json, node, row);
    }
  }
}

void writeConfiguration(const XYL_FRONT *front, const XML_NODE *adapter, const XML_NODE *inventory) {
  JSON json = {};
  json.Front = front;
  jsonObject(&json, nullptr);
  jsonObject(&json, "Adapter");
  writeFields(&json, adapter, g_headerFields);
  writeFields(&json, adapter, g_adapterFields);
  jsonEnd(&json);
  const XML_NODE *location = childNamed(childNamed(inventory, "Identifier"), "PCILocation");
  if (location != nullptr) {
    writeContainer(&json, "PCILocation", location, g_pciLocationFields);
  }
  jsonEnd(&json);
}
