// A controller's state as JSON.
#pragma once

#include <set>
#include <string>

#include <nlohmann/json.hpp>

#include "host/controller_file/state_visitor.h"

namespace xyl::host {

using Json = nlohmann::ordered_json;

// Writes what it visits into json.
struct StateWriter : StateVisitor {
  Json json = Json::object();

  void number(const char *name, UINT64 &value, UINT64 limit) override;
  void numbers(const char *name, UINT32 *values, UINT64 &count, UINT64 limit) override;
  void hex(const char *name, UINT64 &value, unsigned digits) override;
  void flag(const char *name, bool &value) override;
  void text(const char *name, CHAR16 *value, size_t units) override;
  void text(const char *name, CHAR8 *value, size_t units) override;
  void fixed(const char *name, CHAR8 *value, size_t width) override;
  void bytes(const char *name, UINT8 *value, size_t count) override;
  void named(const char *name, UINT64 &value, const driver::VALUE_NAME_TABLE *table, UINT64 limit) override;
  void namedOrNone(const char *name, bool &present, UINT64 &value, const driver::VALUE_NAME_TABLE *table,
                   UINT64 limit) override;
  void mask(const char *name, UINT64 &value, const driver::FieldTable &groups, UINT64 limit) override;
  void numberOrAny(const char *name, UINT32 &value, const driver::VALUE_NAME_TABLE *table) override;
  void status(const char *name, EFI_STATUS &value) override;
  void object(const char *name, const Item &item) override;
  void list(const char *name, UINT64 &count, UINT64 limit, const Items &items) override;
};

// Reads what it visits from json. A member that is missing, unless it is a list of objects, stays as it was: what
// earlier versions did not know is zero. ClientError names the place of what is wrong.
struct StateReader : StateVisitor {
  const Json &json;
  std::string path;
  std::set<std::string> known{};

  StateReader(const Json &from, std::string place) : json(from), path(std::move(place)) {}

  void number(const char *name, UINT64 &value, UINT64 limit) override;
  void numbers(const char *name, UINT32 *values, UINT64 &count, UINT64 limit) override;
  void hex(const char *name, UINT64 &value, unsigned digits) override;
  void flag(const char *name, bool &value) override;
  void text(const char *name, CHAR16 *value, size_t units) override;
  void text(const char *name, CHAR8 *value, size_t units) override;
  void fixed(const char *name, CHAR8 *value, size_t width) override;
  void bytes(const char *name, UINT8 *value, size_t count) override;
  void named(const char *name, UINT64 &value, const driver::VALUE_NAME_TABLE *table, UINT64 limit) override;
  void namedOrNone(const char *name, bool &present, UINT64 &value, const driver::VALUE_NAME_TABLE *table,
                   UINT64 limit) override;
  void mask(const char *name, UINT64 &value, const driver::FieldTable &groups, UINT64 limit) override;
  void numberOrAny(const char *name, UINT32 &value, const driver::VALUE_NAME_TABLE *table) override;
  void status(const char *name, EFI_STATUS &value) override;
  void object(const char *name, const Item &item) override;
  void list(const char *name, UINT64 &count, UINT64 limit, const Items &items) override;

  // Refuses members that were not visited: a misspelt one would otherwise be a silent one.
  void refuseUnknown() const;

private:
  std::string placeOf(const std::string &name) const { return path.empty() ? name : path + "." + name; }
  std::string placeOfItem(const char *name, size_t index) const;
  const Json *member(const char *name);
  const Json &wanted(const char *name);
  const Json &array(const char *name, const Json &value, UINT64 limit) const;
  std::string textIn(const char *name, const Json &value) const;
};

} // namespace xyl::host
