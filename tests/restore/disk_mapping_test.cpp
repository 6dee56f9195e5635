// Which current disk stands in for which saved one, and which adapters are of one kind. No controller takes part.
#include "base/pool.h"
#include "restore/restore.h"
#include "tests/support/world.h"

static constexpr UINT32 SATA = 0x10;
static constexpr UINT32 SAS = 0x20;
static constexpr UINT8 SSD = RAID_PD_ATTRIBUTE_SSD;
static constexpr UINT8 FDE = RAID_PD_ATTRIBUTE_FDE;

// Where a disk is and what it can do. Saved disks need no id.
struct DISK {
  UINT32 id;
  UINT8 slot;
  UINT64 size = 100;
  UINT8 attributes = 0;
  UINT32 protocol = SAS;
  UINT8 port = 0;
  UINT32 enclosure = 1;
  UINT32 secureState = 0;
};

using DISKS = std::vector<DISK>;
using MAP = std::vector<UINT32>;

struct MAPPING_CASE {
  const char *name;
  DISKS saved;
  DISKS current;
  MAP map;
};

static const MAPPING_CASE g_mappingCases[] = {
    {"each in its place, whatever the order", {{0, 1}, {0, 2}}, {{8, 2}, {7, 1}}, {8, 9}},
    {"id 0 is a match", {{0, 1}}, {{0, 1}}, {1}},
    {"larger in its place", {{0, 1}}, {{7, 1, 101}}, {8}},
    {"smaller nowhere", {{0, 1}}, {{7, 1, 99}}, {0}},
    {"64-bit sizes", {{0, 1, 1ULL << 40}, {0, 2, 1}}, {{7, 1, 1}, {8, 2, 1ULL << 40}}, {0, 9}},
    {"moved to another slot, port or enclosure",
     {{0, 1}, {0, 2}, {0, 3}},
     {{7, 4}, {8, 2, 100, 0, SAS, 1}, {9, 3, 100, 0, SAS, 0, 2}},
     {8, 9, 10}},
    {"moved when the place has gone to an unsuitable disk", {{0, 1}}, {{7, 1, 50}, {8, 5}}, {9}},
    {"taken in its place is not offered again", {{0, 9}, {0, 1}, {0, 8}}, {{7, 1}, {8, 2}}, {9, 8, 0}},
    {"two saved disks in one place get the same disk", {{0, 1}, {0, 1}, {0, 3}}, {{7, 1}, {8, 2}}, {8, 8, 9}},
    {"first of several in one place", {{0, 1}}, {{7, 1, 50}, {8, 1}, {9, 1}}, {9}},
    {"a place is enclosure, slot and port",
     {{0, 1}},
     {{6, 1, 100, 0, SAS, 1}, {7, 1, 100, 0, SAS, 0, 2}, {8, 2}, {9, 1}},
     {10}},
    {"solid state for solid state only", {{0, 1, 100, SSD}, {0, 2}}, {{7, 1}, {8, 2, 100, SSD}}, {9, 8}},
    {"SATA for SATA only", {{0, 1, 100, 0, SATA}, {0, 2}}, {{7, 1}, {8, 2, 100, 0, SAS}}, {0, 9}},
    {"an encrypting disk wants another one, in place and anywhere",
     {{0, 1, 100, FDE}, {0, 2, 100, FDE}},
     {{7, 1}, {8, 5}, {9, 6, 100, FDE}},
     {10, 0}},
    {"a plain disk takes an encrypting one, and other attributes do not matter",
     {{0, 1}, {0, 2, 100, 0x30}},
     {{7, 1, 100, FDE | 0x31}, {8, 3, 100, FDE}},
     {8, 9}},
    {"foreign disks count", {{0, 1}, {0, 2}}, {{7, 1, 100, 0, SAS, 0, 1, 4}, {8, 5, 100, 0, SAS, 0, 1, 4}}, {8, 9}},
};

