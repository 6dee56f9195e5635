// Layouts on the controller "demo": what is said of them, and what comes of it.
#include "client/ensure/judge.h"
#include "client/ensure/tell.h"
#include "providers/sim_controller/commands/virtual_disks.h"
#include "providers/sim_controller/hand.h"
#include "tests/client/ensure/runner.h"
#include "tests/driver/live/request_text.h"
#include "tests/support/kept_state.h"

using namespace xyl;
using namespace xyl::client;

static sim::Disk &disk(sim::Controller *sim, UINT32 id) {
  return *std::find_if(sim->disks.items, sim->disks.items + sim->disks.count,
                       [&](const sim::Disk &each) { return each.record.ObjectID == id; });
}

// What has become of the controller before.
using Prepare = void (*)(sim::Controller *sim);
static constexpr Prepare nothingValue = [](auto *) {};
static constexpr Prepare withoutScratch = [](auto *sim) { sim::deleteVirtualDisk(sim, 3); };
static constexpr Prepare degraded = [](auto *sim) { sim::failDisk(sim, 1001); };
static constexpr Prepare offline = [](auto *sim) { sim::failDisk(sim, 1001), sim::failDisk(sim, 1002); };
static constexpr Prepare twins = [](auto *sim) {
  sim->virtualDisks.items[4].Name[0] = 0, sim->virtualDisks.items[3].Name[0] = 0,
  std::copy_n(u"System", 7, sim->virtualDisks.items[4].Name);
};
static constexpr Prepare foreignImage = [](auto *sim) {
  sim::makeForeign(sim, RAID_LEVEL_0, std::array{1009U, 1010U}.data(), 2);
};
static constexpr Prepare foreignOnes = [](auto *sim) {
  sim->virtualDisks.items[2].record.State = sim->virtualDisks.items[4].record.State = RAID_STATE_FOREIGN;
};
static constexpr Prepare locked = [](auto *sim) { disk(sim, 1009).record.SecureState = RAID_SECURE_STATE_LOCKED; };
static constexpr Prepare full = [](auto *sim) { sim->adapter.record.MaxLDs = 5; };
static constexpr Prepare noWriteBack = [](auto *sim) {
  for (RAID_LEVEL_PARAMS &level : sim->adapter.RAIDLevelParams) {
    level.AvailableCachePolicy &= ~RAID_CACHE_WRITE_FORCE_BACK;
  }
};

#define VD(name, level, rest) "<VD><Name>" name "</Name><RAIDLevel>RAID " level "</RAIDLevel>" rest "</VD>"
#define WORD(word, name, level, rest)                                                                                  \
  "<VD differs=\"" word "\"><Name>" name "</Name><RAIDLevel>RAID " level "</RAIDLevel>" rest "</VD>"
#define DISKS(rest) "<Disks>" rest "</Disks>"
#define COUNT(count) "<Count>" count "</Count>"
#define SIZE(size) "<Size>" size "</Size>"
#define CACHE(policy) "<CurrentCachePolicy><WritePolicy>" policy "</WritePolicy></CurrentCachePolicy>"

