// Thousands of random controllers and layouts: what is planned is what happens, a second run does nothing, nothing is
// destroyed without the layout's word, and a run that was cut off anywhere goes on.
#include <cstdlib>

#include "client/ensure/judge.h"
#include "tests/client/ensure/random_layout.h"
#include "tests/client/ensure/runner.h"

using namespace xyl;
using namespace xyl::client;

static constexpr UINT32 parts = 4, machines = 500;
static constexpr UINT32 auditEvery = 100;

// How often what happened.
struct Tally {
  UINT32 refused, idle, changed, destroyed, cut;
};

// What the layout means for the controller as it is.
struct Judged {
  Judged(World &world, const std::string &text) {
    Front front = memory.as(frontShell);
    Request request = {};
    EXPECT_EQ(ensure::readLayout({&front, &request}, "x", text.c_str(), &layout).outcome, outcomeSuccess)
        << memory.errors;
    UINT32 count = 1;
    EXPECT_EQ(driver::ParseXMLBlob(world.get().text.c_str(), &config, &count), EFI_SUCCESS);
    EXPECT_EQ(ensure::judge(*config, /* isOnDisks= */ false, layout, &judgement), EFI_SUCCESS);
  }
  ~Judged() { driver::releaseConfig(config); }

  MemoryFront memory;
  ensure::Layout layout;
  RAID_CONFIG *config = nullptr;
  ensure::Judgement judgement;
};

class Machine {
public:
  explicit Machine(World &world, UINT64 seed, const sim::Adapter &pristine)
      : world_(world), random_{seed}, seed_(seed), runner_(world) {
    makeMachine(world.sim, random_, pristine);
    layout_ = makeLayout(world.sim, random_);
  }

  void tell(Tally *tally);
  const std::string &layout() const { return layout_.text; }

private:
  Outcome run(std::vector<const CHAR8 *> options) { return runner_.run(layout_.text, options); }
  std::string told() const { return runner_.memory.out + runner_.memory.errors; }
  void expectPlanned(const Judged &judged, const State &before, const State &after);
  void expectNothingElse(const State &before, const State &after);
  void expectGoesOn(const State &before, const State &after, UINT64 cutAt);

  World &world_;
  Random random_;
  UINT64 seed_;
  RandomLayout layout_;
  Runner runner_;
};

// --- What must hold ---

static bool isSame(const sim::VirtualDisk &a, sim::VirtualDisk b, bool butForCache) {
  b.record.CurrentCachePolicy = butForCache ? a.record.CurrentCachePolicy : b.record.CurrentCachePolicy;
  return std::memcmp(&a, &b, sizeof a) == 0;
}

static const sim::VirtualDisk *named(const State &state, const std::string &name) {
  for (const sim::VirtualDisk &virtualDisk : state.virtualDisks.items) {
    if (narrow(virtualDisk.Name) == name) {
      return &virtualDisk;
    }
  }
  return nullptr;
}

static Ids sorted(Ids ids) {
  std::sort(ids.begin(), ids.end());
  return ids;
}

