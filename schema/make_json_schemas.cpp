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

using JSON_VALUE = nlohmann::ordered_json;

// A schema in the making: the definitions that it needs so far.
struct DEFINITIONS {
  JSON_VALUE ByName = JSON_VALUE::object();
};

static JSON_VALUE typeOf(DEFINITIONS &definitions, const std::string &type);

static JSON_VALUE referenceTo(const std::string &name) {
  return {{"$ref", "#/$defs/" + name}};
}

// The definition of that name, made once by make().
template <class MAKE> static JSON_VALUE defined(DEFINITIONS &definitions, const std::string &name, MAKE make) {
  if (!definitions.ByName.contains(name)) {
    definitions.ByName[name] = nullptr; // keeps its place, and ends a shape that contains itself
    JSON_VALUE made = make();
    definitions.ByName[name] = made;
  }
  return referenceTo(name);
}

static JSON_VALUE arrayOf(const JSON_VALUE &items) {
  return {{"type", "array"}, {"items", items}};
}

// An object without members yet.
static JSON_VALUE emptyObject() {
  return {{"type", "object"}, {"required", JSON_VALUE::array()}, {"properties", JSON_VALUE::object()}};
}

static void addMember(JSON_VALUE &object, const std::string &name, bool isRequired, const JSON_VALUE &type) {
  object["properties"][name] = type;
  if (isRequired) {
    object["required"].push_back(name);
  }
}

// --- Names ---

static JSON_VALUE namesOf(DEFINITIONS &definitions, const VALUE_NAME_TABLE *table) {
  return defined(definitions, valueTypeName(table), [&] {
    JSON_VALUE names = JSON_VALUE::array();
    for (const VALUE_NAME_TABLE *row = table; row->Name != nullptr; ++row) {
      names.push_back(row->Name);
    }
    if (!namesUnknown(table)) {
      names.push_back("Unknown");
    }
    return JSON_VALUE{{"enum", names}};
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
static JSON_VALUE clientWords(const std::string &name) {
  JSON_VALUE words = JSON_VALUE::array();
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

static constexpr UINT32 NO_OBJECT = ~0U; // the kind of what has no header

static JSON_VALUE objectOf(DEFINITIONS &definitions, const FieldTable &fields, UINT32 kind);

static JSON_VALUE nestedObject(DEFINITIONS &definitions, const char *name, const FieldTable &fields,
                               UINT32 kind = NO_OBJECT) {
  return defined(definitions, name, [&] { return objectOf(definitions, fields, kind); });
}

static JSON_VALUE cachePolicy(DEFINITIONS &definitions) {
  return defined(definitions, "cachePolicyGroups", [&] {
    JSON_VALUE policy = emptyObject();
    for (UINT32 i = 0; i < g_cachePolicyGroups.rowCount; ++i) {
      const FieldRow &row = g_cachePolicyGroups.rows[i];
      addMember(policy, row.item, /* isRequired= */ true, arrayOf(namesOf(definitions, row.names)));
    }
    return policy;
  });
}

static JSON_VALUE fieldType(DEFINITIONS &definitions, const FieldRow &row) {
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
static JSON_VALUE objectOf(DEFINITIONS &definitions, const FieldTable &fields, UINT32 kind) {
  JSON_VALUE object = emptyObject();
  for (const FieldTable *table : {kind != NO_OBJECT ? &g_headerFields : nullptr, &fields}) {
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

static JSON_VALUE shapeOf(DEFINITIONS &definitions, const std::string &shape) {
  JSON_VALUE object = emptyObject();
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

static JSON_VALUE typeOf(DEFINITIONS &definitions, const std::string &type) {
  if (type[0] == '[') {
    return arrayOf(typeOf(definitions, type.substr(1, type.size() - 2)));
  }
  if (type == "text" || type == "bool") {
    return {{"type", type == "text" ? "string" : "boolean"}};
  }
  if (type == "number" || type == "number|null") {
    return {{"type", type == "number" ? JSON_VALUE("integer") : JSON_VALUE({"integer", "null"})}, {"minimum", 0}};
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
  return defined(definitions, type, [&]() -> JSON_VALUE {
    JSON_VALUE words = clientWords(type);
    return words.empty() ? shapeOf(definitions, type) : JSON_VALUE{{"enum", words}};
  });
}

// --- Files ---

static JSON_VALUE schemaOf(const JSON_DOCUMENT &document) {
  DEFINITIONS definitions;
  JSON_VALUE schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                       {"$comment", "Made by make_json_schemas; build the target \"schemas\" to make it anew."}};
  JSON_VALUE first = typeOf(definitions, document.Shape);
  if (document.OtherShape == nullptr) {
    schema.update(first);
  } else {
    schema["anyOf"] = {first, typeOf(definitions, document.OtherShape)};
  }
  schema["$defs"] = definitions.ByName;
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
