#include "host/redfish/fields.h"

#include <algorithm>
#include <set>
#include <string>

static constexpr REDFISH_VALUE g_levels[] = {
    {"Volume", R"("None")"},    {"RAID 0", R"("RAID0")"},   {"RAID 1", R"("RAID1")"}, {"RAID 3", R"("RAID3")"},
    {"RAID 4", R"("RAID4")"},   {"RAID 5", R"("RAID5")"},   {"RAID 6", R"("RAID6")"}, {"RAID 10", R"("RAID10")"},
    {"RAID 50", R"("RAID50")"}, {"RAID 60", R"("RAID60")"},
};
static constexpr REDFISH_VALUE g_stripes[] = {
    {"512 b", "512"},     {"1 Kb", "1024"},     {"2 Kb", "2048"},     {"4 Kb", "4096"},
    {"8 Kb", "8192"},     {"16 Kb", "16384"},   {"32 Kb", "32768"},   {"64 Kb", "65536"},
    {"128 Kb", "131072"}, {"256 Kb", "262144"}, {"512 Kb", "524288"}, {"1 Mb", "1048576"},
    {"2 Mb", "2097152"},  {"4 Mb", "4194304"},  {"8 Mb", "8388608"},  {"16 Mb", "16777216"},
};
static constexpr REDFISH_VALUE g_writePolicies[] = {
    {"Write Through", R"("WriteThrough")"},
    {"Write Back", R"("ProtectedWriteBack")"},
    {"Force Write Back", R"("UnprotectedWriteBack")"},
};
static constexpr REDFISH_VALUE g_readPolicies[] = {
    {"No Read Ahead", R"("Off")"},
    {"Read Ahead", R"("ReadAhead")"},
    {"Adaptive Read Ahead", R"("AdaptiveReadAhead")"},
};
static constexpr REDFISH_VALUE g_access[] = {
    {"No Access", "[]"}, {"Read Only", R"(["Read"])"}, {"Read/Write", R"(["Read","Write"])"}};
static constexpr REDFISH_VALUE g_protocols[] = {
    {"SAS", R"("SAS")"}, {"SATA", R"("SATA")"}, {"USB", R"("USB")"}, {"Fibre", R"("FC")"}};
static constexpr REDFISH_VALUE g_speeds[] = {{"1.5 Gbs", "1.5"}, {"3 Gbs", "3"}, {"6 Gbs", "6"}};
static constexpr REDFISH_VALUE g_spares[] = {
    {"Not Hotspare", R"("None")"}, {"Dedicated", R"("Dedicated")"}, {"Global", R"("Global")"}};
static constexpr REDFISH_VALUE g_secureStates[] = {
    {"FOREIGN", R"("Foreign")"}, {"SECURED", R"("Unlocked")"}, {"LOCKED", R"("Locked")"}};
static constexpr REDFISH_VALUE g_securityModes[] = {{"LKM", R"("UseLocalKey")"}, {"RKM", R"("UseExternalKey")"}};
static constexpr REDFISH_VALUE g_isEncrypted[] = {{"FDE", "true"}, {"", "false"}};
static constexpr REDFISH_VALUE g_encryptionAbility[] = {{"FDE", R"("SelfEncryptingDrive")"}, {"", R"("None")"}};
static constexpr REDFISH_VALUE g_media[] = {{"SSD", R"("SSD")"}, {"", R"("HDD")"}};

static constexpr REDFISH_VALUE g_bootOverrides[] = {{"Disabled", R"("Disabled")"}};
static constexpr REDFISH_VALUE g_bootModes[] = {{"UEFI", R"("UEFI")"}};
static constexpr REDFISH_VALUE g_bootTargets[] = {{"None", R"("None")"}};
static constexpr REDFISH_VALUE g_initializations[] = {{"Fast", R"("Fast")"}, {"Slow", R"("Slow")"}};

static constexpr unsigned WRITE_BOTH = WRITE_CREATE | WRITE_CHANGE;

static constexpr REDFISH_FIELD g_storageRows[] = {
    {"SecurityMode", "EncryptionMode", FORM_VALUE, WRITE_NEVER, g_securityModes},
    {"Keyid", "LocalEncryptionKeyIdentifier", FORM_TEXT},
};