// What the judgement said is what came of it.
void Machine::expectPlanned(const Judged &judged, const State &before, const State &after) {
  const ensure::Judgement &plan = judged.judgement;
  size_t total = 0;
  for (UINT32 i = 0; i < plan.virtualDisks.count; ++i) {
    const ensure::VirtualDiskVerdict &verdict = plan.virtualDisks.items[i];
    SCOPED_TRACE(verdict.wish != nullptr ? verdict.wish->name : "another one");
    bool isNew = verdict.fate == ensure::Fate::create || verdict.fate == ensure::Fate::recreate;
    total += verdict.fate == ensure::Fate::remove ? 0 : 1;
    if (isNew) {
      const sim::VirtualDisk *made = named(after, verdict.wish->name);
      ASSERT_NE(made, nullptr);
      Ids members;
      for (UINT32 j = 0; j < verdict.members.count; ++j) {
        members.push_back(judged.config->physicalDisks[verdict.members.items[j]].ObjectID);
      }
      EXPECT_EQ(sorted(listOf(*made)), sorted(members));
      EXPECT_EQ(made->record.RAIDLevel, verdict.wish->level);
    } else if (verdict.fate != ensure::Fate::remove) {
      UINT32 id = judged.config->logicalDisks[verdict.place].ObjectID;
      const sim::VirtualDisk *was = find(before.virtualDisks.items, id), *is = find(after.virtualDisks.items, id);
      ASSERT_TRUE(was != nullptr && is != nullptr);
      EXPECT_TRUE(isSame(*was, *is, verdict.fate == ensure::Fate::change));
      UINT32 changed = was->record.CurrentCachePolicy ^ is->record.CurrentCachePolicy;
      UINT32 named = verdict.wish != nullptr ? verdict.wish->cache : 0;
      for (UINT32 group : {RAID_CACHE_WRITE_MASK, RAID_CACHE_READ_MASK, RAID_CACHE_DISK_MASK, RAID_CACHE_IO_MASK}) {
        EXPECT_TRUE((changed & group) == 0 || (is->record.CurrentCachePolicy & group) == (named & group));
      }
    }
  }
  EXPECT_EQ(after.virtualDisks.items.size(), total);
  for (UINT32 i = 0; i < plan.spares.count; ++i) {
    const ensure::SpareVerdict &spare = plan.spares.items[i];
    const sim::Disk *disk = find(after.disks.items, judged.config->physicalDisks[spare.disk].ObjectID);
    UINT32 kind = spare.virtualDisk == records::noId ? RAID_HOTSPARE_GLOBAL : RAID_HOTSPARE_DEDICATED;
    EXPECT_TRUE(disk != nullptr && (spare.frees || disk->record.Hotspare == kind));
  }
  EXPECT_EQ(std::memcmp(&after.adapter.record.UncertifiedMode, &plan.adapter.adapter.UncertifiedMode, modeCount), 0);
}

// Whatever was planned: only the layout's words destroy, and nothing but what it names changes.
void Machine::expectNothingElse(const State &before, const State &after) {
  for (const sim::VirtualDisk &virtualDisk : before.virtualDisks.items) {
    auto isNamed = [&](const LaidOut &one) { return one.name == narrow(virtualDisk.Name); };
    auto laidOut = std::find_if(layout_.virtualDisks.begin(), layout_.virtualDisks.end(), isNamed);
    bool isOther = laidOut == layout_.virtualDisks.end();
    if (isOther ? layout_.deletesOthers : laidOut->recreates) {
      continue;
    }
    const sim::VirtualDisk *is = find(after.virtualDisks.items, virtualDisk.record.ObjectID);
    EXPECT_TRUE(is != nullptr && isSame(virtualDisk, *is, /* butForCache= */ !isOther)) << narrow(virtualDisk.Name);
  }
  EXPECT_EQ(after.foreignDisks.items.size(), before.foreignDisks.items.size());
  for (const sim::Disk &disk : before.disks.items) {
    const sim::Disk *is = find(after.disks.items, disk.record.ObjectID);
    bool wasLost = disk.record.State == RAID_STATE_FOREIGN || disk.record.State == RAID_STATE_FAILED;
    EXPECT_TRUE(is != nullptr && (!wasLost || is->record.State == disk.record.State)) << disk.record.ObjectID;
  }
}

// A line for each virtual disk, hot spare and setting, without the ids that controllers give.
static std::vector<std::string> essence(const State &state) {
  std::vector<std::string> lines;
  std::map<UINT32, std::string> names;
  for (const sim::VirtualDisk &virtualDisk : state.virtualDisks.items) {
    std::string line = names[virtualDisk.record.ObjectID] = narrow(virtualDisk.Name);
    for (UINT64 value : {UINT64{virtualDisk.record.RAIDLevel}, UINT64{virtualDisk.record.Size},
                         UINT64{virtualDisk.record.StripeSize}, UINT64{virtualDisk.record.CurrentCachePolicy}}) {
      line += " " + std::to_string(value);
    }
    for (UINT32 id : sorted(listOf(virtualDisk))) {
      line += " " + std::to_string(id);
    }
    lines.push_back(line);
  }
  for (const sim::Disk &disk : state.disks.items) {
    std::string line = "disk " + std::to_string(disk.record.ObjectID) + " " + std::to_string(disk.record.Hotspare);
    std::set<std::string> of;
    for (UINT32 id : listOf(disk)) {
      of.insert(names[id]);
    }
    for (const std::string &name : of) {
      line += " " + name;
    }
    lines.push_back(line);
  }
  lines.push_back(std::string(reinterpret_cast<const char *>(&state.adapter.record.UncertifiedMode), modeCount));
  std::sort(lines.begin(), lines.end());
  return lines;
}

