#include "tests/model/documents.h"

#include <algorithm>
#include <cstdlib>

using TEXTS = std::vector<std::string>;

static std::string element(const std::string &name, const std::string &content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

static std::string number(const std::string &name, UINT64 value) {
  return element(name, std::to_string(value));
}

static std::string numbers(const std::string &name, const IDS &values) {
  std::string text;
  for (UINT32 value : values) {
    text += number(name, value);
  }
  return text;
}

static std::string typeText(UINT32 objectType) {
  static const char *const names[] = {"Adapter", "Connector", "Enclosure", "Physical Disk", "Virtual Disk", "Battery"};
  return element("ObjectType", objectType < std::size(names) ? names[objectType] : "Toaster");
}

static std::string levelText(UINT32 level) {
  static const struct {
    UINT32 level;
    const char *name;
  } names[] = {{0x2, "RAID 0"}, {0x4, "RAID 1"}, {0x40, "RAID 5"}, {0x80, "RAID 6"}, {0x800, "RAID 10"}};
  for (const auto &row : names) {
    if (row.level == level) {
      return element("RAIDLevel", row.name);
    }
  }
  return element("RAIDLevel", "Volume");
}

// --- Objects ---

static std::string modesText(const std::array<UINT8, 6> &modes) {
  static const struct {
    const char *element;
    TEXTS names; // by value; those of patrol read by value / 4
  } rows[] = {
      {"UncertifiedMode", {"Block", "Allow", "Warn"}},    {"LoadBalanceMode", {"Auto", "None"}},
      {"LearnMode", {"Auto", "Disabled", "Warn"}},        {"CheckConsistencyMode", {"Normal", "Stop On Error"}},
      {"PatrolReadMode", {"Disabled", "Manual", "Auto"}}, {"CopyBackMode", {"Off", "On", "SMART", "On w/ SMART"}}};
  std::string text;
  for (size_t i = 0; i < modes.size(); ++i) {
    bool isPatrol = i == 4;
    size_t value = isPatrol ? (modes[i] & 0x0C) / 4 : modes[i] & 0x7F;
    text += isPatrol && (modes[i] & 0x40) != 0 ? "<CorrectUnconfiguredAreas>True</CorrectUnconfiguredAreas>" : "";
    text += (modes[i] & 0x80) != 0 ? element(rows[i].element, rows[i].names.at(value)) : "";
  }
  return text;
}

static std::string settingsText(const SETTINGS &settings) {
  std::string text = modesText(settings.modes);
  for (const RATE &rate : settings.rates) {
    text += element("Rate", element("Name", rate.name) + element("Editable", rate.editable ? "true" : "false") +
                                number("Value", rate.value));
  }
  return text;
}

static std::string spareText(const SPARE &spare) {
  static const char *const kinds[] = {"Not Hotspare", "Dedicated", "Global"};
  return typeText(RAID_OBJECT_PHYSICAL_DISK) + element("Hotspare", kinds[spare.hotspare]) +
         numbers("VD", spare.volumes);
}

// Of a cache policy only its write policy varies.
static std::string cacheText(UINT32 policy) {
  if (policy == 0) {
    return {};
  }
  return element("CurrentCachePolicy", "<CachePolicy>Direct I/O</CachePolicy>" +
                                           element("WritePolicy", (policy & 1) != 0 ? "Write Through" : "Write Back") +
                                           "<ReadPolicy>Adaptive Read Ahead</ReadPolicy>"
                                           "<DiskPolicy>Default</DiskPolicy>");
}

static std::string volumeText(const VOLUME &volume) {
  std::string attributes = volume.encrypted ? "<Attrib>FDE</Attrib>" : "";
  attributes += volume.cacheCade ? "<Attrib>CacheCade</Attrib>" : "";
  return typeText(RAID_OBJECT_VIRTUAL_DISK) + number("ObjectID", volume.id) + element("Name", volume.name) +
         number("TargetID", volume.target) + (volume.level == 0 ? "" : levelText(volume.level)) +
         number("Size", volume.size) + cacheText(volume.cachePolicy) + element("Attributes", attributes) +
         numbers("PD", volume.members);
}

static std::string base64(const std::string &bytes) {
  static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    size_t left = bytes.size() - i;
    unsigned bits = static_cast<unsigned char>(bytes[i]) << 16;
    bits |= left > 1 ? static_cast<unsigned>(static_cast<unsigned char>(bytes[i + 1])) << 8 : 0;
    bits |= left > 2 ? static_cast<unsigned>(static_cast<unsigned char>(bytes[i + 2])) : 0;
    for (unsigned digit = 0; digit < 4; ++digit) {
      text += digit > left ? '=' : digits[bits >> (18 - 6 * digit) & 63];
    }
  }
  return text;
}

static std::string keysText(const KEYS &keys, bool isRekey) {
  std::string text = keys.key.mode == 0 ? "" : element("Mode", keys.key.mode == 1 ? "LKM" : "RKM");
  text +=
      element("KeyID", keys.key.id) + element(isRekey ? "NewPassphrase" : "Passphrase", base64(keys.key.passphrase));
  return text + (isRekey ? element("OldPassphrase", base64(keys.old)) : "");
}

