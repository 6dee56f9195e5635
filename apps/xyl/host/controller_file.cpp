#include "apps/xyl/host/controller_file.h"

#include <limits>
#include <set>

#include <nlohmann/json.hpp>

#include "apps/xyl/host/controller_state.h"
#include "apps/xyl/host/files.h"
#include "base/print.h"
#include "base/text.h"

using JSON = nlohmann::ordered_json;

static constexpr unsigned FILE_FORMAT = 1;

// --- Texts: 8-bit ones are Latin-1, wide ones UCS-2; the file is UTF-8. ---

static void appendUtf8(std::string &to, unsigned unit) {
  if (unit < 0x80) {
    to += static_cast<char>(unit);
  } else if (unit < 0x800) {
    to += static_cast<char>(0xC0 | unit >> 6);
    to += static_cast<char>(0x80 | (unit & 0x3F));
  } else {
    to += static_cast<char>(0xE0 | unit >> 12);
    to += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
    to += static_cast<char>(0x80 | (unit & 0x3F));
  }
}

// The parser of the file has made sure that the bytes are UTF-8. Characters beyond the 16-bit ones become 0xFFFD.
static std::u16string fromUtf8(const std::string &text) {
  std::u16string units;
  for (size_t i = 0; i < text.size();) {
    unsigned lead = static_cast<unsigned char>(text[i++]);
    unsigned more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    unsigned unit = lead < 0x80 ? lead : lead & (0x3FU >> more);
    for (; more != 0 && i < text.size(); --more) {
      unit = unit << 6 | (static_cast<unsigned char>(text[i++]) & 0x3FU);
    }
    units += static_cast<char16_t>(unit <= 0xFFFF ? unit : 0xFFFD);
  }
  return units;
}

template <class T> static std::string toUtf8(const T *text) {
  std::string utf8;
  for (; *text != 0; ++text) {
    appendUtf8(utf8, sizeof(T) == 1 ? static_cast<unsigned char>(*text) : static_cast<unsigned>(*text));
  }
  return utf8;
}

static std::string hexOf(UINT64 value, unsigned digits) {
  char text[17];
  formatHex(text, value, digits);
  return text;
}

// --- Writing ---

struct WRITER {
  JSON json = JSON::object();

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
  static JSON valueOf(UINT64 value, const VALUE_NAME_TABLE *table) {
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
    JSON items = JSON::array();
    for (unsigned bit = 0; bit < sizeof(T) * 8; ++bit) {
      if ((member >> bit & 1U) != 0) {
        items.push_back(valueOf(1ULL << bit, table));
      }
    }
    json[name] = items;
  }

  template <class T> static JSON item(T &member) {
    WRITER inner;
    visit(inner, member);
    return inner.json;
  }
  static JSON item(UINT32 &member) { return member; }

  template <class T> void object(const char *name, T &member) { json[name] = item(member); }

  template <class T> void items(const char *name, T *members, size_t count) {
    json[name] = JSON::array();
    for (size_t i = 0; i < count; ++i) {
      json[name].push_back(item(members[i]));
    }
  }
  template <class T, size_t N> void list(const char *name, T (&members)[N]) { items(name, members, N); }
  template <class T, size_t N> void list(const char *name, T (&members)[N], UINT32 &count) {
    items(name, members, count);
  }
  template <class T> void list(const char *name, SIM_ARRAY<T> &array) { items(name, array.items, array.count); }
};

// --- Reading ---

struct READER {
  const JSON &json;
  std::string path;
  std::set<std::string> known{};

  [[noreturn]] static void refuse(const std::string &where, const std::string &what) {
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER, where + ": " + what);
  }

  std::string placeOf(const std::string &name) const { return path.empty() ? name : path + "." + name; }

  const JSON &member(const char *name) {
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

  const JSON &array(const char *name, size_t limit) {
    const JSON &value = member(name);
    if (!value.is_array()) {
      refuse(placeOf(name), "a list is wanted");
    }
    if (value.size() > limit) {
      refuse(placeOf(name), "at most " + std::to_string(limit) + " entries are possible");
    }
    return value;
  }

  std::string string(const char *name) {
    const JSON &value = member(name);
    if (!value.is_string()) {
      refuse(placeOf(name), "a text is wanted");
    }
    return value.get<std::string>();
  }

  template <class T> static T numberFrom(const JSON &value, const std::string &where) {
    constexpr UINT64 limit = std::numeric_limits<T>::max();
    if (!value.is_number_unsigned() || value.get<UINT64>() > limit) {
      refuse(where, "a whole number from 0 to " + std::to_string(limit) + " is wanted");
    }
    return static_cast<T>(value.get<UINT64>());
  }

  template <class T> static T namedFrom(const JSON &value, const std::string &where, const VALUE_NAME_TABLE *table) {
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
    const JSON &value = member(name);
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
    const JSON &values = array(name, sizeof(T) * 8);
    for (size_t i = 0; i < values.size(); ++i) {
      to = static_cast<T>(to | namedFrom<T>(values[i], placeOfItem(name, i), table));
    }
  }

  std::string placeOfItem(const char *name, size_t index) const {
    return placeOf(name) + "[" + std::to_string(index) + "]";
  }

  template <class T> static void item(const JSON &value, const std::string &where, T &to) {
    READER inner{value, where};
    visit(inner, to);
    inner.refuseUnknown();
  }
  static void item(const JSON &value, const std::string &where, UINT32 &to) { to = numberFrom<UINT32>(value, where); }

  template <class T> void object(const char *name, T &to) { item(member(name), placeOf(name), to); }

  template <class T, size_t N> void list(const char *name, T (&to)[N], UINT32 &count) {
    const JSON &values = array(name, N);
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
    const JSON &values = array(name, 100000);
    for (size_t i = 0; i < values.size(); ++i) {
      T *added = simAppend(to);
      if (added == nullptr) {
        refuse(placeOf(name), "there is no memory for it");
      }
      item(values[i], placeOfItem(name, i), *added);
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

static JSON parseJson(const std::string &text) {
  try {
    return JSON::parse(text);
  } catch (const JSON::exception &error) {
    std::string what = error.what();
    size_t place = what.find("parse error at ");
    throw CLIENT_ERROR(EFI_INVALID_PARAMETER,
                       "it is no JSON: " + (place != std::string::npos ? what.substr(place) : what));
  }
}

static SIM_OWNER readState(const std::string &text) {
  JSON json = parseJson(text);
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

SIM_OWNER loadController(const std::string &file) {
  std::string text;
  EFI_STATUS status = readHostFile(file, &text);
  if (EFI_ERROR(status)) {
    std::string hint = status == EFI_NOT_FOUND ? "; 'xyl sim new --preset demo " + file + "' makes it" : "";
    throw CLIENT_ERROR(status, "cannot read '" + file + "': " + statusText(status) + hint);
  }
  try {
    return readState(text);
  } catch (const CLIENT_ERROR &error) {
    throw CLIENT_ERROR(error.status, "cannot use '" + file + "': " + error.what());
  }
}

void saveController(const std::string &file, SIM_CONTROLLER &sim) {
  WRITER writer;
  writer.json["format"] = FILE_FORMAT;
  visit(writer, sim);
  std::string text = writer.json.dump(2, ' ', /* ensure_ascii= */ false, JSON::error_handler_t::replace) + "\n";
  EFI_STATUS status = writeHostFile(file, text);
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
