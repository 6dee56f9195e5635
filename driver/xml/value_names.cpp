#include "driver/xml/value_names.h"

#include "base/text.h"
#include "raid_mgmt.h"
#include "raid_values.h"

const VALUE_NAME_TABLE g_boolTable[] = {
    {"true", 1},
    {"false", 0},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_objectTypeTable[] = {
    {"Adapter", RAID_OBJECT_ADAPTER},           {"Connector", RAID_OBJECT_CONNECTOR},
    {"Enclosure", RAID_OBJECT_ENCLOSURE},       {"Physical Disk", RAID_OBJECT_PHYSICAL_DISK},
    {"Logical Disk", RAID_OBJECT_VIRTUAL_DISK}, {"Battery", RAID_OBJECT_BATTERY},
    {"Virtual Disk", RAID_OBJECT_VIRTUAL_DISK}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_raidLevelTable[] = {
    {"Volume", RAID_LEVEL_VOLUME}, {"RAID 0", RAID_LEVEL_0},   {"RAID 1", RAID_LEVEL_1},
    {"RAID 2", RAID_LEVEL_2},      {"RAID 3", RAID_LEVEL_3},   {"RAID 4", RAID_LEVEL_4},
    {"RAID 5", RAID_LEVEL_5},      {"RAID 6", RAID_LEVEL_6},   {"RAID 7", RAID_LEVEL_7},
    {"RAID 8", RAID_LEVEL_8},      {"RAID 9", RAID_LEVEL_9},   {"RAID 10", RAID_LEVEL_10},
    {"RAID 30", RAID_LEVEL_30},    {"RAID 50", RAID_LEVEL_50}, {"RAID 60", RAID_LEVEL_60},
    {"RAID 1c", RAID_LEVEL_1C},    {"RAID 5c", RAID_LEVEL_5C}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_protocolTable[] = {
    {"Unknown", RAID_PROTOCOL_UNKNOWN}, {"SCSI", RAID_PROTOCOL_SCSI},
    {"PATA", RAID_PROTOCOL_PATA},       {"Fibre", RAID_PROTOCOL_FIBRE},
    {"USB", RAID_PROTOCOL_USB},         {"SATA", RAID_PROTOCOL_SATA},
    {"SAS", RAID_PROTOCOL_SAS},         {nullptr, 0},
};

const VALUE_NAME_TABLE g_secureStateTable[] = {
    {"Unknown", RAID_SECURE_STATE_UNKNOWN},
    {"FOREIGN", RAID_SECURE_STATE_FOREIGN},
    {"SECURED", RAID_SECURE_STATE_SECURED},
    {"LOCKED", RAID_SECURE_STATE_LOCKED},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_adapterAttribTable[] = {
    {"SAS SATA HDD Mix", RAID_ADAPTER_ATTRIBUTE_SAS_SATA_HDD_MIX},
    {"SSD HDD Mix", RAID_ADAPTER_ATTRIBUTE_SSD_HDD_MIX},
    {"SAS SATA SSD Mix", RAID_ADAPTER_ATTRIBUTE_SAS_SATA_SSD_MIX},
    {"Foreign Config Ignore", RAID_ADAPTER_ATTRIBUTE_FOREIGN_CONFIG_IGNORE},
    {"Bootable", RAID_ADAPTER_ATTRIBUTE_BOOTABLE},
    {"Hides PDs", RAID_ADAPTER_ATTRIBUTE_HIDES_PDS},
    {"Encryption", RAID_ADAPTER_ATTRIBUTE_ENCRYPTION},
    {"Has Security Key", RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY},
    {"RKM Capable", RAID_ADAPTER_ATTRIBUTE_RKM_CAPABLE},
    {"Container Architecture", RAID_ADAPTER_ATTRIBUTE_CONTAINER_ARCHITECTURE},
    {"CacheCade Capable", RAID_ADAPTER_ATTRIBUTE_CACHECADE_CAPABLE},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_levelAttribTable[] = {
    {"HDD", RAID_LEVEL_ATTRIBUTE_HDD},
    {"SSD", RAID_LEVEL_ATTRIBUTE_SSD},
    {"FDE", RAID_LEVEL_ATTRIBUTE_FDE},
    {"EEDP", RAID_LEVEL_ATTRIBUTE_EEDP},
    {"HDD SSD", RAID_LEVEL_ATTRIBUTE_HDD_SSD},
    {"SAS SATA HDD", RAID_LEVEL_ATTRIBUTE_SAS_SATA_HDD},
    {"SAS SATA SSD", RAID_LEVEL_ATTRIBUTE_SAS_SATA_SSD},
    {"Mix All", RAID_LEVEL_ATTRIBUTE_MIX_ALL},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_vdAttribTable[] = {
    {"FDE", RAID_VD_ATTRIBUTE_FDE},
    {"EEDP", RAID_VD_ATTRIBUTE_EEDP},
    {"SSD", RAID_VD_ATTRIBUTE_SSD},
    {"HDD", RAID_VD_ATTRIBUTE_HDD},
    {"SATA", RAID_VD_ATTRIBUTE_SATA},
    {"SAS", RAID_VD_ATTRIBUTE_SAS},
    {"CacheCade", RAID_VD_ATTRIBUTE_CACHECADE},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_pdAttribTable[] = {
    {"SMART", RAID_PD_ATTRIBUTE_SMART},
    {"SSD", RAID_PD_ATTRIBUTE_SSD},
    {"FDE", RAID_PD_ATTRIBUTE_FDE},
    {"EEDP", RAID_PD_ATTRIBUTE_EEDP},
    {"ALTA Bridge", RAID_PD_ATTRIBUTE_ALTA_BRIDGE},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_srlTable[] = {
    {"0", RAID_SRL_0}, {"1", RAID_SRL_1}, {"2", RAID_SRL_2}, {"3", RAID_SRL_3}, {"Unknown", RAID_SRL_UNKNOWN},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_rlqTable[] = {
    {"0", RAID_RLQ_0}, {"1", RAID_RLQ_1}, {"2", RAID_RLQ_2}, {"3", RAID_RLQ_3}, {"Unknown", RAID_RLQ_UNKNOWN},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_boundsTable[] = {
    {"Full Disk Only", RAID_BOUNDS_FULL_DISK_ONLY},
    {"Even Span Length", RAID_BOUNDS_EVEN_SPAN_LENGTH},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_stripeSizeTable[] = {
    {"Default", RAID_STRIPE_SIZE_DEFAULT}, {"512 b", RAID_STRIPE_SIZE_512B},   {"1 Kb", RAID_STRIPE_SIZE_1KB},
    {"2 Kb", RAID_STRIPE_SIZE_2KB},        {"4 Kb", RAID_STRIPE_SIZE_4KB},     {"8 Kb", RAID_STRIPE_SIZE_8KB},
    {"16 Kb", RAID_STRIPE_SIZE_16KB},      {"32 Kb", RAID_STRIPE_SIZE_32KB},   {"64 Kb", RAID_STRIPE_SIZE_64KB},
    {"128 Kb", RAID_STRIPE_SIZE_128KB},    {"256 Kb", RAID_STRIPE_SIZE_256KB}, {"512 Kb", RAID_STRIPE_SIZE_512KB},
    {"1 Mb", RAID_STRIPE_SIZE_1MB},        {"2 Mb", RAID_STRIPE_SIZE_2MB},     {"4 Mb", RAID_STRIPE_SIZE_4MB},
    {"8 Mb", RAID_STRIPE_SIZE_8MB},        {"16 Mb", RAID_STRIPE_SIZE_16MB},   {nullptr, 0},
};

const VALUE_NAME_TABLE g_cachePolicyTable[] = {
    {"Direct I/O", RAID_CACHE_IO_DIRECT},
    {"Cache I/O", RAID_CACHE_IO_CACHED},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_writePolicyTable[] = {
    {"Write Through", RAID_CACHE_WRITE_THROUGH},
    {"Write Back", RAID_CACHE_WRITE_BACK},
    {"Force Write Back", RAID_CACHE_WRITE_FORCE_BACK},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_readPolicyTable[] = {
    {"No Read Ahead", RAID_CACHE_READ_NO_AHEAD},
    {"Read Ahead", RAID_CACHE_READ_AHEAD},
    {"Adaptive Read Ahead", RAID_CACHE_READ_ADAPTIVE},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_diskCachePolicyTable[] = {
    {"Default", RAID_CACHE_DISK_DEFAULT},
    {"Enabled", RAID_CACHE_DISK_ENABLED},
    {"Disabled", RAID_CACHE_DISK_DISABLED},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_ccModeTable[] = {
    {"Normal", RAID_CHECK_CONSISTENCY_MODE_NORMAL},
    {"Stop On Error", RAID_CHECK_CONSISTENCY_MODE_STOP_ON_ERROR},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_securityModeTable[] = {
    {"LKM", RAID_SECURITY_MODE_LKM},
    {"RKM", RAID_SECURITY_MODE_RKM},
    {"RKM Pending", RAID_SECURITY_MODE_RKM_PENDING},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_keyModeTable[] = {
    {"LKM", RAID_KEY_MODE_LKM},
    {"RKM", RAID_KEY_MODE_RKM},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_copyBackModeTable[] = {
    {"Off", RAID_COPY_BACK_MODE_OFF},
    {"On", RAID_COPY_BACK_MODE_ON},
    {"SMART", RAID_COPY_BACK_MODE_SMART},
    {"On w/ SMART", RAID_COPY_BACK_MODE_ON_SMART},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_uncertifiedModeTable[] = {
    {"Block", RAID_UNCERTIFIED_MODE_BLOCK},
    {"Allow", RAID_UNCERTIFIED_MODE_ALLOW},
    {"Warn", RAID_UNCERTIFIED_MODE_WARN},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_loadBalanceModeTable[] = {
    {"None", RAID_LOAD_BALANCE_MODE_NONE},
    {"Auto", RAID_LOAD_BALANCE_MODE_AUTO},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_learnModeTable[] = {
    {"Disabled", RAID_LEARN_MODE_DISABLED},
    {"Auto", RAID_LEARN_MODE_AUTO},
    {"Warn", RAID_LEARN_MODE_WARN},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_patrolReadModeTable[] = {
    {"Disabled", RAID_PATROL_READ_MODE_DISABLED},
    {"Manual", RAID_PATROL_READ_MODE_MANUAL},
    {"Auto", RAID_PATROL_READ_MODE_AUTO},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_speedTable[] = {
    {"1.5 Gbs", RAID_SPEED_1_5_GBS},
    {"3 Gbs", RAID_SPEED_3_GBS},
    {"6 Gbs", RAID_SPEED_6_GBS},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_stateTable[] = {
    {"Unknown", RAID_STATE_UNKNOWN}, {"Online", RAID_STATE_ONLINE},
    {"Ready", RAID_STATE_READY},     {"Degraded", RAID_STATE_DEGRADED},
    {"Failed", RAID_STATE_FAILED},   {"Foreign", RAID_STATE_FOREIGN},
    {"Offline", RAID_STATE_OFFLINE}, {nullptr, 0},
};

const VALUE_NAME_TABLE g_hotspareTable[] = {
    {"Not Hotspare", RAID_HOTSPARE_NONE},
    {"Dedicated", RAID_HOTSPARE_DEDICATED},
    {"Global", RAID_HOTSPARE_GLOBAL},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_accessPolicyTable[] = {
    {"No Access", RAID_ACCESS_POLICY_NO_ACCESS},
    {"Read Only", RAID_ACCESS_POLICY_READ_ONLY},
    {"Read/Write", RAID_ACCESS_POLICY_READ_WRITE},
    {nullptr, 0},
};

const VALUE_NAME_TABLE g_commandTable[] = {
    {"Get", RAID_COMMAND_GET},
    {"Delete", RAID_COMMAND_DELETE},
    {"Create", RAID_COMMAND_CREATE},
    {"Change", RAID_COMMAND_CHANGE},
    {"Import", RAID_COMMAND_IMPORT},
    {"Clear", RAID_COMMAND_CLEAR},
    {"Check", RAID_COMMAND_CHECK},
    {"Identify", RAID_COMMAND_IDENTIFY},
    {"Init", RAID_COMMAND_INIT},
    {"ExportLog", RAID_COMMAND_EXPORT_LOG},
    {"DiscardCache", RAID_COMMAND_DISCARD_CACHE},
    {"Lock", RAID_COMMAND_LOCK},
    {"SecureErase", RAID_COMMAND_SECURE_ERASE},
    {"Rekey", RAID_COMMAND_REKEY},
    {"GetKeyID", RAID_COMMAND_GET_KEY_ID},
    {"GetValidRAIDLevels", RAID_COMMAND_GET_VALID_RAID_LEVELS},
    {"GetAvailablePhysicalDisks", RAID_COMMAND_GET_AVAILABLE_PHYSICAL_DISKS},
    {"GetDHSDisks", RAID_COMMAND_GET_DHS_DISKS},
    {"GetForeign", RAID_COMMAND_GET_FOREIGN},
    {"GetBounds", RAID_COMMAND_GET_BOUNDS},
    {"SortPDs", RAID_COMMAND_SORT_PDS},
    {"GetReconfigCaps", RAID_COMMAND_GET_RECONFIG_CAPS},
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
