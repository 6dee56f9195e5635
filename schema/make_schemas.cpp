// Writes those schemas that the driver's tables determine: values.xsd from the value tables, and from the objects'
// field tables objects.xsd (objects as an inventory writes them) and change_objects.xsd (as a change document may give
// them).
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "driver/xml/xml.h"
#include "raid_records.h"
#include "schema/field_use.h"

enum USE { USE_WRITTEN, USE_REQUESTED };

// The parameters of the simple types that the objects use.
struct SIMPLE_TYPES {
  std::set<UINT64> Limits;
  std::set<UINT32> HexDigits;
  std::set<UINT32> TextLengths;
};

// A schema in the making.
struct SCHEMA {
  USE Use;
  SIMPLE_TYPES *Types;
  std::string Text;
  std::vector<std::string> Open; // tags still to be closed
};

static void addLine(SCHEMA &schema, const std::string &line) {
  schema.Text += std::string(2 * schema.Open.size(), ' ') + line + "\n";
}

static void openTag(SCHEMA &schema, const std::string &tag, const std::string &attributes = {}) {
  addLine(schema, "<xs:" + tag + attributes + ">");
  schema.Open.push_back(tag);
}

static void closeTag(SCHEMA &schema) {
  std::string tag = schema.Open.back();
  schema.Open.pop_back();
  addLine(schema, "</xs:" + tag + ">");
}

static std::string attribute(const std::string &name, const std::string &value) {
  return " " + name + "=\"" + value + "\"";
}

static std::string occurs(UINT64 least, const std::string &most) {
  return attribute("minOccurs", std::to_string(least)) + attribute("maxOccurs", most);
}

static void addElement(SCHEMA &schema, const std::string &name, const std::string &type,
                       const std::string &occurrence = {}) {
  addLine(schema, "<xs:element" + attribute("name", name) + attribute("type", type) + occurrence + "/>");
}

static void openSchema(SCHEMA &schema) {
  schema.Text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!-- Made by make_schemas from the tables in xml/; build the target \"schemas\" to make it anew. -->\n";
  openTag(schema, "schema", attribute("xmlns:xs", "http://www.w3.org/2001/XMLSchema"));
}

// --- simple types ---

// A writer says "Unknown" for values without a name; a request has no use for them.
static std::string namedValueType(const SCHEMA &schema, const VALUE_NAME_TABLE *table) {
  bool mayBeUnnamed = schema.Use == USE_WRITTEN && !namesUnknown(table);
  return valueTypeName(table) + std::string(mayBeUnnamed ? "OrUnknown" : "");
}

static UINT64 ones(UINT32 bits) {
  return bits >= 64 ? ~0ULL : (1ULL << bits) - 1;
}

// What the field can hold, and for a writer, what its digits can show.
static UINT64 largestNumber(const SCHEMA &schema, const FIELD_ROW &row) {
  UINT64 largest = ones(row.Format == FORMAT_ID_LIST ? 32 : 8U * row.Place.Width);
  largest = (row.Mask == 0 ? largest : largest & row.Mask) >> row.Shift;
  UINT64 shown = 1;
  for (UINT32 i = 0; i < row.Length && i < 19; ++i) {
    shown *= 10;
  }
  return schema.Use == USE_WRITTEN && row.Length < 20 && largest >= shown ? shown - 1 : largest;
}

static std::string numbered(const char *prefix, UINT64 number) {
  return prefix + std::to_string(number);
}

// The type of an element that holds a text.
static std::string textType(SCHEMA &schema, const FIELD_ROW &row) {
  switch (row.Format) {
  case FORMAT_DECIMAL:
  case FORMAT_ID_LIST:
    return numbered("upTo", *schema.Types->Limits.insert(largestNumber(schema, row)).first);
  case FORMAT_HEX:
    return numbered("hex", *schema.Types->HexDigits.insert(row.Length).first);
  case FORMAT_FIXED_TEXT:
    return numbered("text", *schema.Types->TextLengths.insert(row.Place.Width).first);
  case FORMAT_KEY_ID:
    return numbered("text", *schema.Types->TextLengths.insert(RAID_KEY_ID_SIZE).first);
  case FORMAT_BOOLEAN:
    return valueTypeName(g_boolTable);
  case FORMAT_MARK:
    return "mark";
  case FORMAT_NAME:
    return namedValueType(schema, row.Names);
  default:
    return "xs:string";
  }
}

static void addEnumeration(SCHEMA &schema, const std::string &attributes, const std::vector<std::string> &texts) {
  openTag(schema, "simpleType", attributes);
  openTag(schema, "restriction", attribute("base", "xs:string"));
  for (const std::string &text : texts) {
    addLine(schema, "<xs:enumeration" + attribute("value", text) + "/>");
  }
  closeTag(schema);
  closeTag(schema);
}

