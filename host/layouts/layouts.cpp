#include "host/layouts/layouts.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include "client/output/output.h"
#include "host/common/common.h"

namespace xyl::host::layouts {

namespace {

using Json = nlohmann::json;

constexpr uint64_t sizeMost = 900'000'000; // GiB; the largest size that a layout can say is below 10^18 bytes
constexpr size_t nameMost = 63;
constexpr size_t shownMost = 60; // bytes of a value in a message
constexpr int depthMost = 16;    // a value is written by routines that call themselves

// What a layout says of a virtual disk; what is empty it does not say.
struct VirtualDisk {
  std::string name, level, size, count, medium, protocol;
};

class Translator {
public:
  Translation run(const std::string &text) {
    Json config = parse(text);
    if (translation_.mistakes.empty()) {
      readConfig(config);
    }
    if (translation_.mistakes.empty()) {
      translation_.document = document();
    }
    return std::move(translation_);
  }

private:
  struct Field {
    const char *name;
    void (Translator::*read)(const std::string &place, const Json &value, VirtualDisk *disk);
    bool isNeeded = false;
  };

  static const std::vector<Field> &fields() {
    static const std::vector<Field> all = {
        {"size_gb", &Translator::readSize, /* isNeeded= */ true},
        {"raid_level", &Translator::readLevel, /* isNeeded= */ true},
        {"volume_name", &Translator::readName},
        {"number_of_physical_disks", &Translator::readCount},
        {"disk_type", &Translator::readMedium},
        {"interface_type", &Translator::readProtocol},
        {"share_physical_disks", &Translator::readShared},
        {"is_root_volume", &Translator::readRoot},
        {"controller", &Translator::readController},
        {"physical_disks", &Translator::readMembers},
    };
    return all;
  }

  static const Field *fieldNamed(const std::string &name) {
    auto field = std::find_if(fields().begin(), fields().end(), [&](const Field &each) { return name == each.name; });
    return field != fields().end() ? &*field : nullptr;
  }

  void mistake(const std::string &place, const std::string &what) {
    translation_.mistakes.push_back(place.empty() ? what : place + ": " + what);
  }

  void wrongValue(const std::string &place, const std::string &wanted, const Json &value) {
    std::string shown = value.dump(-1, ' ', /* ensure_ascii= */ true, Json::error_handler_t::replace);
    shown = shown.size() <= shownMost ? shown : shown.substr(0, shownMost) + "...";
    mistake(place, "it is " + wanted + ", not " + shown);
  }

  // A key that an object has twice would be lost.
  Json parse(const std::string &text) {
    std::vector<std::set<std::string>> keys;
    bool isDeep = false;
    auto look = [&](int depth, Json::parse_event_t event, Json &parsed) {
      isDeep = isDeep || depth > depthMost;
      if (event == Json::parse_event_t::object_start) {
        keys.emplace_back();
      } else if (event == Json::parse_event_t::object_end) {
        keys.pop_back();
      } else if (event == Json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second) {
        mistake("", "the key " + parsed.dump() + " stands twice in one object");
      }
      return !isDeep;
    };
    try {
      Json parsed = Json::parse(text, look);
      if (isDeep) {
        mistake("", "it is nested too deep for a target_raid_config");
      }
      return parsed;
    } catch (const Json::exception &error) { // also for numbers that no computer has
      std::string what = error.what();
      mistake("", "no JSON: " + what.substr(what.find("] ") + 2));
      return {};
    }
  }

  void readConfig(const Json &config) {
    if (!config.is_object() || !config.contains("logical_disks")) {
      mistake("", "it is no target_raid_config, an object with logical_disks");
      return;
    }
    for (const auto &[key, value] : config.items()) {
      if (key != "logical_disks") {
        mistake(key, "a target_raid_config has logical_disks and nothing else");
      }
    }
    const Json &disks = config["logical_disks"];
    if (!disks.is_array()) {
      wrongValue("logical_disks", "an array", disks);
      return;
    }
    for (size_t i = 0; i < disks.size(); ++i) {
      readDisk("logical_disks[" + std::to_string(i) + "]", disks[i], "volume-" + std::to_string(i + 1));
    }
  }

  void readDisk(const std::string &place, const Json &source, const std::string &usualName) {
    if (!source.is_object()) {
      wrongValue(place, "an object", source);
      return;
    }
    VirtualDisk disk = {};
    for (const auto &[key, value] : source.items()) {
      std::string where = place;
      where += "." + key;
      const Field *field = fieldNamed(key);
      field != nullptr ? (this->*field->read)(where, value, &disk) : mistake(where, "nobody knows what this means");
    }
    for (const Field &field : fields()) {
      if (field.isNeeded && !source.contains(field.name)) {
        mistake(place, std::string(field.name) + " is missing");
      }
    }
    disk.name = disk.name.empty() ? usualName : disk.name;
    auto [other, isNew] = places_.emplace(disk.name, place);
    if (!isNew) {
      mistake(place, "its name '" + disk.name + "' is that of " + other->second + ", too");
    }
    disks_.push_back(disk);
  }

  // --- Fields ---

  void readWord(const std::string &place, const Json &value, const std::map<std::string, std::string> &words,
                std::string *into) {
    auto word = value.is_string() ? words.find(value.get<std::string>()) : words.end();
    if (word != words.end()) {
      *into = word->second;
      return;
    }
    std::string wanted;
    for (const auto &each : words) {
      wanted += (wanted.empty() ? "one of " : ", ") + each.first;
    }
    wrongValue(place, wanted, value);
  }

