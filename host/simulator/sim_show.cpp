#include "host/simulator/sim_show.h"

#include <new>
#include <vector>

#include "host/common/common.h"
#include "host/simulator/sim_disks.h"
#include "host/simulator/sim_faults.h"
#include "host/simulator/sim_json.h"

static constexpr TABLE_COLUMN g_columns[] = {
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

static void addRow(TABLE *table, const std::vector<std::string> &cells) {
  for (const std::string &cell : cells) {
    addCell(table, cell.c_str());
  }
}

static void addDisk(TABLE *table, const sim::Disk &disk, const std::string &use) {
  addRow(table, {placeText(disk), std::to_string(disk.record.ObjectID), modelOf(disk),
                 GetNameFromValue(disk.record.Protocol, g_protocolTable), sizeText(disk.record.Size),
                 GetNameFromValue(disk.record.State, g_stateTable), use});
}

static TABLE newTable() {
  return {g_columns, std::size(g_columns), {}, false};
}

static void show(const SIM_JOB &job, TABLE *table) {
  if (!sayTable(&job.front, table)) {
    throw std::bad_alloc();
  }
}

static void showSlots(const SIM_JOB &job, const sim::Enclosure &enclosure) {
  say(&job.front, "\nEnclosure %u, %a, %u slots\n", enclosure.record.ObjectID, toUtf8(enclosure.Name).c_str(),
      static_cast<UINT32>(enclosure.record.SlotCount));
  TABLE table = newTable();
  for (UINT32 slot = 0; slot < enclosure.record.SlotCount; ++slot) {
    SIM_PLACE place = {enclosure.record.ObjectID, static_cast<UINT8>(slot)};
    const sim::Disk *disk = sim::findDiskAt(job.sim, place.enclosureObjectId, place.slot);
    if (disk != nullptr) {
      addDisk(&table, *disk, roleOf(*disk));
    } else {
      addRow(&table, {placeText(place), "-", "empty", "-", "-", "-", "-"});
    }
  }
  show(job, &table);
}

static void showDirectDisks(const SIM_JOB &job) {
  TABLE table = newTable();
  for (UINT32 i = 0; i < job.sim->disks.count; ++i) {
    const sim::Disk &disk = job.sim->disks.items[i];
    if (disk.record.EnclosureObjectID == sim::directEnclosure) {
      addDisk(&table, disk, roleOf(disk));
    }
  }
  if (table.Cells.count != 0 || table.Failed) {
    sayLines(&job.front, "\nAttached to the adapter directly\n");
    show(job, &table);
  }
}

static void showPulledDisks(const SIM_JOB &job) {
  say(&job.front, "\nPulled disks: %u\n", job.sim->pulledDisks.count);
  TABLE table = newTable();
  for (UINT32 i = 0; i < job.sim->pulledDisks.count; ++i) {
    addDisk(&table, job.sim->pulledDisks.items[i], "was there");
  }
  if (job.sim->pulledDisks.count != 0) {
    show(job, &table);
  }
}

static void showForeign(const SIM_JOB &job) {
  say(&job.front, "\nForeign virtual disks: %u\n", job.sim->foreignDisks.count);
  for (UINT32 i = 0; i < job.sim->foreignDisks.count; ++i) {
    const sim::VirtualDisk &virtualDisk = job.sim->foreignDisks.items[i];
    std::string members;
    for (UINT32 j = 0; j < virtualDisk.record.PDCount; ++j) {
      members += (j == 0 ? "" : ", ") + std::to_string(virtualDisk.PDs[j]);
    }
    say(&job.front, "  \"%a\", %a, %a, on disks %a\n", toUtf8(virtualDisk.Name).c_str(),
        GetNameFromValue(virtualDisk.record.RAIDLevel, g_raidLevelTable), sizeText(virtualDisk.record.Size).c_str(),
        members.c_str());
  }
}

static void showKey(const SIM_JOB &job) {
  const sim::Key &key = job.sim->key;
  if (key.present) {
    say(&job.front, "Key          %a, mode %a; the file holds its passphrase\n", toUtf8(key.keyId).c_str(),
        GetNameFromValue(key.mode, g_keyModeTable));
  } else {
    say(&job.front, "Key          none\n");
  }
}

XYL_RESULT showController(const SIM_JOB &job) {
  if (job.wantsJson()) {
    return writeController(job);
  }
  const sim::Controller &sim = *job.sim;
  say(&job.front, "Adapter      %a\nFirmware     %a\n", toUtf8(sim.adapter.Name).c_str(),
      toUtf8(sim.adapter.FirmwareVersion).c_str());
  showKey(job);
  for (UINT32 i = 0; i < sim.enclosures.count; ++i) {
    showSlots(job, sim.enclosures.items[i]);
  }
  showDirectDisks(job);
  showPulledDisks(job);
  showForeign(job);
  say(&job.front, "\nPending faults: %u\n", sim.faultCount);
  for (UINT32 i = 0; i < sim.faultCount; ++i) {
    say(&job.front, "  %a\n", faultText(sim.faults[i]).c_str());
  }
  return succeeded();
}
