#include "base/status_text.h"
#include "base/text.h"
#include "host/common/common.h"
#include "host/controller_file/state_json.h"
#include "providers/sim_controller/faults.h"

namespace xyl::host {

static std::string hexOf(UINT64 value, unsigned digits) {
  char text[17];
  formatHex(text, value, digits);
  return text;
}

// A value under its name in the documents, where it has one of its own.
static Json valueOf(UINT64 value, const driver::VALUE_NAME_TABLE *table) {
  const char *name = driver::GetNameFromValue(value, table);
  if (driver::GetValueFromName(name, table) == value) {
    return name;
  }
  return value;
}

void StateWriter::number(const char *name, UINT64 &value, UINT64) {
  json[name] = value;
}

void StateWriter::numbers(const char *name, UINT32 *values, UINT64 &count, UINT64) {
  json[name] = Json::array();
  for (size_t i = 0; i < count; ++i) {
    json[name].push_back(values[i]);
  }
}

void StateWriter::hex(const char *name, UINT64 &value, unsigned digits) {
  json[name] = "0x" + hexOf(value, digits);
}

void StateWriter::flag(const char *name, bool &value) {
  json[name] = value;
}

void StateWriter::text(const char *name, CHAR16 *value, size_t) {
  json[name] = toUtf8(value);
}

void StateWriter::text(const char *name, CHAR8 *value, size_t) {
  json[name] = toUtf8(value);
}

void StateWriter::fixed(const char *name, CHAR8 *value, size_t width) {
  json[name] = fixedText(value, width);
}

void StateWriter::bytes(const char *name, UINT8 *value, size_t count) {
  std::string digits;
  for (size_t i = 0; i < count; ++i) {
    digits += hexOf(value[i], 2);
  }
  json[name] = digits;
}

void StateWriter::named(const char *name, UINT64 &value, const driver::VALUE_NAME_TABLE *table, UINT64) {
  json[name] = valueOf(value, table);
}

void StateWriter::namedOrNone(const char *name, bool &present, UINT64 &value, const driver::VALUE_NAME_TABLE *table,
                              UINT64) {
  json[name] = present ? valueOf(value, table) : Json(nullptr);
}

void StateWriter::mask(const char *name, UINT64 &value, const driver::FieldTable &groups, UINT64) {
  json[name] = Json::array();
  for (unsigned bit = 0; bit < 64; ++bit) {
    if ((value >> bit & 1U) == 0) {
      continue;
    }
    Json item = 1ULL << bit;
    for (UINT32 i = 0; i < groups.rowCount && !item.is_string(); ++i) {
      item = valueOf(1ULL << bit, groups.rows[i].names);
    }
    json[name].push_back(item);
  }
}

void StateWriter::numberOrAny(const char *name, UINT32 &value, const driver::VALUE_NAME_TABLE *table) {
  json[name] = value == sim::anyCode ? Json("any") : valueOf(value, table);
}

void StateWriter::status(const char *name, EFI_STATUS &value) {
  const CHAR8 *words = statusText(value);
  json[name] = words != nullptr && errorNamed(words) == value ? Json(words) : Json(value);
}

void StateWriter::object(const char *name, const Item &item) {
  StateWriter inner;
  item(inner);
  json[name] = inner.json;
}

void StateWriter::list(const char *name, UINT64 &count, UINT64, const Items &items) {
  json[name] = Json::array();
  for (size_t i = 0; i < count; ++i) {
    StateWriter inner;
    items(inner, i);
    json[name].push_back(inner.json);
  }
}

} // namespace xyl::host
