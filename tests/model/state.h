// A controller's virtual disks, disks, hot spares, settings and key, and what each command does to them. Written from
// the contracts alone, so that it can disagree with the code.
#pragma once

#include <string>
#include <variant>

#include "providers/sim_controller/command_log.h"
#include "providers/sim_controller/state.h"
#include "tests/support/kept_state.h"

using namespace xyl;

using Ids = std::vector<UINT32>;
using State = KeptState;

// What goes with a command.
struct Spare {
  UINT32 hotspare;
  Ids virtualDisks;
};
struct Keys {
  sim::Key key;    // of a Rekey, the new one
  std::string old; // passphrase, of a Rekey
};
using Payload = std::variant<std::monostate, Spare, sim::VirtualDisk, /* settings */ sim::Adapter, Keys>;

struct Command {
  UINT32 command, objectType;
  Ids ids = {};
  Payload payload = {};
  UINT32 revision = 2;
};

// What an accepted command leaves behind. The size of a new virtual disk is 0 when the controller chooses it.
void apply(State &state, const Command &command);

// What counts of a state, a line for each object, and of a command, as it was sent and as it arrived.
std::string describe(const State &state);
std::string describe(const Command &command);
std::string describe(const sim::LogEntry *arrived);

std::string narrow(const CHAR16 *text);
void setWide(CHAR16 *to, const std::string &text);
bool contains(const Ids &ids, UINT32 id);

// The virtual disks of a disk, the members of a virtual disk.
inline Ids listOf(const sim::Disk &disk) {
  return {disk.VDs, disk.VDs + disk.record.VDCount};
}
inline Ids listOf(const sim::VirtualDisk &virtualDisk) {
  return {virtualDisk.PDs, virtualDisk.PDs + virtualDisk.record.PDCount};
}

// The ids of disks or virtual disks.
inline Ids idsOf(const auto &objects) {
  Ids ids;
  for (auto &object : objects) {
    ids.push_back(object.record.ObjectID);
  }
  return ids;
}

// The first with that id in a vector of disks or virtual disks, or null.
inline auto find(auto &objects, UINT32 id) {
  auto found = std::find_if(objects.begin(), objects.end(), [&](auto &object) { return object.record.ObjectID == id; });
  return found == objects.end() ? nullptr : &*found;
}

constexpr size_t modeCount = 6;
constexpr size_t patrolRead = 4;
// The mode bytes in their order; bit 7 marks one that is there.
inline UINT8 *modesOf(sim::Adapter &adapter) {
  return &adapter.record.UncertifiedMode;
}
