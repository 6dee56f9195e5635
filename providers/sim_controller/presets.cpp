// Ready-made controllers.
#include "providers/sim_controller/sim_parts.h"

#include "base/text.h"

#define FIRST_ENCLOSURE_ID 301U
#define FIRST_ENCLOSURE_DEVICE 32U

#define LEVEL_0 0x2U
#define LEVEL_1 0x4U
#define LEVEL_5 0x40U
#define LEVEL_6 0x80U
#define LEVEL_10 0x800U
#define LEVEL_50 0x2000U
#define LEVEL_60 0x4000U

#define SATA 0x10U
#define SAS 0x20U
#define SMART 0x01U
#define EEDP 0x10U

// The adapters' kinds. RAID: what large servers have; HOST: few levels, disks shown to the host, hardly any setting.
enum ADAPTER_KIND { ADAPTER_RAID, ADAPTER_HOST };

struct LEVEL_LIMITS {
  UINT32 level;
  UINT32 minDisks;
  UINT32 maxDisks;
  UINT32 bounds;
  UINT32 attributes;
};

static constexpr LEVEL_LIMITS g_levels[] = {
    {LEVEL_0, 1, 32, 0, 0x2F}, // also mixes SAS and SATA hard disks
    {LEVEL_1, 2, 2, 0, 0x0F},   {LEVEL_5, 3, 32, 0, 0x0F},   {LEVEL_6, 4, 32, 0, 0x0F},
    {LEVEL_10, 4, 256, 2, 0xF}, {LEVEL_50, 6, 256, 2, 0x0F}, {LEVEL_60, 8, 256, 2, 0x0F},
};

static void addLevels(SIM_ADAPTER *adapter, UINT32 supported) {
  adapter->supportedRaidLevels = supported;
  for (const LEVEL_LIMITS &limits : g_levels) {
    if ((supported & limits.level) != 0) {
      // Write Back, Adaptive Read Ahead, Default, Direct I/O of all there are; 64 Kb of 64 Kb to 1 Mb.
      adapter->levels[adapter->levelCount++] = {limits.level,
                                                limits.minDisks,
                                                limits.maxDisks,
                                                0x10000142,
                                                0x30000777,
                                                0x80,
                                                0xF80,
                                                limits.bounds,
                                                0x1,
                                                0xF,
                                                0x1,
                                                0xF,
                                                SATA | SAS,
                                                limits.attributes};
    }
  }
}

struct RATE_ROW {
  UINT32 slot;
  const CHAR16 *name;
  UINT8 value;
  bool editable;
};

// Slots 2 and 5 are unused.
static constexpr RATE_ROW g_rates[] = {
    {0, u"Rebuild", 30, true},           {1, u"Background Initialization", 30, true},
    {3, u"Check Consistency", 30, true}, {4, u"Patrol Read", 30, true},
    {6, u"Reconstruct", 30, true},       {7, u"Spin Up Delay", 12, false},
};

static void fillRaidAdapter(SIM_ADAPTER *adapter) {
  simSetText(adapter->name, u"Harrier R6 Integrated");
  adapter->deviceId = 0x0091;
  adapter->subdeviceId = 0x2016;
  // All there are but Foreign Config Ignore, Has Security Key and Container Architecture.
  adapter->attributes = 0x4EB | RAID_ADAPTER_CACHECADE_CAPABLE;
  adapter->maxLds = 64;
  adapter->maxPdsPerSpan = 32;
  adapter->maxSpansPerLd = 8;
  simSetText(adapter->firmwareVersion, u"21.3.4-0001");
  addLevels(adapter, LEVEL_0 | LEVEL_1 | LEVEL_5 | LEVEL_6 | LEVEL_10 | LEVEL_50 | LEVEL_60);
  adapter->uncertifiedMode = RAID_MODE_PRESENT | 1;
  adapter->loadBalanceMode = RAID_MODE_PRESENT;
  adapter->learnMode = 0; // has no battery that learns
  adapter->checkConsistencyMode = RAID_MODE_PRESENT;
  adapter->patrolReadMode = RAID_MODE_PRESENT | RAID_PATROL_CORRECT_AREAS | 8;
  adapter->copyBackMode = RAID_MODE_PRESENT | 3;
  for (const RATE_ROW &row : g_rates) {
    simSetText(adapter->rates[row.slot].name, row.name);
    adapter->rates[row.slot].value = row.value;
    adapter->rates[row.slot].editable = row.editable;
  }
}

