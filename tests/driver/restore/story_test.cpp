// Whole stories of Set_Live, element for element and line for line: tests/driver/restore/stories/ holds what they must
// say. GOLDEN=1 in the environment writes the files anew.
#include <set>
#include <sstream>

#include "providers/sim_controller/hand.h"
#include "tests/driver/live/request_text.h"
#include "tests/support/kept_state.h"

using namespace xyl;

static constexpr UINT64 gb = 1000000000ULL;

// What the restore and the operation said, repetitions counted; that of the readers before them has its own tests, and
// the log document stands behind.
static std::vector<std::string> linesSaid(World &world) {
  std::vector<std::string> lines;
  std::istringstream log(world.log());
  for (std::string line; std::getline(log, line);) {
    std::string function = line.substr(line.find(' ') + 1);
    bool counts = function[0] == '_' || function.starts_with("Ra") || function.starts_with("RAIDXYL") ||
                  function.starts_with("updateResultLog") || function.starts_with("parseRunTime");
    size_t address = line.find("g_curPdArray\t   = ");
    if (address != std::string::npos) {
      line.replace(address + 18, line.find(',') - address - 18, "ADDRESS");
    }
    if (counts || function.starts_with("PrintRestoreLog: <?xml")) {
      lines.push_back(counts ? line : "TRACE PrintRestoreLog: the whole document");
    }
  }
  return lines;
}

static std::string joined(const std::vector<std::string> &lines) {
  std::string text;
  for (size_t i = 0, next; i < lines.size(); i = next) {
    for (next = i + 1; next < lines.size() && lines[next] == lines[i]; ++next) {
    }
    text += lines[i] + (next == i + 1 ? "" : "  (" + std::to_string(next - i) + " times)") + "\n";
  }
  return text;
}

static const char *const savedDocument = "saved"; // what Get_Live said before what happened

struct Story {
  const char *name;
  const char *preset;
  void (*happens)(World &world); // or null
  const char *options;
  const char *saved; // SAVED, null or a text
  std::string request = {};
  const char *from = "", *to = ""; // in the saved document
};

static std::string tell(World &world, const Story &story, const std::string &saved) {
  std::string document = replaced(saved, story.from, story.to);
  world.clearLog();
  OperationAnswer answer = world.set({story.options, story.saved == savedDocument ? document.c_str() : story.saved,
                                      story.request.empty() ? nullptr : story.request.c_str()});
  world.expectBalanced(story.name);
  return name(answer.status) + "\n\n" + joined(linesSaid(world)) + "\n" + answer.text;
}

static void fault(World &world, sim::FaultKind kind, UINT32 objectType, UINT32 bytes) {
  sim::addFault(world.sim, {kind, RAID_COMMAND_GET, objectType, 1, false, EFI_SUCCESS, bytes});
}

static const std::string gone = "<raidData>" + method("Identify", "Adapter") + dedicateSpare(1010, {1}) + "</raidData>";

