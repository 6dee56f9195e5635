// Wherever the power goes, and whatever fails: the volumes are as they were or as they shall be, for us and for Linux,
// and the next command works.

#include <algorithm>

#include "base/pool.h"
#include "tests/power_cuts/readings.h"
#include "tests/power_cuts/rig.h"
#include "tests/support/paths.h"

using namespace xyl;

namespace {

// What the disks hold at first: nothing; on the first two a small set with a mirror, "virtual disk"; the same on disks
// that stand in another order than the set lists them; the first, and the last order before the story was cut when just
// the first disk's one copy had it; or what mdadm wrote.
#define FRESH "fresh"
#define SMALL "small"
#define TURNED "turned"
#define BEHIND "behind"

struct Story {
  const char *name;
  const char *start; // fresh, SMALL or a recording, which has disks of its own
  size_t disks;
  std::vector<Order> before;
  std::vector<Order> orders; // the story; empty: a restore of what there is, over itself
  Ports next;                // disks for the virtual disk that is created after a cut
  bool inPieces = false;     // some of the old virtual disks, or some of the new ones, are allowed in between
};

const Order g_wide = createOrder("wide", RAID_LEVEL_5, {2, 0, 1});
const Order g_stripes = createOrder("stripes", RAID_LEVEL_0, {2, 0, 1});
const Order g_pair = createOrder("pair", RAID_LEVEL_0, {3, 1});
const Order g_across = createOrder("across", RAID_LEVEL_0, {3, 0});
const Order g_reset = {RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER};
const Story g_stories[] = {
    {"create on fresh disks", FRESH, 3, {}, {g_wide}, {0, 1}},
    {"create where disks join", SMALL, 4, {}, {createOrder("four", RAID_LEVEL_10, {3, 1, 2, 0})}, {0, 3}},
    {"create among others", SMALL, 3, {g_wide}, {createOrder("more", RAID_LEVEL_0, {1, 2})}, {0, 1}},
    {"create in a set of mdadm", "written", 0, {}, {createOrder("more", RAID_LEVEL_1, {0, 1})}, {2, 3}},
    {"create where a disk is behind", BEHIND, 3, {g_wide}, {createOrder("more", RAID_LEVEL_0, {0, 2})}, {1, 2}},
    {"delete", SMALL, 3, {g_wide}, {deleteOrder("volume")}, {0, 1}},
    {"delete where a disk leaves", SMALL, 4, {g_stripes, g_pair}, {deleteOrder("pair")}, {0, 2}},
    {"delete the last one", SMALL, 2, {}, {deleteOrder("volume")}, {0, 1}},
    {"delete spans of mdadm", "levels", 0, {}, {deleteOrder("r10six")}, {0, 1}},
    {"delete beside a failed disk", SMALL, 3, {g_wide, failOrder(1)}, {deleteOrder("volume")}, {0, 2}},
    {"a fresh disk as spare", SMALL, 3, {}, {spareOrder(2, RAID_HOTSPARE_GLOBAL)}, {0, 1}},
    {"a spare where disks stand in another order",
     TURNED,
     4,
     {g_across},
     {spareOrder(2, RAID_HOTSPARE_GLOBAL)},
     {0, 1}},
    {"a spare beside a failed disk", SMALL, 3, {failOrder(1)}, {spareOrder(2, RAID_HOTSPARE_GLOBAL)}, {0}},
    {"a spare beside a failed disk that comes first",
     TURNED,
     4,
     {g_across, failOrder(1)},
     {spareOrder(2, RAID_HOTSPARE_GLOBAL)},
     {0}},
    {"a spare no more", SMALL, 3, {spareOrder(2, RAID_HOTSPARE_GLOBAL)}, {spareOrder(2, 0)}, {0, 1}},
    {"another name", SMALL, 3, {g_wide}, {renameOrder("volume", "new")}, {0, 2}},
    {"a failed disk", SMALL, 3, {g_wide}, {failOrder(2)}, {0, 1}},
    {"a failed disk is freed", SMALL, 3, {spareOrder(2, RAID_HOTSPARE_GLOBAL), failOrder(2)}, {readyOrder(2)}, {0, 1}},
    {"a dedicated spare", SMALL, 3, {}, {spareOrder(2, RAID_HOTSPARE_DEDICATED, "volume")}, {0, 1}},
    {"a dedicated spare beside a failed disk",
     SMALL,
     3,
     {failOrder(1)},
     {spareOrder(2, RAID_HOTSPARE_DEDICATED, "volume")},
     {0}},
    {"import", "two-sets", 0, {}, {{RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER}}, {}},
    {"clear", "two-sets", 0, {}, {{RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER}}, {}, true},
    {"reset", SMALL, 4, {g_wide, spareOrder(3, RAID_HOTSPARE_GLOBAL)}, {g_reset}, {0, 1}, true},
    {"restore", SMALL, 4, {g_wide, spareOrder(3, RAID_HOTSPARE_GLOBAL)}, {}, {0, 1}, true},
};

Reading (*const readers[])(Disks &) = {readAsLinux, readAsWe};
const char *const readerNames[] = {"Linux", "we"};

bool isPart(const Texts &part, const Texts &whole) {
  return std::includes(whole.begin(), whole.end(), part.begin(), part.end());
}

Disks disksOf(const Story &story) {
  std::string start = story.start;
  Disks disks;
  if (start == SMALL || start == TURNED || start == BEHIND) {
    host::Firmware firmware; // its pool
    setSystemTable(firmware.systemTable());
    disks = makeDisks({ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 300}, /* extraDisks= */ 0,
                      {15, 15, 4, 16});
    start == TURNED ? std::swap(disks[0], disks[1]) : void();
  } else if (start != FRESH) {
    return loadDisks(goldenDir() + "/" + start + ".disks");
  }
  disks.resize(story.disks, {testDiskSectors, {}});
  return disks;
}

// Without the ends of GUIDs, which differ from run to run.
Reading masked(Reading reading) {
  for (std::string &line : reading.lines) {
    size_t from = line.find("\" ") + 2;
    line.starts_with("volume") ? line.replace(from, line.find(',') - from, "*") : line;
  }
  std::sort(reading.lines.begin(), reading.lines.end());
  return reading;
}

Texts namesOf(const Reading &reading) {
  Texts names;
  for (const std::string &line : virtualDisksOf(reading)) {
    names.push_back(line.substr(0, line.find('"', line.find('"') + 1)));
  }
  return names;
}

// The first state of a cut that counts as done.
Disks justDone(const Disks &before, const Recorder &recorder) {
  Disks done = recorder.disks, just;
  std::string text = readAsWe(done).text();
  forEachCut(before, recorder.log, [&](Disks &disks, Cut cut) {
    if (just.empty() && cut == cutDurable && readAsWe(disks).text() == text) {
      just = disks;
    }
  });
  return just;
}

class Proof {
public:
  explicit Proof(const Story &story) : story_(story), rig_(disksOf(story)) {
    Disks start;
    for (const Order &order : story.before) {
      start = rig_.recorder.disks;
      rig_.recorder.begin(start);
      EXPECT_EQ(name(rig_.run(order)), name(EFI_SUCCESS)) << rig_.log();
    }
    saved_ = rig_.get().text;
    if (std::string(story.start) == BEHIND) {
      rig_.recorder.disks = justDone(start, rig_.recorder);
    }
    before_ = rig_.recorder.disks;
    addStage();
  }