static std::string payloadText(const COMMAND &command) {
  if (const SPARE *spare = std::get_if<SPARE>(&command.payload)) {
    return element("PD", spareText(*spare));
  }
  if (const VOLUME *volume = std::get_if<VOLUME>(&command.payload)) {
    return element("VD", volumeText(*volume));
  }
  if (const SETTINGS *settings = std::get_if<SETTINGS>(&command.payload)) {
    return element("Adapter", typeText(RAID_OBJECT_ADAPTER) + settingsText(*settings));
  }
  if (const KEYS *keys = std::get_if<KEYS>(&command.payload)) {
    return element("Key", keysText(*keys, command.command == RAID_COMMAND_REKEY));
  }
  return {};
}

// --- Documents ---

std::string optionsText(const OPTIONS &options) {
  std::string text = options.restore ? "<Mode>Restore</Mode>" : "";
  text += options.normal ? "<Mode>Normal</Mode>" : "";
  text += element("StopOnError", options.stopOnError ? "True" : "False");
  return element("RunMode", text + element("Raid", element("PreserveVDConfig", options.preserve ? "True" : "False")));
}

static std::string diskText(const SAVED_DISK &saved) {
  const DISK &disk = saved.disk;
  std::string attributes = disk.ssd ? "<Attrib>SSD</Attrib>" : "";
  attributes += disk.encrypts ? "<Attrib>FDE</Attrib>" : "";
  return typeText(RAID_OBJECT_PHYSICAL_DISK) + number("ObjectID", disk.id) +
         (saved.fqdd.empty() ? "" : element("FQDD", saved.fqdd)) + number("EnclosureObjectID", disk.place.enclosure) +
         number("Size", disk.size) + element("Protocol", disk.protocol == 0x20 ? "SAS" : "SATA") +
         number("Port", disk.place.port) + number("Slot", disk.place.slot) +
         (disk.hotspare == 0 ? "" : element("Hotspare", disk.hotspare == 1 ? "Dedicated" : "Global")) +
         element("Attributes", attributes) + numbers("VD", disk.volumes);
}

std::string savedText(const SAVED &saved) {
  char identity[64];
  std::snprintf(identity, sizeof identity, "<a>4E54</a><a>%04X</a><a>4E54</a><a>2016</a><a/><a/>", saved.deviceId);
  std::string text = typeText(RAID_OBJECT_ADAPTER) + element("PCIID", identity) + settingsText(saved.settings);
  for (const SAVED_DISK &disk : saved.disks) {
    text += element("PD", diskText(disk));
  }
  for (const VOLUME &volume : saved.volumes) {
    text += element("VD", volumeText(volume));
  }
  return element("raidData", element("Adapter", text));
}

static std::string commandName(UINT32 command) {
  static const char *const names[] = {"",      "Get",         "Delete",   "Create",  "Change",    "Import",
                                      "Clear", "Check",       "Identify", "Init",    "ExportLog", "DiscardCache",
                                      "Lock",  "SecureErase", "Rekey",    "GetKeyID"};
  return command < std::size(names) ? names[command] : "GetBounds";
}

std::string requestText(const std::vector<METHOD> &methods) {
  std::string text;
  for (const METHOD &method : methods) {
    const COMMAND &command = method.command;
    std::string payload = payloadText(command);
    text += "<Method name=\"" + commandName(command.command) + "\">" + typeText(command.objectType) +
            numbers("OID", command.ids) + method.damage + (payload.empty() ? "" : element("Object", payload)) +
            "</Method>";
  }
  return element("raidData", methods.empty() ? "<Other/>" : text);
}

// Disks come enclosure by enclosure, those in none last; lists are turned round.
SAVED savedFrom(const CONTROLLER &controller) {
  SAVED saved = {controller.deviceId, controller.settings, {}, controller.volumes};
  std::erase_if(saved.settings.rates, [](const RATE &rate) { return rate.name.empty(); });
  for (UINT32 i = 0; i <= controller.enclosures; ++i) {
    UINT32 enclosure = i == controller.enclosures ? DIRECT : 301 + i;
    for (const DISK &disk : controller.disks) {
      if (disk.place.enclosure == enclosure) {
        saved.disks.push_back({disk, disk.hasFqdd ? fqddOf(disk.place) : ""});
        std::reverse(saved.disks.back().disk.volumes.begin(), saved.disks.back().disk.volumes.end());
      }
    }
  }
  for (VOLUME &volume : saved.volumes) {
    std::reverse(volume.members.begin(), volume.members.end());
  }
  return saved;
}

// --- Logs ---

// The text between before and the next after, from *at on, which is moved behind it; empty at the end.
static std::string between(const std::string &text, const std::string &before, const std::string &after, size_t *at) {
  size_t begin = text.find(before, *at);
  size_t end = begin == std::string::npos ? begin : text.find(after, begin + before.size());
  *at = end;
  return end == std::string::npos ? "" : text.substr(begin + before.size(), end - begin - before.size());
}

std::vector<OPERATION> operationsOf(const std::string &log, const std::string &kind, bool *whole) {
  std::vector<OPERATION> operations;
  size_t at = 0;
  std::string root = between(log, "<", ">", &at);
  *whole = root == kind || root == kind + "/";
  for (at = 0; at != std::string::npos;) {
    std::string name = between(log, "<Operation name=\"", "\"", &at);
    if (at == std::string::npos) {
      break;
    }
    std::string outcome = between(log, "<Status>", "<", &at);
    EFI_STATUS code = std::strtoull(between(log, "<ErrorCode>", "<", &at).c_str(), nullptr, 16);
    *whole = *whole && outcome == (code == 0 ? "Success" : "Fail");
    operations.push_back({name, code});
  }
  return operations;
}
