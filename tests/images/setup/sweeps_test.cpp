// Everything that can be done on the page, with allocations and commands failing.
#include "providers/sim_controller/hand.h"
#include "providers/sim_controller/sim_controller.h"
#include "tests/images/setup/browser.h"
#include "tests/images/setup/tap.h"
#include "tests/providers/disk_controller/machine.h"

using namespace xyl;
using namespace xyl::host;

namespace {

struct PageStory {
  const char *name;
  const char *preset; // null: the machine's disks
  void (*prepare)(World &world);
  // What a person does: a word and the line that it is done to. Lines that a failure keeps away are passed over; "fail"
  // is where failures begin.
  std::vector<std::string> steps;
  const char *done; // what the page says then; null: nothing
  bool (*isDone)(World &world);
};

struct PageFailure {
  bool isCommand;
  FailMode mode;
};

} // namespace

// --- Where it takes place ---

static void nothing(World &) {}

static void makeForeign(World &world) {
  uint32_t disks[] = {1003, 1004};
  ASSERT_EQ(sim::makeForeign(world.sim, RAID_LEVEL_1, disks, 2), EFI_SUCCESS);
}

static Disks makeMirror() {
  Disks disks(2, {testDiskSectors, {}});
  Machine machine(disks);
  machine.mayWrite = true;
  RAID_VD_RECORD mirror = {};
  mirror.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  mirror.RAIDLevel = RAID_LEVEL_1;
  EXPECT_EQ(name(machine.run(RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, {1025000, 1025001}, &mirror)),
            name(EFI_SUCCESS));
  return disks;
}

static void loseMember(World &world) {
  auto &machine = static_cast<Machine &>(world);
  machine.mayWrite = true;
  machine.disconnect(); // the other driver
  machine.devices[1].reset();
}

static UINT8 spareKind(World &world, UINT32 disk) {
  return sim::findDisk(world.sim, disk)->record.Hotspare;
}

static bool isRateSet(World &world) {
  return world.sim->adapter.record.Rates[0].EditableValue >> RAID_RATE_VALUE_SHIFT == 40;
}

template <UINT32 count> static bool hasVirtualDisks(World &world) {
  return world.sim->virtualDisks.count == count;
}

static const PageStory g_stories[] = {
    {"modes",
     "direct",
     nothing,
     {"fail", "connect", "open", "enter Modes", "set 40 Rebuild", "save"},
     nullptr,
     isRateSet},
    {"create",
     "sas",
     nothing,
     {"connect", "open", "fail", "enter Create", "set 3 Level", "set 2 Pick", "press Create it"},
     "was created.",
     hasVirtualDisks<2>},
    {"delete",
     "sas",
     nothing,
     {"connect", "open", "enter Virtual disks", "fail", "enter Virtual Disk 0", "enter Delete", "set 1 I am sure",
      "press Delete it"},
     "was deleted.",
     hasVirtualDisks<0>},
    {"global spare",
     "direct",
     nothing,
     {"connect", "open", "enter Disks", "fail", "enter Slot 6", "press Make it a hot spare for all"},
     "is a hot spare for all now.",
     [](World &world) { return spareKind(world, 1007) == RAID_HOTSPARE_GLOBAL; }},
    {"dedicated spare",
     "direct",
     nothing,
     {"connect", "open", "enter Disks", "enter Slot 6", "fail", "press Make it a hot spare for that one"},
     "is a hot spare now.",
     [](World &world) { return spareKind(world, 1007) == RAID_HOTSPARE_DEDICATED; }},
    {"free",
     "direct",
     nothing,
     {"connect", "open", "enter Disks", "enter Slot 5", "fail", "press Free this hot spare"},
     "is free now.",
     [](World &world) { return spareKind(world, 1006) == RAID_HOTSPARE_NONE; }},
    {"import",
     "sas",
     makeForeign,
     {"connect", "open", "fail", "enter Foreign", "press Take the"},
     "was taken over.",
     hasVirtualDisks<2>},
    {"clear",
     "sas",
     makeForeign,
     {"connect", "open", "enter Foreign", "fail", "enter Clear", "set 1 I am sure", "press Clear it"},
     "was cleared.",
     [](World &world) { return world.sim->foreignDisks.count == 0; }},
    {"fail a missing member",
     nullptr,
     loseMember,
     {"connect", "open", "enter Virtual disks", "enter number", "fail", "enter Record disk", "set 1 I am sure",
      "press Record it as failed"},
     "is recorded as failed.",
     [](World &world) { return static_cast<Machine &>(world).book.writes != 0; }},
};