// What --plan says of what stands inside a layout: parts, one behind the other.
static const struct {
  Prepare prepare;
  const char *layout;
  Outcome outcome;
  std::vector<const char *> said;
  const char *others = "leave";
} plans[] = {
    {nothingValue,
     "",
     outcomeSuccess,
     {"  leave     virtual disk 1 \"System\", RAID 1, 600.12 GB\n", "\"Fast\"", "nothing to do: "}},
    // What is there is right.
    {nothingValue,
     VD("System", "1",
        DISKS(COUNT("2") "<Medium>HDD</Medium><Protocol>SAS</Protocol><Smallest>600GB</Smallest>"
                         "<Enclosure>301</Enclosure>") SIZE("all")),
     outcomeSuccess,
     {"  keep      virtual disk 1 \"System\"", "nothing to do: "}},
    {nothingValue,
     VD("Data", "5", SIZE("4 TB")) VD("Scratch", "5", SIZE("all") CACHE("Write Back")),
     outcomeSuccess,
     {"keep", "keep"}},
    {nothingValue, VD("Data", "5", SIZE("4.03 TB")), outcomeSuccess, {"keep"}},
    {degraded,
     VD("System", "1", ""),
     outcomeSuccess,
     {"keep      virtual disk 1 \"System\", RAID 1, 600.12 GB, Degraded\n"}},
    // It differs.
    {nothingValue,
     VD("Data", "5", SIZE("4.1 TB")),
     outcomeFailed,
     {"'Data': it has 4.00 TB, not 4.10 TB\n",
      "xyl: 'x.xml' cannot be: virtual disk 'Data': it has 4.00 TB, not 4.10 TB. Nothing was changed\n"}},
    {withoutScratch, VD("Data", "5", SIZE("all")), outcomeFailed, {"it leaves 667.", " GB of each disk"}},
    {nothingValue,
     VD("Fast", "0", DISKS(COUNT("1") "<Medium>HDD</Medium>") "<StripeSize>1 Mb</StripeSize>"),
     outcomeFailed,
     {"it is RAID 1, not RAID 0; it has 2 disks, not 1; its disk 1017 (302:5) is no hard disk; its stripes are 64 Kb, "
      "not 1 Mb\n"}},
    {nothingValue,
     VD("Archive", "10", DISKS("<Enclosure>0</Enclosure>")),
     outcomeFailed,
     {"its disk 1015 (302:3) is in another place"}},
    {nothingValue,
     WORD("keep", "Fast", "0", CACHE("Write Through")),
     outcomeDifferent,
     {"  change    ", "it is RAID 1, not RAID 0; Write Back becomes Write Through\n"}},
    {nothingValue, WORD("keep", "Fast", "0", ""), outcomeSuccess, {"  keep      ", "it is RAID 1, not RAID 0\n"}},
    {nothingValue,
     WORD("recreate", "Fast", "0", ""),
     outcomeDifferent,
     {"  recreate  virtual disk 5 \"Fast\", RAID 1, 480.10 GB: it is RAID 1, not RAID 0: DESTROYED, with all data, and "
      "created anew as RAID 0 on "}},
    {offline, VD("System", "1", ""), outcomeFailed, {"virtual disk 'System': it is Offline\n"}},
    {foreignOnes,
     WORD("recreate", "Fast", "1", ""),
     outcomeFailed,
     {"delete    virtual disk 2", "leave     virtual disk 3", "virtual disk 'Fast': it is Foreign\n"},
     "delete"},
    {twins,
     VD("System", "1", ""),
     outcomeFailed,
     {"'System': there are 2 of that name; 'xyl delete' takes them by their ids\n"},
     "delete"},
    {noWriteBack,
     VD("Fast", "1", CACHE("Force Write Back")),
     outcomeFailed,
     {"'Fast': Write Back cannot be Force Write Back\n"}},
    // It cannot be created.
    {nothingValue,
     VD("New", "5", DISKS(COUNT("4"))),
     outcomeFailed,
     {"'New': no 4 of the 6 Ready disks that would do have one medium, protocol and encryption\n"}},
    {nothingValue,
     VD("New", "5", DISKS(COUNT("4") "<Protocol>SAS</Protocol>")),
     outcomeFailed,
     {"'New': it needs 4 Ready disks of its kind, and there are 2; of others that would do 6 Online, 2 hot spares\n"}},
    {foreignImage,
     VD("New", "1", DISKS("<Protocol>SAS</Protocol>")),
     outcomeFailed,
     {"there are 0; of others that would do 6 Online, 2 Foreign, 2 hot spares"}},
    {locked,
     VD("New", "1", DISKS("<Protocol>SAS</Protocol>")),
     outcomeFailed,
     {"there are 1; of others that would do 6 Online, 2 hot spares, 1 not Ready"}},
    {nothingValue,
     VD("New", "0", DISKS(COUNT("2") "<Protocol>SAS</Protocol>") SIZE("2 TB")),
     outcomeFailed,
     {"there are 0; of others that would do 2 too small, 6 Online"}},
    {nothingValue,
     VD("New", "4", ""),
     outcomeFailed,
     {"'New': there is no RAID 4 for it here; there are RAID 0, RAID 1, RAID 5,"}},
    {nothingValue,
     VD("New", "10", DISKS(COUNT("5"))),
     outcomeFailed,
     {"'New': RAID 10 needs an even number of disks; 5 disks cannot be divided so"}},
    {nothingValue,
     VD("New", "1", "<StripeSize>8 Kb</StripeSize>"),
     outcomeFailed,
     {"there is no stripe of 8 Kb for it here; there are 64 Kb, 128 Kb,"}},
    {noWriteBack,
     VD("New", "1", CACHE("Force Write Back")),
     outcomeFailed,
     {"there is no policy Force Write Back for it here; there are Write Through, Write Back\n"}},
    {full, VD("New", "1", ""), outcomeFailed, {"'New': the controller holds 5 virtual disks and no more\n"}},
    {full,
     VD("New", "1", ""),
     outcomeDifferent,
     {"create    virtual disk \"New\", RAID 1 on ",
      "delete    virtual disk 1 \"System\", RAID 1, 600.12 GB: DESTROYED, with all data\n"},
     "delete"},
    // Hot spares.
    {nothingValue, VD("Data", "5", "<Spares/>") "<Spares/>", outcomeSuccess, {"nothing to do"}},
    {nothingValue,
     VD("Data", "5", "<Spares>" COUNT("2") "</Spares>"),
     outcomeFailed,
     {"virtual disk 'Data': 1 more hot spare is needed; Ready disks that fit: 0\n"}},
    {nothingValue,
     VD("Fast", "1", "<Spares/>") "<Spares>" COUNT("2") "</Spares>",
     outcomeDifferent,
     {"  spare     disk 1011 (301:10), for \"Fast\"\n", "  spare     disk 1009 (301:8), for all\n"}},
    {nothingValue,
     "<Spares>" COUNT("9") "</Spares>",
     outcomeFailed,
     {"hot spares for all: 8 more hot spares are needed; Ready disks that fit: 6\n"}},
    {nothingValue,
     VD("New", "0", "<Spares/>"),
     outcomeFailed,
     {"virtual disk 'New': RAID 0 has no use for hot spares\n"}},
    {nothingValue, "", outcomeDifferent, {"delete", "  free      hot spare 1008 (301:7), for all\n"}, "delete"},
    // Modes and rates.
    {nothingValue,
     "<Adapter><CopyBackMode>Off</CopyBackMode><CorrectUnconfiguredAreas>False</"
     "CorrectUnconfiguredAreas><Rate><Name>Rebuild</Name><Value>44</Value></Rate></Adapter>",
     outcomeDifferent,
     {"  set       CopyBackMode: On w/ SMART becomes Off\n",
      "  set       CorrectUnconfiguredAreas: True becomes False\n", "  set       Rate Rebuild: 30 becomes 44\n"}},
    {nothingValue,
     "<Adapter><LearnMode>Auto</LearnMode><Rate><Name>Spin Up "
     "Delay</Name><Value>11</Value></Rate><Rate><Name>Warp</Name><Value>9</Value></Rate></Adapter>",
     outcomeFailed,
     {"LearnMode: the adapter does not have this mode\n", "rate 'Spin Up Delay': it is 12 and fixed on this adapter\n",
      "rate 'Warp': the adapter does not have it\n",
      "LearnMode: the adapter does not have this mode; there is more, 3 in all. Nothing was changed\n"}},
};

