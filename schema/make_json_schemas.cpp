// Writes the JSON Schemas of what the client prints with --json: of configurations from the objects' field tables, of
// all else from json_shapes.h. Every schema is whole in itself.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

#include "client/command_line/command_line.h"
#include "client/compare/compare.h"
#include "client/ensure/judge.h"
#include "host/program/host_commands.h"
#include "schema/field_use.h"
#include "schema/json_shapes.h"

using namespace xyl;
using namespace xyl::driver;

using JsonValue = nlohmann::ordered_json;

// A schema in the making: the definitions that it needs so far.
struct DEFINITIONS {
  JsonValue byName = JsonValue::object();
};

static JsonValue typeOf(DEFINITIONS &definitions, const std::string &type);

static JsonValue referenceTo(const std::string &name) {
  return {{"$ref", "#/$defs/" + name}};
}

// The definition of that name, made once by make().
template <class MAKE> static JsonValue defined(DEFINITIONS &definitions, const std::string &name, MAKE make) {
  if (!definitions.byName.contains(name)) {
    definitions.byName[name] = nullptr; // keeps its place, and ends a shape that contains itself
    JsonValue made = make();
    definitions.byName[name] = made;
  }
  return referenceTo(name);
}

static JsonValue arrayOf(const JsonValue &items) {
  return {{"type", "array"}, {"items", items}};
}

// An object without members yet.
static JsonValue emptyObject() {
  return {{"type", "object"}, {"required", JsonValue::array()}, {"properties", JsonValue::object()}};
}

static void addMember(JsonValue &object, const std::string &name, bool isRequired, const JsonValue &type) {
  object["properties"][name] = type;
  if (isRequired) {
    object["required"].push_back(name);
  }
}

// --- Names ---

static JsonValue namesOf(DEFINITIONS &definitions, const VALUE_NAME_TABLE *table) {
  return defined(definitions, valueTypeName(table), [&] {
    JsonValue names = JsonValue::array();
    for (const VALUE_NAME_TABLE *row = table; row->Name != nullptr; ++row) {
      names.push_back(row->Name);
    }
    if (!namesUnknown(table)) {
      names.push_back("Unknown");
    }
    return JsonValue{{"enum", names}};
  });
}

static const VALUE_NAME_TABLE *valueTable(const std::string &name) {
  for (UINT32 i = 0; i < g_valueTableCount; ++i) {
    if (name == g_valueTables[i].name) {
      return g_valueTables[i].rows;
    }
  }
  return nullptr;
}

// Words that the client's own tables have.
static JsonValue clientWords(const std::string &name) {
  JsonValue words = JsonValue::array();
  for (int i = 0; name == "differenceKind" && i < client::differenceKindCount; ++i) {
    words.push_back(client::differenceKindName(static_cast<client::DifferenceKind>(i)));
  }
  for (int i = 0; name == "differenceObject" && i < client::differenceObjectCount; ++i) {
    words.push_back(client::differenceObjectName(static_cast<client::DifferenceObject>(i)));
  }
  for (UINT8 i = 0; name == "fate" && i < static_cast<UINT8>(client::ensure::Fate::count); ++i) {
    words.push_back(client::ensure::fateName(static_cast<client::ensure::Fate>(i)));
  }
  if (name == "stepResult") {
    words = {"Success", "Fail"};
  }
  return words;
}

// --- Configurations ---

static constexpr UINT32 noObject = ~0U; // the kind of what has no header

static JsonValue objectOf(DEFINITIONS &definitions, const FieldTable &fields, UINT32 kind);

static JsonValue nestedObject(DEFINITIONS &definitions, const char *name, const FieldTable &fields,
                              UINT32 kind = noObject) {
  return defined(definitions, name, [&] { return objectOf(definitions, fields, kind); });
}

static JsonValue cachePolicy(DEFINITIONS &definitions) {
  return defined(definitions, "cachePolicyGroups", [&] {
    JsonValue policy = emptyObject();
    for (UINT32 i = 0; i < g_cachePolicyGroups.rowCount; ++i) {
      const FieldRow &row = g_cachePolicyGroups.rows[i];
      addMember(policy, row.item, /* isRequired= */ true, arrayOf(namesOf(definitions, row.names)));
    }
    return policy;
  });
}

static JsonValue fieldType(DEFINITIONS &definitions, const FieldRow &row) {
  switch (row.format) {
  case FieldFormat::decimal:
    return typeOf(definitions, "number");
  case FieldFormat::hex:
    return {{"type", "string"}, {"pattern", "^[0-9A-F]{" + std::to_string(row.length) + "}$"}};
  case FieldFormat::name:
    return namesOf(definitions, row.names);
  case FieldFormat::boolean:
  case FieldFormat::mark:
    return typeOf(definitions, "bool");
  case FieldFormat::mask:
    return arrayOf(namesOf(definitions, row.names));
  case FieldFormat::cachePolicy:
    return cachePolicy(definitions);
  case FieldFormat::pciIdentity:
    return nestedObject(definitions, "pciIdentity", g_pciIdentityFields);
  case FieldFormat::rates:
    return arrayOf(nestedObject(definitions, "rate", g_rateFields));
  case FieldFormat::raidLevelDesc:
    return nestedObject(definitions, "levelDescriptor", g_levelDescFields);
  case FieldFormat::raidLevelParams:
    return arrayOf(nestedObject(definitions, "levelDescriptor", g_levelDescFields));
  case FieldFormat::idList:
    return typeOf(definitions, "[number]");
  case FieldFormat::enclosure:
    return arrayOf(nestedObject(definitions, "enclosure", g_enclosureFields, RAID_OBJECT_ENCLOSURE));
  case FieldFormat::physicalDisk:
    return arrayOf(nestedObject(definitions, "physicalDisk", g_pdFields, RAID_OBJECT_PHYSICAL_DISK));
  case FieldFormat::virtualDisk:
    return arrayOf(nestedObject(definitions, "virtualDisk", g_vdFields, RAID_OBJECT_VIRTUAL_DISK));
  case FieldFormat::wideText:
  case FieldFormat::fixedText:
  case FieldFormat::keyId:
    return typeOf(definitions, "text");
  }
  return {};
}

