// A plan and the restore that it is for: the same commands and the same log, and nothing done before its time.
#include <cstring>
#include <random>

#include "client/plan/plan.h"
#include "driver/request/request.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"
#include "providers/sim_controller/hand.h"
#include "tests/client/client.h"
#include "tests/driver/live/request_text.h"

using namespace xyl;
using namespace xyl::client;

static std::string commandText(UINT32 command, UINT32 objectType, const UINT32 *ids, UINT32 count) {
  std::string text =
      std::string(driver::GetNameFromValue(command, driver::g_commandTable)) + " " + std::to_string(objectType);
  for (UINT32 i = 0; i < count; ++i) {
    text += " " + std::to_string(ids[i]);
  }
  return text + "\n";
}

struct Planned {
  Planned(World &world, const std::string &saved, const char *options) {
    UINT32 count = 1, mode = 0;
    EXPECT_EQ(driver::ParseXMLBlob(saved.c_str(), &config, &count), EFI_SUCCESS);
    EXPECT_EQ(driver::parseRunTimeXML(options, &mode), EFI_SUCCESS);
    EXPECT_EQ(driver::g_xmlProtocol->Parse(driver::g_xmlProtocol, saved.c_str(), &root), EFI_SUCCESS);
    EXPECT_EQ(planRestore(&world.sim->protocol, {config, root}, mode, &plan), EFI_SUCCESS);
  }
  ~Planned() {
    freePlan(&plan);
    driver::FreeXMLNode(root);
    driver::releaseConfig(config);
  }

  std::string commands() const {
    std::string text;
    for (UINT32 i = 0; i < plan.commands.count; ++i) {
      const PlanCommand &command = plan.commands.items[i];
      text += commandText(command.command, command.objectType, command.ids, command.idCount);
    }
    return text;
  }

  RAID_CONFIG *config = nullptr;
  XML_NODE *root = nullptr;
  RestorePlan plan = {};
};

static std::string executedCommands(const World &world) {
  std::string text;
  for (const sim::LogEntry *entry : sentCommands(world)) {
    text += commandText(entry->block.Command, entry->block.ObjectType, entry->ids, entry->block.ObjectIdCount);
  }
  return text;
}

static void replaceAll(sim::Controller *sim) {
  sim::replaceAdapter(sim);
  sim::replaceDisk(sim, 1003, 0);
  sim::setRate(sim, u"Rebuild", 77);
}

static void loseDisks(sim::Controller *sim) {
  sim::replaceDisk(sim, 1001, 1000000000);
  sim::pullDisk(sim, 1005);
  sim::pullDisk(sim, 1007);
  sim::swapDisks(sim, 1002, 1003);
}

static void becomeOther(sim::Controller *sim) {
  sim->adapter.record.PCIID.SubdeviceID ^= 1;
}

TEST(Plan, IsWhatTheRestoreDoes) {
  const auto nothing = [](sim::Controller *) {};
  // Of the first virtual disk.
  const std::string attribute = "</RAIDLevelDesc>\n          <Attributes>\n            <Attrib>HDD";
  const struct {
    const char *name;
    const char *preset;
    void (*change)(sim::Controller *sim);
    bool isComplete; // with a rebuild
    EFI_STATUS status = EFI_SUCCESS;
    std::string from = {}, to = {}; // in the saved document
  } cases[] = {
      {"as saved, but for the key", "demo", nothing, false},
      {"settings, an adapter and a disk", "demo", replaceAll, false},
      {"disks too small, gone and elsewhere", "demo", loseDisks, false},
      {"no enclosures", "direct", loseDisks, false},
      {"few settings", "sas", nothing, true},
      {"settings that the adapter does not take", "sas", nothing, false, EFI_SUCCESS, "<MaxLDs>",
       "<CopyBackMode>On</CopyBackMode><MaxLDs>"},
      {"no disks", "empty", nothing, true},
      {"many disks", "large", nothing, true},
      {"encryption", "demo", nothing, false, EFI_SUCCESS, attribute, "</RAIDLevelDesc><Attributes><Attrib>FDE"},
      {"CacheCade", "sas", nothing, false, EFI_SUCCESS, attribute, "</RAIDLevelDesc><Attributes><Attrib>CacheCade"},
      {"an unknown member", "direct", nothing, false, EFI_INVALID_PARAMETER, "<PD>1", "<PD>771"},
      {"another kind of adapter", "demo", becomeOther, false, EFI_UNSUPPORTED},
  };
  for (const auto &row : cases) {
    for (const char *options : {restoreOptions, restoreRebuild}) {
      SCOPED_TRACE(std::string(row.name) + (options == restoreOptions ? "" : ", rebuild"));
      World world(row.preset);
      const std::string saved = replaced(world.get().text, row.from, row.to);
      row.change(world.sim);
      std::string before = world.get().text;
      world.clearLog();
      Planned planned(world, saved, options);
      EXPECT_EQ(world.get().text, before);
      EXPECT_EQ(world.log().find("RaidRestore"), std::string::npos);
      sim::clearLog(world.sim);
      OperationAnswer answer = world.set({options, saved.c_str()});
      EXPECT_EQ(executedCommands(world), planned.commands());
      EXPECT_EQ(name(planned.plan.status), name(answer.status));
      // The controller's refusals are the only thing that a plan cannot know.
      CHAR8 *log = driver::XMLNodeToText(planned.plan.log);
      EXPECT_EQ(answer.text, std::strstr(log, "<RaidRestore>"));
      poolFree(log);
      if (options == restoreRebuild) {
        EXPECT_EQ(name(planned.plan.status), name(row.status));
        EXPECT_EQ(isPlanComplete(planned.plan), row.isComplete);
      }
    }
  }
}