static std::string layoutOf(const std::string &inside, const std::string &others = "leave") {
  return "<RaidLayout others=\"" + others + "\">" + inside + "</RaidLayout>";
}

static bool holds(const std::string &text, const std::vector<const char *> &parts) {
  size_t from = 0;
  for (const char *part : parts) {
    size_t found = text.find(part, from);
    if (found == std::string::npos) {
      return false;
    }
    from = found + std::strlen(part);
  }
  return true;
}

TEST(Ensure, Plans) {
  World world("demo");
  KeptState pristine(world.sim);
  Runner runner(world);
  for (const auto &row : plans) {
    SCOPED_TRACE(row.layout);
    row.prepare(world.sim);
    KeptState before(world.sim);
    EXPECT_EQ(runner.run(layoutOf(row.layout, row.others), {"--plan"}), row.outcome);
    EXPECT_TRUE(holds(runner.memory.out + runner.memory.errors, row.said)) << runner.memory.out << runner.memory.errors;
    EXPECT_EQ(countOf(runner.memory.errors, "\n"), row.outcome == outcomeFailed ? 1u : 0u) << runner.memory.errors;
    // Nor does a run change what cannot be.
    if (row.outcome == outcomeFailed) {
      EXPECT_EQ(runner.run(layoutOf(row.layout, row.others), {"--yes"}), outcomeFailed);
    }
    EXPECT_TRUE(before.isIn(world.sim));
    pristine.putBack(world.sim);
  }
}

