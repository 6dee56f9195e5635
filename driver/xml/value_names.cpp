#include "driver/xml/value_names.h"

#include "base/text.h"

const VALUE_NAME_TABLE g_boolTable[] = {
    {"true", 1},
    {"false", 0},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_objectTypeTable[] = {
    {"Adapter", 0},      {"Connector", 1}, {"Enclosure", 2},    {"Physical Disk", 3},
    {"Logical Disk", 4}, {"Battery", 5},   {"Virtual Disk", 4}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_raidLevelTable[] = {
    {"Volume", 0x1},     {"RAID 0", 0x2},      {"RAID 1", 0x4},     {"RAID 2", 0x8},     {"RAID 3", 0x10},
    {"RAID 4", 0x20},    {"RAID 5", 0x40},     {"RAID 6", 0x80},    {"RAID 7", 0x100},   {"RAID 8", 0x200},
    {"RAID 9", 0x400},   {"RAID 10", 0x800},   {"RAID 30", 0x1000}, {"RAID 50", 0x2000}, {"RAID 60", 0x4000},
    {"RAID 1c", 0x8000}, {"RAID 5c", 0x10000}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_protocolTable[] = {
    {"Unknown", 0x0}, {"SCSI", 0x1},  {"PATA", 0x2}, {"Fibre", 0x4},
    {"USB", 0x8},     {"SATA", 0x10}, {"SAS", 0x20}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_secureStateTable[] = {
    {"Unknown", 0}, {"FOREIGN", 4}, {"SECURED", 1}, {"LOCKED", 2}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_adapterAttribTable[] = {
    {"SAS SATA HDD Mix", 0x1},
    {"SSD HDD Mix", 0x2},
    {"SAS SATA SSD Mix", 0x8},
    {"Foreign Config Ignore", 0x10},
    {"Bootable", 0x20},
    {"Hides PDs", 0x40},
    {"Encryption", 0x80},
    {"Has Security Key", 0x100},
    {"RKM Capable", 0x400},
    {"Container Architecture", 0x200},
    {"CacheCade Capable", 0x2000},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_levelAttribTable[] = {
    {"HDD", 0x1},           {"SSD", 0x2},           {"FDE", 0x4},      {"EEDP", 0x8}, {"HDD SSD", 0x10},
    {"SAS SATA HDD", 0x20}, {"SAS SATA SSD", 0x40}, {"Mix All", 0x80}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_vdAttribTable[] = {
    {"FDE", 0x1},   {"EEDP", 0x2}, {"SSD", 0x4},        {"HDD", 0x8},
    {"SATA", 0x10}, {"SAS", 0x20}, {"CacheCade", 0x80}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_pdAttribTable[] = {
    {"SMART", 0x1}, {"SSD", 0x2}, {"FDE", 0x4}, {"EEDP", 0x10}, {"ALTA Bridge", 0x20}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_srlTable[] = {
    {"0", 0x1}, {"1", 0x2}, {"2", 0x4}, {"3", 0x8}, {"Unknown", 0x0}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_rlqTable[] = {
    {"0", 0x1}, {"1", 0x2}, {"2", 0x4}, {"3", 0x8}, {"Unknown", 0x0}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_boundsTable[] = {
    {"Full Disk Only", 0x1},
    {"Even Span Length", 0x2},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_stripeSizeTable[] = {
    {"Default", 0x0}, {"512 b", 0x1},   {"1 Kb", 0x2},    {"2 Kb", 0x4},     {"4 Kb", 0x8},     {"8 Kb", 0x10},
    {"16 Kb", 0x20},  {"32 Kb", 0x40},  {"64 Kb", 0x80},  {"128 Kb", 0x100}, {"256 Kb", 0x200}, {"512 Kb", 0x400},
    {"1 Mb", 0x800},  {"2 Mb", 0x1000}, {"4 Mb", 0x2000}, {"8 Mb", 0x4000},  {"16 Mb", 0x8000}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_cachePolicyTable[] = {
    {"Direct I/O", 0x10000000},
    {"Cache I/O", 0x20000000},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_writePolicyTable[] = {
    {"Write Through", 0x1},
    {"Write Back", 0x2},
    {"Force Write Back", 0x4},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_readPolicyTable[] = {
    {"No Read Ahead", 0x10},
    {"Read Ahead", 0x20},
    {"Adaptive Read Ahead", 0x40},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_diskCachePolicyTable[] = {
    {"Default", 0x100},
    {"Enabled", 0x200},
    {"Disabled", 0x400},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_ccModeTable[] = {
    {"Normal", 0},
    {"Stop On Error", 1},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_securityModeTable[] = {
    {"LKM", 0x1},
    {"RKM", 0x2},
    {"RKM Pending", 0x40},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_keyModeTable[] = {
    {"LKM", 1},
    {"RKM", 2},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_copyBackModeTable[] = {
    {"Off", 0}, {"On", 1}, {"SMART", 2}, {"On w/ SMART", 3}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_uncertifiedModeTable[] = {
    {"Block", 0},
    {"Allow", 1},
    {"Warn", 2},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_loadBalanceModeTable[] = {
    {"None", 1},
    {"Auto", 0},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_learnModeTable[] = {
    {"Disabled", 1},
    {"Auto", 0},
    {"Warn", 2},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_patrolReadModeTable[] = {
    {"Disabled", 0x0},
    {"Manual", 0x4},
    {"Auto", 0x8},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_speedTable[] = {
    {"1.5 Gbs", 0x1},
    {"3 Gbs", 0x2},
    {"6 Gbs", 0x4},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_stateTable[] = {
    {"Unknown", 0}, {"Online", 1},  {"Ready", 2},   {"Degraded", 7},
    {"Failed", 3},  {"Foreign", 4}, {"Offline", 5}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_hotspareTable[] = {
    {"Not Hotspare", 0},
    {"Dedicated", 1},
    {"Global", 2},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_accessPolicyTable[] = {
    {"No Access", 1},
    {"Read Only", 2},
    {"Read/Write", 6},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_commandTable[] = {
    {"Get", 0x1},
    {"Delete", 0x2},
    {"Create", 0x3},
    {"Change", 0x4},
    {"Import", 0x5},
    {"Clear", 0x6},
    {"Check", 0x7},
    {"Identify", 0x8},
    {"Init", 0x9},
    {"ExportLog", 0xA},
    {"DiscardCache", 0xB},
    {"Lock", 0xC},
    {"SecureErase", 0xD},
    {"Rekey", 0xE},
    {"GetKeyID", 0xF},
    {"GetValidRAIDLevels", 0x101},
    {"GetAvailablePhysicalDisks", 0x102},
    {"GetDHSDisks", 0x103},
    {"GetForeign", 0x104},
    {"GetBounds", 0x105},
    {"SortPDs", 0x106},
    {"GetReconfigCaps", 0x107},
    {nullptr, 0},
};

UINT64 GetValueFromName(const CHAR8 *name, const VALUE_NAME_TABLE *table) {
  if (name == nullptr || table == nullptr) {
    return VALUE_NOT_FOUND;
  }
  for (; table->Name != nullptr; ++table) {
    if (textEqual(name, table->Name)) {
      return table->Value;
    }
  }
  return VALUE_NOT_FOUND;
}

const CHAR8 *GetNameFromValue(UINT64 value, const VALUE_NAME_TABLE *table) {
  if (table != nullptr) {
    for (; table->Name != nullptr; ++table) {
      if (table->Value == value) {
        return table->Name;
      }
    }
  }
  return "Unknown";
}
