// Ready-made controllers.
#include "providers/sim_controller/presets.h"
#include "base/text.h"
#include "providers/sim_controller/commands/virtual_disks.h"
#include "providers/sim_controller/drives.h"
#include "providers/sim_controller/fixed_text.h"
#include "providers/sim_controller/sim_controller.h"
#include "providers/sim_controller/state/drives.h"
#include "providers/sim_controller/state/objects.h"

namespace xyl::sim {

constexpr UINT32 firstEnclosureId = 301;
constexpr UINT32 firstEnclosureDevice = 32;

constexpr UINT32 sata = RAID_PROTOCOL_SATA;
constexpr UINT32 sas = RAID_PROTOCOL_SAS;
constexpr UINT32 smart = RAID_PD_ATTRIBUTE_SMART;
constexpr UINT32 eedp = RAID_PD_ATTRIBUTE_EEDP;

// The adapters' kinds. RAID: what large servers have; HOST: few levels, disks shown to the host, hardly any setting.
enum class AdapterKind { raid, host };

struct LevelLimits {
  UINT32 level;
  UINT32 minDisks;
  UINT32 maxDisks;
  UINT32 bounds;
  UINT32 attributes;
};

constexpr UINT32 anyDisk =
    RAID_LEVEL_ATTRIBUTE_HDD | RAID_LEVEL_ATTRIBUTE_SSD | RAID_LEVEL_ATTRIBUTE_FDE | RAID_LEVEL_ATTRIBUTE_EEDP;

static constexpr LevelLimits g_levels[] = {
    {RAID_LEVEL_0, 1, 32, 0, anyDisk | RAID_LEVEL_ATTRIBUTE_SAS_SATA_HDD},
    {RAID_LEVEL_1, 2, 2, 0, anyDisk},
    {RAID_LEVEL_5, 3, 32, 0, anyDisk},
    {RAID_LEVEL_6, 4, 32, 0, anyDisk},
    {RAID_LEVEL_10, 4, 256, RAID_BOUNDS_EVEN_SPAN_LENGTH, anyDisk},
    {RAID_LEVEL_50, 6, 256, RAID_BOUNDS_EVEN_SPAN_LENGTH, anyDisk},
    {RAID_LEVEL_60, 8, 256, RAID_BOUNDS_EVEN_SPAN_LENGTH, anyDisk},
};

static RAID_LEVEL_PARAMS descriptorOf(const LevelLimits &limits) {
  RAID_LEVEL_PARAMS level = {};
  level.RAIDLevel = limits.level;
  level.MinDisks = limits.minDisks;
  level.MaxDisks = limits.maxDisks;
  level.DefaultCachePolicy =
      RAID_CACHE_WRITE_BACK | RAID_CACHE_READ_ADAPTIVE | RAID_CACHE_DISK_DEFAULT | RAID_CACHE_IO_DIRECT;
  level.AvailableCachePolicy = RAID_CACHE_ALL;
  level.StripeSize = RAID_STRIPE_SIZE_64KB;
  level.AvailableStripeSize = 2 * RAID_STRIPE_SIZE_1MB - RAID_STRIPE_SIZE_64KB; // from 64 KiB to 1 MiB
  level.BoundsMask = limits.bounds;
  level.DefaultRLQ = RAID_RLQ_0;
  level.AvailableRLQ = RAID_RLQ_0 | RAID_RLQ_1 | RAID_RLQ_2 | RAID_RLQ_3;
  level.DefaultSRL = RAID_SRL_0;
  level.AvailableSRL = RAID_SRL_0 | RAID_SRL_1 | RAID_SRL_2 | RAID_SRL_3;
  level.AvailableProtocols = sata | sas;
  level.Attributes = limits.attributes;
  return level;
}

static void addLevels(Adapter *adapter, UINT32 supported) {
  adapter->record.SupportedRAIDLevels = supported;
  for (const LevelLimits &limits : g_levels) {
    if ((supported & limits.level) != 0) {
      adapter->RAIDLevelParams[adapter->levelCount++] = descriptorOf(limits);
    }
  }
}

struct RateRow {
  UINT32 slot;
  const CHAR16 *name;
  UINT8 value;
  bool editable;
};

// Slots 2 and 5 are unused.
static constexpr RateRow g_rates[] = {
    {0, u"Rebuild", 30, true},           {1, u"Background Initialization", 30, true},
    {3, u"Check Consistency", 30, true}, {4, u"Patrol Read", 30, true},
    {6, u"Reconstruct", 30, true},       {7, u"Spin Up Delay", 12, false},
};

static void fillRaidAdapter(Adapter *adapter) {
  setText(adapter->Name, u"Harrier R6 Integrated");
  adapter->record.PCIID.DeviceID = 0x0091;
  adapter->record.PCIID.SubdeviceID = 0x2016;
  adapter->record.Attributes = RAID_ADAPTER_ATTRIBUTE_SAS_SATA_HDD_MIX | RAID_ADAPTER_ATTRIBUTE_SSD_HDD_MIX |
                               RAID_ADAPTER_ATTRIBUTE_SAS_SATA_SSD_MIX | RAID_ADAPTER_ATTRIBUTE_BOOTABLE |
                               RAID_ADAPTER_ATTRIBUTE_HIDES_PDS | RAID_ADAPTER_ATTRIBUTE_ENCRYPTION |
                               RAID_ADAPTER_ATTRIBUTE_RKM_CAPABLE | RAID_ADAPTER_ATTRIBUTE_CACHECADE_CAPABLE;
  adapter->record.MaxLDs = 64;
  adapter->record.MaxPDsPerSpan = 32;
  adapter->record.MaxSpansPerLD = 8;
  setText(adapter->FirmwareVersion, u"21.3.4-0001");
  addLevels(adapter,
            RAID_LEVEL_0 | RAID_LEVEL_1 | RAID_LEVEL_5 | RAID_LEVEL_6 | RAID_LEVEL_10 | RAID_LEVEL_50 | RAID_LEVEL_60);
  adapter->record.UncertifiedMode = RAID_MODE_PRESENT | RAID_UNCERTIFIED_MODE_ALLOW;
  adapter->record.LoadBalanceMode = RAID_MODE_PRESENT | RAID_LOAD_BALANCE_MODE_AUTO;
  adapter->record.LearnMode = 0; // has no battery that learns
  adapter->record.CheckConsistencyMode = RAID_MODE_PRESENT | RAID_CHECK_CONSISTENCY_MODE_NORMAL;
  adapter->record.PatrolReadMode = RAID_MODE_PRESENT | RAID_PATROL_READ_MODE_AUTO | RAID_PATROL_READ_MODE_CORRECT_AREAS;
  adapter->record.CopyBackMode = RAID_MODE_PRESENT | RAID_COPY_BACK_MODE_ON_SMART;
  for (const RateRow &row : g_rates) {
    setText(adapter->Rates[row.slot].Name, row.name);
    adapter->record.Rates[row.slot].EditableValue =
        static_cast<UINT8>(row.value << RAID_RATE_VALUE_SHIFT | (row.editable ? RAID_RATE_EDITABLE : 0));
  }
}

static void fillHostAdapter(Adapter *adapter) {
  setText(adapter->Name, u"Harrier H2 Host Adapter");
  adapter->record.PCIID.DeviceID = 0x0061;
  adapter->record.PCIID.SubdeviceID = 0x1007;
  adapter->record.Attributes = RAID_ADAPTER_ATTRIBUTE_BOOTABLE; // it does not hide its disks
  adapter->record.MaxLDs = 2;
  adapter->record.MaxPDsPerSpan = 10;
  adapter->record.MaxSpansPerLD = 1;
  setText(adapter->FirmwareVersion, u"07.03.06.00");
  addLevels(adapter, RAID_LEVEL_0 | RAID_LEVEL_1);
}

static void fillAdapter(Adapter *adapter, AdapterKind kind) {
  adapter->record.ObjVersion = 1;
  setText(adapter->FQDD, u"adapter-0");
  adapter->record.WWN = 0x5EEDADA000001000ULL;
  adapter->record.PCIID.VendorID = 0x4E54;
  adapter->record.PCIID.SubvendorID = 0x4E54;
  adapter->record.PCIID.PCIBus = 3;
  adapter->record.PCIID.EmbeddedIndex = kind == AdapterKind::raid ? RAID_PCI_EMBEDDED : 0;
  adapter->record.SupportedDiskProtocols = sata | sas;
  adapter->record.CapableSpeeds = RAID_SPEED_1_5_GBS | RAID_SPEED_3_GBS | RAID_SPEED_6_GBS;
  if (kind == AdapterKind::raid) {
    fillRaidAdapter(adapter);
  } else {
    fillHostAdapter(adapter);
  }
}

static bool addEnclosure(Controller *sim, UINT32 position, UINT8 slots, UINT32 objVersion) {
  Enclosure *enclosure = arrayAppend(sim->enclosures);
  if (enclosure == nullptr) {
    return false;
  }
  enclosure->record.ObjectID = firstEnclosureId + position;
  enclosure->record.ObjVersion = objVersion;
  Text name = text(enclosure->Name);
  addText(name, u"Shelf ");
  addNumber(name, position, 1);
  Text fqdd = text(enclosure->FQDD);
  addText(fqdd, u"enclosure-");
  addNumber(fqdd, position, 1);
  addText(fqdd, u".adapter-0");
  enclosure->record.DeviceID = firstEnclosureDevice + position;
  enclosure->record.SlotCount = slots;
  enclosure->record.Position = static_cast<UINT8>(position);
  UINT32 port = position % 2;
  enclosure->record.MultipathPort =
      static_cast<UINT8>(port << RAID_ENCLOSURE_PORT_SHIFT | (port == 1 ? RAID_ENCLOSURE_MULTIPATH : 0));
  enclosure->record.EMMCount = 2;
  enclosure->record.FanCount = 4;
  enclosure->record.PSUCount = 2;
  enclosure->record.TempProbeCount = 4;
  CHAR8 tag[24] = "SHLF";
  formatHex(tag + 4, position, 3);
  setFixed(enclosure->record.ServiceTag, sizeof(enclosure->record.ServiceTag), tag);
  copyBytes(tag, "A-", 2);
  formatDecimal(tag + 2, 7000 + position);
  setFixed(enclosure->record.AssetTag, sizeof(enclosure->record.AssetTag), tag);
  setFixed(enclosure->record.Revision, sizeof(enclosure->record.Revision), "1.0");
  return true;
}

struct DriveRow {
  UINT32 enclosure; // position, or direct
  UINT8 firstSlot;
  UINT8 count;
  Drive drive;
  UINT32 objVersion;
};
constexpr UINT8 direct = 0xFF;

static bool addDrives(Controller *sim, const DriveRow *rows, UINT32 rowCount) {
  for (UINT32 r = 0; r < rowCount; ++r) {
    UINT32 place = rows[r].enclosure == direct ? directEnclosure : firstEnclosureId + rows[r].enclosure;
    for (UINT32 i = 0; i < rows[r].count; ++i) {
      Disk *disk = addDrive(sim, place, static_cast<UINT8>(rows[r].firstSlot + i), rows[r].drive);
      if (disk == nullptr) {
        return false;
      }
      disk->record.ObjVersion = rows[r].objVersion;
      disk->Name[0] = rows[r].objVersion == 0 ? 0 : disk->Name[0];
    }
  }
  return true;
}

struct VirtualDiskRow {
  const CHAR16 *name; // null: as the controller names it
  UINT32 level;
  UINT32 firstDisk; // index; members follow each other
  UINT32 count;
  UINT64 size; // 0: all there is
};

static EFI_STATUS addVirtualDisk(Controller *sim, const VirtualDiskRow &row) {
  UINT32 ids[vdPds];
  if (row.count > vdPds || row.firstDisk > sim->disks.count || row.count > sim->disks.count - row.firstDisk) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINT32 i = 0; i < row.count; ++i) {
    ids[i] = sim->disks.items[row.firstDisk + i].record.ObjectID;
  }
  RAID_VD_RECORD wanted = {};
  wanted.Name = const_cast<CHAR16 *>(row.name);
  wanted.RAIDLevel = row.level;
  wanted.Size = row.size;
  return createVirtualDisk(sim, &wanted, ids, row.count, nullptr);
}