TEST(Plan, CountsWhatFitsAsTheDefinitionSays) {
  World world(WorldOptions{.preset = nullptr});
  std::mt19937 random(7);
  for (int round = 0; round < 500; ++round) {
    std::vector<RAID_PD_RECORD> disks(random() % 12 + 1);
    for (RAID_PD_RECORD &disk : disks) {
      disk.EnclosureObjectID = random() % 2;
      disk.Slot = random() % 2;
      disk.Size = random() % 4;
      disk.Protocol = random() % 2;
      disk.Attributes = static_cast<UINT8>(random() % 4 << 1);
    }
    const RAID_PD_RECORD saved = disks.back();
    disks.pop_back();
    const auto inPlace = [&](const RAID_PD_RECORD &disk) { return driver::samePlace(saved, disk); };
    UINT32 wanted[diskFitCount] = {}, counts[diskFitCount];
    for (const RAID_PD_RECORD &disk : disks) {
      wanted[driver::diskFit(saved, disk)] += inPlace(disk) ? 0 : 1;
    }
    FitIndex fits;
    ASSERT_EQ(makeFitIndex(&fits, disks.data(), static_cast<UINT32>(disks.size())), EFI_SUCCESS);
    EXPECT_EQ(firstInPlace(fits, saved), std::find_if(disks.begin(), disks.end(), inPlace) - disks.begin()) << round;
    countElsewhere(fits, saved, counts);
    EXPECT_TRUE(std::equal(counts, counts + diskFitCount, wanted)) << round;
    freeFitIndex(&fits);
  }
}

// What a controller might have made of a rebuild, and of which controller nobody has one at hand.
TEST(Plan, KnowsWhoseFaultADifferenceIs) {
  World world("direct"); // a mirror of 1001 and 1002
  std::string saved = world.get().text;
  sim::setRate(world.sim, u"Rebuild", 77); // settings are sent
  Planned planned(world, saved, restoreRebuild);
  const std::string online = "<State>Online", member = "<PD>1001", mode = "<CopyBackMode>On w/ SMART</CopyBackMode>";
  const struct {
    size_t place, length;
    const char *now;
    Blame blame;
  } cases[] = {
      {saved.find(member), member.size(), "<PD>1000", blameRestore},
      {saved.find(online), online.size(), "<State>Failed", blameNobody},
      {saved.rfind(online), online.size(), "<State>Degraded", blameRestore},
      {saved.find(mode), mode.size(), "", blameRestore},
  };
  for (const auto &row : cases) {
    std::string now = saved;
    now.replace(row.place, row.length, row.now);
    XML_NODE *tree = nullptr;
    Verdict verdict = {};
    EXPECT_EQ(driver::g_xmlProtocol->Parse(driver::g_xmlProtocol, now.c_str(), &tree), EFI_SUCCESS);
    EXPECT_EQ(makeVerdict(planned.plan, planned.root, tree, &planned.plan.verdict, &verdict), EFI_SUCCESS);
    for (int blame = 0; blame < blameCount; ++blame) {
      EXPECT_EQ(verdict.counts[blame], blame == row.blame ? 1U : 0U) << row.now << " " << blame;
    }
    freeVerdict(&verdict);
    driver::FreeXMLNode(tree);
  }
}
