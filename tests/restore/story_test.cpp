// Saved as a document, changed by what happens to servers, restored: the log against what happened, element for
// element.
#include <map>

#include "base/text.h"
#include "tests/live/request_text.h"
#include "xml/value_names.h"

static constexpr UINT64 GB = 1000000000ULL;
static constexpr UINT32 MISSING = ~0U;

struct STORY {
  const char *name;
  std::function<void(SIM_CONTROLLER *sim)> happens;
  std::map<UINT32, UINT32> standIns; // saved disk ids and those of other disks that stand in for them, or MISSING
  std::string lost = {};             // the virtual disk that cannot be created
  bool keyLost = false;
};

// Disks of the preset: 1001 and 1002 System, 1003 to 1006 Data and Scratch, 1007 and 1008 hot spares, 1009 and 1010
// encrypting (here Secret), 1011 solid state (here Cache), 1012 to 1015 Archive, 1016 and 1017 Fast. New ones begin
// with 1021.
static const STORY g_stories[] = {
    {"a plain and an encrypting disk swapped",
     [](SIM_CONTROLLER *sim) { simSwapDisks(sim, 1001, 1009); },
     {{1001, 1009}, {1009, MISSING}},
     "Secret"},
    {"spare replaced by a smaller disk",
     [](SIM_CONTROLLER *sim) { simReplaceDisk(sim, 1008, 500 * GB); },
     {{1008, MISSING}}},
    {"member removed, a new disk elsewhere",
     [](SIM_CONTROLLER *sim) {
       UINT32 shelf = simFindDisk(sim, 1012)->enclosureObjectId;
       simPullDisk(sim, 1012);
       simInsertDisk(sim, shelf, 9, {5000 * GB, 0x10, 1});
     },
     {{1012, 1021}}},
    {"last member replaced by a smaller disk",
     [](SIM_CONTROLLER *sim) { simReplaceDisk(sim, 1011, 100 * GB); },
     {{1011, MISSING}},
     "Cache"},
    {"adapter replaced by the same model", [](SIM_CONTROLLER *sim) { simReplaceAdapter(sim); }, {}, "", true},
    {"foreign disks",
     [](SIM_CONTROLLER *sim) {
       const UINT32 ids[] = {1018, 1019};
       simMakeForeign(sim, 4, ids, 2);
     },
     {}},
};

// What was saved, as the restore is to bring it back.
struct BEFORE {
  SIM_ADAPTER adapter;
  std::vector<SIM_DISK> disks;
  std::vector<SIM_VIRTUAL_DISK> volumes;
};

template <class T> static std::vector<T> copyOf(const SIM_ARRAY<T> &array) {
  return {array.items, array.items + array.count};
}

static std::string narrow(const CHAR16 *text) {
  char buffer[SIM_TEXT_UNITS];
  textNarrow(buffer, text, SIM_TEXT_UNITS - 1);
  return buffer;
}

static UINT32 standIn(const STORY &story, UINT32 id) {
  auto found = story.standIns.find(id);
  return found == story.standIns.end() ? id : found->second;
}

static bool isLost(const STORY &story, const SIM_VIRTUAL_DISK &volume) {
  return narrow(volume.name) == story.lost;
}

// The members as the log and the controller are to show them: documents list them from the last to the first.
static IDS membersOf(const STORY &story, const SIM_VIRTUAL_DISK &volume) {
  IDS members;
  for (UINT32 i = volume.pdCount; i-- > 0;) {
    UINT32 id = standIn(story, volume.pds[i]);
    members.push_back(id == MISSING ? 0 : id);
  }
  return members;
}

static std::string diskElement(SIM_CONTROLLER *sim, UINT32 id, const std::string &more) {
  const SIM_DISK *disk = simFindDisk(sim, id);
  std::string fqdd = disk == nullptr ? "" : element("FQDD", disk->objVersion == 0 ? "" : narrow(disk->fqdd));
  return element("PD", element("ObjectId", hexText(id)) + fqdd + more);
}

static std::string volumeOperation(SIM_CONTROLLER *sim, const STORY &story, const SIM_VIRTUAL_DISK &volume) {
  bool cacheCade = (volume.attributes & RAID_VD_ATTRIBUTE_CACHECADE) != 0;
  IDS members = membersOf(story, volume);
  std::string list;
  for (UINT32 id : members) {
    list += diskElement(sim, id, "");
  }
  return operation("CreateVD", isLost(story, volume) ? "9" : "0",
                   element("VD", element("TargetId", hexText(members[0])) + element("Name", narrow(volume.name)) +
                                     element("RaidLevel", GetNameFromValue(volume.raidLevel, g_raidLevelTable)) +
                                     element("Cachecade", cacheCade ? "True" : "False") + element("PDs", list)));
}

