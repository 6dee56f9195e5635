#include "host/redfish/fields.h"

#include <algorithm>
#include <set>
#include <string>

namespace xyl::host::redfish {

static constexpr Value g_levels[] = {
    {"Volume", R"("None")"},    {"RAID 0", R"("RAID0")"},   {"RAID 1", R"("RAID1")"}, {"RAID 3", R"("RAID3")"},
    {"RAID 4", R"("RAID4")"},   {"RAID 5", R"("RAID5")"},   {"RAID 6", R"("RAID6")"}, {"RAID 10", R"("RAID10")"},
    {"RAID 50", R"("RAID50")"}, {"RAID 60", R"("RAID60")"},
};
static constexpr Value g_stripes[] = {
    {"512 b", "512"},     {"1 Kb", "1024"},     {"2 Kb", "2048"},     {"4 Kb", "4096"},
    {"8 Kb", "8192"},     {"16 Kb", "16384"},   {"32 Kb", "32768"},   {"64 Kb", "65536"},
    {"128 Kb", "131072"}, {"256 Kb", "262144"}, {"512 Kb", "524288"}, {"1 Mb", "1048576"},
    {"2 Mb", "2097152"},  {"4 Mb", "4194304"},  {"8 Mb", "8388608"},  {"16 Mb", "16777216"},
};
static constexpr Value g_writePolicies[] = {
    {"Write Through", R"("WriteThrough")"},
    {"Write Back", R"("ProtectedWriteBack")"},
    {"Force Write Back", R"("UnprotectedWriteBack")"},
};
static constexpr Value g_readPolicies[] = {
    {"No Read Ahead", R"("Off")"},
    {"Read Ahead", R"("ReadAhead")"},
    {"Adaptive Read Ahead", R"("AdaptiveReadAhead")"},
};
static constexpr Value g_access[] = {
    {"No Access", "[]"}, {"Read Only", R"(["Read"])"}, {"Read/Write", R"(["Read","Write"])"}};
static constexpr Value g_protocols[] = {
    {"SAS", R"("SAS")"}, {"SATA", R"("SATA")"}, {"USB", R"("USB")"}, {"Fibre", R"("FC")"}};
static constexpr Value g_speeds[] = {{"1.5 Gbs", "1.5"}, {"3 Gbs", "3"}, {"6 Gbs", "6"}};
static constexpr Value g_spares[] = {
    {"Not Hotspare", R"("None")"}, {"Dedicated", R"("Dedicated")"}, {"Global", R"("Global")"}};
static constexpr Value g_secureStates[] = {
    {"FOREIGN", R"("Foreign")"}, {"SECURED", R"("Unlocked")"}, {"LOCKED", R"("Locked")"}};
static constexpr Value g_securityModes[] = {{"LKM", R"("UseLocalKey")"}, {"RKM", R"("UseExternalKey")"}};
static constexpr Value g_isEncrypted[] = {{"FDE", "true"}, {"", "false"}};
static constexpr Value g_encryptionAbility[] = {{"FDE", R"("SelfEncryptingDrive")"}, {"", R"("None")"}};
static constexpr Value g_media[] = {{"SSD", R"("SSD")"}, {"", R"("HDD")"}};

static constexpr Value g_bootOverrides[] = {{"Disabled", R"("Disabled")"}};
static constexpr Value g_bootModes[] = {{"UEFI", R"("UEFI")"}};
static constexpr Value g_bootTargets[] = {{"None", R"("None")"}};
static constexpr Value g_initializations[] = {{"Fast", R"("Fast")"}, {"Slow", R"("Slow")"}};

static constexpr unsigned writeAlways = writeCreate | writeChange;

static constexpr Field g_storageRows[] = {
    {"SecurityMode", "EncryptionMode", Form::value, writeNever, g_securityModes},
    {"Keyid", "LocalEncryptionKeyIdentifier", Form::text},
};

static constexpr Field g_controllerRows[] = {
    {"Name", "Model", Form::text},
    {"FirmwareVersion", "FirmwareVersion", Form::text},
    {"WWN", "Identifiers", Form::name},
    {"CapableSpeeds", "SpeedGbps", Form::largest, writeNever, g_speeds},
    {"SupportedDiskProtocols", "SupportedDeviceProtocols", Form::values, writeNever, g_protocols},
    {"SupportedRAIDLevels", "SupportedRAIDTypes", Form::values, writeNever, g_levels},
    {"Rebuild", "ControllerRates/RebuildRatePercent", Form::rate, writeChange},
    {"Check Consistency", "ControllerRates/ConsistencyCheckRatePercent", Form::rate, writeChange},
    {"Reconstruct", "ControllerRates/TransformationRatePercent", Form::rate, writeChange},
};

static constexpr Field g_chassisRows[] = {
    {"Name", "Name", Form::text},
    {"AssetTag", "AssetTag", Form::text},
    {"Revision", "Version", Form::text},
};

static constexpr Field g_driveRows[] = {
    {"Name", "Name", Form::text},
    {"Size", "CapacityBytes", Form::amount},
    {"WWN", "Identifiers", Form::name},
    {"Protocol", "Protocol", Form::value, writeNever, g_protocols},
    {"Slot", "PhysicalLocation/PartLocation", Form::slot},
    {"Hotspare", "HotspareType", Form::value, writeChange, g_spares},
    {"Attributes", "MediaType", Form::has, writeNever, g_media},
    {"Attributes", "EncryptionAbility", Form::has, writeNever, g_encryptionAbility},
    {"CapableSpeeds", "CapableSpeedGbs", Form::largest, writeNever, g_speeds},
    {"SecureState", "EncryptionStatus", Form::value, writeNever, g_secureStates},
    {"SerialNumber", "SerialNumber", Form::text},
    {"Revision", "Revision", Form::text},
    {"ModelName", "Model", Form::text},
    {"ManufactureName", "Manufacturer", Form::text},
};

static constexpr Field g_volumeRows[] = {
    {"Name", "Name", Form::text, writeCreate},
    {"Name", "DisplayName", Form::text, writeAlways},
    {"RAIDLevel", "RAIDType", Form::value, writeCreate, g_levels},
    {"Size", "CapacityBytes", Form::amount, writeCreate},
    {"StripeSize", "StripSizeBytes", Form::value, writeCreate, g_stripes},
    {"CurrentCachePolicy/WritePolicy", "WriteCachePolicy", Form::value, writeAlways, g_writePolicies},
    {"CurrentCachePolicy/ReadPolicy", "ReadCachePolicy", Form::value, writeAlways, g_readPolicies},
    {"Attributes", "Encrypted", Form::has, writeCreate, g_isEncrypted},
    {"AccessPolicy", "AccessCapabilities", Form::value, writeAlways, g_access},
    {"PDsPerSpan", "MediaSpanCount", Form::amount, writeCreate},
    {elementMembers, "Links/Drives", Form::links, writeCreate},
    {elementSpares, "Links/DedicatedSpareDrives", Form::links, writeAlways},
};

static constexpr Field g_systemRows[] = {
    {"enabled", "Boot/BootSourceOverrideEnabled", Form::value, writeChange, g_bootOverrides},
    {"mode", "Boot/BootSourceOverrideMode", Form::value, writeChange, g_bootModes},
    {"target", "Boot/BootSourceOverrideTarget", Form::value, writeChange, g_bootTargets},
};

// How thoroughly, the controller decides.
static constexpr Field g_initializeRows[] = {
    {"type", "InitializeType", Form::value, writeChange, g_initializations},
};

const Table g_storageFields = g_storageRows;
const Table g_controllerFields = g_controllerRows;
const Table g_chassisFields = g_chassisRows;
const Table g_driveFields = g_driveRows;
const Table g_volumeFields = g_volumeRows;
const Table g_systemFields = g_systemRows;
const Table g_initializeFields = g_initializeRows;

static Json::json_pointer pointerOf(const std::string &path) {
  return Json::json_pointer("/" + path);
}

const Json *memberAt(const Json &object, const std::string &path) {
  Json::json_pointer pointer = pointerOf(path);
  return object.contains(pointer) ? &object.at(pointer) : nullptr;
}

// The value of a word; null for one that Redfish has no value for.
static Json valueOf(const Field &field, const Json &word) {
  for (const Value &row : field.values) {
    if (word == row.word) {
      return Json::parse(row.value);
    }
  }
  return nullptr;
}

Json knownValues(const Field &field, const Json &words) {
  Json values = Json::array();
  for (const Json &word : words) {
    Json value = valueOf(field, word);
    if (!value.is_null()) {
      values.push_back(value);
    }
  }
  return values;
}

// The values of all words, or null.
static Json valuesOf(const Field &field, const Json &words) {
  Json values = Json::array();
  for (const Json &word : words) {
    values.push_back(valueOf(field, word));
    if (values.back().is_null()) {
      return nullptr;
    }
  }
  return values;
}

static Json largestOf(const Field &field, const Json &words) {
  Json largest;
  for (const Json &value : valuesOf(field, words)) {
    largest = largest.is_null() || value > largest ? value : largest;
  }
  return largest;
}

static Json textOf(const Json &element) {
  std::string text = element.get<std::string>();
  text.erase(text.find_last_not_of(' ') + 1);
  return text.empty() ? Json() : Json(text);
}

static Json nameOf(const Json &element) {
  std::string name = element.get<std::string>();
  if (name.find_first_not_of('0') == std::string::npos) {
    return nullptr;
  }
  return Json::array({{{"DurableName", name}, {"DurableNameFormat", "NAA"}}});
}

static Json propertyOf(const Field &field, const Json &element) {
  switch (field.form) {
  case Form::text:
    return textOf(element);
  case Form::amount:
    return element;
  case Form::value:
    return element.is_array() ? (element.size() == 1 ? valueOf(field, element[0]) : Json()) : valueOf(field, element);
  case Form::values:
    return valuesOf(field, element);
  case Form::largest:
    return largestOf(field, element);
  case Form::has: {
    bool has = std::find(element.begin(), element.end(), field.values[0].word) != element.end();
    return Json::parse(field.values[has ? 0 : 1].value);
  }
  case Form::name:
    return nameOf(element);
  case Form::slot:
    return {{"LocationType", "Slot"}, {"LocationOrdinalValue", element}};
  case Form::rate:
  case Form::links:
    break;
  }
  return nullptr;
}

// A rate in per cent; the adapter's own scale goes beyond that.
static Json rateOf(const Field &field, const Json &adapter) {
  for (const Json &rate : adapter.value("Rate", Json::array())) {
    if (rate.value("Name", "") == field.element && rate.value("Value", 0U) <= 100) {
      return rate.value("Value", 0U);
    }
  }
  return nullptr;
}

static void erasePath(Json *object, const std::string &path) {
  size_t slash = path.find('/');
  if (slash == std::string::npos) {
    object->erase(path);
    return;
  }
  Json &inner = (*object)[path.substr(0, slash)];
  inner.erase(path.substr(slash + 1));
}

void moveFields(Table table, Json *object, Json *resource) {
  std::set<std::string> moved;
  for (const Field &field : table) {
    const Json *element = memberAt(*object, field.element);
    Json value = field.form == Form::rate ? rateOf(field, *object)
                 : element != nullptr     ? propertyOf(field, *element)
                                          : Json();
    if (value.is_null()) {
      continue;
    }
    (*resource)[pointerOf(field.property)] = value;
    if (field.form != Form::rate && field.form != Form::has) {
      moved.insert(field.element);
    }
  }
  for (const std::string &element : moved) {
    erasePath(object, element);
  }
}

Json wordOf(const Field &field, const Json &value) {
  for (const Value &row : field.values) {
    if (value == Json::parse(row.value)) {
      return row.word;
    }
  }
  return nullptr;
}

} // namespace xyl::host::redfish
