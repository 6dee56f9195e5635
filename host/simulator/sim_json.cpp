#include "host/simulator/sim_json.h"

#include "client/output/output.h"
#include "host/common/common.h"
#include "host/simulator/sim_disks.h"
#include "host/simulator/sim_faults.h"
#include "providers/sim_controller/presets.h"

namespace xyl::host::simulator {

static void writeText(client::Json *json, const char *name, const std::string &text) {
  client::jsonText(json, name, text.c_str());
}

static void writeIds(client::Json *json, const char *name, const UINT32 *ids, UINT32 count) {
  client::jsonArray(json, name);
  for (UINT32 i = 0; i < count; ++i) {
    client::jsonNumber(json, nullptr, ids[i]);
  }
  client::jsonEnd(json);
}

static void writeDisk(client::Json *json, const sim::Disk &disk) {
  client::jsonObject(json, nullptr);
  writeText(json, "place", placeText(disk));
  client::jsonNumber(json, "id", disk.record.ObjectID);
  writeText(json, "model", fixedText(disk.record.ModelName));
  client::jsonText(json, "protocol", driver::GetNameFromValue(disk.record.Protocol, driver::g_protocolTable));
  client::jsonNumber(json, "size", disk.record.Size);
  client::jsonText(json, "state", driver::GetNameFromValue(disk.record.State, driver::g_stateTable));
  client::jsonText(json, "hotSpare", driver::GetNameFromValue(disk.record.Hotspare, driver::g_hotspareTable));
  writeIds(json, "virtualDisks", disk.VDs, disk.record.VDCount);
  client::jsonEnd(json);
}

// The disks in an enclosure, or those attached directly; the empty slots of an enclosure by their places.
static void writeDisksIn(client::Json *json, const sim::Controller &sim, UINT32 enclosure) {
  client::jsonArray(json, "disks");
  for (UINT32 i = 0; i < sim.disks.count; ++i) {
    if (sim.disks.items[i].record.EnclosureObjectID == enclosure) {
      writeDisk(json, sim.disks.items[i]);
    }
  }
  client::jsonEnd(json);
}

static void writeEnclosure(client::Json *json, sim::Controller *sim, const sim::Enclosure &enclosure) {
  client::jsonObject(json, nullptr);
  client::jsonNumber(json, "id", enclosure.record.ObjectID);
  writeText(json, "name", toUtf8(enclosure.Name));
  client::jsonNumber(json, "slots", enclosure.record.SlotCount);
  client::jsonArray(json, "emptySlots");
  for (UINT32 slot = 0; slot < enclosure.record.SlotCount; ++slot) {
    if (sim::findDiskAt(sim, enclosure.record.ObjectID, static_cast<UINT8>(slot)) == nullptr) {
      writeText(json, nullptr, placeText(Place{enclosure.record.ObjectID, static_cast<UINT8>(slot)}));
    }
  }
  client::jsonEnd(json);
  writeDisksIn(json, *sim, enclosure.record.ObjectID);
  client::jsonEnd(json);
}

static void writeForeign(client::Json *json, const sim::Controller &sim) {
  client::jsonArray(json, "foreignVirtualDisks");
  for (UINT32 i = 0; i < sim.foreignDisks.count; ++i) {
    const sim::VirtualDisk &virtualDisk = sim.foreignDisks.items[i];
    client::jsonObject(json, nullptr);
    writeText(json, "name", toUtf8(virtualDisk.Name));
    client::jsonText(json, "level", driver::GetNameFromValue(virtualDisk.record.RAIDLevel, driver::g_raidLevelTable));
    client::jsonNumber(json, "size", virtualDisk.record.Size);
    writeIds(json, "disks", virtualDisk.PDs, virtualDisk.record.PDCount);
    client::jsonEnd(json);
  }
  client::jsonEnd(json);
}

client::Result writeController(const Job &job) {
  const sim::Controller &sim = *job.sim;
  client::Json json = {};
  json.front = &job.front;
  client::jsonObject(&json, nullptr);
  writeText(&json, "adapter", toUtf8(sim.adapter.Name));
  writeText(&json, "firmware", toUtf8(sim.adapter.FirmwareVersion));
  writeText(&json, "keyId", sim.key.present ? toUtf8(sim.key.keyId) : "");
  client::jsonArray(&json, "enclosures");
  for (UINT32 i = 0; i < sim.enclosures.count; ++i) {
    writeEnclosure(&json, job.sim, sim.enclosures.items[i]);
  }
  client::jsonEnd(&json);
  writeDisksIn(&json, sim, sim::directEnclosure);
  client::jsonArray(&json, "pulledDisks");
  for (UINT32 i = 0; i < sim.pulledDisks.count; ++i) {
    writeDisk(&json, sim.pulledDisks.items[i]);
  }
  client::jsonEnd(&json);
  writeForeign(&json, sim);
  client::jsonArray(&json, "pendingFaults");
  for (UINT32 i = 0; i < sim.faultCount; ++i) {
    writeText(&json, nullptr, faultText(sim.faults[i]));
  }
  client::jsonEnd(&json);
  client::jsonEnd(&json);
  return client::succeeded();
}

client::Result writePresets(const Job &job) {
  client::Json json = {};
  json.front = &job.front;
  client::jsonObject(&json, nullptr);
  client::jsonArray(&json, "presets");
  for (UINT32 i = 0; sim::presetAt(i) != nullptr; ++i) {
    client::jsonObject(&json, nullptr);
    client::jsonText(&json, "name", sim::presetAt(i)->name);
    client::jsonText(&json, "description", sim::presetAt(i)->description);
    client::jsonEnd(&json);
  }
  client::jsonEnd(&json);
  client::jsonEnd(&json);
  return client::succeeded();
}

} // namespace xyl::host::simulator
