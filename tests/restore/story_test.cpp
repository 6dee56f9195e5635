// Saved as a document, changed by what happens to servers, restored: the controller against what was saved, member for
// member, and the log against what happened, element for element.
#include <map>

#include "base/text.h"
#include "tests/restore/log_text.h"
#include "xml/value_names.h"

static constexpr UINT64 GB = 1000000000ULL;
static constexpr UINT32 MISSING = ~0U;

struct STORY {
  const char *name;
  std::function<void(SIM_CONTROLLER *sim)> happens;
  std::map<UINT32, UINT32> standIns; // saved disk ids and those of other disks that stand in for them, or MISSING
  const char *lost = nullptr;        // the virtual disk that cannot be created, and why
  const char *code = "0";
  bool keyLost = false;
};

// Disks of the preset: 1001 and 1002 System, 1003 to 1006 Data and Scratch, 1007 and 1008 hot spares, 1009 and 1010
// encrypting (here Secret), 1011 solid state (here Cache), 1012 to 1015 Archive, 1016 and 1017 Fast. New ones begin
// with 1021.
static const STORY g_stories[] = {
    {"wiped", [](SIM_CONTROLLER *) {}, {}},
    {"two disks swapped", [](SIM_CONTROLLER *sim) { simSwapDisks(sim, 1003, 1004); }, {{1003, 1004}, {1004, 1003}}},
    {"a plain and an encrypting disk swapped",
     [](SIM_CONTROLLER *sim) { simSwapDisks(sim, 1001, 1009); },
     {{1001, 1009}, {1009, MISSING}},
     "Secret",
     "9"},
    {"replaced by a larger disk", [](SIM_CONTROLLER *sim) { simReplaceDisk(sim, 1002, 900 * GB); }, {{1002, 1021}}},
    {"spare replaced by a smaller disk, another one free",
     [](SIM_CONTROLLER *sim) {
       simReplaceDisk(sim, 1008, 500 * GB);
       simInsertDisk(sim, sim->disks.items[0].enclosureObjectId, 11, {2001 * GB, 0x20, 1});
     },
     {{1008, 1022}}},
    {"member removed, a new disk elsewhere",
     [](SIM_CONTROLLER *sim) {
       UINT32 shelf = simFindDisk(sim, 1012)->enclosureObjectId;
       simPullDisk(sim, 1012);
       simInsertDisk(sim, shelf, 9, {5000 * GB, 0x10, 1});
     },
     {{1012, 1021}}},
    {"spare removed", [](SIM_CONTROLLER *sim) { simPullDisk(sim, 1008); }, {{1008, MISSING}}},
    {"last member replaced by a smaller disk",
     [](SIM_CONTROLLER *sim) { simReplaceDisk(sim, 1011, 100 * GB); },
     {{1011, MISSING}},
     "Cache",
     "9"},
    {"no solid-state cache any more",
     [](SIM_CONTROLLER *sim) { sim->adapter.attributes &= ~RAID_ADAPTER_CACHECADE_CAPABLE; },
     {},
     "Cache",
     "3"},
    {"adapter replaced by the same model", [](SIM_CONTROLLER *sim) { simReplaceAdapter(sim); }, {}, nullptr, "0", true},
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

  explicit BEFORE(const SIM_CONTROLLER *sim)
      : adapter(sim->adapter), disks(sim->disks.items, sim->disks.items + sim->disks.count),
        volumes(sim->virtualDisks.items, sim->virtualDisks.items + sim->virtualDisks.count) {}
};

static std::string narrow(const CHAR16 *text) {
  char buffer[SIM_TEXT_UNITS];
  textNarrow(buffer, text, SIM_TEXT_UNITS - 1);
  return buffer;
}

static std::string hex(UINT32 value) {
  char text[16];
  snprintf(text, sizeof text, "%X", value);
  return text;
}

