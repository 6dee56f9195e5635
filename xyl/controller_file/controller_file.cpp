#include "xyl/controller_file/controller_file.h"

#include <limits>
#include <set>

#include <nlohmann/json.hpp>

#include "base/print.h"
#include "base/text.h"
#include "xyl/controller_file/controller_state.h"
#include "xyl/host/host.h"

using Json = nlohmann::ordered_json;

static constexpr unsigned FILE_FORMAT = 1;
static constexpr std::chrono::seconds LOCK_PATIENCE(2);

static std::string hexOf(UINT64 value, unsigned digits) {
  char text[17];
  formatHex(text, value, digits);
  return text;
}

// --- Writing ---

struct WRITER {
  Json json = Json::object();

  template <class T> void number(const char *name, T &member) { json[name] = member; }
  void flag(const char *name, bool &member) { json[name] = member; }
  template <class T> void hex(const char *name, T &member) { json[name] = "0x" + hexOf(member, sizeof(T) * 2); }
  template <class T, size_t N> void text(const char *name, T (&member)[N]) { json[name] = toUtf8(member); }

  template <size_t N> void bytes(const char *name, UINT8 (&member)[N]) {
    std::string digits;
    for (UINT8 byte : member) {
      digits += hexOf(byte, 2);
    }
    json[name] = digits;
  }

  // A value under its name in the documents, where it has one of its own.
  static Json valueOf(UINT64 value, const VALUE_NAME_TABLE *table) {
    const char *name = GetNameFromValue(value, table);
    if (GetValueFromName(name, table) == value) {
      return name;
    }
    return value;
  }

  template <class T> void named(const char *name, T &member, const VALUE_NAME_TABLE *table) {
    json[name] = valueOf(member, table);
  }

  template <class T> void mask(const char *name, T &member, const VALUE_NAME_TABLE *table) {
    Json items = Json::array();
    for (unsigned bit = 0; bit < sizeof(T) * 8; ++bit) {
      if ((member >> bit & 1U) != 0) {
        items.push_back(valueOf(1ULL << bit, table));
      }
    }
    json[name] = items;
  }

  template <class T> static Json item(T &member) {
    WRITER inner;
    visit(inner, member);
    return inner.json;
  }
  static Json item(UINT32 &member) { return member; }

  template <class T> void object(const char *name, T &member) { json[name] = item(member); }

  template <class T> void items(const char *name, T *members, size_t count) {
    json[name] = Json::array();
    for (size_t i = 0; i < count; ++i) {
      json[name].push_back(item(members[i]));
    }
  }
  template <class T, size_t N> void list(const char *name, T (&members)[N]) { items(name, members, N); }
  template <class T, size_t N> void list(const char *name, T (&members)[N], UINT32 &count) {
    items(name, members, count);
  }
  template <class T> void list(const char *name, SIM_ARRAY<T> &array) { items(name, array.items, array.count); }
  template <class... T> void optionalList(const char *name, T &...members) { list(name, members...); }

  void numberOrAny(const char *name, UINT32 &member, const VALUE_NAME_TABLE *table) {
    json[name] = member == SIM_ANY ? Json("any") : valueOf(member, table);
  }
  void status(const char *name, EFI_STATUS &member) {
    const CHAR8 *words = statusText(member);
    json[name] = words != nullptr && errorNamed(words) == member ? Json(words) : Json(member);
  }
};

// --- Reading ---

struct READER {
  const Json &json;
  std::string path;
  std::set<std::string> known{};