// A step fails: what is done stays, what is left is told, and the next run goes on.
TEST(Ensure, GoesOnAfterAFailure) {
  World world("demo");
  Runner runner(world);
  const std::string layout =
      layoutOf(WORD("recreate", "Fast", "5", "") VD("Builds", "1", DISKS("<Protocol>SAS</Protocol>")));
  sim::failKind(world.sim, RAID_COMMAND_CREATE, sim::anyCode, EFI_DEVICE_ERROR);
  EXPECT_EQ(runner.run(layout, {"--yes", "--log-file", "log.xml"}), outcomeFailed);
  EXPECT_TRUE(
      holds(runner.memory.out, {"DELETE                Success", "CREATE                Fail      Device Error",
                                "Not as 'x.xml' says:\n  create    virtual disk \"Fast\", RAID 5 on ",
                                "\n  create    virtual disk \"Builds\", RAID 1 on 1009 (301:8), 1010 (301:9)\n"}))
      << runner.memory.out;
  EXPECT_EQ(runner.memory.errors.find("xyl: the change to the layout failed on Harrier R6 Integrated"), 0u);
  EXPECT_NE(runner.memory.files["log.xml"].find("<Status>Fail"), std::string::npos);
  sim::clearFaults(world.sim);
  EXPECT_EQ(runner.run(layout, {}), outcomeSuccess) << "nothing is destroyed any more" << runner.memory.errors;
  EXPECT_EQ(runner.run(layout, {"--show"}), outcomeSuccess);
  EXPECT_EQ(runner.memory.out, "<raidData/>\n");
}

// Says yes to what changes virtual disks and does nothing.
static EFI_STATUS(EFIAPI *g_honest)(RAID_MGMT_PROTOCOL *, RAID_CMD_BLOCK *, RAID_CMD_RESULT *);
static EFI_STATUS EFIAPI lie(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (block->Command == RAID_COMMAND_CHANGE && block->ObjectType == RAID_OBJECT_VIRTUAL_DISK) {
    *result = {};
    return EFI_SUCCESS;
  }
  return g_honest(protocol, block, result);
}

TEST(Ensure, BelievesOnlyWhatItReads) {
  World world("demo");
  Runner runner(world);
  g_honest = world.sim->protocol.Execute;
  world.sim->protocol.Execute = lie;
  EXPECT_EQ(runner.run(layoutOf(VD("Fast", "1", CACHE("Write Through"))), {}), outcomeFailed);
  EXPECT_TRUE(
      holds(runner.memory.out, {"CHANGE                Success", "Not as 'x.xml' says:\n  change    virtual disk 5"}));
  EXPECT_EQ(runner.memory.errors, "xyl: all steps are done, and the controller is not as 'x.xml' says\n");
  world.sim->protocol.Execute = g_honest;
}