static void addRestriction(SCHEMA &schema, const std::string &name, const std::string &base, const std::string &facet,
                           const std::string &value) {
  openTag(schema, "simpleType", attribute("name", name));
  openTag(schema, "restriction", attribute("base", base));
  addLine(schema, "<xs:" + facet + attribute("value", value) + "/>");
  closeTag(schema);
  closeTag(schema);
}

static void addValueType(SCHEMA &schema, const NAMED_VALUE_TABLE &type) {
  std::vector<std::string> texts;
  for (const VALUE_NAME_TABLE *row = type.Rows; row->Name != nullptr; ++row) {
    texts.push_back(row->Name);
  }
  addEnumeration(schema, attribute("name", type.Name), texts);
  if (!namesUnknown(type.Rows)) {
    openTag(schema, "simpleType", attribute("name", std::string(type.Name) + "OrUnknown"));
    addLine(schema, "<xs:union" + attribute("memberTypes", std::string(type.Name) + " unknown") + "/>");
    closeTag(schema);
  }
}

static std::string valuesSchema(SIMPLE_TYPES &types) {
  SCHEMA schema = {USE_WRITTEN, &types, {}, {}};
  openSchema(schema);
  addEnumeration(schema, attribute("name", "unknown"), {"Unknown"});
  addEnumeration(schema, attribute("name", "mark"), {"True"});
  for (UINT32 i = 0; i < g_valueTableCount; ++i) {
    addValueType(schema, g_valueTables[i]);
  }
  addRestriction(schema, "decimal", "xs:unsignedLong", "pattern", "0|[1-9][0-9]*");
  for (UINT64 limit : types.Limits) {
    addRestriction(schema, numbered("upTo", limit), "decimal", "maxInclusive", std::to_string(limit));
  }
  for (UINT32 digits : types.HexDigits) {
    addRestriction(schema, numbered("hex", digits), "xs:string", "pattern", "[0-9A-F]{" + std::to_string(digits) + "}");
  }
  for (UINT32 length : types.TextLengths) {
    addRestriction(schema, numbered("text", length), "xs:string", "maxLength", std::to_string(length));
  }
  closeTag(schema);
  return schema.Text;
}

// --- objects ---

// Opens a type whose children come as the table has them, or in any order and number where reading allows it.
static void openMembers(SCHEMA &schema, const std::string &name, bool ordered) {
  openTag(schema, "complexType", attribute("name", name));
  if (ordered) {
    openTag(schema, "sequence");
  } else {
    openTag(schema, "choice", occurs(0, "unbounded"));
  }
}

static void closeMembers(SCHEMA &schema) {
  closeTag(schema);
  closeTag(schema);
}

// An element that contains at most count elements of one kind.
static void addContainer(SCHEMA &schema, const FIELD_ROW &row, const std::string &item, const std::string &itemType,
                         UINT32 count) {
  openTag(schema, "element", attribute("name", row.Element));
  openTag(schema, "complexType");
  openTag(schema, "sequence");
  addElement(schema, item, itemType, occurs(0, std::to_string(count)));
  closeMembers(schema);
  closeTag(schema);
}

// How often the row's element comes in an inventory; members of a choice say nothing.
static std::string occurrence(const SCHEMA &schema, const FIELD_ROW &row) {
  if (schema.Use == USE_REQUESTED) {
    return {};
  }
  switch (row.Format) {
  case FORMAT_RATES:
    return occurs(0, std::to_string(RAID_RATE_COUNT));
  case FORMAT_ID_LIST:
    return occurs(0, row.Count.Width == 1 ? "255" : "unbounded");
  case FORMAT_ENCLOSURE:
  case FORMAT_PHYSICAL_DISK:
  case FORMAT_VIRTUAL_DISK:
    return occurs(0, "unbounded");
  default:
    break;
  }
  return mayBeAbsent(row) ? attribute("minOccurs", "0") : "";
}

static void addField(SCHEMA &schema, const FIELD_ROW &row) {
  std::string often = occurrence(schema, row);
  switch (row.Format) {
  case FORMAT_MASK:
    return addContainer(schema, row, row.Item, namedValueType(schema, row.Names), 8U * row.Place.Width);
  case FORMAT_RAID_LEVEL_PARAMS:
    return addContainer(schema, row, row.Item, "levelDescriptor", 32);
  case FORMAT_CACHE_POLICY:
    return addElement(schema, row.Element, "cachePolicyGroups", often);
  case FORMAT_PCI_IDENTITY:
    return addElement(schema, row.Element, "pciIdentity", often);
  case FORMAT_RATES:
    return addElement(schema, row.Element, "rate", often);
  case FORMAT_RAID_LEVEL_DESC:
    return addElement(schema, row.Element, "levelDescriptor", often);
  case FORMAT_ENCLOSURE:
    return addElement(schema, row.Element, "enclosure", often);
  case FORMAT_PHYSICAL_DISK:
    return addElement(schema, row.Element, "physicalDisk", often);
  case FORMAT_VIRTUAL_DISK:
    return addElement(schema, row.Element, "virtualDisk", often);
  case FORMAT_DECIMAL:
  case FORMAT_HEX:
  case FORMAT_WIDE_TEXT:
  case FORMAT_FIXED_TEXT:
  case FORMAT_NAME:
  case FORMAT_BOOLEAN:
  case FORMAT_MARK:
  case FORMAT_ID_LIST:
  case FORMAT_KEY_ID:
    return addElement(schema, row.Element, textType(schema, row), often);
  }
}