// An object with its fields; those of the header and a fixed ObjectType when it has a kind.
static JsonValue objectOf(DEFINITIONS &definitions, const FieldTable &fields, UINT32 kind) {
  JsonValue object = emptyObject();
  for (const FieldTable *table : {kind != noObject ? &g_headerFields : nullptr, &fields}) {
    for (UINT32 i = 0; table != nullptr && i < table->rowCount; ++i) {
      const FieldRow &row = table->rows[i];
      if (row.names == g_objectTypeTable) {
        addMember(object, row.element, true, {{"const", GetNameFromValue(kind, g_objectTypeTable)}});
      } else if (isWritten(row)) {
        addMember(object, row.element, !mayBeAbsent(row), fieldType(definitions, row));
      }
    }
  }
  return object;
}

// --- Types of the shapes ---

static JsonValue shapeOf(DEFINITIONS &definitions, const std::string &shape) {
  JsonValue object = emptyObject();
  for (const JSON_MEMBER &member : g_jsonMembers) {
    if (shape == member.Shape) {
      std::string name = member.Name;
      bool isRequired = name.back() != '?';
      name.resize(isRequired ? name.size() : name.size() - 1);
      addMember(object, name, isRequired, typeOf(definitions, member.Type));
    }
  }
  if (object["properties"].empty()) {
    std::fprintf(stderr, "'%s' is no type\n", shape.c_str());
    std::exit(1);
  }
  return object;
}

static JsonValue typeOf(DEFINITIONS &definitions, const std::string &type) {
  if (type[0] == '[') {
    return arrayOf(typeOf(definitions, type.substr(1, type.size() - 2)));
  }
  if (type == "text" || type == "bool") {
    return {{"type", type == "text" ? "string" : "boolean"}};
  }
  if (type == "number" || type == "number|null") {
    return {{"type", type == "number" ? JsonValue("integer") : JsonValue({"integer", "null"})}, {"minimum", 0}};
  }
  if (type == "adapter") {
    return nestedObject(definitions, "adapter", g_adapterFields, RAID_OBJECT_ADAPTER);
  }
  if (type == "pciLocation") {
    return nestedObject(definitions, "pciLocation", g_pciLocationFields);
  }
  if (type == "stateCounts") { // a member for each state that there is
    return {{"type", "object"},
            {"propertyNames", namesOf(definitions, g_stateTable)},
            {"additionalProperties", {{"type", "integer"}, {"minimum", 1}}}};
  }
  if (valueTable(type) != nullptr) {
    return namesOf(definitions, valueTable(type));
  }
  return defined(definitions, type, [&]() -> JsonValue {
    JsonValue words = clientWords(type);
    return words.empty() ? shapeOf(definitions, type) : JsonValue{{"enum", words}};
  });
}

// --- Files ---

static JsonValue schemaOf(const JSON_DOCUMENT &document) {
  DEFINITIONS definitions;
  JsonValue schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                      {"$comment", "Made by make_json_schemas; build the target \"schemas\" to make it anew."}};
  JsonValue first = typeOf(definitions, document.Shape);
  if (document.OtherShape == nullptr) {
    schema.update(first);
  } else {
    schema["anyOf"] = {first, typeOf(definitions, document.OtherShape)};
  }
  schema["$defs"] = definitions.byName;
  return schema;
}

static const JSON_DOCUMENT *documentOf(const char *command) {
  for (const JSON_DOCUMENT &document : g_jsonDocuments) {
    if (std::strcmp(document.Command, command) == 0) {
      return &document;
    }
  }
  return nullptr;
}

static bool writeSchema(const std::string &folder, const JSON_DOCUMENT &document) {
  std::string path = folder + "/" + document.File + ".schema.json";
  std::ofstream file(path);
  if (!(file << schemaOf(document).dump(1) << "\n").flush()) {
    std::fprintf(stderr, "%s cannot be written\n", path.c_str());
    return false;
  }
  return true;
}

int main(int count, char **arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: make_json_schemas FOLDER\n");
    return 2;
  }
  for (const client::Command &command : host::g_hostCommands) {
    if (!client::takesOption(command.options, client::optionJson)) {
      continue;
    }
    const JSON_DOCUMENT *document = documentOf(command.name);
    if (document == nullptr) {
      std::fprintf(stderr, "'%s' has no row in json_shapes.h\n", command.name);
      return 1;
    }
    if (!writeSchema(arguments[1], *document)) {
      return 1;
    }
  }
  return writeSchema(arguments[1], *documentOf("")) ? 0 : 1;
}