// --- One run ---

static void fail(World &world, Tap &tap, const PageFailure &failure, uint64_t nth) {
  if (failure.isCommand) {
    tap.fail(nth, failure.mode);
  } else {
    world.firmware.failAllocation(nth, failure.mode);
  }
}

static void take(const std::string &step, World &world, Browser &browser) {
  std::istringstream words(step);
  std::string way, line;
  uint64_t value = 0;
  words >> way;
  way == "set" && words >> value;
  std::getline(words >> std::ws, line);
  if (way == "connect") {
    browser.connect(world.controller);
  } else if (way == "open" && !browser.titles().empty()) {
    browser.open();
  } else if (way == "save" && browser.isOpen()) {
    browser.save();
  } else if (browser.isOpen() && browser.has(line)) {
    way == "enter" ? browser.enter(line) : way == "press" ? browser.press(line) : browser.set(line, value);
  }
}

// Whether something failed.
static bool failsIn(const PageStory &story, World &world, const PageFailure &failure, uint64_t nth) {
  story.prepare(world);
  Browser browser(world);
  browser.checksTexts = false;
  Tap tap(world);
  world.markBalance();
  for (const std::string &step : story.steps) {
    step == "fail" ? fail(world, tap, failure, nth) : take(step, world, browser);
  }
  bool hasFailed = tap.hasFailed() || world.firmware.allocationFailed();
  fail(world, tap, failure, 0);
  std::string said = browser.isOpen() ? browser.shown() : "";
  bool isDone = story.isDone(world);
  bool saysSo = story.done != nullptr && said.find(story.done) != std::string::npos;
  bool deniesIt = said.find("Nothing was done") != std::string::npos || said.find("refused") != std::string::npos;
  EXPECT_TRUE(isDone ? !deniesIt : !saysSo) << said;
  EXPECT_TRUE(hasFailed || (isDone && (saysSo || story.done == nullptr))) << said;
  browser.close();
  world.services->DisconnectController(world.controller, nullptr, nullptr);
  EXPECT_EQ(browser.titles().size(), 0u);
  world.expectBalanced();
  return hasFailed;
}

static bool failsAt(const PageStory &story, const PageFailure &failure, uint64_t nth) {
  SCOPED_TRACE(std::string(story.name) + (failure.isCommand ? ", command " : ", allocation ") + std::to_string(nth));
  if (story.preset != nullptr) {
    World world({.preset = story.preset, .xmlService = false, .debugLog = false, .driver = false});
    return failsIn(story, world, failure, nth);
  }
  static const Disks mirror = makeMirror();
  Disks disks = mirror;
  Machine machine(disks);
  return failsIn(story, machine, failure, nth);
}

TEST(SetupSweeps, GivesAllBackAndTellsTheTruth) {
  PageFailure failures[] = {{false, FailMode::once}, {true, FailMode::once}, {true, FailMode::fromThenOn}};
  for (const PageStory &story : g_stories) {
    for (const PageFailure &failure : failures) {
      // Later allocations are much alike: the steps grow.
      for (uint64_t nth = 1; failsAt(story, failure, nth) && !HasFailure();
           nth += failure.isCommand ? 1 : 1 + nth / 16) {
      }
    }
  }
}
