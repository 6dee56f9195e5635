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

using namespace xyl;
using namespace xyl::driver;

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
static UINT64 largestNumber(const SCHEMA &schema, const FieldRow &row) {
  UINT64 largest = ones(row.format == FieldFormat::idList ? 32 : 8U * row.place.width);
  largest = (row.mask == 0 ? largest : largest & row.mask) >> row.shift;
  UINT64 shown = 1;
  for (UINT32 i = 0; i < row.length && i < 19; ++i) {
    shown *= 10;
  }
  return schema.Use == USE_WRITTEN && row.length < 20 && largest >= shown ? shown - 1 : largest;
}

static std::string numbered(const char *prefix, UINT64 number) {
  return prefix + std::to_string(number);
}

// The type of an element that holds a text.
static std::string textType(SCHEMA &schema, const FieldRow &row) {
  switch (row.format) {
  case FieldFormat::decimal:
  case FieldFormat::idList:
    return numbered("upTo", *schema.Types->Limits.insert(largestNumber(schema, row)).first);
  case FieldFormat::hex:
    return numbered("hex", *schema.Types->HexDigits.insert(row.length).first);
  case FieldFormat::fixedText:
    return numbered("text", *schema.Types->TextLengths.insert(row.place.width).first);
  case FieldFormat::keyId:
    return numbered("text", *schema.Types->TextLengths.insert(RAID_KEY_ID_SIZE).first);
  case FieldFormat::boolean:
    return valueTypeName(g_boolTable);
  case FieldFormat::mark:
    return "mark";
  case FieldFormat::name:
    return namedValueType(schema, row.names);
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

static void addValueType(SCHEMA &schema, const NamedValueTable &type) {
  std::vector<std::string> texts;
  for (const VALUE_NAME_TABLE *row = type.rows; row->Name != nullptr; ++row) {
    texts.push_back(row->Name);
  }
  addEnumeration(schema, attribute("name", type.name), texts);
  if (!namesUnknown(type.rows)) {
    openTag(schema, "simpleType", attribute("name", std::string(type.name) + "OrUnknown"));
    addLine(schema, "<xs:union" + attribute("memberTypes", std::string(type.name) + " unknown") + "/>");
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
static void addContainer(SCHEMA &schema, const FieldRow &row, const std::string &item, const std::string &itemType,
                         UINT32 count) {
  openTag(schema, "element", attribute("name", row.element));
  openTag(schema, "complexType");
  openTag(schema, "sequence");
  addElement(schema, item, itemType, occurs(0, std::to_string(count)));
  closeMembers(schema);
  closeTag(schema);
}

// How often the row's element comes in an inventory; members of a choice say nothing.
static std::string occurrence(const SCHEMA &schema, const FieldRow &row) {
  if (schema.Use == USE_REQUESTED) {
    return {};
  }
  switch (row.format) {
  case FieldFormat::rates:
    return occurs(0, std::to_string(RAID_RATE_COUNT));
  case FieldFormat::idList:
    return occurs(0, row.count.width == 1 ? "255" : "unbounded");
  case FieldFormat::enclosure:
  case FieldFormat::physicalDisk:
  case FieldFormat::virtualDisk:
    return occurs(0, "unbounded");
  default:
    break;
  }
  return mayBeAbsent(row) ? attribute("minOccurs", "0") : "";
}

static void addField(SCHEMA &schema, const FieldRow &row) {
  std::string often = occurrence(schema, row);
  switch (row.format) {
  case FieldFormat::mask:
    return addContainer(schema, row, row.item, namedValueType(schema, row.names), 8U * row.place.width);
  case FieldFormat::raidLevelParams:
    return addContainer(schema, row, row.item, "levelDescriptor", 32);
  case FieldFormat::cachePolicy:
    return addElement(schema, row.element, "cachePolicyGroups", often);
  case FieldFormat::pciIdentity:
    return addElement(schema, row.element, "pciIdentity", often);
  case FieldFormat::rates:
    return addElement(schema, row.element, "rate", often);
  case FieldFormat::raidLevelDesc:
    return addElement(schema, row.element, "levelDescriptor", often);
  case FieldFormat::enclosure:
    return addElement(schema, row.element, "enclosure", often);
  case FieldFormat::physicalDisk:
    return addElement(schema, row.element, "physicalDisk", often);
  case FieldFormat::virtualDisk:
    return addElement(schema, row.element, "virtualDisk", often);
  case FieldFormat::decimal:
  case FieldFormat::hex:
  case FieldFormat::wideText:
  case FieldFormat::fixedText:
  case FieldFormat::name:
  case FieldFormat::boolean:
  case FieldFormat::mark:
  case FieldFormat::idList:
  case FieldFormat::keyId:
    return addElement(schema, row.element, textType(schema, row), often);
  }
}

// A request gives no objects inside an object, and nothing that is only written.
static bool isMember(const SCHEMA &schema, const FieldRow &row) {
  if (schema.Use == USE_REQUESTED) {
    return row.format < FieldFormat::enclosure && (row.flags & (fieldReadOnly | fieldWriteOnly)) == 0;
  }
  return isWritten(row);
}

static void addFields(SCHEMA &schema, const FieldTable &fields) {
  for (UINT32 i = 0; i < fields.rowCount; ++i) {
    if (isMember(schema, fields.rows[i])) {
      addField(schema, fields.rows[i]);
    }
  }
}

// The names that an object of the kind has in its ObjectType; a writer takes the first one.
static void addObjectType(SCHEMA &schema, const FieldRow &row, UINT32 kind) {
  std::vector<std::string> names;
  for (const VALUE_NAME_TABLE *name = row.names; name->Name != nullptr; ++name) {
    if (name->Value == kind && (names.empty() || schema.Use == USE_REQUESTED)) {
      names.push_back(name->Name);
    }
  }
  openTag(schema, "element", attribute("name", row.element));
  addEnumeration(schema, {}, names);
  closeTag(schema);
}

static void addObject(SCHEMA &schema, const std::string &name, UINT32 kind, const FieldTable &fields) {
  openMembers(schema, name, schema.Use == USE_WRITTEN);
  for (UINT32 i = 0; i < g_headerFields.rowCount; ++i) {
    const FieldRow &row = g_headerFields.rows[i];
    if (row.names == g_objectTypeTable) {
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
  for (UINT32 i = 0; i < g_cachePolicyGroups.rowCount; ++i) {
    const FieldRow &row = g_cachePolicyGroups.rows[i];
    std::string most = std::to_string(__builtin_popcount(row.mask));
    addElement(schema, row.item, namedValueType(schema, row.names), schema.Use == USE_WRITTEN ? occurs(0, most) : "");
  }
  closeMembers(schema);
}

static std::string objectsSchema(USE use, SIMPLE_TYPES &types) {
  struct PART {
    const char *Name;
    const FieldTable &Fields;
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
