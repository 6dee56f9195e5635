#include "base/text.h"
#include "host/common/common.h"
#include "host/controller_file/state_json.h"
#include "providers/sim_controller/faults.h"
#include "providers/sim_controller/fixed_text.h"

namespace xyl::host {

[[noreturn]] static void refuse(const std::string &where, const std::string &what) {
  throw ClientError(EFI_INVALID_PARAMETER, where + ": " + what);
}

static UINT64 numberFrom(const Json &value, const std::string &where, UINT64 limit) {
  if (!value.is_number_unsigned() || value.get<UINT64>() > limit) {
    refuse(where, "a whole number from 0 to " + std::to_string(limit) + " is wanted");
  }
  return value.get<UINT64>();
}

// A number, or a name in one of the tables of groups.
static UINT64 namedFrom(const Json &value, const std::string &where, const driver::FieldTable &groups, UINT64 limit) {
  if (!value.is_string()) {
    return numberFrom(value, where, limit);
  }
  for (UINT32 i = 0; i < groups.rowCount; ++i) {
    UINT64 found = driver::GetValueFromName(value.get_ref<const std::string &>().c_str(), groups.rows[i].names);
    if (found != driver::valueNotFound && found <= limit) {
      return found;
    }
  }
  refuse(where, "'" + value.get<std::string>() + "' is no value of this member");
}

static UINT64 namedFrom(const Json &value, const std::string &where, const driver::VALUE_NAME_TABLE *table,
                        UINT64 limit) {
  driver::FieldRow row = {};
  row.names = table;
  return namedFrom(value, where, driver::FieldTable{&row, 1}, limit);
}

static bool areHexDigits(const std::string &text, size_t from) {
  return text.size() > from && text.find_first_not_of("0123456789abcdefABCDEF", from) == std::string::npos;
}

std::string StateReader::placeOfItem(const char *name, size_t index) const {
  return placeOf(name) + "[" + std::to_string(index) + "]";
}

// Null for one that is missing.
const Json *StateReader::member(const char *name) {
  if (!json.is_object()) {
    refuse(path, "an object is wanted");
  }
  known.insert(name);
  auto found = json.find(name);
  return found == json.end() ? nullptr : &*found;
}

const Json &StateReader::wanted(const char *name) {
  const Json *value = member(name);
  if (value == nullptr) {
    refuse(placeOf(name), "this member is missing");
  }
  return *value;
}

const Json &StateReader::array(const char *name, const Json &value, UINT64 limit) const {
  if (!value.is_array()) {
    refuse(placeOf(name), "a list is wanted");
  }
  if (value.size() > limit) {
    refuse(placeOf(name), "at most " + std::to_string(limit) + " entries are possible");
  }
  return value;
}

std::string StateReader::textIn(const char *name, const Json &value) const {
  if (!value.is_string()) {
    refuse(placeOf(name), "a text is wanted");
  }
  return value.get<std::string>();
}

void StateReader::number(const char *name, UINT64 &value, UINT64 limit) {
  if (const Json *from = member(name)) {
    value = numberFrom(*from, placeOf(name), limit);
  }
}

void StateReader::numbers(const char *name, UINT32 *values, UINT64 &count, UINT64 limit) {
  const Json *from = member(name);
  if (from == nullptr) {
    return;
  }
  count = array(name, *from, limit).size();
  for (size_t i = 0; i < count; ++i) {
    values[i] = static_cast<UINT32>(numberFrom((*from)[i], placeOfItem(name, i), 0xFFFFFFFF));
  }
}

void StateReader::hex(const char *name, UINT64 &value, unsigned digits) {
  const Json *from = member(name);
  if (from == nullptr) {
    return;
  }
  std::string text = textIn(name, *from);
  if (text.size() > 2 + digits || text.compare(0, 2, "0x") != 0 || !areHexDigits(text, 2)) {
    refuse(placeOf(name), "\"0x\" and 1 to " + std::to_string(digits) + " hexadecimal digits are wanted");
  }
  value = parseHex(text.c_str());
}

void StateReader::flag(const char *name, bool &value) {
  const Json *from = member(name);
  if (from == nullptr) {
    return;
  }
  if (!from->is_boolean()) {
    refuse(placeOf(name), "true or false is wanted");
  }
  value = from->get<bool>();
}

// Copies a text of at most limit characters, none above the highest, and returns its length.
template <class T>
static size_t copyText(const std::string &text, T *to, size_t limit, char16_t highest, const std::string &where) {
  std::u16string units = fromUtf8(text);
  if (units.size() > limit) {
    refuse(where, "at most " + std::to_string(limit) + " characters are possible");
  }
  for (size_t i = 0; i < units.size(); ++i) {
    if (units[i] == 0 || units[i] > highest) {
      refuse(where, "it holds a character that has no place there");
    }
    to[i] = static_cast<T>(units[i]);
  }
  return units.size();
}

void StateReader::text(const char *name, CHAR16 *value, size_t units) {
  if (const Json *from = member(name)) {
    value[copyText(textIn(name, *from), value, units - 1, 0xFFFF, placeOf(name))] = 0;
  }
}

void StateReader::text(const char *name, CHAR8 *value, size_t units) {
  if (const Json *from = member(name)) {
    value[copyText(textIn(name, *from), value, units - 1, 0xFF, placeOf(name))] = 0;
  }
}

void StateReader::fixed(const char *name, CHAR8 *value, size_t width) {
  if (const Json *from = member(name)) {
    std::string text(width + 1, 0);
    copyText(textIn(name, *from), text.data(), width, 0xFF, placeOf(name));
    sim::setFixed(value, width, text.c_str());
  }
}

void StateReader::bytes(const char *name, UINT8 *value, size_t count) {
  const Json *from = member(name);
  if (from == nullptr) {
    return;
  }
  std::string digits = textIn(name, *from);
  if (digits.size() != 2 * count || !areHexDigits(digits, 0)) {
    refuse(placeOf(name), std::to_string(2 * count) + " hexadecimal digits are wanted");
  }
  for (size_t i = 0; i < count; ++i) {
    value[i] = static_cast<UINT8>(std::stoul(digits.substr(2 * i, 2), nullptr, 16));
  }
}

void StateReader::named(const char *name, UINT64 &value, const driver::VALUE_NAME_TABLE *table, UINT64 limit) {
  if (const Json *from = member(name)) {
    value = namedFrom(*from, placeOf(name), table, limit);
  }
}

void StateReader::namedOrNone(const char *name, bool &present, UINT64 &value, const driver::VALUE_NAME_TABLE *table,
                              UINT64 limit) {
  const Json *from = member(name);
  present = from != nullptr && !from->is_null();
  value = present ? namedFrom(*from, placeOf(name), table, limit) : 0;
}

void StateReader::mask(const char *name, UINT64 &value, const driver::FieldTable &groups, UINT64 limit) {
  const Json *from = member(name);
  if (from == nullptr) {
    return;
  }
  value = 0;
  for (size_t i = 0; i < array(name, *from, 64).size(); ++i) {
    value |= namedFrom((*from)[i], placeOfItem(name, i), groups, limit);
  }
}

void StateReader::numberOrAny(const char *name, UINT32 &value, const driver::VALUE_NAME_TABLE *table) {
  const Json &from = wanted(name);
  value = from == "any" ? sim::anyCode : static_cast<UINT32>(namedFrom(from, placeOf(name), table, 0xFFFFFFFF));
}

void StateReader::status(const char *name, EFI_STATUS &value) {
  const Json &from = wanted(name);
  value = from.is_string() ? errorNamed(from.get<std::string>())
                           : static_cast<EFI_STATUS>(numberFrom(from, placeOf(name), ~0ULL));
  if (from.is_string() && value == EFI_SUCCESS) {
    refuse(placeOf(name), "'" + from.get<std::string>() + "' is no error status");
  }
}

void StateReader::object(const char *name, const Item &item) {
  StateReader inner(wanted(name), placeOf(name));
  item(inner);
  inner.refuseUnknown();
}

void StateReader::list(const char *name, UINT64 &count, UINT64 limit, const Items &items) {
  const Json &values = array(name, wanted(name), limit);
  count = values.size();
  for (size_t i = 0; i < count; ++i) {
    StateReader inner(values[i], placeOfItem(name, i));
    items(inner, i);
    inner.refuseUnknown();
  }
}

void StateReader::refuseUnknown() const {
  if (!json.is_object()) {
    refuse(path, "an object is wanted");
  }
  for (const auto &entry : json.items()) {
    if (known.count(entry.key()) == 0) {
      refuse(placeOf(entry.key()), "there is no such member");
    }
  }
}

} // namespace xyl::host