static std::vector<RAID_PD_RECORD> recordsOf(const DISKS &disks) {
  std::vector<RAID_PD_RECORD> records;
  for (const DISK &disk : disks) {
    RAID_PD_RECORD record = {};
    record.ObjectID = disk.id;
    record.EnclosureObjectID = disk.enclosure;
    record.Size = disk.size;
    record.Protocol = disk.protocol;
    record.Port = disk.port;
    record.Slot = disk.slot;
    record.Attributes = disk.attributes;
    record.SecureState = disk.secureState;
    records.push_back(record);
  }
  return records;
}

TEST(DiskMapping, PlaceFirstThenAnySuitableDisk) {
  for (const MAPPING_CASE &row : g_mappingCases) {
    std::vector<RAID_PD_RECORD> saved = recordsOf(row.saved);
    std::vector<RAID_PD_RECORD> current = recordsOf(row.current);
    RAID_CONFIG config = {};
    config.physicalDiskCount = static_cast<UINT32>(saved.size());
    config.physicalDisks = saved.data();
    MAP map(saved.size());
    EXPECT_EQ(_MapPDsRestoreToCurrent(current.data(), static_cast<UINT32>(current.size()), &config, map.data()),
              EFI_SUCCESS);
    EXPECT_EQ(map, row.map) << row.name;
  }
}

TEST(RestoreValidation, AdaptersOfOneKindShareTheirIds) {
  const RAID_PCI_IDENTITY identity = {0x1F00, 0x1028, 0x005D, 0x1000, 3, 2, 1, 0, 5};
  struct {
    const char *name;
    RAID_PCI_IDENTITY current;
    EFI_STATUS status;
  } cases[] = {
      {"same", identity, EFI_SUCCESS},
      {"another place, embedded", {0x1F00, 0x1028, 0x005D, 0x1000, 4, 5, 6, 9, 2}, EFI_SUCCESS},
      {"subdevice", {0x1F01, 0x1028, 0x005D, 0x1000, 3, 2, 1, 0, 5}, EFI_UNSUPPORTED},
      {"subvendor", {0x1F00, 0x1029, 0x005D, 0x1000, 3, 2, 1, 0, 5}, EFI_UNSUPPORTED},
      {"device", {0x1F00, 0x1028, 0x005E, 0x1000, 3, 2, 1, 0, 5}, EFI_UNSUPPORTED},
      {"vendor", {0x1F00, 0x1028, 0x005D, 0x1100, 3, 2, 1, 0, 5}, EFI_UNSUPPORTED},
  };
  World world(WORLD_OPTIONS{.preset = nullptr});
  RAID_ADAPTER_RECORD saved = {};
  saved.PCIID = identity;
  RAID_PD_RECORD disk = {};
  for (auto &row : cases) {
    RAID_ADAPTER_RECORD current = {};
    current.PCIID = row.current;
    RAID_CONFIG config = {};
    config.adapter = &saved;
    config.physicalDiskCount = 1;
    config.physicalDisks = &disk;
    UINT32 *map = nullptr;
    EXPECT_EQ(name(_ValidateRestore(&current, &disk, 1, &config, &map)), name(row.status)) << row.name;
    EXPECT_EQ(map != nullptr, row.status == EFI_SUCCESS) << row.name;
    poolFree(map);
  }
  EXPECT_EQ(countOf(world.log(), "ERROR _ValidateRestore: PCI information does not match"), 4u);
}