  [[noreturn]] static void refuse(const std::string &where, const std::string &what) {
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER, where + ": " + what);
  }

  std::string placeOf(const std::string &name) const { return path.empty() ? name : path + "." + name; }

  const Json &member(const char *name) {
    if (!json.is_object()) {
      refuse(path, "an object is wanted");
    }
    known.insert(name);
    auto found = json.find(name);
    if (found == json.end()) {
      refuse(placeOf(name), "this member is missing");
    }
    return *found;
  }

  const Json &array(const char *name, size_t limit) {
    const Json &value = member(name);
    if (!value.is_array()) {
      refuse(placeOf(name), "a list is wanted");
    }
    if (value.size() > limit) {
      refuse(placeOf(name), "at most " + std::to_string(limit) + " entries are possible");
    }
    return value;
  }

  std::string string(const char *name) {
    const Json &value = member(name);
    if (!value.is_string()) {
      refuse(placeOf(name), "a text is wanted");
    }
    return value.get<std::string>();
  }

  template <class T> static T numberFrom(const Json &value, const std::string &where) {
    constexpr UINT64 limit = std::numeric_limits<T>::max();
    if (!value.is_number_unsigned() || value.get<UINT64>() > limit) {
      refuse(where, "a whole number from 0 to " + std::to_string(limit) + " is wanted");
    }
    return static_cast<T>(value.get<UINT64>());
  }

  template <class T> static T namedFrom(const Json &value, const std::string &where, const VALUE_NAME_TABLE *table) {
    if (!value.is_string()) {
      return numberFrom<T>(value, where);
    }
    UINT64 found = GetValueFromName(value.get_ref<const std::string &>().c_str(), table);
    if (found > std::numeric_limits<T>::max() || found == VALUE_NOT_FOUND) {
      refuse(where, "'" + value.get<std::string>() + "' is no value of this member");
    }
    return static_cast<T>(found);
  }

  template <class T> void number(const char *name, T &to) { to = numberFrom<T>(member(name), placeOf(name)); }

  void flag(const char *name, bool &to) {
    const Json &value = member(name);
    if (!value.is_boolean()) {
      refuse(placeOf(name), "true or false is wanted");
    }
    to = value.get<bool>();
  }

  template <class T> void hex(const char *name, T &to) {
    std::string digits = string(name);
    bool valid = digits.size() > 2 && digits.size() <= 2 + sizeof(T) * 2 && digits.compare(0, 2, "0x") == 0 &&
                 digits.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
    if (!valid) {
      refuse(placeOf(name), "\"0x\" and 1 to " + std::to_string(sizeof(T) * 2) + " hexadecimal digits are wanted");
    }
    to = static_cast<T>(parseHex(digits.c_str()));
  }

  template <class T, size_t N> void text(const char *name, T (&to)[N]) {
    std::u16string units = fromUtf8(string(name));
    if (units.size() >= N) {
      refuse(placeOf(name), "at most " + std::to_string(N - 1) + " characters are possible");
    }
    for (size_t i = 0; i < units.size(); ++i) {
      if (units[i] == 0 || (sizeof(T) == 1 && units[i] > 0xFF)) {
        refuse(placeOf(name), "it holds a character that has no place there");
      }
      to[i] = static_cast<T>(units[i]);
    }
    to[units.size()] = 0;
  }

  template <size_t N> void bytes(const char *name, UINT8 (&to)[N]) {
    std::string digits = string(name);
    if (digits.size() != 2 * N || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
      refuse(placeOf(name), std::to_string(2 * N) + " hexadecimal digits are wanted");
    }
    for (size_t i = 0; i < N; ++i) {
      to[i] = static_cast<UINT8>(std::stoul(digits.substr(2 * i, 2), nullptr, 16));
    }
  }

  template <class T> void named(const char *name, T &to, const VALUE_NAME_TABLE *table) {
    to = namedFrom<T>(member(name), placeOf(name), table);
  }

  template <class T> void mask(const char *name, T &to, const VALUE_NAME_TABLE *table) {
    to = 0;
    const Json &values = array(name, sizeof(T) * 8);
    for (size_t i = 0; i < values.size(); ++i) {
      to = static_cast<T>(to | namedFrom<T>(values[i], placeOfItem(name, i), table));
    }
  }

  std::string placeOfItem(const char *name, size_t index) const {
    return placeOf(name) + "[" + std::to_string(index) + "]";
  }

  template <class T> static void item(const Json &value, const std::string &where, T &to) {
    READER inner{value, where};
    visit(inner, to);
    inner.refuseUnknown();
  }
  static void item(const Json &value, const std::string &where, UINT32 &to) { to = numberFrom<UINT32>(value, where); }

  template <class T> void object(const char *name, T &to) { item(member(name), placeOf(name), to); }

  template <class T, size_t N> void list(const char *name, T (&to)[N], UINT32 &count) {
    const Json &values = array(name, N);
    for (size_t i = 0; i < values.size(); ++i) {
      item(values[i], placeOfItem(name, i), to[i]);
    }
    count = static_cast<UINT32>(values.size());
  }

  template <class T, size_t N> void list(const char *name, T (&to)[N]) {
    UINT32 count = 0;
    list(name, to, count);
  }

  template <class T> void list(const char *name, SIM_ARRAY<T> &to) {
    const Json &values = array(name, 100000);
    for (size_t i = 0; i < values.size(); ++i) {
      T *added = simAppend(to);
      if (added == nullptr) {
        refuse(placeOf(name), "there is no memory for it");
      }
      item(values[i], placeOfItem(name, i), *added);
    }
  }

  // A list that files of earlier versions do not have.
  template <class... T> void optionalList(const char *name, T &...to) {
    if (json.is_object() && json.count(name) != 0) {
      list(name, to...);
    }
  }

  void numberOrAny(const char *name, UINT32 &to, const VALUE_NAME_TABLE *table) {
    if (member(name) == "any") {
      to = SIM_ANY;
    } else {
      named(name, to, table);
    }
  }

  void status(const char *name, EFI_STATUS &to) {
    const Json &value = member(name);
    to = value.is_string() ? errorNamed(value.get<std::string>()) : numberFrom<EFI_STATUS>(value, placeOf(name));
    if (value.is_string() && to == EFI_SUCCESS) {
      refuse(placeOf(name), "'" + value.get<std::string>() + "' is no error status");
    }
  }

  // A misspelt member would otherwise be a silent one.
  void refuseUnknown() const {
    for (const auto &entry : json.items()) {
      if (known.count(entry.key()) == 0) {
        refuse(placeOf(entry.key()), "there is no such member");
      }
    }
  }
};