static void fillHostAdapter(SIM_ADAPTER *adapter) {
  simSetText(adapter->name, u"Harrier H2 Host Adapter");
  adapter->deviceId = 0x0061;
  adapter->subdeviceId = 0x1007;
  adapter->attributes = 0x20; // Bootable, and Hides PDs not among them
  adapter->maxLds = 2;
  adapter->maxPdsPerSpan = 10;
  adapter->maxSpansPerLd = 1;
  simSetText(adapter->firmwareVersion, u"07.03.06.00");
  addLevels(adapter, LEVEL_0 | LEVEL_1);
}

static void fillAdapter(SIM_ADAPTER *adapter, ADAPTER_KIND kind) {
  adapter->objVersion = 1;
  simSetText(adapter->fqdd, u"adapter-0");
  adapter->wwn = 0x5EEDADA000001000ULL;
  adapter->vendorId = 0x4E54;
  adapter->subvendorId = 0x4E54;
  adapter->pciBus = 3;
  adapter->embedded = kind == ADAPTER_RAID;
  adapter->supportedDiskProtocols = SATA | SAS;
  adapter->capableSpeeds = 0x7;
  if (kind == ADAPTER_RAID) {
    fillRaidAdapter(adapter);
  } else {
    fillHostAdapter(adapter);
  }
}

static bool addEnclosure(SIM_CONTROLLER *sim, UINT32 position, UINT8 slots, UINT32 objVersion) {
  SIM_ENCLOSURE *enclosure = simAppend(sim->enclosures);
  if (enclosure == nullptr) {
    return false;
  }
  enclosure->objectId = FIRST_ENCLOSURE_ID + position;
  enclosure->objVersion = objVersion;
  SIM_TEXT name = simText(enclosure->name);
  simAddText(name, u"Shelf ");
  simAddNumber(name, position, 1);
  SIM_TEXT fqdd = simText(enclosure->fqdd);
  simAddText(fqdd, u"enclosure-");
  simAddNumber(fqdd, position, 1);
  simAddText(fqdd, u".adapter-0");
  enclosure->deviceId = FIRST_ENCLOSURE_DEVICE + position;
  enclosure->slotCount = slots;
  enclosure->position = static_cast<UINT8>(position);
  enclosure->port = static_cast<UINT8>(position % 2);
  enclosure->multipath = position % 2 == 1;
  enclosure->emmCount = 2;
  enclosure->fanCount = 4;
  enclosure->psuCount = 2;
  enclosure->tempProbeCount = 4;
  copyBytes(enclosure->serviceTag, "SHLF", 4);
  formatHex(enclosure->serviceTag + 4, position, 3);
  copyBytes(enclosure->assetTag, "A-", 2);
  formatDecimal(enclosure->assetTag + 2, 7000 + position);
  copyBytes(enclosure->revision, "1.0", 3);
  return true;
}

struct DRIVE_ROW {
  UINT32 enclosure; // position, or DIRECT
  UINT8 firstSlot;
  UINT8 count;
  SIM_DRIVE drive;
  UINT32 objVersion;
};
#define DIRECT 0xFFU

static bool addDrives(SIM_CONTROLLER *sim, const DRIVE_ROW *rows, UINT32 rowCount) {
  for (UINT32 r = 0; r < rowCount; r++) {
    UINT32 place = rows[r].enclosure == DIRECT ? SIM_DIRECT : FIRST_ENCLOSURE_ID + rows[r].enclosure;
    for (UINT32 i = 0; i < rows[r].count; i++) {
      SIM_DISK *disk = simAddDrive(sim, place, static_cast<UINT8>(rows[r].firstSlot + i), rows[r].drive);
      if (disk == nullptr) {
        return false;
      }
      disk->objVersion = rows[r].objVersion;
      disk->name[0] = rows[r].objVersion == 0 ? 0 : disk->name[0];
    }
  }
  return true;
}

struct VOLUME_ROW {
  const CHAR16 *name; // null: as the controller names it
  UINT32 level;
  UINT32 firstDisk; // index; members follow each other
  UINT32 count;
  UINT64 size; // 0: all there is
};

static EFI_STATUS addVolume(SIM_CONTROLLER *sim, const VOLUME_ROW &row) {
  UINT32 ids[SIM_VD_PDS];
  if (row.count > SIM_VD_PDS || row.firstDisk > sim->disks.count || row.count > sim->disks.count - row.firstDisk) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINT32 i = 0; i < row.count; i++) {
    ids[i] = sim->disks.items[row.firstDisk + i].objectId;
  }
  RAID_VD_RECORD wanted = {};
  wanted.Name = const_cast<CHAR16 *>(row.name);
  wanted.RAIDLevel = row.level;
  wanted.Size = row.size;
  return simCreateVolume(sim, &wanted, ids, row.count, nullptr);
}