// Cuts a run off before one of its changes; the next one comes to where a whole one comes to.
void Machine::expectGoesOn(const State &before, const State &after, UINT64 cutAt) {
  before.putBack(world_.sim);
  sim::failCommand(world_.sim, cutAt, /* once= */ false, EFI_DEVICE_ERROR);
  EXPECT_EQ(run({"--yes"}), outcomeFailed) << cutAt;
  sim::clearFaults(world_.sim);
  EXPECT_EQ(run({"--yes"}), outcomeSuccess) << "cut at " << cutAt << "\n" << told();
  EXPECT_EQ(essence(State(world_.sim)), essence(after)) << "cut at " << cutAt;
}

void Machine::tell(Tally *tally) {
  const State before(world_.sim);
  Judged judged(world_, layout_.text);
  const ensure::Judgement &plan = judged.judgement;
  bool isRefused = plan.isRefused(), isIdle = !isRefused && !plan.changes();
  bool isThorough = seed_ % 4 == 0; // time is short
  if (isThorough) {
    ASSERT_EQ(run({"--plan"}), isRefused ? outcomeFailed : isIdle ? outcomeSuccess : outcomeDifferent) << told();
    EXPECT_TRUE(before.isIn(world_.sim) && runner_.changes().empty());
  }
  if (isThorough && plan.destroys() && !isRefused) {
    ASSERT_EQ(run({}), outcomeUsage);
    EXPECT_TRUE(before.isIn(world_.sim) && runner_.changes().empty());
  }
  ASSERT_EQ(run({"--yes"}), isRefused ? outcomeFailed : outcomeSuccess) << told();
  std::vector<UINT64> changes = runner_.changes();
  const State after(world_.sim);
  if (isIdle || isRefused) {
    EXPECT_TRUE(before.isIn(world_.sim) && changes.empty());
    ++(isIdle ? tally->idle : tally->refused);
    return;
  }
  ++tally->changed;
  tally->destroyed += plan.destroys() ? 1 : 0;
  expectPlanned(judged, before, after);
  expectNothingElse(before, after);
  EXPECT_EQ(sim::stateFault(world_.sim), nullptr);
  EXPECT_EQ(run({"--yes"}), outcomeSuccess);
  EXPECT_NE(told().find("nothing to do: the controller is as 'x.xml' says"), std::string::npos) << told();
  EXPECT_TRUE(after.isIn(world_.sim) && runner_.changes().empty());
  for (UINT64 cutAt : isThorough ? changes : std::vector<UINT64>{random_.oneOf(changes)}) {
    expectGoesOn(before, after, cutAt);
    ++tally->cut;
  }
}

class Properties : public testing::TestWithParam<UINT32> {};

// ENSURE_SEED in the environment runs one machine only.
TEST_P(Properties, OfRandomLayouts) {
  World world(WorldOptions{.preset = "empty", .debugLog = false});
  sim::Adapter pristine = fewLevels(world.sim->adapter);
  const char *only = std::getenv("ENSURE_SEED");
  UINT64 first = only == nullptr ? 1 + UINT64{GetParam()} * machines : std::strtoull(only, nullptr, 10);
  Tally tally = {};
  for (UINT64 seed = first; seed < first + (only == nullptr ? machines : 1) && !HasFailure(); ++seed) {
    Machine machine(world, seed, pristine);
    world.markBalance();
    machine.tell(&tally);
    EXPECT_FALSE(HasFailure()) << "ENSURE_SEED=" << seed << "\n" << machine.layout();
    if (seed % auditEvery == 0) {
      world.expectBalanced();
    }
  }
  // Enough of each has come.
  EXPECT_TRUE(only != nullptr || HasFailure() ||
              (tally.refused > 50 && tally.idle > 20 && tally.changed > 100 && tally.destroyed > 50 && tally.cut > 150))
      << tally.refused << " " << tally.idle << " " << tally.changed << " " << tally.destroyed << " " << tally.cut;
}

INSTANTIATE_TEST_SUITE_P(Parts, Properties, testing::Range(0U, parts));
