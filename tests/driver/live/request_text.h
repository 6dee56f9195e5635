// Change documents for tests, and what the controller and the log got.
#pragma once

#include "providers/sim_controller/command_log.h"
#include "providers/sim_controller/state.h"
#include "tests/support/world.h"

using namespace xyl;

// Run-time options that rebuild and end at the first failure.
inline const char *const stopping = "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError>"
                                    "<Raid><PreserveVDConfig>False</PreserveVDConfig></Raid></RunMode>";

using Ids = std::vector<UINT32>;

// The target id that the nth created virtual disk of a request asks for, so that later methods can refer to it.
constexpr UINT32 reference(UINT32 n) {
  return 0x00100000 + n;
}

inline std::string element(const std::string &name, const std::string &content) {
  return content.empty() ? "<" + name + "/>" : "<" + name + ">" + content + "</" + name + ">";
}

inline std::string element(const std::string &name, UINT64 number) {
  return element(name, std::to_string(number));
}

inline std::string method(const std::string &name, const std::string &objectType, const Ids &ids = {},
                          const std::string &object = {}) {
  std::string text = "<Method name=\"" + name + "\">" + element("ObjectType", objectType);
  for (UINT32 id : ids) {
    text += element("OID", id);
  }
  return text + (object.empty() ? "" : element("Object", object)) + "</Method>";
}

inline std::string createVirtualDisk(const std::string &level, UINT32 targetId, const Ids &disks) {
  return method("Create", "Virtual Disk", disks,
                element("VD", element("TargetID", targetId) + element("RAIDLevel", level)));
}

inline std::string dedicateSpare(UINT32 disk, const Ids &virtualDisks) {
  std::string record = element("Hotspare", "Dedicated");
  for (UINT32 id : virtualDisks) {
    record += element("VD", id);
  }
  return method("Change", "Physical Disk", {disk}, element("PD", record));
}

inline OperationAnswer applyRequest(World &world, const std::string &methods, const std::string &saved = {}) {
  sim::clearLog(world.sim);
  std::string request = element("raidData", methods);
  return world.set({normal, saved.empty() ? nullptr : saved.c_str(), request.c_str()});
}

// Ids of disks that are ready for use, the lowest first.
inline Ids readyDisks(const World &world) {
  Ids ids;
  for (UINT32 i = 0; i < world.sim->disks.count; ++i) {
    const sim::Disk &disk = world.sim->disks.items[i];
    if (disk.record.State == RAID_STATE_READY && disk.record.Hotspare == 0 &&
        (disk.record.Attributes & RAID_PD_ATTRIBUTE_SSD) == 0) {
      ids.push_back(disk.record.ObjectID);
    }
  }
  return ids;
}

// The commands that arrived since the last applyRequest, without the Gets that the run adds by itself.
inline std::vector<const sim::LogEntry *> sentCommands(const World &world) {
  std::vector<const sim::LogEntry *> sent;
  for (UINT64 i = 0; i < sim::commandCount(world.sim); ++i) {
    const sim::LogEntry *entry = sim::command(world.sim, i);
    if (entry != nullptr && entry->block.Command != RAID_COMMAND_GET) {
      sent.push_back(entry);
    }
  }
  return sent;
}

// The text with the first place of from replaced; it must have one.
inline std::string replaced(std::string text, const std::string &from, const std::string &to) {
  size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// The document without line feeds and indentation.
inline std::string onOneLine(const std::string &document) {
  std::string line;
  for (size_t at = 0; at < document.size(); at = document.find_first_not_of(' ', at)) {
    size_t end = std::min(document.find('\n', at), document.size());
    line += document.substr(at, end - at);
    at = end + 1;
  }
  return line;
}

inline std::string operation(const std::string &name, const std::string &code, const std::string &detail) {
  return "<Operation name=\"" + name + "\">" + element("Status", code == "0" ? "Success" : "Fail") +
         element("ErrorCode", code) + element("Detail", detail) + "</Operation>";
}
