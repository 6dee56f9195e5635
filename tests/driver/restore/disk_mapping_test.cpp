// Which current disk stands in for which saved one.
#include <random>

#include "base/log.h"
#include "driver/restore/restore.h"
#include "tests/support/world.h"

using namespace xyl;
using namespace xyl::driver;

static constexpr UINT32 sas = 0x20;
static constexpr UINT8 fde = RAID_PD_ATTRIBUTE_FDE;

using Disks = std::vector<RAID_PD_RECORD>;
using Map = std::vector<UINT32>;

// Where a disk is and what it can do. Saved disks need no id.
static RAID_PD_RECORD disk(UINT32 id, UINT8 slot, UINT64 size = 100, UINT8 attributes = 0, UINT32 protocol = sas,
                           UINT8 port = 0, UINT32 enclosure = 1) {
  RAID_PD_RECORD record = {};
  record.ObjectID = id;
  record.EnclosureObjectID = enclosure;
  record.Size = size;
  record.Protocol = protocol;
  record.Port = port;
  record.Slot = slot;
  record.Attributes = attributes;
  return record;
}

static Map mapped(Disks &saved, const Disks &current) {
  RAID_CONFIG config = {};
  config.physicalDiskCount = static_cast<UINT32>(saved.size());
  config.physicalDisks = saved.data();
  Map map(saved.size());
  _MapPDsRestoreToCurrent(current.data(), static_cast<UINT32>(current.size()), &config, map.data());
  return map;
}

// The mapping as it is defined: each saved disk is held against each current one. The lines are shortened to one
// letter.
static std::string byDefinition(const Disks &saved, const Disks &current, Map &map) {
  std::string lines;
  map.assign(saved.size(), 0);
  for (bool inPlace : {true, false}) {
    for (size_t i = 0; i < saved.size(); ++i) {
      for (size_t j = 0; j < current.size() && (inPlace || map[i] == 0); ++j) {
        UINT32 entry = current[j].ObjectID + 1;
        DiskFit fit = diskFit(saved[i], current[j]);
        lines += inPlace && current[j].SecureState == RAID_SECURE_STATE_FOREIGN ? "F" : "";
        bool isTaken = std::count(map.begin(), map.end(), entry) != 0;
        lines += inPlace || isTaken || (fit != diskFits && fit != diskNotEncrypting) ? "" : "rc";
        if (fit == diskFits && (inPlace ? samePlace(saved[i], current[j]) : !isTaken)) {
          map[i] = entry;
          lines += inPlace ? "1" : "2";
          break;
        }
      }
    }
  }
  return lines;
}

// The first letters of what the mapping logs.
static std::string loggedLines(const std::string &log) {
  std::string lines;
  const std::pair<const char *, const char *> letters[] = {
      {"Foreign", "F"}, {" 2 restore", "r"}, {"  2 current", "c"}, {" 1: pdMap", "1"}, {" 2: pdMap", "2"}};
  for (size_t at = log.find(": "); at != std::string::npos; at = log.find(": ", log.find('\n', at))) {
    for (auto &[start, letter] : letters) {
      lines += log.compare(at + 2, strlen(start), start) == 0 ? letter : "";
    }
  }
  return lines;
}

TEST(DiskMapping, IsWhatTheDefinitionSays) {
  World world(WorldOptions{.preset = nullptr});
  std::mt19937 random(15);
  auto below = [&](UINT32 limit) { return static_cast<UINT32>(random() % limit); };
  for (int round = 0; round < 2000; ++round) {
    Disks disks[2];
    for (Disks &list : disks) {
      for (UINT32 left = below(9); left != 0; --left) {
        UINT8 attributes = static_cast<UINT8>((below(4) == 0 ? RAID_PD_ATTRIBUTE_SSD : 0) | (below(2) == 0 ? fde : 0));
        UINT32 id = below(40) == 0 ? ~0U : below(12);
        list.push_back(disk(id, static_cast<UINT8>(below(4)), below(4), attributes, sas + below(2),
                            static_cast<UINT8>(below(2)), 1 + below(2)));
        list.back().SecureState = static_cast<UINT8>(below(8) == 0 ? RAID_SECURE_STATE_FOREIGN : 0);
      }
    }
    Map wanted;
    std::string lines = byDefinition(disks[0], disks[1], wanted);
    world.clearLog();
    ASSERT_EQ(mapped(disks[0], disks[1]), wanted) << round;
    ASSERT_EQ(loggedLines(world.log()), lines) << round;
    world.clearLog();
    world.firmware.failAllocation(1 + below(5), below(2) == 0 ? host::FailMode::once : host::FailMode::fromThenOn);
    ASSERT_EQ(mapped(disks[0], disks[1]), wanted) << round;
    world.firmware.failAllocation(0);
    ASSERT_EQ(loggedLines(world.log()), lines) << round;
    g_logPaused = true; // what only the log needs is left out then
    ASSERT_EQ(mapped(disks[0], disks[1]), wanted) << round;
    g_logPaused = false;
  }
}