// --- The file ---

static Json parseJson(const std::string &text) {
  try {
    return Json::parse(text);
  } catch (const Json::exception &error) {
    std::string what = error.what();
    size_t place = what.find("parse error at ");
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER,
                       "it is no JSON: " + (place != std::string::npos ? what.substr(place) : what));
  }
}

static SIM_OWNER readState(const std::string &text) {
  Json json = parseJson(text);
  READER reader{json, ""};
  UINT32 format = 0;
  if (!json.is_object() || json.count("format") == 0) {
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER, "it is no controller file: \"format\" is missing");
  }
  reader.number("format", format);
  if (format != FILE_FORMAT) {
    throw CLIENT_ERROR(EFI_UNSUPPORTED, "its format is " + std::to_string(format) + ", this program knows format " +
                                            std::to_string(FILE_FORMAT));
  }
  SIM_CONTROLLER *sim = nullptr;
  EFI_STATUS status = simCreateEmpty(&sim);
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, "there is no memory for the controller");
  }
  SIM_OWNER owner(sim);
  visit(reader, *sim);
  reader.refuseUnknown();
  const char *fault = simStateFault(sim);
  if (fault != nullptr) {
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER, fault);
  }
  return owner;
}

[[noreturn]] static void refuseFile(const std::string &file, EFI_STATUS status) {
  std::string hint = status == EFI_NOT_FOUND ? "; 'xyl sim new --preset demo " + file + "' makes it" : "";
  throw CLIENT_ERROR(status, "cannot read '" + file + "': " + statusText(status) + hint);
}

void lockController(const std::string &file, FileLock *lock) {
  EFI_STATUS status = lock->take(file, LOCK_PATIENCE);
  if (status == EFI_NOT_READY) {
    throw CLIENT_ERROR(status, "'" + file + "' is being changed by another xyl; try again when that one has ended");
  }
  if (EFI_ERROR(status)) {
    refuseFile(file, status);
  }
}

SIM_OWNER loadController(const std::string &file) {
  std::string text;
  EFI_STATUS status = readHostFile(file, &text);
  if (EFI_ERROR(status)) {
    refuseFile(file, status);
  }
  try {
    return readState(text);
  } catch (const CLIENT_ERROR &error) {
    throw CLIENT_ERROR(error.status, "cannot use '" + file + "': " + error.what());
  }
}

void saveController(const std::string &file, SIM_CONTROLLER &sim, FILE_REPLACES replaces) {
  simDropSpentFaults(&sim);
  WRITER writer;
  writer.json["format"] = FILE_FORMAT;
  visit(writer, sim);
  std::string text = writer.json.dump(2, ' ', /* ensure_ascii= */ false, Json::error_handler_t::replace) + "\n";
  EFI_STATUS status = writeHostFile(file, text, replaces);
  if (status == EFI_ALREADY_STARTED) {
    throw CLIENT_ERROR(status, "'" + file + "' exists; choose another name or replace it with --force");
  }
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, "cannot write '" + file + "': " + statusText(status));
  }
}

SIM_OWNER makePreset(const std::string &name) {
  SIM_CONTROLLER *sim = nullptr;
  EFI_STATUS status = simCreate(name.c_str(), &sim);
  if (EFI_ERROR(status)) {
    std::string names;
    for (UINT32 i = 0; simPresetAt(i) != nullptr; ++i) {
      names += (i == 0 ? "" : ", ") + std::string(simPresetAt(i)->name);
    }
    throw CLIENT_ERROR(status, status == EFI_NOT_FOUND
                                   ? "there is no preset '" + name + "'; there are " + names
                                   : "the controller cannot be made: " + std::string(statusText(status)));
  }
  return SIM_OWNER(sim);
}
