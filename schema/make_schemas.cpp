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

enum Use { useWritten, useRequested };

// The parameters of the simple types that the objects use.
struct SimpleTypes {
  std::set<UINT64> limits;
  std::set<UINT32> hexDigits;
  std::set<UINT32> textLengths;
};

// A schema in the making.
struct Schema {
  Use use;
  SimpleTypes *types;
  std::string text;
  std::vector<std::string> open; // tags still to be closed
};

static void addLine(Schema &schema, const std::string &line) {
  schema.text += std::string(2 * schema.open.size(), ' ') + line + "\n";
}

static void openTag(Schema &schema, const std::string &tag, const std::string &attributes = {}) {
  addLine(schema, "<xs:" + tag + attributes + ">");
  schema.open.push_back(tag);
}

static void closeTag(Schema &schema) {
  std::string tag = schema.open.back();
  schema.open.pop_back();
  addLine(schema, "</xs:" + tag + ">");
}

static std::string attribute(const std::string &name, const std::string &value) {
  return " " + name + "=\"" + value + "\"";
}

static std::string occurs(UINT64 least, const std::string &most) {
  return attribute("minOccurs", std::to_string(least)) + attribute("maxOccurs", most);
}

static void addElement(Schema &schema, const std::string &name, const std::string &type,
                       const std::string &occurrence = {}) {
  addLine(schema, "<xs:element" + attribute("name", name) + attribute("type", type) + occurrence + "/>");
}

static void openSchema(Schema &schema) {
  schema.text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!-- Made by make_schemas from the tables in xml/; build the target \"schemas\" to make it anew. -->\n";
  openTag(schema, "schema", attribute("xmlns:xs", "http://www.w3.org/2001/XMLSchema"));
}

// --- simple types ---

// A writer says "Unknown" for values without a name; a request has no use for them.
static std::string namedValueType(const Schema &schema, const VALUE_NAME_TABLE *table) {
  bool mayBeUnnamed = schema.use == useWritten && !namesUnknown(table);
  return valueTypeName(table) + std::string(mayBeUnnamed ? "OrUnknown" : "");
}

static UINT64 ones(UINT32 bits) {
  return bits >= 64 ? ~0ULL : (1ULL << bits) - 1;
}

// What the field can hold, and for a writer, what its digits can show.
static UINT64 largestNumber(const Schema &schema, const FieldRow &row) {
  UINT64 largest = ones(row.format == FieldFormat::idList ? 32 : 8U * row.place.width);
  largest = (row.mask == 0 ? largest : largest & row.mask) >> row.shift;
  UINT64 shown = 1;
  for (UINT32 i = 0; i < row.length && i < 19; ++i) {
    shown *= 10;
  }
  return schema.use == useWritten && row.length < 20 && largest >= shown ? shown - 1 : largest;
}

static std::string numbered(const char *prefix, UINT64 number) {
  return prefix + std::to_string(number);
}

