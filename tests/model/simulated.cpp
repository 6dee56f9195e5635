#include "tests/model/simulated.h"

#include <algorithm>

static constexpr UINT8 SLOTS = 6;
static constexpr UINT64 RAID_0 = 0x2;

static std::string narrow(const CHAR16 *text) {
  std::string bytes;
  for (; *text != 0; ++text) {
    bytes += static_cast<char>(*text);
  }
  return bytes;
}

static void installAdapter(SIM_CONTROLLER *sim, const SIM_ADAPTER &pristine, const CONTROLLER &controller) {
  sim->adapter = pristine;
  sim->adapter.attributes &= ~(RAID_ADAPTER_HIDES_PDS | RAID_ADAPTER_CACHECADE_CAPABLE);
  sim->adapter.attributes |= controller.hidesDisks ? RAID_ADAPTER_HIDES_PDS : 0;
  sim->adapter.attributes |= controller.cacheCadeCapable ? RAID_ADAPTER_CACHECADE_CAPABLE : 0;
  for (UINT32 mode = 0; mode < controller.settings.modes.size(); ++mode) {
    simSetMode(sim, static_cast<SIM_MODE>(mode), controller.settings.modes[mode]);
  }
  for (size_t i = 0; i < RAID_RATE_COUNT; ++i) {
    sim->adapter.rates[i].value = static_cast<UINT8>(controller.settings.rates[i].value);
  }
}

void install(SIM_CONTROLLER *sim, const SIM_ADAPTER &pristine, const CONTROLLER &controller) {
  sim->key = {};
  sim->enclosures.count = sim->disks.count = sim->virtualDisks.count = sim->foreignDisks.count = 0;
  sim->pulledDisks.count = 0;
  sim->nextDiskId = 1001;
  installAdapter(sim, pristine, controller);
  for (UINT32 i = 0; i < controller.enclosures; ++i) {
    SIM_ENCLOSURE *enclosure = simAppend(sim->enclosures);
    enclosure->objectId = 301 + i;
    enclosure->objVersion = 1;
    enclosure->deviceId = 32 + i;
    enclosure->slotCount = SLOTS;
    enclosure->position = static_cast<UINT8>(i);
    enclosure->port = static_cast<UINT8>(i);
  }
  for (const DISK &disk : controller.disks) {
    UINT8 attributes =
        static_cast<UINT8>((disk.ssd ? RAID_PD_ATTRIBUTE_SSD : 0U) | (disk.encrypts ? RAID_PD_ATTRIBUTE_FDE : 0U));
    simInsertDisk(sim, disk.place.enclosure, static_cast<UINT8>(disk.place.slot),
                  {disk.size, disk.protocol, attributes});
    sim->disks.items[sim->disks.count - 1].objVersion = disk.hasFqdd ? 1 : 0;
  }
}

std::vector<RATE> ratesOf(const SIM_ADAPTER &adapter) {
  std::vector<RATE> rates;
  for (const SIM_RATE &rate : adapter.rates) {
    rates.push_back({narrow(rate.name), rate.value, rate.editable});
  }
  return rates;
}

// --- Comparing ---

static std::string idsText(const UINT32 *ids, size_t count) {
  std::string text = "{";
  for (size_t i = 0; i < count; ++i) {
    text += " " + std::to_string(ids[i]);
  }
  return text + " }";
}

static std::string stateText(DISK_STATE state) {
  static const char *const names[] = {"ready", "online", "failed", "foreign"};
  return names[static_cast<int>(state)];
}

static std::string text(const DISK &disk) {
  return "disk " + std::to_string(disk.id) + " " + fqddOf(disk.place) + " port " + std::to_string(disk.place.port) +
         (disk.hasFqdd ? "" : " unnamed") + " size " + std::to_string(disk.size) + " protocol " +
         std::to_string(disk.protocol) + (disk.ssd ? " ssd" : "") + (disk.encrypts ? " encrypts " : " ") +
         stateText(disk.state) + " hot spare " + std::to_string(disk.hotspare) + " of " +
         idsText(disk.volumes.data(), disk.volumes.size());
}