template <UINT32 count> static EFI_STATUS addVolumes(SIM_CONTROLLER *sim, const VOLUME_ROW (&rows)[count]) {
  for (const VOLUME_ROW &row : rows) {
    EFI_STATUS status = addVolume(sim, row);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

static void addSpare(SIM_CONTROLLER *sim, UINT32 diskIndex, UINT8 kind, UINT32 volumeIndex) {
  SIM_DISK *disk = &sim->disks.items[diskIndex];
  disk->hotspare = kind;
  if (kind == 1) {
    disk->vds[disk->vdCount++] = sim->virtualDisks.items[volumeIndex].objectId;
  }
}

#define SAS_600                                                                                                        \
  { 600127266816, SAS, SMART | EEDP }
#define SAS_900_FDE                                                                                                    \
  { 900185481216, SAS, SMART | EEDP | RAID_PD_ATTRIBUTE_FDE }
#define SAS_2000                                                                                                       \
  { 2000398934016, SAS, SMART | EEDP }
#define SATA_4000                                                                                                      \
  { 4000787030016, SATA, SMART }
#define SSD_480                                                                                                        \
  { 480103981056, SATA, SMART | RAID_PD_ATTRIBUTE_SSD }

static EFI_STATUS buildDemo(SIM_CONTROLLER *sim) {
  static constexpr DRIVE_ROW drives[] = {
      {0, 0, 2, SAS_600, 1},     // mirrored
      {0, 2, 4, SAS_2000, 1},    // parity, two virtual disks
      {0, 6, 2, SAS_2000, 1},    // hot spares: dedicated, global
      {0, 8, 2, SAS_900_FDE, 1}, // ready
      {0, 10, 1, SSD_480, 0},    // ready
      {1, 0, 4, SATA_4000, 1},   // mirrored and striped
      {1, 4, 2, SSD_480, 1},     // mirrored
      {1, 6, 2, SATA_4000, 1},   // ready
      {1, 8, 1, SATA_4000, 0},   // ready; slots 9 to 11 are empty, as is slot 11 of the other shelf
  };
  static constexpr VOLUME_ROW volumes[] = {
      {u"System", LEVEL_1, 0, 2, 0},  {u"Data", LEVEL_5, 2, 4, 4000000000000},
      {u"Scratch", LEVEL_5, 2, 4, 0}, {u"Archive", LEVEL_10, 11, 4, 0},
      {u"Fast", LEVEL_1, 15, 2, 0},
  };
  fillAdapter(&sim->adapter, ADAPTER_RAID);
  if (!addEnclosure(sim, 0, 12, 1) || !addEnclosure(sim, 1, 12, 0) ||
      !addDrives(sim, drives, sizeof(drives) / sizeof(drives[0]))) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = addVolumes(sim, volumes);
  if (EFI_ERROR(status)) {
    return status;
  }
  addSpare(sim, 6, 1, 1);
  addSpare(sim, 7, 2, 0);
  sim->key.present = true;
  sim->key.mode = RAID_KEY_MODE_LKM;
  copyBytes(sim->key.keyId, "demo-key-1", sizeof("demo-key-1"));
  copyBytes(sim->key.passphrase, "Tall-Grass-42", sizeof("Tall-Grass-42"));
  return EFI_SUCCESS;
}

static EFI_STATUS buildDirect(SIM_CONTROLLER *sim) {
  static constexpr DRIVE_ROW drives[] = {
      {DIRECT, 0, 2, SSD_480, 1},
      {DIRECT, 2, 4, SAS_600, 1},
      {DIRECT, 6, 1, SAS_600, 1},
      {DIRECT, 7, 1, SAS_600, 0},
  };
  static constexpr VOLUME_ROW volumes[] = {{u"Boot", LEVEL_1, 0, 2, 0}, {nullptr, LEVEL_5, 2, 3, 0}};
  fillAdapter(&sim->adapter, ADAPTER_RAID);
  if (!addDrives(sim, drives, sizeof(drives) / sizeof(drives[0]))) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = addVolumes(sim, volumes);
  if (!EFI_ERROR(status)) {
    addSpare(sim, 5, 2, 0);
  }
  return status;
}

static EFI_STATUS buildSas(SIM_CONTROLLER *sim) {
  static constexpr DRIVE_ROW drives[] = {{0, 0, 2, SAS_600, 1}, {0, 2, 2, SATA_4000, 1}};
  static constexpr VOLUME_ROW volumes[] = {{nullptr, LEVEL_1, 0, 2, 0}};
  fillAdapter(&sim->adapter, ADAPTER_HOST);
  if (!addEnclosure(sim, 0, 8, 1) || !addDrives(sim, drives, sizeof(drives) / sizeof(drives[0]))) {
    return EFI_OUT_OF_RESOURCES;
  }
  return addVolumes(sim, volumes);
}

static EFI_STATUS buildEmpty(SIM_CONTROLLER *sim) {
  fillAdapter(&sim->adapter, ADAPTER_RAID);
  return EFI_SUCCESS;
}

// Virtual disks by turns over the disks in order; those that are left stay ready but for a few global hot spares.
static EFI_STATUS addSizedVolumes(SIM_CONTROLLER *sim, UINT32 virtualDisks) {
  static constexpr struct {
    UINT32 level;
    UINT32 disks;
  } turns[] = {{LEVEL_1, 2},  {LEVEL_5, 3}, {LEVEL_0, 2}, {LEVEL_1, 2},
               {LEVEL_10, 4}, {LEVEL_0, 1}, {LEVEL_6, 4}, {LEVEL_1, 2}};
  UINT32 next = 0;
  for (UINT32 i = 0; i < virtualDisks; i++) {
    UINT32 turn = i % (sizeof(turns) / sizeof(turns[0]));
    if (turns[turn].disks > sim->disks.count - next) {
      break;
    }
    EFI_STATUS status = addVolume(sim, {nullptr, turns[turn].level, next, turns[turn].disks, 0});
    if (EFI_ERROR(status)) {
      return status;
    }
    next += turns[turn].disks;
  }
  for (UINT32 i = 0; i < 4 && next < sim->disks.count; i++) {
    sim->disks.items[next++].hotspare = 2;
  }
  return EFI_SUCCESS;
}

static EFI_STATUS buildSized(SIM_CONTROLLER *sim, UINT32 enclosures, UINT32 slots, UINT32 virtualDisks) {
  fillAdapter(&sim->adapter, ADAPTER_RAID);
  if (slots > 255) {
    return EFI_INVALID_PARAMETER;
  }
  sim->adapter.maxLds = virtualDisks > sim->adapter.maxLds ? virtualDisks : sim->adapter.maxLds;
  for (UINT32 e = 0; e < enclosures; e++) {
    DRIVE_ROW drives = {e, 0, static_cast<UINT8>(slots), SAS_600, 1};
    if (!addEnclosure(sim, e, static_cast<UINT8>(slots), 1) || !addDrives(sim, &drives, 1)) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return addSizedVolumes(sim, virtualDisks);
}

static EFI_STATUS buildLarge(SIM_CONTROLLER *sim) {
  return buildSized(sim, 10, 24, 64);
}

static constexpr SIM_PRESET g_presets[] = {
    {"demo", "two enclosures, mirrored and parity virtual disks, hot spares, a key"},
    {"direct", "no enclosures, eight disks attached to the adapter"},
    {"sas", "an adapter that shows its disks to the host and keeps few settings"},
    {"empty", "an adapter without disks or enclosures"},
    {"large", "ten enclosures with 240 disks, 64 virtual disks"},
};

static constexpr EFI_STATUS (*g_builders[])(SIM_CONTROLLER *) = {buildDemo, buildDirect, buildSas, buildEmpty,
                                                                 buildLarge};
#define PRESET_COUNT (sizeof(g_presets) / sizeof(g_presets[0]))
static_assert(sizeof(g_builders) / sizeof(g_builders[0]) == PRESET_COUNT);

const SIM_PRESET *simPresetAt(UINT32 index) {
  return index < PRESET_COUNT ? &g_presets[index] : nullptr;
}

static EFI_STATUS finishCreate(EFI_STATUS status, SIM_CONTROLLER **sim) {
  if (EFI_ERROR(status)) {
    simDestroy(*sim);
    *sim = nullptr;
  }
  return status;
}

EFI_STATUS simCreate(const CHAR8 *preset, SIM_CONTROLLER **sim) {
  *sim = nullptr;
  UINT32 index = 0;
  while (index < PRESET_COUNT && !textEqual(g_presets[index].name, preset)) {
    index += 1;
  }
  if (index == PRESET_COUNT) {
    return EFI_NOT_FOUND;
  }
  EFI_STATUS status = simCreateEmpty(sim);
  return EFI_ERROR(status) ? status : finishCreate(g_builders[index](*sim), sim);
}

EFI_STATUS simCreateSized(UINT32 enclosures, UINT32 slots, UINT32 virtualDisks, SIM_CONTROLLER **sim) {
  EFI_STATUS status = simCreateEmpty(sim);
  return EFI_ERROR(status) ? status : finishCreate(buildSized(*sim, enclosures, slots, virtualDisks), sim);
}