// The type of an element that holds a text.
static std::string textType(Schema &schema, const FieldRow &row) {
  switch (row.format) {
  case FieldFormat::decimal:
  case FieldFormat::idList:
    return numbered("upTo", *schema.types->limits.insert(largestNumber(schema, row)).first);
  case FieldFormat::hex:
    return numbered("hex", *schema.types->hexDigits.insert(row.length).first);
  case FieldFormat::fixedText:
    return numbered("text", *schema.types->textLengths.insert(row.place.width).first);
  case FieldFormat::keyId:
    return numbered("text", *schema.types->textLengths.insert(RAID_KEY_ID_SIZE).first);
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

static void addEnumeration(Schema &schema, const std::string &attributes, const std::vector<std::string> &texts) {
  openTag(schema, "simpleType", attributes);
  openTag(schema, "restriction", attribute("base", "xs:string"));
  for (const std::string &text : texts) {
    addLine(schema, "<xs:enumeration" + attribute("value", text) + "/>");
  }
  closeTag(schema);
  closeTag(schema);
}

static void addRestriction(Schema &schema, const std::string &name, const std::string &base, const std::string &facet,
                           const std::string &value) {
  openTag(schema, "simpleType", attribute("name", name));
  openTag(schema, "restriction", attribute("base", base));
  addLine(schema, "<xs:" + facet + attribute("value", value) + "/>");
  closeTag(schema);
  closeTag(schema);
}

static void addValueType(Schema &schema, const NamedValueTable &type) {
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

static std::string valuesSchema(SimpleTypes &types) {
  Schema schema = {useWritten, &types, {}, {}};
  openSchema(schema);
  addEnumeration(schema, attribute("name", "unknown"), {"Unknown"});
  addEnumeration(schema, attribute("name", "mark"), {"True"});
  for (UINT32 i = 0; i < g_valueTableCount; ++i) {
    addValueType(schema, g_valueTables[i]);
  }
  addRestriction(schema, "decimal", "xs:unsignedLong", "pattern", "0|[1-9][0-9]*");
  for (UINT64 limit : types.limits) {
    addRestriction(schema, numbered("upTo", limit), "decimal", "maxInclusive", std::to_string(limit));
  }
  for (UINT32 digits : types.hexDigits) {
    addRestriction(schema, numbered("hex", digits), "xs:string", "pattern", "[0-9A-F]{" + std::to_string(digits) + "}");
  }
  for (UINT32 length : types.textLengths) {
    addRestriction(schema, numbered("text", length), "xs:string", "maxLength", std::to_string(length));
  }
  closeTag(schema);
  return schema.text;
}

// --- objects ---

// Opens a type whose children come as the table has them, or in any order and number where reading allows it.
static void openMembers(Schema &schema, const std::string &name, bool ordered) {
  openTag(schema, "complexType", attribute("name", name));
  if (ordered) {
    openTag(schema, "sequence");
  } else {
    openTag(schema, "choice", occurs(0, "unbounded"));
  }
}

static void closeMembers(Schema &schema) {
  closeTag(schema);
  closeTag(schema);
}

// An element that contains at most count elements of one kind.
static void addContainer(Schema &schema, const FieldRow &row, const std::string &item, const std::string &itemType,
                         UINT32 count) {
  openTag(schema, "element", attribute("name", row.element));
  openTag(schema, "complexType");
  openTag(schema, "sequence");
  addElement(schema, item, itemType, occurs(0, std::to_string(count)));
  closeMembers(schema);
  closeTag(schema);
}

// How often the row's element comes in an inventory; members of a choice say nothing.
static std::string occurrence(const Schema &schema, const FieldRow &row) {
  if (schema.use == useRequested) {
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

static void addField(Schema &schema, const FieldRow &row) {
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
static bool isMember(const Schema &schema, const FieldRow &row) {
  if (schema.use == useRequested) {
    return row.format < FieldFormat::enclosure && (row.flags & (fieldReadOnly | fieldWriteOnly)) == 0;
  }
  return isWritten(row);
}

static void addFields(Schema &schema, const FieldTable &fields) {
  for (UINT32 i = 0; i < fields.rowCount; ++i) {
    if (isMember(schema, fields.rows[i])) {
      addField(schema, fields.rows[i]);
    }
  }
}

// The names that an object of the kind has in its ObjectType; a writer takes the first one.
static void addObjectType(Schema &schema, const FieldRow &row, UINT32 kind) {
  std::vector<std::string> names;
  for (const VALUE_NAME_TABLE *name = row.names; name->Name != nullptr; ++name) {
    if (name->Value == kind && (names.empty() || schema.use == useRequested)) {
      names.push_back(name->Name);
    }
  }
  openTag(schema, "element", attribute("name", row.element));
  addEnumeration(schema, {}, names);
  closeTag(schema);
}

static void addObject(Schema &schema, const std::string &name, UINT32 kind, const FieldTable &fields) {
  openMembers(schema, name, schema.use == useWritten);
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

static void addCachePolicy(Schema &schema) {
  openMembers(schema, "cachePolicyGroups", schema.use == useWritten);
  for (UINT32 i = 0; i < g_cachePolicyGroups.rowCount; ++i) {
    const FieldRow &row = g_cachePolicyGroups.rows[i];
    std::string most = std::to_string(__builtin_popcount(row.mask));
    addElement(schema, row.item, namedValueType(schema, row.names), schema.use == useWritten ? occurs(0, most) : "");
  }
  closeMembers(schema);
}

static std::string objectsSchema(Use use, SimpleTypes &types) {
  struct Part {
    const char *name;
    const FieldTable &fields;
    bool byPosition; // also when read
  };
  static const Part parts[] = {
      {"pciIdentity", g_pciIdentityFields, true},
      {"pciLocation", g_pciLocationFields, true},
      {"rate", g_rateFields, true},
      {"levelDescriptor", g_levelDescFields, false},
  };
  Schema schema = {use, &types, {}, {}};
  openSchema(schema);
  addLine(schema, "<xs:include" + attribute("schemaLocation", "values.xsd") + "/>");
  addCachePolicy(schema);
  for (const Part &part : parts) {
    openMembers(schema, part.name, part.byPosition || use == useWritten);
    addFields(schema, part.fields);
    closeMembers(schema);
  }
  addObject(schema, "adapter", RAID_OBJECT_ADAPTER, g_adapterFields);
  addObject(schema, "enclosure", RAID_OBJECT_ENCLOSURE, g_enclosureFields);
  addObject(schema, "physicalDisk", RAID_OBJECT_PHYSICAL_DISK, g_pdFields);
  addObject(schema, "virtualDisk", RAID_OBJECT_VIRTUAL_DISK, g_vdFields);
  closeTag(schema);
  return schema.text;
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
  SimpleTypes types;
  writeFile(folder + "/objects.xsd", objectsSchema(useWritten, types));
  writeFile(folder + "/change_objects.xsd", objectsSchema(useRequested, types));
  writeFile(folder + "/values.xsd", valuesSchema(types));
  return 0;
}
