// Change documents for tests, and what the controller got.
#pragma once

#include <vector>

#include "tests/support/world.h"

// The target id that the nth created virtual disk of a request asks for, so that later methods can refer to it.
constexpr UINT32 reference(UINT32 n) {
  return 0x00100000 + n;
}

inline std::string element(const std::string &name, const std::string &content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

inline std::string element(const std::string &name, UINT64 number) {
  return element(name, std::to_string(number));
}

inline std::string method(const std::string &name, const std::string &objectType, const std::vector<UINT32> &ids = {},
                          const std::string &object = {}) {
  std::string text = "<Method name=\"" + name + "\">" + element("ObjectType", objectType);
  for (UINT32 id : ids) {
    text += element("OID", id);
  }
  return text + (object.empty() ? "" : element("Object", object)) + "</Method>";
}

inline std::string createVolume(const std::string &level, UINT32 targetId, const std::vector<UINT32> &disks) {
  return method("Create", "Virtual Disk", disks,
                element("VD", element("TargetID", targetId) + element("RAIDLevel", level)));
}

inline std::string dedicateSpare(UINT32 disk, const std::vector<UINT32> &volumes) {
  std::string record = element("Hotspare", "Dedicated");
  for (UINT32 id : volumes) {
    record += element("VD", id);
  }
  return method("Change", "Physical Disk", {disk}, element("PD", record));
}

inline ANSWER applyRequest(World &world, const std::string &methods, const std::string &saved = {}) {
  simClearLog(world.sim);
  std::string request = element("raidData", methods);
  return world.set({NORMAL, saved.empty() ? nullptr : saved.c_str(), request.c_str()});
}

// Ids of disks that are ready for use, the lowest first.
inline std::vector<UINT32> readyDisks(const World &world) {
  std::vector<UINT32> ids;
  for (UINT32 i = 0; i < world.sim->disks.count; ++i) {
    const SIM_DISK &disk = world.sim->disks.items[i];
    if (disk.state == SIM_STATE_READY && disk.hotspare == 0 && (disk.attributes & RAID_PD_ATTRIBUTE_SSD) == 0) {
      ids.push_back(disk.objectId);
    }
  }
  return ids;
}

// The commands that arrived since the last applyRequest, without the Gets that the run adds by itself.
inline std::vector<const SIM_LOG_ENTRY *> sentCommands(const World &world) {
  std::vector<const SIM_LOG_ENTRY *> sent;
  for (UINT64 i = 0; i < simCommandCount(world.sim); ++i) {
    const SIM_LOG_ENTRY *entry = simCommand(world.sim, i);
    if (entry != nullptr && entry->block.Command != RAID_COMMAND_GET) {
      sent.push_back(entry);
    }
  }
  return sent;
}