  // Sets as Linux lays them out take a while to read.
  bool isLarge() const { return story_.orders.empty() || before_[0].kept.size() > 100 || before_[0].kept.empty(); }

  // Runs the story as it should go, and fills the stages.
  void tell() {
    rig_.recorder.begin(before_);
    for (size_t i = 0; i == 0 || i < story_.orders.size(); ++i) {
      rig_.clearLog();
      ASSERT_EQ(name(runOrder(i)), name(EFI_SUCCESS)) << rig_.log();
      addStage();
      EXPECT_TRUE(rig_.recorder.waiting.empty());
    }
    log_ = rig_.recorder.log;
    ASSERT_FALSE(stages_.front() == stages_.back()) << stages_.front().text();
    for (const DiskEvent &event : log_) {
      ASSERT_TRUE(event.call == diskFlush || event.lba >= before_[event.disk].sectors - ddf::reserveSectors);
    }
  }

  void cut() {
    size_t number = 0, large = 0, reached[2] = {};
    size_t count = forEachCut(before_, log_, [&](Disks &disks, Cut cut) {
      ++number;
      if (isLarge() && cut == cutPart && number % 8 != 0) {
        return;
      }
      for (size_t i = 0; i < 2 && !testing::Test::HasFailure(); ++i) {
        Reading reading = readers[i](disks);
        size_t stage = stageOf(reading, reached[i]);
        EXPECT_LT(stage, stages_.size()) << readerNames[i] << ", state " << number << ":\n" << reading.text();
        reached[i] = cut == cutDurable ? stage : reached[i];
      }
      if (!testing::Test::HasFailure() && !story_.next.empty() && (cut == cutWhole || number % 16 == 0) &&
          (!isLarge() || ++large % 24 == 0)) {
        goOn(disks);
      }
    });
    EXPECT_GT(count, 10U);
    std::printf("    %s: %zu states, %zu events\n", story_.name, count, log_.size());
  }