static DISK_STATE stateOf(UINT64 state) {
  return state == SIM_STATE_ONLINE    ? DISK_STATE::online
         : state == SIM_STATE_FAILED  ? DISK_STATE::failed
         : state == SIM_STATE_FOREIGN ? DISK_STATE::foreign
                                      : DISK_STATE::ready;
}

static DISK diskOf(const SIM_DISK &sim) {
  return {sim.objectId,
          {sim.enclosureObjectId, sim.slot, sim.port},
          sim.objVersion != 0,
          sim.size,
          sim.protocol,
          (sim.attributes & RAID_PD_ATTRIBUTE_SSD) != 0,
          (sim.attributes & RAID_PD_ATTRIBUTE_FDE) != 0,
          stateOf(sim.state),
          sim.hotspare,
          IDS(sim.vds, sim.vds + sim.vdCount)};
}

// Ids of foreign ones do not count. Nor does a size that the model leaves to the controller.
static VOLUME volumeOf(const SIM_VIRTUAL_DISK &sim, const VOLUME &model, bool isForeign) {
  return {isForeign ? model.id : sim.objectId,
          isForeign ? model.target : sim.targetId,
          sim.raidLevel,
          model.size == 0 ? 0 : sim.size,
          narrow(sim.name),
          sim.currentCachePolicy,
          (sim.attributes & RAID_VD_ATTRIBUTE_FDE) != 0,
          (sim.attributes & RAID_VD_ATTRIBUTE_CACHECADE) != 0,
          IDS(sim.pds, sim.pds + sim.pdCount)};
}

static std::string text(const VOLUME &volume) {
  return "volume " + std::to_string(volume.id) + " target " + std::to_string(volume.target) + " level " +
         std::to_string(volume.level) + " size " + std::to_string(volume.size) + " name " + volume.name + " policy " +
         std::to_string(volume.cachePolicy) + (volume.encrypted ? " encrypted" : "") +
         (volume.cacheCade ? " cache" : "") + " members " + idsText(volume.members.data(), volume.members.size());
}

static std::string text(const SETTINGS &settings) {
  std::string text = "modes";
  for (UINT8 mode : settings.modes) {
    text += " " + std::to_string(mode);
  }
  for (const RATE &rate : settings.rates) {
    text += ", " + rate.name + " " + std::to_string(rate.value);
  }
  return text;
}

static std::string text(const std::optional<KEY> &key) {
  return !key.has_value() ? "no key" : "key " + key->id + " " + key->passphrase + " " + std::to_string(key->mode);
}

template <class T> static std::string compared(const T &is, const T &mustBe) {
  return is == mustBe ? "" : "is      " + text(is) + "\nmust be " + text(mustBe) + "\n";
}

static std::string volumesDiffer(const SIM_ARRAY<SIM_VIRTUAL_DISK> &sim, const std::vector<VOLUME> &volumes,
                                 bool isForeign) {
  std::string found;
  for (size_t i = 0; i < sim.count && i < volumes.size(); ++i) {
    found += compared(volumeOf(sim.items[i], volumes[i], isForeign), volumes[i]);
  }
  if (sim.count != volumes.size()) {
    found += std::to_string(sim.count) + (isForeign ? " foreign" : "") + " volumes, must be " +
             std::to_string(volumes.size()) + "\n";
  }
  return found;
}

std::string difference(const SIM_CONTROLLER *sim, const CONTROLLER &controller) {
  std::string found;
  for (size_t i = 0; i < sim->disks.count && i < controller.disks.size(); ++i) {
    found += compared(diskOf(sim->disks.items[i]), controller.disks[i]);
  }
  found += sim->disks.count == controller.disks.size() ? "" : "another number of disks\n";
  found += volumesDiffer(sim->virtualDisks, controller.volumes, /* isForeign= */ false);
  found += volumesDiffer(sim->foreignDisks, controller.foreign, /* isForeign= */ true);
  SETTINGS settings;
  std::copy_n(&sim->adapter.uncertifiedMode, settings.modes.size(), settings.modes.begin());
  settings.rates = ratesOf(sim->adapter);
  found += compared(settings, controller.settings);
  std::optional<KEY> key;
  if (sim->key.present) {
    key = {sim->key.keyId, std::string(reinterpret_cast<const char *>(sim->key.passphrase)), sim->key.mode};
  }
  return found + compared(key, controller.key);
}

