#include "host/simulator/sim_show.h"

#include <new>
#include <vector>

#include "host/common/common.h"
#include "host/simulator/sim_disks.h"
#include "host/simulator/sim_faults.h"
#include "host/simulator/sim_json.h"

namespace xyl::host::simulator {

static constexpr client::TableColumn g_columns[] = {
    {"Place", 16, true, false}, {"Id", 10, true, false},   {"Model", 24, false, false}, {"Bus", 7, false, false},
    {"Size", 11, true, false},  {"State", 8, false, true}, {"Use", 999, false, false},
};

static std::string roleOf(const sim::Disk &disk) {
  std::string role = disk.record.Hotspare == 0 ? "" : disk.record.Hotspare == 1 ? "hot spare of " : "global hot spare";
  for (UINT32 i = 0; i < disk.record.VDCount; ++i) {
    role += (i == 0 ? "VD " : ", ") + std::to_string(disk.VDs[i]);
  }
  return role.empty() ? "-" : role;
}

static std::string modelOf(const sim::Disk &disk) {
  std::string model = fixedText(disk.record.ModelName);
  size_t first = model.find_first_not_of(' ');
  return first == std::string::npos ? "-" : model.substr(first);
}

static void addRow(client::Table *table, const std::vector<std::string> &cells) {
  for (const std::string &cell : cells) {
    client::addCell(table, cell.c_str());
  }
}

static void addDisk(client::Table *table, const sim::Disk &disk, const std::string &use) {
  addRow(table, {placeText(disk), std::to_string(disk.record.ObjectID), modelOf(disk),
                 driver::GetNameFromValue(disk.record.Protocol, driver::g_protocolTable), sizeText(disk.record.Size),
                 driver::GetNameFromValue(disk.record.State, driver::g_stateTable), use});
}

static client::Table newTable() {
  return {g_columns, std::size(g_columns), {}, false};
}

static void show(const Job &job, client::Table *table) {
  if (!client::sayTable(&job.front, table)) {
    throw std::bad_alloc();
  }
}

static void showSlots(const Job &job, const sim::Enclosure &enclosure) {
  client::say(&job.front, "\nEnclosure %u, %a, %u slots\n", enclosure.record.ObjectID, toUtf8(enclosure.Name).c_str(),
              static_cast<UINT32>(enclosure.record.SlotCount));
  client::Table table = newTable();
  for (UINT32 slot = 0; slot < enclosure.record.SlotCount; ++slot) {
    Place place = {enclosure.record.ObjectID, static_cast<UINT8>(slot)};
    const sim::Disk *disk = sim::findDiskAt(job.sim, place.enclosureObjectId, place.slot);
    if (disk != nullptr) {
      addDisk(&table, *disk, roleOf(*disk));
    } else {
      addRow(&table, {placeText(place), "-", "empty", "-", "-", "-", "-"});
    }
  }
  show(job, &table);
}

static void showDirectDisks(const Job &job) {
  client::Table table = newTable();
  for (UINT32 i = 0; i < job.sim->disks.count; ++i) {
    const sim::Disk &disk = job.sim->disks.items[i];
    if (disk.record.EnclosureObjectID == sim::directEnclosure) {
      addDisk(&table, disk, roleOf(disk));
    }
  }
  if (table.cells.count != 0 || table.failed) {
    client::sayLines(&job.front, "\nAttached to the adapter directly\n");
    show(job, &table);
  }
}

static void showPulledDisks(const Job &job) {
  client::say(&job.front, "\nPulled disks: %u\n", job.sim->pulledDisks.count);
  client::Table table = newTable();
  for (UINT32 i = 0; i < job.sim->pulledDisks.count; ++i) {
    addDisk(&table, job.sim->pulledDisks.items[i], "was there");
  }
  if (job.sim->pulledDisks.count != 0) {
    show(job, &table);
  }
}

static void showForeign(const Job &job) {
  client::say(&job.front, "\nForeign virtual disks: %u\n", job.sim->foreignDisks.count);
  for (UINT32 i = 0; i < job.sim->foreignDisks.count; ++i) {
    const sim::VirtualDisk &virtualDisk = job.sim->foreignDisks.items[i];
    std::string members;
    for (UINT32 j = 0; j < virtualDisk.record.PDCount; ++j) {
      members += (j == 0 ? "" : ", ") + std::to_string(virtualDisk.PDs[j]);
    }
    client::say(&job.front, "  \"%a\", %a, %a, on disks %a\n", toUtf8(virtualDisk.Name).c_str(),
                driver::GetNameFromValue(virtualDisk.record.RAIDLevel, driver::g_raidLevelTable),
                sizeText(virtualDisk.record.Size).c_str(), members.c_str());
  }
}

static void showKey(const Job &job) {
  const sim::Key &key = job.sim->key;
  if (key.present) {
    client::say(&job.front, "Key          %a, mode %a; the file holds its passphrase\n", toUtf8(key.keyId).c_str(),
                driver::GetNameFromValue(key.mode, driver::g_keyModeTable));
  } else {
    client::say(&job.front, "Key          none\n");
  }
}

client::Result showController(const Job &job) {
  if (job.wantsJson()) {
    return writeController(job);
  }
  const sim::Controller &sim = *job.sim;
  client::say(&job.front, "Adapter      %a\nFirmware     %a\n", toUtf8(sim.adapter.Name).c_str(),
              toUtf8(sim.adapter.FirmwareVersion).c_str());
  showKey(job);
  for (UINT32 i = 0; i < sim.enclosures.count; ++i) {
    showSlots(job, sim.enclosures.items[i]);
  }
  showDirectDisks(job);
  showPulledDisks(job);
  showForeign(job);
  client::say(&job.front, "\nPending faults: %u\n", sim.faultCount);
  for (UINT32 i = 0; i < sim.faultCount; ++i) {
    client::say(&job.front, "  %a\n", faultText(sim.faults[i]).c_str());
  }
  return client::succeeded();
}

} // namespace xyl::host::simulator