// clang-format off
static const Story g_stories[] = {
    {"preserve", "direct", [](World &world) { sim::setRate(world.sim, u"Rebuild", 77); }, restoreOptions, savedDocument},
    {"preserve_mode", "direct", [](World &world) { sim::setMode(world.sim, sim::modeLearn, 0x81); }, restoreOptions, savedDocument},
    {"preserve_all", "direct", nullptr, restoreOptions, savedDocument},
    {"host_adapter", "sas", nullptr, restoreRebuild, savedDocument, {}, "</RAIDLevelDesc>\n          <Attributes>", "</RAIDLevelDesc><Attributes><Attrib>CacheCade</Attrib>"},
    {"other_adapter", "empty", [](World &world) { world.sim->adapter.record.PCIID.SubdeviceID ^= 1; }, restoreRebuild, savedDocument},
    {"unknown_member", "direct", nullptr, restoreRebuild, savedDocument, {}, "<PD>1", "<PD>771"},
    {"no_disks", "direct", [](World &world) { fault(world, sim::faultNoData, RAID_OBJECT_PHYSICAL_DISK, 0); }, restoreRebuild, savedDocument},
    {"short_adapter", "direct", [](World &world) { fault(world, sim::faultSize, RAID_OBJECT_ADAPTER, 511); }, restoreRebuild, savedDocument},
    {"replace", "direct", nullptr, normal, savedDocument},
    {"change", "demo", nullptr, normal, savedDocument,
     "<raidData>" + createVirtualDisk("RAID 1", reference(0), {1009, 1010}) + dedicateSpare(1018, {reference(0)}) +
         method("Change", "Adapter", {}, "<Adapter><CopyBackMode>Off</CopyBackMode></Adapter>") +
         method("GetKeyID", "Adapter") + method("SecureErase", "Adapter") +
         method("Lock", "Adapter", {}, "<Key><Mode>LKM</Mode><KeyID>k</KeyID><Passphrase>" PASSPHRASE_BASE64 "</Passphrase></Key>") +
         method("Delete", "Virtual Disk", {77}) + method("Identify", "Adapter") + "</raidData>"},
    {"gone_disk", "demo", [](World &world) { sim::pullDisk(world.sim, 1010); }, normal, savedDocument, gone},
    // A text above 0x7F is not the same after reading, and where there is none nothing is found.
    {"odd_fqdd", "demo", [](World &world) { sim::findDisk(world.sim, 1010)->FQDD[0] = 0xE4; }, normal, savedDocument, gone, "<FQDD>disk-09.enclosure-0", "<FQDD>&#228;isk-09.enclosure-0"},
    {"no_fqdd", "demo", nullptr, normal, savedDocument, gone, "<FQDD>disk-09.enclosure-0.adapter-0</FQDD>", ""},
    {"no_options", "empty", nullptr, "x", nullptr},
    {"no_mode", "empty", nullptr, "<RunMode><StopOnError>True</StopOnError></RunMode>", nullptr},
    {"no_request", "empty", nullptr, normal, nullptr, "x"},
};
// clang-format on

TEST(Stories, AreToldLineForLine) {
  for (const Story &story : g_stories) {
    World world(story.preset);
    std::string saved = world.get().text;
    if (story.happens != nullptr) {
      story.happens(world);
    }
    expectGolden(std::string("driver/restore/stories/") + story.name + ".txt", tell(world, story, saved));
  }
}

// Disks of the preset: 1001 and 1002 System, 1003 to 1006 Data and Scratch, 1007 and 1008 hot spares, 1009 and 1010
// encrypting (here Secret), 1011 solid state (here Cache), 1012 to 1015 Archive, 1016 and 1017 Fast. New ones begin
// with 1021.
static void happen(sim::Controller *sim) {
  sim::setMode(sim, sim::modeCopyBack, 0x80);
  sim::setMode(sim, sim::modePatrolRead, 0x84);
  sim::setRate(sim, u"Patrol Read", 99);
  sim::swapDisks(sim, 1001, 1009);       // a plain and an encrypting one: no Secret
  sim::replaceDisk(sim, 1008, 500 * gb); // too small for a spare
  UINT32 shelf = sim::findDisk(sim, 1012)->record.EnclosureObjectID;
  sim::pullDisk(sim, 1012); // stood in for by a new one elsewhere
  sim::insertDisk(sim, shelf, 9, {5000 * gb, 0x10, 1});
  sim::replaceDisk(sim, 1011, 100 * gb); // too small: no Cache
  const UINT32 foreign[] = {1018, 1019};
  sim::makeForeign(sim, /* RAID 1 */ 4, foreign, 2);
}