static UINT32 standIn(const STORY &story, UINT32 id) {
  auto found = story.standIns.find(id);
  return found == story.standIns.end() ? id : found->second;
}

static bool isLost(const STORY &story, const SIM_VIRTUAL_DISK &volume) {
  return story.lost != nullptr && narrow(volume.name) == story.lost;
}

// The members as the log and the controller are to show them: documents list them from the last to the first.
static std::vector<UINT32> membersOf(const STORY &story, const SIM_VIRTUAL_DISK &volume) {
  std::vector<UINT32> members;
  for (UINT32 i = volume.pdCount; i-- > 0;) {
    UINT32 id = standIn(story, volume.pds[i]);
    members.push_back(id == MISSING ? 0 : id);
  }
  return members;
}

static std::string diskElement(SIM_CONTROLLER *sim, UINT32 id, const std::string &more) {
  const SIM_DISK *disk = simFindDisk(sim, id);
  std::string fqdd = disk == nullptr ? "" : element("FQDD", disk->objVersion == 0 ? "" : narrow(disk->fqdd));
  return element("PD", element("ObjectId", hex(id)) + fqdd + more);
}

static std::string volumeOperation(SIM_CONTROLLER *sim, const STORY &story, const SIM_VIRTUAL_DISK &volume) {
  bool cacheCade = (volume.attributes & RAID_VD_ATTRIBUTE_CACHECADE) != 0;
  bool refused = isLost(story, volume) && story.code[0] == '3';
  std::vector<UINT32> members = refused ? std::vector<UINT32>{} : membersOf(story, volume);
  std::string list;
  for (UINT32 id : members) {
    list += diskElement(sim, id, "");
  }
  return operation("CreateVD", isLost(story, volume) ? story.code : "0",
                   element("VD", (members.empty() ? "" : element("TargetId", hex(members[0]))) +
                                     element("Name", narrow(volume.name)) +
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
  size_t missing = 0;
  for (auto &[saved, current] : story.standIns) {
    missing += current == MISSING ? 1 : 0;
  }
  std::string log = "<Options><PreserveVD>False</PreserveVD><StopOnError>False</StopOnError></Options>" +
                    operation("GetLive", "0", "<Object>Adapter</Object>") +
                    operation("GetLive", "0", "<Object>PhysicalDisk</Object>") +
                    operation("Validate", "0",
                              element("AdapterFwVer", narrow(before.adapter.firmwareVersion)) +
                                  element("RestoreVDs", std::to_string(before.volumes.size())) +
                                  element("AvailablePDs", std::to_string(sim->disks.count)) +
                                  element("UsablePDs", std::to_string(before.disks.size() - missing))) +
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

static void expectVolumes(SIM_CONTROLLER *sim, const STORY &story, const BEFORE &before) {
  UINT32 next = 0;
  for (SIM_VIRTUAL_DISK volume : before.volumes) {
    if (isLost(story, volume)) {
      continue;
    }
    ASSERT_LT(next, sim->virtualDisks.count);
    SIM_VIRTUAL_DISK now = sim->virtualDisks.items[next++];
    SCOPED_TRACE(narrow(volume.name));
    EXPECT_EQ(std::vector<UINT32>(now.pds, now.pds + now.pdCount), membersOf(story, volume));
    volume.attributes &= ~RAID_VD_ATTRIBUTE_FDE;
    volume.objectId = next;
    volume.targetId = next - 1;
    for (auto *ids : {now.pds, volume.pds}) {
      std::fill(ids, ids + SIM_VD_PDS, 0);
    }
    if (story.lost != nullptr) { // named by their target ids
      memcpy(now.fqdd, volume.fqdd, sizeof now.fqdd);
    }
    EXPECT_EQ(memcmp(&now, &volume, sizeof volume), 0);
  }
  EXPECT_EQ(sim->virtualDisks.count, next);
  EXPECT_EQ(sim->foreignDisks.count, 0u);
}

static void expectSettings(SIM_CONTROLLER *sim, const STORY &story, const BEFORE &before) {
  for (const SIM_DISK &disk : before.disks) {
    const SIM_DISK *now = simFindDisk(sim, standIn(story, disk.objectId));
    if (now != nullptr && disk.hotspare != 0) {
      EXPECT_EQ(now->hotspare, disk.hotspare) << disk.objectId;
      EXPECT_EQ(std::vector<UINT32>(now->vds, now->vds + now->vdCount),
                std::vector<UINT32>(disk.vds, disk.vds + disk.vdCount));
    }
  }
  const SIM_ADAPTER &now = sim->adapter;
  EXPECT_EQ(memcmp(&now.uncertifiedMode, &before.adapter.uncertifiedMode, 6), 0);
  EXPECT_EQ(memcmp(now.rates, before.adapter.rates, sizeof now.rates), 0);
  EXPECT_FALSE(sim->key.present);
}

// Beside the preset's virtual disks an encrypted one and a cache, and rates that are not the default.
static void addVolumes(World &world) {
  UINT32 encrypting[] = {1009, 1010};
  UINT32 solid[] = {1011};
  RAID_VD_RECORD records[2] = {};
  RAID_CMD_BLOCK blocks[] = {{2, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, 2, encrypting, &records[0], 0},
                             {2, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, 1, solid, &records[1], 0}};
  for (int i = 0; i < 2; ++i) {
    records[i].ObjectType = RAID_OBJECT_VIRTUAL_DISK;
    records[i].Name = const_cast<CHAR16 *>(i == 0 ? u"Secret" : u"Cache");
    records[i].RAIDLevel = i == 0 ? 4 : 2;
    records[i].Attributes = i == 0 ? RAID_VD_ATTRIBUTE_FDE : RAID_VD_ATTRIBUTE_CACHECADE;
    RAID_CMD_RESULT result = {};
    ASSERT_EQ(name(world.sim->protocol.Execute(&world.sim->protocol, &blocks[i], &result)), name(EFI_SUCCESS));
  }
  simSetRate(world.sim, u"Patrol Read", 7);
}

TEST(RestoreStory, BringsBackWhatWasSaved) {
  for (const STORY &story : g_stories) {
    SCOPED_TRACE(story.name);
    World world("demo");
    addVolumes(world);
    BEFORE before(world.sim);
    std::string saved = world.get().text;
    simSetMode(world.sim, SIM_MODE_COPY_BACK, 0x80);
    simSetMode(world.sim, SIM_MODE_PATROL_READ, 0x84);
    simSetRate(world.sim, u"Patrol Read", 99);
    story.happens(world.sim);
    world.markBalance();
    ANSWER answer = world.set({RESTORE_REBUILD, saved.c_str()});
    EXPECT_EQ(name(answer.status), name(EFI_SUCCESS));
    EXPECT_EQ(onOneLine(answer.text), wantedLog(world.sim, story, before));
    expectVolumes(world.sim, story, before);
    expectSettings(world.sim, story, before);
    EXPECT_EQ(simStateFault(world.sim), nullptr);
    world.expectBalanced();
  }
}

TEST(RestoreStory, PreservingChangesOnlySettings) {
  World world("demo");
  std::string saved = world.get().text;
  for (bool changed : {false, true}) {
    std::string live = world.get().text;
    if (changed) {
      simSetRate(world.sim, u"Rebuild", 99);
    }
    simClearLog(world.sim);
    ANSWER answer = world.set({RESTORE, saved.c_str()});
    EXPECT_EQ(name(answer.status), name(EFI_SUCCESS));
    EXPECT_EQ(simCommandCount(world.sim), changed ? 3u : 2u);
    EXPECT_EQ(countOf(answer.text, "ChangeAdapter"), changed ? 1u : 0u) << answer.text;
    EXPECT_EQ(world.get().text, live);
  }
  world.expectBalanced();
}