  void readNumber(const std::string &place, const Json &value, uint64_t most, const std::string &wanted,
                  std::string *into) {
    bool fits = value.is_number_unsigned() && value.get<uint64_t>() != 0 && value.get<uint64_t>() <= most;
    fits ? void(*into = std::to_string(value.get<uint64_t>())) : wrongValue(place, wanted, value);
  }

  void readSize(const std::string &place, const Json &value, VirtualDisk *disk) {
    if (value == "MAX") {
      disk->size = "all";
      return;
    }
    readNumber(place, value, sizeMost, "a whole number of GiB or \"MAX\"", &disk->size);
    disk->size += "GiB";
  }

  void readLevel(const std::string &place, const Json &value, VirtualDisk *disk) {
    static const std::map<std::string, std::string> levels = {{"0", "RAID 0"},    {"1", "RAID 1"},   {"2", "RAID 2"},
                                                              {"5", "RAID 5"},    {"6", "RAID 6"},   {"1+0", "RAID 10"},
                                                              {"5+0", "RAID 50"}, {"6+0", "RAID 60"}};
    value == "JBOD" ? mistake(place, "disks outside of virtual disks are nothing that a layout says")
                    : readWord(place, value, levels, &disk->level);
  }

  void readName(const std::string &place, const Json &value, VirtualDisk *disk) {
    std::string name = value.is_string() ? value.get<std::string>() : "";
    bool isPlain = std::all_of(name.begin(), name.end(), [](char letter) { return letter >= ' ' && letter <= '~'; });
    bool isBlank = name.find_first_not_of(' ') == std::string::npos;
    isBlank || name.size() > nameMost || !isPlain
        ? wrongValue(place, "a text of 1 to 63 characters of plain ASCII", value)
        : void(disk->name = name);
  }

  void readCount(const std::string &place, const Json &value, VirtualDisk *disk) {
    readNumber(place, value, 0xFFFF, "a number from 1 to 65535", &disk->count);
  }

  void readMedium(const std::string &place, const Json &value, VirtualDisk *disk) {
    readWord(place, value, {{"hdd", "HDD"}, {"ssd", "SSD"}}, &disk->medium);
  }

  void readProtocol(const std::string &place, const Json &value, VirtualDisk *disk) {
    readWord(place, value, {{"sata", "SATA"}, {"sas", "SAS"}, {"scsi", "SCSI"}}, &disk->protocol);
  }

  // A new virtual disk gets disks of its own, which is right either way: this permits, and asks for nothing.
  void readShared(const std::string &place, const Json &value, VirtualDisk *) {
    if (!value.is_boolean()) {
      wrongValue(place, "true or false", value);
    }
  }

  void readRoot(const std::string &place, const Json &value, VirtualDisk *) {
    if (!value.is_boolean()) {
      wrongValue(place, "true or false", value);
    } else if (value.get<bool>()) {
      mistake(place, "what a machine starts from is nothing that a layout says");
    }
  }

  void readController(const std::string &place, const Json &, VirtualDisk *) {
    mistake(place, "a layout is for any controller; choose one with -c");
  }

  void readMembers(const std::string &place, const Json &, VirtualDisk *) {
    mistake(place, "a layout says of which kind disks are, not which ones");
  }

  // --- The document ---

  static std::string escaped(const std::string &text) {
    std::string all;
    for (char letter : text) {
      all += letter == '&' ? "&amp;" : letter == '<' ? "&lt;" : letter == '>' ? "&gt;" : std::string(1, letter);
    }
    return all;
  }

  static void putElement(std::string &to, const char *indent, const std::string &name, const std::string &text) {
    if (!text.empty()) {
      to += indent + ("<" + name + ">") + escaped(text) + "</" + name + ">\n";
    }
  }

  std::string document() const {
    std::string all = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<RaidLayout>\n";
    for (const VirtualDisk &disk : disks_) {
      std::string wanted;
      putElement(wanted, "      ", "Count", disk.count);
      putElement(wanted, "      ", "Medium", disk.medium);
      putElement(wanted, "      ", "Protocol", disk.protocol);
      all += "  <VD>\n";
      putElement(all, "    ", "Name", disk.name);
      putElement(all, "    ", "RAIDLevel", disk.level);
      all += wanted.empty() ? "" : "    <Disks>\n" + wanted + "    </Disks>\n";
      putElement(all, "    ", "Size", disk.size);
      all += "  </VD>\n";
    }
    return all + "</RaidLayout>\n";
  }

  Translation translation_;
  std::vector<VirtualDisk> disks_;
  std::map<std::string, std::string> places_; // of the virtual disks by their names
};

} // namespace

Translation translateTargetConfig(const std::string &text) {
  return Translator().run(text);
}

client::Result translateLayout(const client::Front *front, const CHAR8 *file, CHAR8 **document) {
  return guarded(*front, [&]() -> client::Result {
    std::string text;
    EFI_STATUS status = readHostFile(file, &text);
    if (EFI_ERROR(status)) {
      client::complain(front, "cannot read '%a': %a", file, client::statusWords(status));
      return status == EFI_NOT_FOUND ? client::notFound() : client::failed(status);
    }
    Translation translation = translateTargetConfig(text);
    for (const std::string &line : translation.mistakes) {
      client::complain(front, "'%a': %a", file, line.c_str());
    }
    if (!translation.mistakes.empty()) {
      return client::failed(EFI_INVALID_PARAMETER, client::Reason::document);
    }
    *document = static_cast<CHAR8 *>(poolAllocate(translation.document.size() + 1));
    if (*document == nullptr) {
      return client::failed(EFI_OUT_OF_RESOURCES);
    }
    std::memcpy(*document, translation.document.c_str(), translation.document.size() + 1);
    return client::succeeded();
  });
}

} // namespace xyl::host::layouts