// A request gives no objects inside an object, and nothing that is only written.
static bool isMember(const SCHEMA &schema, const FIELD_ROW &row) {
  if (schema.Use == USE_REQUESTED) {
    return row.Format < FORMAT_ENCLOSURE && (row.Flags & (FIELD_READ_ONLY | FIELD_WRITE_ONLY)) == 0;
  }
  return isWritten(row);
}

static void addFields(SCHEMA &schema, const FIELD_TABLE &fields) {
  for (UINT32 i = 0; i < fields.RowCount; ++i) {
    if (isMember(schema, fields.Rows[i])) {
      addField(schema, fields.Rows[i]);
    }
  }
}

// The names that an object of the kind has in its ObjectType; a writer takes the first one.
static void addObjectType(SCHEMA &schema, const FIELD_ROW &row, UINT32 kind) {
  std::vector<std::string> names;
  for (const VALUE_NAME_TABLE *name = row.Names; name->Name != nullptr; ++name) {
    if (name->Value == kind && (names.empty() || schema.Use == USE_REQUESTED)) {
      names.push_back(name->Name);
    }
  }
  openTag(schema, "element", attribute("name", row.Element));
  addEnumeration(schema, {}, names);
  closeTag(schema);
}

static void addObject(SCHEMA &schema, const std::string &name, UINT32 kind, const FIELD_TABLE &fields) {
  openMembers(schema, name, schema.Use == USE_WRITTEN);
  for (UINT32 i = 0; i < g_headerFields.RowCount; ++i) {
    const FIELD_ROW &row = g_headerFields.Rows[i];
    if (row.Names == g_objectTypeTable) {
      addObjectType(schema, row, kind);
    } else {
      addField(schema, row);
    }
  }
  addFields(schema, fields);
  closeMembers(schema);
}

static void addCachePolicy(SCHEMA &schema) {
  openMembers(schema, "cachePolicyGroups", schema.Use == USE_WRITTEN);
  for (UINT32 i = 0; i < g_cachePolicyGroups.RowCount; ++i) {
    const FIELD_ROW &row = g_cachePolicyGroups.Rows[i];
    std::string most = std::to_string(__builtin_popcount(row.Mask));
    addElement(schema, row.Item, namedValueType(schema, row.Names), schema.Use == USE_WRITTEN ? occurs(0, most) : "");
  }
  closeMembers(schema);
}

static std::string objectsSchema(USE use, SIMPLE_TYPES &types) {
  struct PART {
    const char *Name;
    const FIELD_TABLE &Fields;
    bool ByPosition; // also when read
  };
  static const PART parts[] = {
      {"pciIdentity", g_pciIdentityFields, true},
      {"pciLocation", g_pciLocationFields, true},
      {"rate", g_rateFields, true},
      {"levelDescriptor", g_levelDescFields, false},
  };
  SCHEMA schema = {use, &types, {}, {}};
  openSchema(schema);
  addLine(schema, "<xs:include" + attribute("schemaLocation", "values.xsd") + "/>");
  addCachePolicy(schema);
  for (const PART &part : parts) {
    openMembers(schema, part.Name, part.ByPosition || use == USE_WRITTEN);
    addFields(schema, part.Fields);
    closeMembers(schema);
  }
  addObject(schema, "adapter", RAID_OBJECT_ADAPTER, g_adapterFields);
  addObject(schema, "enclosure", RAID_OBJECT_ENCLOSURE, g_enclosureFields);
  addObject(schema, "physicalDisk", RAID_OBJECT_PHYSICAL_DISK, g_pdFields);
  addObject(schema, "virtualDisk", RAID_OBJECT_VIRTUAL_DISK, g_vdFields);
  closeTag(schema);
  return schema.Text;
}

static void writeFile(const std::string &path, const std::string &text) {
  std::ofstream file(path);
  if (!(file << text).flush()) {
    std::fprintf(stderr, "%s cannot be written\n", path.c_str());
    std::exit(1);
  }
}

int main(int count, char **arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: make_schemas FOLDER\n");
    return 2;
  }
  std::string folder = arguments[1];
  SIMPLE_TYPES types;
  writeFile(folder + "/objects.xsd", objectsSchema(USE_WRITTEN, types));
  writeFile(folder + "/change_objects.xsd", objectsSchema(USE_REQUESTED, types));
  writeFile(folder + "/values.xsd", valuesSchema(types));
  return 0;
}