TEST(RestoreValidation, MakesAMapOnlyForDisksOnBothSides) {
  World world(WORLD_OPTIONS{.preset = nullptr});
  RAID_ADAPTER_RECORD adapter = {};
  RAID_PD_RECORD disk = {};
  RAID_CONFIG config = {};
  config.adapter = &adapter;
  UINT32 *map = nullptr;
  EXPECT_EQ(name(_ValidateRestore(&adapter, &disk, 1, &config, &map)), name(EFI_SUCCESS));
  config.physicalDiskCount = 1;
  config.physicalDisks = &disk;
  EXPECT_EQ(name(_ValidateRestore(&adapter, nullptr, 0, &config, &map)), name(EFI_SUCCESS));
  world.firmware.failAllocation(1);
  EXPECT_EQ(name(_ValidateRestore(&adapter, &disk, 1, &config, &map)), name(EFI_OUT_OF_RESOURCES));
  EXPECT_EQ(map, nullptr);
  EXPECT_EQ(countOf(world.log(), "ERROR _ValidateRestore: Out of memoryfor pdMap"), 1u);
}

// What the saved adapter of a settings case differs in.
struct SETTINGS_CASE {
  const char *name;
  void (*change)(RAID_ADAPTER_RECORD &saved);
  bool differ;
};

static const SETTINGS_CASE g_settingsCases[] = {
    {"nothing", [](RAID_ADAPTER_RECORD &) {}, false},
    {"uncertified", [](RAID_ADAPTER_RECORD &saved) { saved.UncertifiedMode ^= 1; }, true},
    {"load balance, presence only", [](RAID_ADAPTER_RECORD &saved) { saved.LoadBalanceMode ^= 0x80; }, true},
    {"learn", [](RAID_ADAPTER_RECORD &saved) { saved.LearnMode ^= 1; }, true},
    {"consistency", [](RAID_ADAPTER_RECORD &saved) { saved.CheckConsistencyMode ^= 1; }, true},
    {"patrol read, unconfigured areas", [](RAID_ADAPTER_RECORD &saved) { saved.PatrolReadMode ^= 0x40; }, true},
    {"copy back", [](RAID_ADAPTER_RECORD &saved) { saved.CopyBackMode ^= 2; }, true},
    {"security", [](RAID_ADAPTER_RECORD &saved) { saved.SecurityMode ^= 0xFF; }, false},
    {"editable rate", [](RAID_ADAPTER_RECORD &saved) { saved.Rates[7].EditableValue ^= 1; }, false},
    {"rate value", [](RAID_ADAPTER_RECORD &saved) { saved.Rates[7].EditableValue ^= 2; }, true},
    {"rate name", [](RAID_ADAPTER_RECORD &saved) { saved.Rates[2].Name = const_cast<CHAR16 *>(u"rebuild"); }, true},
    {"rate missing", [](RAID_ADAPTER_RECORD &saved) { saved.Rates[2].Name = nullptr; }, true},
    {"rate in another slot",
     [](RAID_ADAPTER_RECORD &saved) {
       saved.Rates[0] = saved.Rates[2];
       saved.Rates[2] = {};
     },
     false},
    {"another rate", [](RAID_ADAPTER_RECORD &saved) { saved.Rates[5].Name = const_cast<CHAR16 *>(u"Check"); }, false},
    {"same name, second value fits",
     [](RAID_ADAPTER_RECORD &saved) {
       saved.Rates[0] = {saved.Rates[2].Name, 99};
     },
     false},
};

TEST(AdapterSettings, DifferInModesAndInRatesThatTheAdapterHas) {
  RAID_ADAPTER_RECORD current = {};
  current.UncertifiedMode = current.LoadBalanceMode = current.LearnMode = current.CheckConsistencyMode = 0x80;
  current.PatrolReadMode = 0x88;
  current.Rates[2] = {const_cast<CHAR16 *>(u"Rebuild"), 30 << 1 | 1};
  current.Rates[7] = {const_cast<CHAR16 *>(u"Patrol"), 20 << 1};
  current.Rates[3].EditableValue = 0xFF; // without a name it does not count
  for (const SETTINGS_CASE &row : g_settingsCases) {
    RAID_ADAPTER_RECORD saved = current;
    saved.Rates[3] = {};
    row.change(saved);
    EXPECT_EQ(adapterSettingsDiffer(&current, &saved), row.differ) << row.name;
  }
}