static constexpr REDFISH_FIELD g_controllerRows[] = {
    {"Name", "Model", FORM_TEXT},
    {"FirmwareVersion", "FirmwareVersion", FORM_TEXT},
    {"WWN", "Identifiers", FORM_NAME},
    {"CapableSpeeds", "SpeedGbps", FORM_LARGEST, WRITE_NEVER, g_speeds},
    {"SupportedDiskProtocols", "SupportedDeviceProtocols", FORM_VALUES, WRITE_NEVER, g_protocols},
    {"SupportedRAIDLevels", "SupportedRAIDTypes", FORM_VALUES, WRITE_NEVER, g_levels},
    {"Rebuild", "ControllerRates/RebuildRatePercent", FORM_RATE, WRITE_CHANGE},
    {"Check Consistency", "ControllerRates/ConsistencyCheckRatePercent", FORM_RATE, WRITE_CHANGE},
    {"Reconstruct", "ControllerRates/TransformationRatePercent", FORM_RATE, WRITE_CHANGE},
};

static constexpr REDFISH_FIELD g_chassisRows[] = {
    {"Name", "Name", FORM_TEXT},
    {"AssetTag", "AssetTag", FORM_TEXT},
    {"Revision", "Version", FORM_TEXT},
};

static constexpr REDFISH_FIELD g_driveRows[] = {
    {"Name", "Name", FORM_TEXT},
    {"Size", "CapacityBytes", FORM_AMOUNT},
    {"WWN", "Identifiers", FORM_NAME},
    {"Protocol", "Protocol", FORM_VALUE, WRITE_NEVER, g_protocols},
    {"Slot", "PhysicalLocation/PartLocation", FORM_SLOT},
    {"Hotspare", "HotspareType", FORM_VALUE, WRITE_CHANGE, g_spares},
    {"Attributes", "MediaType", FORM_HAS, WRITE_NEVER, g_media},
    {"Attributes", "EncryptionAbility", FORM_HAS, WRITE_NEVER, g_encryptionAbility},
    {"CapableSpeeds", "CapableSpeedGbs", FORM_LARGEST, WRITE_NEVER, g_speeds},
    {"SecureState", "EncryptionStatus", FORM_VALUE, WRITE_NEVER, g_secureStates},
    {"SerialNumber", "SerialNumber", FORM_TEXT},
    {"Revision", "Revision", FORM_TEXT},
    {"ModelName", "Model", FORM_TEXT},
    {"ManufactureName", "Manufacturer", FORM_TEXT},
};

static constexpr REDFISH_FIELD g_volumeRows[] = {
    {"Name", "Name", FORM_TEXT, WRITE_CREATE},
    {"Name", "DisplayName", FORM_TEXT, WRITE_BOTH},
    {"RAIDLevel", "RAIDType", FORM_VALUE, WRITE_CREATE, g_levels},
    {"Size", "CapacityBytes", FORM_AMOUNT, WRITE_CREATE},
    {"StripeSize", "StripSizeBytes", FORM_VALUE, WRITE_CREATE, g_stripes},
    {"CurrentCachePolicy/WritePolicy", "WriteCachePolicy", FORM_VALUE, WRITE_BOTH, g_writePolicies},
    {"CurrentCachePolicy/ReadPolicy", "ReadCachePolicy", FORM_VALUE, WRITE_BOTH, g_readPolicies},
    {"Attributes", "Encrypted", FORM_HAS, WRITE_CREATE, g_isEncrypted},
    {"AccessPolicy", "AccessCapabilities", FORM_VALUE, WRITE_BOTH, g_access},
    {"PDsPerSpan", "MediaSpanCount", FORM_AMOUNT, WRITE_CREATE},
    {ELEMENT_MEMBERS, "Links/Drives", FORM_LINKS, WRITE_CREATE},
    {ELEMENT_SPARES, "Links/DedicatedSpareDrives", FORM_LINKS, WRITE_BOTH},
};