  // Every step-th call of that kind fails.
  void fail(DiskCall call, bool forGood, size_t step) {
    std::transform(stages_.begin(), stages_.end(), stages_.begin(), masked);
    for (size_t nth = 1; !testing::Test::HasFailure(); nth += isLarge() ? 19 * step : step) {
      rig_.recorder.begin(before_, {call, nth, forGood});
      rig_.clearLog();
      EFI_STATUS status = EFI_SUCCESS;
      for (size_t i = 0; i == 0 || (i < story_.orders.size() && !EFI_ERROR(status)); ++i) {
        status = runOrder(i);
      }
      size_t failed = rig_.recorder.failed;
      rig_.recorder.heal();
      if (failed >= before_.size()) {
        EXPECT_EQ(name(status), name(EFI_SUCCESS));
        return;
      }
      SCOPED_TRACE("call " + std::to_string(call) + ", " + std::to_string(nth) + (forGood ? " for good" : ""));
      // A record on a disk that is marked as failed may be left for the next change, when it cannot be read.
      hasFailed(failed) ? void() : expectStage(status, call);
      bool isNamed = rig_.log().find("0-1F-2:" + std::to_string(failed)) != std::string::npos;
      EXPECT_TRUE(isNamed || !EFI_ERROR(status) || call == diskRead)
          << "disk " << failed << ", " << name(status) << rig_.log();
      story_.next.empty() || forGood ? void() : goOn(Disks(rig_.recorder.disks));
    }
  }

  // The story without a disk, which then comes back as it was: with records of volumes that were deleted, which Linux
  // takes badly until the next command, or with a set of its own that nobody else has any more.
  void vanish(size_t disk) {
    rig_.recorder.begin(before_);
    rig_.clearLog();
    rig_.pull(disk);
    EFI_STATUS status = runOrder(0);
    rig_.plug(disk);
    SCOPED_TRACE("disk " + std::to_string(disk) + ", " + name(status) + ", " + rig_.log());
    const Reading &wanted = EFI_ERROR(status) ? stages_.front() : stages_.back();
    Disks without = rig_.recorder.disks;
    without[disk].kept.clear();
    EXPECT_EQ(namesOf(readAsWe(without)), namesOf(wanted));
    EXPECT_EQ(readAsWe(without).text(), readAsLinux(without).text());
    Reading back = readAsWe(rig_.recorder.disks);
    EXPECT_EQ(back.fault, "");
    EXPECT_TRUE(isPart(namesOf(wanted), namesOf(back))) << back.text();
    EXPECT_TRUE(isPart(namesOf(back), namesOf(wanted)) || isPart(namesOf(back), namesOf(stages_.front())));
    // A disk that the other half has marked as failed may have gone on alone.
    if (isApart()) {
      EXPECT_TRUE(hasFailed(disk ^ 1));
    } else {
      goOn(Disks(rig_.recorder.disks));
    }
  }

private:
  bool hasFailed(size_t disk) const { // it was marked as failed
    return std::any_of(story_.before.begin(), story_.before.end(),
                       [&](const Order &order) { return order.state == RAID_STATE_FAILED && order.ports[0] == disk; });
  }

  bool isApart() {
    OwnedModel model = readModel(rig_.recorder.disks);
    bool isApart = model->setCount != 0 && model->sets[0].apart != 0;
    return isApart;
  }

  // A read that failed may have been of no use; what is then done must be all of it.
  void expectStage(EFI_STATUS status, DiskCall call) {
    EXPECT_TRUE(EFI_ERROR(status) || call == diskRead);
    for (size_t i = 0; i < 2; ++i) {
      Reading reading = readers[i](rig_.recorder.disks);
      size_t stage = stageOf(masked(reading), 0);
      EXPECT_TRUE(EFI_ERROR(status) ? stage < stages_.size() : stage == stages_.size() - 1)
          << name(status) << ", " << readerNames[i] << ":\n"
          << reading.text() << rig_.log();
    }
  }