// Beside the preset's virtual disks an encrypted one and a cache, and a rate that is not the default.
static void addVirtualDisks(World &world) {
  const char *const secret = "<VD><Name>Secret</Name><RAIDLevel>RAID 1</RAIDLevel><Attributes><Attrib>FDE</Attrib>"
                             "</Attributes></VD>";
  const char *const cache = "<VD><Name>Cache</Name><RAIDLevel>RAID 0</RAIDLevel><Attributes><Attrib>CacheCade</Attrib>"
                            "</Attributes></VD>";
  OperationAnswer answer = applyRequest(world, method("Create", "Virtual Disk", {1009, 1010}, secret) +
                                                   method("Create", "Virtual Disk", {1011}, cache));
  ASSERT_EQ(name(answer.status), name(EFI_SUCCESS)) << answer.text;
  sim::setRate(world.sim, u"Patrol Read", 7);
}

TEST(Stories, ARebuildBringsBackWhatWasSaved) {
  World world("demo");
  addVirtualDisks(world);
  std::string saved = world.get().text;
  happen(world.sim);
  world.markBalance();
  expectGolden("driver/restore/stories/rebuild.txt",
               tell(world, {"", "", nullptr, restoreRebuild, savedDocument}, saved));
  EXPECT_EQ(world.verify(saved).result, 0u);
  EXPECT_FALSE(world.sim->key.present);
  EXPECT_EQ(sim::stateFault(world.sim), nullptr);
}

static void giveKey(World &world) {
  world.sim->key = {true, "k", {'p'}, RAID_KEY_MODE_LKM};
}

static const Story g_failing[] = {
    {"rebuild", "direct", nullptr, restoreRebuild, savedDocument},
    {"rebuild, stopping", "direct", giveKey, stopping, savedDocument},
    {"replace", "direct", nullptr, normal, savedDocument},
    {"change", "direct", nullptr, normal, savedDocument,
     "<raidData>" + dedicateSpare(1006, {1}) + method("Delete", "Virtual Disk", {1}) +
         createVirtualDisk("RAID 0", reference(0), {1001}) + dedicateSpare(1006, {reference(0)}) + "</raidData>"},
};

// Runs a story again and again from the same state.
struct Rerun {
  const Story &story;
  World world{story.preset};
  std::string saved = world.get().text;
  KeptState start{world.sim};
  std::vector<std::string> usual = {};

  explicit Rerun(const Story &of) : story(of) {
    if (story.happens != nullptr) {
      story.happens(world);
      start = KeptState(world.sim);
    }
    run();
    usual = linesSaid(world);
  }
  std::string run() {
    start.putBack(world.sim);
    return tell(world, story, saved);
  }
  // What was said that is not said when nothing fails.
  std::vector<std::string> unusual() {
    std::vector<std::string> lines = linesSaid(world);
    std::erase_if(lines, [&](auto &line) { return std::find(usual.begin(), usual.end(), line) != usual.end(); });
    return lines;
  }
};

TEST(Stories, OfEachFailingCommand) {
  std::string told;
  for (const Story &story : g_failing) {
    Rerun rerun(story);
    for (UINT64 n = 1;; ++n) {
      sim::failCommand(rerun.world.sim, n, /* once= */ true, EFI_DEVICE_ERROR);
      std::string text = rerun.run();
      if (rerun.world.sim->faultHits == 0) {
        break;
      }
      sim::clearFaults(rerun.world.sim);
      told += std::string(story.name) + ", command " + std::to_string(n) + ": " + text.substr(0, text.find('\n') + 1) +
              joined(rerun.unusual()) + "\n";
    }
  }
  expectGolden("driver/restore/stories/failing_commands.txt", told);
}

TEST(Stories, OfMemoryThatRunsOut) {
  std::set<std::string> told;
  for (const Story &story : g_failing) {
    Rerun rerun(story);
    uint64_t failed = 1;
    for (uint64_t n = 1; failed != 0; ++n) {
      failed = rerun.world.firmware.pool().failedAllocations;
      rerun.world.firmware.failAllocation(n);
      rerun.run();
      failed = rerun.world.firmware.pool().failedAllocations - failed;
      for (const std::string &line : rerun.unusual()) {
        told.insert(line);
      }
    }
  }
  expectGolden("driver/restore/stories/failing_memory.txt", joined({told.begin(), told.end()}));
}
