// Layouts on the controller "demo": what is said of them, and what comes of it.
#include "client/ensure/judge.h"
#include "client/ensure/tell.h"
#include "providers/sim_controller/commands/virtual_disks.h"
#include "providers/sim_controller/hand.h"
#include "tests/client/ensure/runner.h"
#include "tests/driver/live/request_text.h"
#include "tests/support/kept_state.h"

static sim::Disk &disk(sim::Controller *sim, UINT32 id) {
  return *std::find_if(sim->disks.items, sim->disks.items + sim->disks.count,
                       [&](const sim::Disk &each) { return each.record.ObjectID == id; });
}

// What has become of the controller before.
using PREPARE = void (*)(sim::Controller *sim);
static constexpr PREPARE NOTHING = [](auto *) {};
static constexpr PREPARE WITHOUT_SCRATCH = [](auto *sim) { sim::deleteVirtualDisk(sim, 3); };
static constexpr PREPARE DEGRADED = [](auto *sim) { sim::failDisk(sim, 1001); };
static constexpr PREPARE OFFLINE = [](auto *sim) { sim::failDisk(sim, 1001), sim::failDisk(sim, 1002); };
static constexpr PREPARE TWINS = [](auto *sim) {
  sim->virtualDisks.items[4].Name[0] = 0, sim->virtualDisks.items[3].Name[0] = 0,
  std::copy_n(u"System", 7, sim->virtualDisks.items[4].Name);
};
static constexpr PREPARE FOREIGN = [](auto *sim) {
  sim::makeForeign(sim, RAID_LEVEL_0, std::array{1009U, 1010U}.data(), 2);
};
static constexpr PREPARE FOREIGN_ONES = [](auto *sim) {
  sim->virtualDisks.items[2].record.State = sim->virtualDisks.items[4].record.State = RAID_STATE_FOREIGN;
};
static constexpr PREPARE LOCKED = [](auto *sim) { disk(sim, 1009).record.SecureState = RAID_SECURE_STATE_LOCKED; };
static constexpr PREPARE FULL = [](auto *sim) { sim->adapter.record.MaxLDs = 5; };
static constexpr PREPARE NO_WRITE_BACK = [](auto *sim) {
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
  PREPARE prepare;
  const char *layout;
  XYL_OUTCOME outcome;
  std::vector<const char *> said;
  const char *others = "leave";
} PLANS[] = {
    {NOTHING,
     "",
     XYL_SUCCESS,
     {"  leave     virtual disk 1 \"System\", RAID 1, 600.12 GB\n", "\"Fast\"", "nothing to do: "}},
    // What is there is right.
    {NOTHING,
     VD("System", "1",
        DISKS(COUNT("2") "<Medium>HDD</Medium><Protocol>SAS</Protocol><Smallest>600GB</Smallest>"
                         "<Enclosure>301</Enclosure>") SIZE("all")),
     XYL_SUCCESS,
     {"  keep      virtual disk 1 \"System\"", "nothing to do: "}},
    {NOTHING,
     VD("Data", "5", SIZE("4 TB")) VD("Scratch", "5", SIZE("all") CACHE("Write Back")),
     XYL_SUCCESS,
     {"keep", "keep"}},
    {NOTHING, VD("Data", "5", SIZE("4.03 TB")), XYL_SUCCESS, {"keep"}},
    {DEGRADED,
     VD("System", "1", ""),
     XYL_SUCCESS,
     {"keep      virtual disk 1 \"System\", RAID 1, 600.12 GB, Degraded\n"}},
    // It differs.
    {NOTHING,
     VD("Data", "5", SIZE("4.1 TB")),
     XYL_FAILED,
     {"'Data': it has 4.00 TB, not 4.10 TB\n",
      "xyl: 'x.xml' cannot be: virtual disk 'Data': it has 4.00 TB, not 4.10 TB. Nothing was changed\n"}},
    {WITHOUT_SCRATCH, VD("Data", "5", SIZE("all")), XYL_FAILED, {"it leaves 667.", " GB of each disk"}},
    {NOTHING,
     VD("Fast", "0", DISKS(COUNT("1") "<Medium>HDD</Medium>") "<StripeSize>1 Mb</StripeSize>"),
     XYL_FAILED,
     {"it is RAID 1, not RAID 0; it has 2 disks, not 1; its disk 1017 (302:5) is no hard disk; its stripes are 64 Kb, "
      "not 1 Mb\n"}},
    {NOTHING,
     VD("Archive", "10", DISKS("<Enclosure>0</Enclosure>")),
     XYL_FAILED,
     {"its disk 1015 (302:3) is in another place"}},
    {NOTHING,
     WORD("keep", "Fast", "0", CACHE("Write Through")),
     XYL_DIFFERENT,
     {"  change    ", "it is RAID 1, not RAID 0; Write Back becomes Write Through\n"}},
    {NOTHING, WORD("keep", "Fast", "0", ""), XYL_SUCCESS, {"  keep      ", "it is RAID 1, not RAID 0\n"}},
    {NOTHING,
     WORD("recreate", "Fast", "0", ""),
     XYL_DIFFERENT,
     {"  recreate  virtual disk 5 \"Fast\", RAID 1, 480.10 GB: it is RAID 1, not RAID 0: DESTROYED, with all data, and "
      "created anew as RAID 0 on "}},
    {OFFLINE, VD("System", "1", ""), XYL_FAILED, {"virtual disk 'System': it is Offline\n"}},
    {FOREIGN_ONES,
     WORD("recreate", "Fast", "1", ""),
     XYL_FAILED,
     {"delete    virtual disk 2", "leave     virtual disk 3", "virtual disk 'Fast': it is Foreign\n"},
     "delete"},
    {TWINS,
     VD("System", "1", ""),
     XYL_FAILED,
     {"'System': there are 2 of that name; 'xyl delete' takes them by their ids\n"},
     "delete"},
    {NO_WRITE_BACK,
     VD("Fast", "1", CACHE("Force Write Back")),
     XYL_FAILED,
     {"'Fast': Write Back cannot be Force Write Back\n"}},
    // It cannot be created.
    {NOTHING,
     VD("New", "5", DISKS(COUNT("4"))),
     XYL_FAILED,
     {"'New': no 4 of the 6 Ready disks that would do have one medium, protocol and encryption\n"}},
    {NOTHING,
     VD("New", "5", DISKS(COUNT("4") "<Protocol>SAS</Protocol>")),
     XYL_FAILED,
     {"'New': it needs 4 Ready disks of its kind, and there are 2; of others that would do 6 Online, 2 hot spares\n"}},
    {FOREIGN,
     VD("New", "1", DISKS("<Protocol>SAS</Protocol>")),
     XYL_FAILED,
     {"there are 0; of others that would do 6 Online, 2 Foreign, 2 hot spares"}},
    {LOCKED,
     VD("New", "1", DISKS("<Protocol>SAS</Protocol>")),
     XYL_FAILED,
     {"there are 1; of others that would do 6 Online, 2 hot spares, 1 not Ready"}},
    {NOTHING,
     VD("New", "0", DISKS(COUNT("2") "<Protocol>SAS</Protocol>") SIZE("2 TB")),
     XYL_FAILED,
     {"there are 0; of others that would do 2 too small, 6 Online"}},
    {NOTHING,
     VD("New", "4", ""),
     XYL_FAILED,
     {"'New': there is no RAID 4 for it here; there are RAID 0, RAID 1, RAID 5,"}},
    {NOTHING,
     VD("New", "10", DISKS(COUNT("5"))),
     XYL_FAILED,
     {"'New': RAID 10 needs an even number of disks; 5 disks cannot be divided so"}},
    {NOTHING,
     VD("New", "1", "<StripeSize>8 Kb</StripeSize>"),
     XYL_FAILED,
     {"there is no stripe of 8 Kb for it here; there are 64 Kb, 128 Kb,"}},
    {NO_WRITE_BACK,
     VD("New", "1", CACHE("Force Write Back")),
     XYL_FAILED,
     {"there is no policy Force Write Back for it here; there are Write Through, Write Back\n"}},
    {FULL, VD("New", "1", ""), XYL_FAILED, {"'New': the controller holds 5 virtual disks and no more\n"}},
    {FULL,
     VD("New", "1", ""),
     XYL_DIFFERENT,
     {"create    virtual disk \"New\", RAID 1 on ",
      "delete    virtual disk 1 \"System\", RAID 1, 600.12 GB: DESTROYED, with all data\n"},
     "delete"},
    // Hot spares.
    {NOTHING, VD("Data", "5", "<Spares/>") "<Spares/>", XYL_SUCCESS, {"nothing to do"}},
    {NOTHING,
     VD("Data", "5", "<Spares>" COUNT("2") "</Spares>"),
     XYL_FAILED,
     {"virtual disk 'Data': 1 more hot spare is needed; Ready disks that fit: 0\n"}},
    {NOTHING,
     VD("Fast", "1", "<Spares/>") "<Spares>" COUNT("2") "</Spares>",
     XYL_DIFFERENT,
     {"  spare     disk 1011 (301:10), for \"Fast\"\n", "  spare     disk 1009 (301:8), for all\n"}},
    {NOTHING,
     "<Spares>" COUNT("9") "</Spares>",
     XYL_FAILED,
     {"hot spares for all: 8 more hot spares are needed; Ready disks that fit: 6\n"}},
    {NOTHING, VD("New", "0", "<Spares/>"), XYL_FAILED, {"virtual disk 'New': RAID 0 has no use for hot spares\n"}},
    {NOTHING, "", XYL_DIFFERENT, {"delete", "  free      hot spare 1008 (301:7), for all\n"}, "delete"},
    // Modes and rates.
    {NOTHING,
     "<Adapter><CopyBackMode>Off</CopyBackMode><CorrectUnconfiguredAreas>False</"
     "CorrectUnconfiguredAreas><Rate><Name>Rebuild</Name><Value>44</Value></Rate></Adapter>",
     XYL_DIFFERENT,
     {"  set       CopyBackMode: On w/ SMART becomes Off\n",
      "  set       CorrectUnconfiguredAreas: True becomes False\n", "  set       Rate Rebuild: 30 becomes 44\n"}},
    {NOTHING,
     "<Adapter><LearnMode>Auto</LearnMode><Rate><Name>Spin Up "
     "Delay</Name><Value>11</Value></Rate><Rate><Name>Warp</Name><Value>9</Value></Rate></Adapter>",
     XYL_FAILED,
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
  KEPT_STATE pristine(world.sim);
  Runner runner(world);
  for (const auto &row : PLANS) {
    SCOPED_TRACE(row.layout);
    row.prepare(world.sim);
    KEPT_STATE before(world.sim);
    EXPECT_EQ(runner.run(layoutOf(row.layout, row.others), {"--plan"}), row.outcome);
    EXPECT_TRUE(holds(runner.memory.out + runner.memory.errors, row.said)) << runner.memory.out << runner.memory.errors;
    EXPECT_EQ(countOf(runner.memory.errors, "\n"), row.outcome == XYL_FAILED ? 1u : 0u) << runner.memory.errors;
    // Nor does a run change what cannot be.
    if (row.outcome == XYL_FAILED) {
      EXPECT_EQ(runner.run(layoutOf(row.layout, row.others), {"--yes"}), XYL_FAILED);
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
  EXPECT_EQ(runner.run(layout, {"--yes", "--log-file", "log.xml"}), XYL_FAILED);
  EXPECT_TRUE(
      holds(runner.memory.out, {"DELETE                Success", "CREATE                Fail      Device Error",
                                "Not as 'x.xml' says:\n  create    virtual disk \"Fast\", RAID 5 on ",
                                "\n  create    virtual disk \"Builds\", RAID 1 on 1009 (301:8), 1010 (301:9)\n"}))
      << runner.memory.out;
  EXPECT_EQ(runner.memory.errors.find("xyl: the change to the layout failed on Harrier R6 Integrated"), 0u);
  EXPECT_NE(runner.memory.files["log.xml"].find("<Status>Fail"), std::string::npos);
  sim::clearFaults(world.sim);
  EXPECT_EQ(runner.run(layout, {}), XYL_SUCCESS) << "nothing is destroyed any more" << runner.memory.errors;
  EXPECT_EQ(runner.run(layout, {"--show"}), XYL_SUCCESS);
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
  EXPECT_EQ(runner.run(layoutOf(VD("Fast", "1", CACHE("Write Through"))), {}), XYL_FAILED);
  EXPECT_TRUE(
      holds(runner.memory.out, {"CHANGE                Success", "Not as 'x.xml' says:\n  change    virtual disk 5"}));
  EXPECT_EQ(runner.memory.errors, "xyl: all steps are done, and the controller is not as 'x.xml' says\n");
  world.sim->protocol.Execute = g_honest;
}

TEST(Ensure, AsksBeforeDataGoes) {
  World world("demo");
  KEPT_STATE before(world.sim);
  Runner runner(world);
  const std::string layout = layoutOf("", "delete");
  for (const auto &options : {std::vector<const CHAR8 *>{}, {"--json"}, {"--quiet"}}) {
    EXPECT_EQ(runner.run(layout, options), XYL_USAGE);
    EXPECT_NE(runner.memory.errors.find("give --yes"), std::string::npos) << runner.memory.errors;
  }
  EXPECT_EQ(runner.run(layout, {"--plan", "--show"}), XYL_USAGE);
  EXPECT_EQ(runner.run("<raidData/>", {"--yes"}), XYL_FAILED);
  // What the controller does not tell might be there.
  sim::failKind(world.sim, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, EFI_NOT_FOUND);
  EXPECT_EQ(runner.run(layoutOf(VD("System", "1", "")), {"--yes"}), XYL_FAILED);
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
    return XYL_ANSWER_YES;
  };
  EXPECT_EQ(runner.run(layoutOf("", "delete"), {}), XYL_FAILED);
  EXPECT_TRUE(runner.memory.errors.starts_with("xyl: the controller changed meanwhile, ")) << runner.memory.errors;
  EXPECT_EQ(runner.changes().size(), 0u);
  EXPECT_EQ(world.sim->virtualDisks.count, 4u);
  runner.ask = [](auto *, auto *) { return XYL_ANSWER_YES; };
  EXPECT_EQ(runner.run(layoutOf("", "delete"), {}), XYL_SUCCESS) << runner.memory.errors;
  EXPECT_EQ(world.sim->virtualDisks.count, 0u);
}

// Everything that is judged, written and told, without memory.
TEST(Ensure, WithoutMemory) {
  World world("demo");
  MemoryFront memory;
  XYL_FRONT front = memory.as(XYL_FRONT_SHELL);
  XYL_REQUEST request = {};
  ensure::Layout layout;
  const std::string text =
      layoutOf(WORD("recreate", "Fast", "5", "<Spares/>") VD("Builds", "1", "")
                   VD("No", "4", "") "<Spares><Count>2</Count></Spares>"
                                     "<Adapter><CopyBackMode>Off</CopyBackMode><LearnMode>Auto</LearnMode></Adapter>",
               "delete");
  ASSERT_EQ(ensure::readLayout({&front, &request}, "x", text.c_str(), &layout).Outcome, XYL_SUCCESS) << memory.errors;
  RAID_CONFIG *config = nullptr;
  UINT32 count = 1;
  ASSERT_EQ(ParseXMLBlob(world.get().text.c_str(), &config, &count), EFI_SUCCESS);
  std::string whole;
  for (FAIL_MODE mode : {FAIL_MODE::once, FAIL_MODE::fromThenOn}) {
    bool failed = true;
    for (UINT32 n = 1; failed; ++n) {
      ensure::Judgement judgement;
      CHANGE_WRITER writer = {};
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
      std::string document = textOf(writer.Text);
      whole = failed ? whole : document;
      EXPECT_TRUE(!isJudged || writer.Text.Failed || whole.empty() || document == whole) << n;
      freeText(&writer.Text);
    }
  }
  EXPECT_NE(whole.find("Builds"), std::string::npos);
  releaseConfig(config);
}