static constexpr REDFISH_FIELD g_systemRows[] = {
    {"enabled", "Boot/BootSourceOverrideEnabled", FORM_VALUE, WRITE_CHANGE, g_bootOverrides},
    {"mode", "Boot/BootSourceOverrideMode", FORM_VALUE, WRITE_CHANGE, g_bootModes},
    {"target", "Boot/BootSourceOverrideTarget", FORM_VALUE, WRITE_CHANGE, g_bootTargets},
};

// How thoroughly, the controller decides.
static constexpr REDFISH_FIELD g_initializeRows[] = {
    {"type", "InitializeType", FORM_VALUE, WRITE_CHANGE, g_initializations},
};

const REDFISH_TABLE g_storageFields = g_storageRows;
const REDFISH_TABLE g_controllerFields = g_controllerRows;
const REDFISH_TABLE g_chassisFields = g_chassisRows;
const REDFISH_TABLE g_driveFields = g_driveRows;
const REDFISH_TABLE g_volumeFields = g_volumeRows;
const REDFISH_TABLE g_systemFields = g_systemRows;
const REDFISH_TABLE g_initializeFields = g_initializeRows;

static Json::json_pointer pointerOf(const std::string &path) {
  return Json::json_pointer("/" + path);
}

const Json *memberAt(const Json &object, const std::string &path) {
  Json::json_pointer pointer = pointerOf(path);
  return object.contains(pointer) ? &object.at(pointer) : nullptr;
}

// The value of a word; null for one that Redfish has no value for.
static Json valueOf(const REDFISH_FIELD &field, const Json &word) {
  for (const REDFISH_VALUE &row : field.values) {
    if (word == row.word) {
      return Json::parse(row.value);
    }
  }
  return nullptr;
}

Json knownValues(const REDFISH_FIELD &field, const Json &words) {
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
static Json valuesOf(const REDFISH_FIELD &field, const Json &words) {
  Json values = Json::array();
  for (const Json &word : words) {
    values.push_back(valueOf(field, word));
    if (values.back().is_null()) {
      return nullptr;
    }
  }
  return values;
}

static Json largestOf(const REDFISH_FIELD &field, const Json &words) {
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

static Json propertyOf(const REDFISH_FIELD &field, const Json &element) {
  switch (field.form) {
  case FORM_TEXT:
    return textOf(element);
  case FORM_AMOUNT:
    return element;
  case FORM_VALUE:
    return element.is_array() ? (element.size() == 1 ? valueOf(field, element[0]) : Json()) : valueOf(field, element);
  case FORM_VALUES:
    return valuesOf(field, element);
  case FORM_LARGEST:
    return largestOf(field, element);
  case FORM_HAS: {
    bool has = std::find(element.begin(), element.end(), field.values[0].word) != element.end();
    return Json::parse(field.values[has ? 0 : 1].value);
  }
  case FORM_NAME:
    return nameOf(element);
  case FORM_SLOT:
    return {{"LocationType", "Slot"}, {"LocationOrdinalValue", element}};
  case FORM_RATE:
  case FORM_LINKS:
    break;
  }
  return nullptr;
}

// A rate in per cent; the adapter's own scale goes beyond that.
static Json rateOf(const REDFISH_FIELD &field, const Json &adapter) {
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

void moveFields(REDFISH_TABLE table, Json *object, Json *resource) {
  std::set<std::string> moved;
  for (const REDFISH_FIELD &field : table) {
    const Json *element = memberAt(*object, field.element);
    Json value = field.form == FORM_RATE ? rateOf(field, *object)
                 : element != nullptr    ? propertyOf(field, *element)
                                         : Json();
    if (value.is_null()) {
      continue;
    }
    (*resource)[pointerOf(field.property)] = value;
    if (field.form != FORM_RATE && field.form != FORM_HAS) {
      moved.insert(field.element);
    }
  }
  for (const std::string &element : moved) {
    erasePath(object, element);
  }
}

Json wordOf(const REDFISH_FIELD &field, const Json &value) {
  for (const REDFISH_VALUE &row : field.values) {
    if (value == Json::parse(row.value)) {
      return row.word;
    }
  }
  return nullptr;
}