template <UINT32 count> static EFI_STATUS addVirtualDisks(Controller *sim, const VirtualDiskRow (&rows)[count]) {
  for (const VirtualDiskRow &row : rows) {
    EFI_STATUS status = addVirtualDisk(sim, row);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

static void addSpare(Controller *sim, UINT32 diskIndex, UINT8 kind, UINT32 virtualDiskIndex) {
  Disk *disk = &sim->disks.items[diskIndex];
  disk->record.Hotspare = kind;
  if (kind == RAID_HOTSPARE_DEDICATED) {
    disk->VDs[disk->record.VDCount++] = sim->virtualDisks.items[virtualDiskIndex].record.ObjectID;
  }
}

constexpr Drive sas600 = {600127266816, sas, smart | eedp};
constexpr Drive sas900Fde = {900185481216, sas, smart | eedp | RAID_PD_ATTRIBUTE_FDE};
constexpr Drive sas2000 = {2000398934016, sas, smart | eedp};
constexpr Drive sata4000 = {4000787030016, sata, smart};
constexpr Drive ssd480 = {480103981056, sata, smart | RAID_PD_ATTRIBUTE_SSD};

static EFI_STATUS buildDemo(Controller *sim) {
  static constexpr DriveRow drives[] = {
      {0, 0, 2, sas600, 1},    // mirrored
      {0, 2, 4, sas2000, 1},   // parity, two virtual disks
      {0, 6, 2, sas2000, 1},   // hot spares: dedicated, global
      {0, 8, 2, sas900Fde, 1}, // ready
      {0, 10, 1, ssd480, 0},   // ready
      {1, 0, 4, sata4000, 1},  // mirrored and striped
      {1, 4, 2, ssd480, 1},    // mirrored
      {1, 6, 2, sata4000, 1},  // ready
      {1, 8, 1, sata4000, 0},  // ready; slots 9 to 11 are empty, as is slot 11 of the other shelf
  };
  static constexpr VirtualDiskRow virtualDisks[] = {
      {u"System", RAID_LEVEL_1, 0, 2, 0},  {u"Data", RAID_LEVEL_5, 2, 4, 4000000000000},
      {u"Scratch", RAID_LEVEL_5, 2, 4, 0}, {u"Archive", RAID_LEVEL_10, 11, 4, 0},
      {u"Fast", RAID_LEVEL_1, 15, 2, 0},
  };
  fillAdapter(&sim->adapter, AdapterKind::raid);
  if (!addEnclosure(sim, 0, 12, 1) || !addEnclosure(sim, 1, 12, 0) ||
      !addDrives(sim, drives, sizeof(drives) / sizeof(drives[0]))) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = addVirtualDisks(sim, virtualDisks);
  if (EFI_ERROR(status)) {
    return status;
  }
  addSpare(sim, 6, RAID_HOTSPARE_DEDICATED, 1);
  addSpare(sim, 7, RAID_HOTSPARE_GLOBAL, 0);
  sim->key.present = true;
  sim->key.mode = RAID_KEY_MODE_LKM;
  copyBytes(sim->key.keyId, "demo-key-1", sizeof("demo-key-1"));
  copyBytes(sim->key.passphrase, "Tall-Grass-42", sizeof("Tall-Grass-42"));
  return EFI_SUCCESS;
}

static EFI_STATUS buildDirect(Controller *sim) {
  static constexpr DriveRow drives[] = {
      {direct, 0, 2, ssd480, 1},
      {direct, 2, 4, sas600, 1},
      {direct, 6, 1, sas600, 1},
      {direct, 7, 1, sas600, 0},
  };
  static constexpr VirtualDiskRow virtualDisks[] = {{u"Boot", RAID_LEVEL_1, 0, 2, 0}, {nullptr, RAID_LEVEL_5, 2, 3, 0}};
  fillAdapter(&sim->adapter, AdapterKind::raid);
  if (!addDrives(sim, drives, sizeof(drives) / sizeof(drives[0]))) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = addVirtualDisks(sim, virtualDisks);
  if (!EFI_ERROR(status)) {
    addSpare(sim, 5, RAID_HOTSPARE_GLOBAL, 0);
  }
  return status;
}

static EFI_STATUS buildSas(Controller *sim) {
  static constexpr DriveRow drives[] = {{0, 0, 2, sas600, 1}, {0, 2, 2, sata4000, 1}};
  static constexpr VirtualDiskRow virtualDisks[] = {{nullptr, RAID_LEVEL_1, 0, 2, 0}};
  fillAdapter(&sim->adapter, AdapterKind::host);
  if (!addEnclosure(sim, 0, 8, 1) || !addDrives(sim, drives, sizeof(drives) / sizeof(drives[0]))) {
    return EFI_OUT_OF_RESOURCES;
  }
  return addVirtualDisks(sim, virtualDisks);
}

static EFI_STATUS buildEmpty(Controller *sim) {
  fillAdapter(&sim->adapter, AdapterKind::raid);
  return EFI_SUCCESS;
}

// Virtual disks by turns over the disks in order; those that are left stay ready but for a few global hot spares.
static EFI_STATUS addSizedVirtualDisks(Controller *sim, UINT32 virtualDisks) {
  static constexpr struct {
    UINT32 level;
    UINT32 disks;
  } turns[] = {{RAID_LEVEL_1, 2},  {RAID_LEVEL_5, 3}, {RAID_LEVEL_0, 2}, {RAID_LEVEL_1, 2},
               {RAID_LEVEL_10, 4}, {RAID_LEVEL_0, 1}, {RAID_LEVEL_6, 4}, {RAID_LEVEL_1, 2}};
  UINT32 next = 0;
  for (UINT32 i = 0; i < virtualDisks; ++i) {
    UINT32 turn = i % (sizeof(turns) / sizeof(turns[0]));
    if (turns[turn].disks > sim->disks.count - next) {
      break;
    }
    EFI_STATUS status = addVirtualDisk(sim, {nullptr, turns[turn].level, next, turns[turn].disks, 0});
    if (EFI_ERROR(status)) {
      return status;
    }
    next += turns[turn].disks;
  }
  for (UINT32 i = 0; i < 4 && next < sim->disks.count; ++i) {
    sim->disks.items[next++].record.Hotspare = RAID_HOTSPARE_GLOBAL;
  }
  return EFI_SUCCESS;
}

static EFI_STATUS buildSized(Controller *sim, UINT32 enclosures, UINT32 slots, UINT32 virtualDisks) {
  fillAdapter(&sim->adapter, AdapterKind::raid);
  if (slots > 255) {
    return EFI_INVALID_PARAMETER;
  }
  sim->adapter.record.MaxLDs = virtualDisks > sim->adapter.record.MaxLDs ? virtualDisks : sim->adapter.record.MaxLDs;
  for (UINT32 e = 0; e < enclosures; ++e) {
    DriveRow drives = {e, 0, static_cast<UINT8>(slots), sas600, 1};
    if (!addEnclosure(sim, e, static_cast<UINT8>(slots), 1) || !addDrives(sim, &drives, 1)) {
      return EFI_OUT_OF_RESOURCES;
    }
  }
  return addSizedVirtualDisks(sim, virtualDisks);
}

static EFI_STATUS buildLarge(Controller *sim) {
  return buildSized(sim, 10, 24, 64);
}

static constexpr Preset g_presets[] = {
    {"demo", "two enclosures, mirrored and parity virtual disks, hot spares, a key"},
    {"direct", "no enclosures, eight disks attached to the adapter"},
    {"sas", "an adapter that shows its disks to the host and keeps few settings"},
    {"empty", "an adapter without disks or enclosures"},
    {"large", "ten enclosures with 240 disks, 64 virtual disks"},
};

static constexpr EFI_STATUS (*g_builders[])(Controller *) = {buildDemo, buildDirect, buildSas, buildEmpty, buildLarge};
constexpr UINTN presetCount = sizeof(g_presets) / sizeof(g_presets[0]);
static_assert(sizeof(g_builders) / sizeof(g_builders[0]) == presetCount);

const Preset *presetAt(UINT32 index) {
  return index < presetCount ? &g_presets[index] : nullptr;
}

static EFI_STATUS finishCreate(EFI_STATUS status, Controller **sim) {
  if (EFI_ERROR(status)) {
    destroy(*sim);
    *sim = nullptr;
  }
  return status;
}

EFI_STATUS create(const CHAR8 *preset, Controller **sim) {
  *sim = nullptr;
  UINT32 index = 0;
  while (index < presetCount && !textEqual(g_presets[index].name, preset)) {
    index += 1;
  }
  if (index == presetCount) {
    return EFI_NOT_FOUND;
  }
  EFI_STATUS status = createEmpty(sim);
  return EFI_ERROR(status) ? status : finishCreate(g_builders[index](*sim), sim);
}

EFI_STATUS createSized(UINT32 enclosures, UINT32 slots, UINT32 virtualDisks, Controller **sim) {
  EFI_STATUS status = createEmpty(sim);
  return EFI_ERROR(status) ? status : finishCreate(buildSized(*sim, enclosures, slots, virtualDisks), sim);
}

} // namespace xyl::sim