std::vector<ARRIVED> arrivals(const SIM_CONTROLLER *sim, UINT64 first) {
  std::vector<ARRIVED> arrived;
  for (UINT64 number = first; number < simCommandCount(sim); ++number) {
    const SIM_LOG_ENTRY *entry = simCommand(sim, number);
    ARRIVED command = {{entry->block.Command, entry->block.ObjectType, {}, {}, entry->block.Revision}, entry->status};
    command.command.ids.assign(entry->ids, entry->ids + entry->block.ObjectIdCount);
    if (entry->block.ObjectType == RAID_OBJECT_PHYSICAL_DISK && entry->dataSize == RAID_RECORD_SIZE) {
      RAID_PD_RECORD record;
      copyBytes(&record, entry->data, sizeof record);
      command.command.payload = SPARE{record.Hotspare, IDS(entry->list, entry->list + entry->listCount)};
    }
    arrived.push_back(command);
  }
  return arrived;
}

// --- Events ---

static bool allThere(const CONTROLLER &controller, const EVENT &event) {
  return std::all_of(event.ids.begin(), event.ids.end(), [&](UINT32 id) { return controller.disk(id) != nullptr; });
}

static bool turnForeign(SIM_CONTROLLER *sim, CONTROLLER &controller, const IDS &ids) {
  for (UINT32 id : ids) {
    const DISK *disk = controller.disk(id);
    const DISK *first = controller.disk(ids[0]);
    if (disk->state != DISK_STATE::ready || disk->hotspare != 0 || disk->ssd != first->ssd ||
        disk->protocol != first->protocol) {
      return false;
    }
  }
  if (EFI_ERROR(simMakeForeign(sim, RAID_0, ids.data(), static_cast<UINT32>(ids.size())))) {
    return false;
  }
  makeForeign(controller, ids);
  return true;
}

static void setSettings(SIM_CONTROLLER *sim, CONTROLLER &controller, const EVENT &event) {
  simSetMode(sim, static_cast<SIM_MODE>(event.mode), event.value);
  controller.settings.modes[event.mode] = event.value;
  simSetRate(sim, sim->adapter.rates[0].name, event.value & 0x7F);
  controller.settings.rates[0].value = event.value & 0x7F;
}

bool happen(SIM_CONTROLLER *sim, CONTROLLER &controller, const EVENT &event) {
  if (!allThere(controller, event)) {
    return false;
  }
  switch (event.kind) {
  case EVENT::KIND::pull:
    simPullDisk(sim, event.ids[0]);
    pull(controller, event.ids[0]);
    return true;
  case EVENT::KIND::replace:
    simReplaceDisk(sim, event.ids[0], event.size);
    replace(controller, event.ids[0], event.size);
    return true;
  case EVENT::KIND::swap:
    simSwapDisks(sim, event.ids[0], event.ids[1]);
    swap(controller, event.ids[0], event.ids[1]);
    return true;
  case EVENT::KIND::fail:
    simFailDisk(sim, event.ids[0]);
    fail(controller, event.ids[0]);
    return true;
  case EVENT::KIND::makeForeign:
    return turnForeign(sim, controller, event.ids);
  case EVENT::KIND::replaceAdapter:
    simReplaceAdapter(sim);
    replaceAdapter(controller);
    return true;
  case EVENT::KIND::changeSettings:
    setSettings(sim, controller, event);
    return true;
  }
  return false;
}

std::string describe(const EVENT &event) {
  static const char *const names[] = {"pull",         "replace",         "swap",           "fail",
                                      "make foreign", "replace adapter", "change settings"};
  return std::string(names[static_cast<int>(event.kind)]) + " " + idsText(event.ids.data(), event.ids.size()) +
         " size " + std::to_string(event.size) + " mode " + std::to_string(event.mode) + " = " +
         std::to_string(event.value);
}