  EFI_STATUS runOrder(size_t i) {
    return !story_.orders.empty() ? rig_.run(story_.orders[i])
                                  : rig_.set({restoreRebuild, saved_.c_str(), nullptr}).status;
  }

  void addStage() {
    stages_.push_back(readAsWe(rig_.recorder.disks));
    EXPECT_EQ(stages_.back().text(), readAsLinux(rig_.recorder.disks).text());
    EXPECT_EQ(stages_.back().fault, "");
  }

  // The stage that the reading shows, not before the one that is safe on the disks.
  size_t stageOf(const Reading &reading, size_t reached) {
    size_t last = stages_.size() - 1;
    if (story_.inPieces && reading.fault.empty()) {
      bool isNew = reading == stages_[last] || (!reading.lines.empty() && isPart(reading.lines, stages_[last].lines));
      return isNew ? last : isPart(reading.lines, stages_[0].lines) ? 0 : ~size_t{0};
    }
    auto at = std::find(stages_.begin() + static_cast<std::ptrdiff_t>(reached), stages_.end(), reading);
    return static_cast<size_t>(at - stages_.begin()) + (at == stages_.end() ? 1 : 0);
  }

  // A virtual disk can be created on what a cut left, and everything deleted.
  void goOn(const Disks &disks) {
    rig_.recorder.begin(disks);
    rig_.clearLog();
    Reading was = readAsWe(rig_.recorder.disks);
    ASSERT_EQ(name(rig_.run(createOrder("next", RAID_LEVEL_0, story_.next))), name(EFI_SUCCESS))
        << was.text() << rig_.log();
    Reading is = expectSettled();
    Texts virtualDisks = virtualDisksOf(is);
    std::erase_if(virtualDisks, [](const std::string &line) { return line.starts_with("volume \"next\""); });
    EXPECT_EQ(virtualDisks, virtualDisksOf(was));
    EXPECT_EQ(virtualDisksOf(is).size(), virtualDisks.size() + 1) << is.text();
    ASSERT_EQ(name(rig_.run(g_reset)), name(EFI_SUCCESS)) << is.text() << rig_.log();
    EXPECT_EQ(expectSettled().text(), "");
  }

  // Both readers agree, and all disks and copies are as new as their set.
  Reading expectSettled() {
    Disks &disks = rig_.recorder.disks;
    Reading reading = readAsWe(disks);
    EXPECT_EQ(reading.text(), readAsLinux(disks).text());
    OwnedModel model = readModel(disks);
    for (UINT32 i = 0; i < model->diskCount; ++i) {
      const ddf::Disk &disk = model->disks[i];
      bool isMember = disk.kind == ddf::DiskKind::member;
      bool isFailed = isMember && (model->sets[disk.set].pds[disk.pd].entry->state & ddf::pdFailed) != 0;
      EXPECT_TRUE(disk.kind == ddf::DiskKind::other || isFailed || (isMember && !disk.lagging)) << "disk " << i;
    }
    return reading;
  }

  const Story &story_;
  Rig rig_;
  Disks before_;
  std::string saved_;
  std::vector<Reading> stages_;
  std::vector<DiskEvent> log_;
};

void PrintTo(const Story &story, std::ostream *out) {
  *out << story.name;
}

class PowerCuts : public testing::TestWithParam<Story> {};

TEST_P(PowerCuts, OldOrNew) {
  const Story &story = GetParam();
  Proof proof(story);
  proof.tell();
  HasFailure() ? void() : proof.cut();
  // The rest for fresh disks and small sets that are as new everywhere.
  bool isSmall = story.disks != 0 && !story.orders.empty() && std::string(story.start) != BEHIND;
  for (size_t disk = 0; isSmall && disk < story.disks && !story.inPieces && !HasFailure(); ++disk) {
    proof.vanish(disk);
  }
  for (bool forGood : isSmall ? std::vector{false, true} : std::vector<bool>{}) {
    proof.fail(diskWrite, forGood, 1);
    proof.fail(diskFlush, forGood, 1);
    proof.fail(diskRead, forGood, 3);
  }
}

std::string nameOf(const testing::TestParamInfo<Story> &story) {
  std::string name = story.param.name;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, PowerCuts, testing::ValuesIn(g_stories), nameOf);

} // namespace