// Rates close up in a document, so the two empty slots come last.
static std::string settings(const SIM_ADAPTER &adapter) {
  std::string rates;
  for (const SIM_RATE &rate : adapter.rates) {
    rates += rate.name[0] == 0 ? "" : element("name", narrow(rate.name)) + element("value", std::to_string(rate.value));
  }
  return element("Adapter", "<ucMode>Allow</ucMode><lbMode>Auto</lbMode><autoLearnMode>Unknown</autoLearnMode>"
                            "<ccMode>Normal</ccMode><patrolReadMode>Auto</patrolReadMode>"
                            "<CorrectUnconfiguredAreas>True</CorrectUnconfiguredAreas>"
                            "<copyBack>On w/ SMART</copyBack>" +
                                element("Rates", rates + "<name/><value>0</value><name/><value>0</value>"));
}

static std::string wantedLog(SIM_CONTROLLER *sim, const STORY &story, const BEFORE &before) {
  auto missing =
      std::count_if(story.standIns.begin(), story.standIns.end(), [](auto &pair) { return pair.second == MISSING; });
  std::string log =
      "<Options><PreserveVD>False</PreserveVD><StopOnError>False</StopOnError></Options>" +
      operation("GetLive", "0", "<Object>Adapter</Object>") +
      operation("GetLive", "0", "<Object>PhysicalDisk</Object>") +
      operation("Validate", "0",
                element("AdapterFwVer", narrow(before.adapter.firmwareVersion)) +
                    element("RestoreVDs", std::to_string(before.volumes.size())) +
                    element("AvailablePDs", std::to_string(sim->disks.count)) +
                    element("UsablePDs", std::to_string(before.disks.size() - static_cast<size_t>(missing)))) +
      operation("ResetConfig", "0", "") + operation("ClearForeignConfig", "0", "") +
      (story.keyLost ? "" : operation("RemoveCtrlKey", "0", "")) +
      operation("ChangeAdapter", "0", settings(before.adapter));
  for (const SIM_VIRTUAL_DISK &volume : before.volumes) {
    log += volumeOperation(sim, story, volume);
  }
  for (const SIM_DISK &disk : before.disks) {
    if (disk.hotspare != 0 && standIn(story, disk.objectId) != MISSING) {
      log += operation("ChangePD", "0",
                       diskElement(sim, standIn(story, disk.objectId),
                                   element("HotSpare", disk.hotspare == 1 ? "Dedicated" : "Global")));
    }
  }
  return element("RaidRestore", log);
}

// Beside the preset's virtual disks an encrypted one and a cache, and rates that are not the default.
static void addVolumes(World &world) {
  const char *const secret = "<VD><Name>Secret</Name><RAIDLevel>RAID 1</RAIDLevel><Attributes><Attrib>FDE</Attrib>"
                             "</Attributes></VD>";
  const char *const cache = "<VD><Name>Cache</Name><RAIDLevel>RAID 0</RAIDLevel><Attributes><Attrib>CacheCade</Attrib>"
                            "</Attributes></VD>";
  ANSWER answer = applyRequest(world, method("Create", "Virtual Disk", {1009, 1010}, secret) +
                                          method("Create", "Virtual Disk", {1011}, cache));
  ASSERT_EQ(name(answer.status), name(EFI_SUCCESS)) << answer.text;
  simSetRate(world.sim, u"Patrol Read", 7);
}

TEST(RestoreStory, BringsBackWhatWasSaved) {
  for (const STORY &story : g_stories) {
    SCOPED_TRACE(story.name);
    World world("demo");
    addVolumes(world);
    BEFORE before = {world.sim->adapter, copyOf(world.sim->disks), copyOf(world.sim->virtualDisks)};
    std::string saved = world.get().text;
    simSetMode(world.sim, SIM_MODE_COPY_BACK, 0x80);
    simSetMode(world.sim, SIM_MODE_PATROL_READ, 0x84);
    simSetRate(world.sim, u"Patrol Read", 99);
    story.happens(world.sim);
    world.markBalance();
    ANSWER answer = world.set({RESTORE_REBUILD, saved.c_str()});
    EXPECT_EQ(name(answer.status), name(EFI_SUCCESS));
    EXPECT_EQ(onOneLine(answer.text), wantedLog(world.sim, story, before));
    EXPECT_EQ(world.verify(saved).result, story.keyLost ? UINT32{VERIFY_PART_REPLACEMENT} : 0u);
    EXPECT_FALSE(world.sim->key.present);
    EXPECT_EQ(simStateFault(world.sim), nullptr);
    world.expectBalanced();
  }
}
