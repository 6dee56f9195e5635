#include "host/simulator/sim_json.h"

#include "client/output/output.h"
#include "host/common/common.h"
#include "host/simulator/sim_disks.h"
#include "host/simulator/sim_faults.h"
#include "providers/sim_controller/presets.h"

static void writeText(JSON *json, const char *name, const std::string &text) {
  jsonText(json, name, text.c_str());
}

static void writeIds(JSON *json, const char *name, const UINT32 *ids, UINT32 count) {
  jsonArray(json, name);
  for (UINT32 i = 0; i < count; ++i) {
    jsonNumber(json, nullptr, ids[i]);
  }
  jsonEnd(json);
}

static void writeDisk(JSON *json, const sim::Disk &disk) {
  jsonObject(json, nullptr);
  writeText(json, "place", placeText(disk));
  jsonNumber(json, "id", disk.record.ObjectID);
  writeText(json, "model", fixedText(disk.record.ModelName));
  jsonText(json, "protocol", GetNameFromValue(disk.record.Protocol, g_protocolTable));
  jsonNumber(json, "size", disk.record.Size);
  jsonText(json, "state", GetNameFromValue(disk.record.State, g_stateTable));
  jsonText(json, "hotSpare", GetNameFromValue(disk.record.Hotspare, g_hotspareTable));
  writeIds(json, "virtualDisks", disk.VDs, disk.record.VDCount);
  jsonEnd(json);
}

// The disks in an enclosure, or those attached directly; the empty slots of an enclosure by their places.
static void writeDisksIn(JSON *json, const sim::Controller &sim, UINT32 enclosure) {
  jsonArray(json, "disks");
  for (UINT32 i = 0; i < sim.disks.count; ++i) {
    if (sim.disks.items[i].record.EnclosureObjectID == enclosure) {
      writeDisk(json, sim.disks.items[i]);
    }
  }
  jsonEnd(json);
}

static void writeEnclosure(JSON *json, sim::Controller *sim, const sim::Enclosure &enclosure) {
  jsonObject(json, nullptr);
  jsonNumber(json, "id", enclosure.record.ObjectID);
  writeText(json, "name", toUtf8(enclosure.Name));
  jsonNumber(json, "slots", enclosure.record.SlotCount);
  jsonArray(json, "emptySlots");
  for (UINT32 slot = 0; slot < enclosure.record.SlotCount; ++slot) {
    if (sim::findDiskAt(sim, enclosure.record.ObjectID, static_cast<UINT8>(slot)) == nullptr) {
      writeText(json, nullptr, placeText(SIM_PLACE{enclosure.record.ObjectID, static_cast<UINT8>(slot)}));
    }
  }
  jsonEnd(json);
  writeDisksIn(json, *sim, enclosure.record.ObjectID);
  jsonEnd(json);
}

static void writeForeign(JSON *json, const sim::Controller &sim) {
  jsonArray(json, "foreignVirtualDisks");
  for (UINT32 i = 0; i < sim.foreignDisks.count; ++i) {
    const sim::VirtualDisk &virtualDisk = sim.foreignDisks.items[i];
    jsonObject(json, nullptr);
    writeText(json, "name", toUtf8(virtualDisk.Name));
    jsonText(json, "level", GetNameFromValue(virtualDisk.record.RAIDLevel, g_raidLevelTable));
    jsonNumber(json, "size", virtualDisk.record.Size);
    writeIds(json, "disks", virtualDisk.PDs, virtualDisk.record.PDCount);
    jsonEnd(json);
  }
  jsonEnd(json);
}

XYL_RESULT writeController(const SIM_JOB &job) {
  const sim::Controller &sim = *job.sim;
  JSON json = {};
  json.Front = &job.front;
  jsonObject(&json, nullptr);
  writeText(&json, "adapter", toUtf8(sim.adapter.Name));
  writeText(&json, "firmware", toUtf8(sim.adapter.FirmwareVersion));
  writeText(&json, "keyId", sim.key.present ? toUtf8(sim.key.keyId) : "");
  jsonArray(&json, "enclosures");
  for (UINT32 i = 0; i < sim.enclosures.count; ++i) {
    writeEnclosure(&json, job.sim, sim.enclosures.items[i]);
  }
  jsonEnd(&json);
  writeDisksIn(&json, sim, sim::directEnclosure);
  jsonArray(&json, "pulledDisks");
  for (UINT32 i = 0; i < sim.pulledDisks.count; ++i) {
    writeDisk(&json, sim.pulledDisks.items[i]);
  }
  jsonEnd(&json);
  writeForeign(&json, sim);
  jsonArray(&json, "pendingFaults");
  for (UINT32 i = 0; i < sim.faultCount; ++i) {
    writeText(&json, nullptr, faultText(sim.faults[i]));
  }
  jsonEnd(&json);
  jsonEnd(&json);
  return succeeded();
}

XYL_RESULT writePresets(const SIM_JOB &job) {
  JSON json = {};
  json.Front = &job.front;
  jsonObject(&json, nullptr);
  jsonArray(&json, "presets");
  for (UINT32 i = 0; sim::presetAt(i) != nullptr; ++i) {
    jsonObject(&json, nullptr);
    jsonText(&json, "name", sim::presetAt(i)->name);
    jsonText(&json, "description", sim::presetAt(i)->description);
    jsonEnd(&json);
  }
  jsonEnd(&json);
  jsonEnd(&json);
  return succeeded();
}