TEST(Ensure, AsksBeforeDataGoes) {
  World world("demo");
  KeptState before(world.sim);
  Runner runner(world);
  const std::string layout = layoutOf("", "delete");
  for (const auto &options : {std::vector<const CHAR8 *>{}, {"--json"}, {"--quiet"}}) {
    EXPECT_EQ(runner.run(layout, options), outcomeUsage);
    EXPECT_NE(runner.memory.errors.find("give --yes"), std::string::npos) << runner.memory.errors;
  }
  EXPECT_EQ(runner.run(layout, {"--plan", "--show"}), outcomeUsage);
  EXPECT_EQ(runner.run("<raidData/>", {"--yes"}), outcomeFailed);
  // What the controller does not tell might be there.
  sim::failKind(world.sim, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, EFI_NOT_FOUND);
  EXPECT_EQ(runner.run(layoutOf(VD("System", "1", "")), {"--yes"}), outcomeFailed);
  EXPECT_NE(runner.memory.errors.find("the controller: disk 1001 belongs to virtual disk 1, which it does not tell of"),
            std::string::npos)
      << runner.memory.errors;
  sim::clearFaults(world.sim);
  EXPECT_TRUE(before.isIn(world.sim));
}

// While the question stands there, somebody else takes a virtual disk away.
TEST(Ensure, DestroysOnlyWhatWasShown) {
  World world("demo");
  Runner runner(world);
  static sim::Controller *changed;
  changed = world.sim;
  runner.ask = [](auto *, auto *) {
    sim::deleteVirtualDisk(changed, changed->virtualDisks.items[0].record.ObjectID);
    return Answer::yes;
  };
  EXPECT_EQ(runner.run(layoutOf("", "delete"), {}), outcomeFailed);
  EXPECT_TRUE(runner.memory.errors.starts_with("xyl: the controller changed meanwhile, ")) << runner.memory.errors;
  EXPECT_EQ(runner.changes().size(), 0u);
  EXPECT_EQ(world.sim->virtualDisks.count, 4u);
  runner.ask = [](auto *, auto *) { return Answer::yes; };
  EXPECT_EQ(runner.run(layoutOf("", "delete"), {}), outcomeSuccess) << runner.memory.errors;
  EXPECT_EQ(world.sim->virtualDisks.count, 0u);
}

// Everything that is judged, written and told, without memory.
TEST(Ensure, WithoutMemory) {
  World world("demo");
  MemoryFront memory;
  Front front = memory.as(frontShell);
  Request request = {};
  ensure::Layout layout;
  const std::string text =
      layoutOf(WORD("recreate", "Fast", "5", "<Spares/>") VD("Builds", "1", "")
                   VD("No", "4", "") "<Spares><Count>2</Count></Spares>"
                                     "<Adapter><CopyBackMode>Off</CopyBackMode><LearnMode>Auto</LearnMode></Adapter>",
               "delete");
  ASSERT_EQ(ensure::readLayout({&front, &request}, "x", text.c_str(), &layout).outcome, outcomeSuccess)
      << memory.errors;
  RAID_CONFIG *config = nullptr;
  UINT32 count = 1;
  ASSERT_EQ(driver::ParseXMLBlob(world.get().text.c_str(), &config, &count), EFI_SUCCESS);
  std::string whole;
  for (host::FailMode mode : {host::FailMode::once, host::FailMode::fromThenOn}) {
    bool failed = true;
    for (UINT32 n = 1; failed; ++n) {
      ensure::Judgement judgement;
      ChangeWriter writer = {};
      memory.out.clear();
      world.firmware.failAllocation(n, mode);
      EFI_STATUS status = ensure::judge(*config, /* isOnDisks= */ false, layout, &judgement);
      bool isJudged = status == EFI_SUCCESS; // also without the memory for an index
      EXPECT_TRUE(isJudged || status == EFI_OUT_OF_RESOURCES) << n;
      if (isJudged) {
        ensure::writeChanges(*config, judgement, &writer);
        ensure::sayJudgement(&front, *config, judgement, ensure::Lines::all);
      }
      failed = world.firmware.allocationFailed();
      world.firmware.failAllocation(0);
      std::string document = textOf(writer.text);
      whole = failed ? whole : document;
      EXPECT_TRUE(!isJudged || writer.text.failed || whole.empty() || document == whole) << n;
      freeText(&writer.text);
    }
  }
  EXPECT_NE(whole.find("Builds"), std::string::npos);
  driver::releaseConfig(config);
}
