// The page in the firmware's setup, over simulated controllers: what it shows, does, and refuses to do.
#include "providers/sim_controller/hand.h"
#include "providers/sim_controller/presets.h"
#include "providers/sim_controller/sim_controller.h"
#include "raid_setup.h"
#include "tests/images/setup/browser.h"
#include "tests/images/setup/tap.h"

using namespace xyl;

static WorldOptions optionsOf(const char *preset) {
  return {.preset = preset, .xmlService = false, .debugLog = false, .driver = false};
}

class Setup : public testing::Test {
protected:
  explicit Setup(const char *preset = "demo") : world(optionsOf(preset)), browser(world) {
    EXPECT_EQ(name(browser.connect(world.controller)), name(EFI_SUCCESS));
  }

  uint64_t count() const { return sim::commandCount(world.sim); }
  bool shows(const std::string &text) { return browser.shown().find(text) != std::string::npos; }
  sim::VirtualDisk *virtualDisk(const std::u16string &wanted) {
    for (UINT32 i = 0; i < world.sim->virtualDisks.count; ++i) {
      sim::VirtualDisk *found = &world.sim->virtualDisks.items[i];
      if (found->Name == wanted) {
        return found;
      }
    }
    return nullptr;
  }
  // To the page that asks whether the virtual disk may go.
  void askToDelete(const std::string &wanted) {
    browser.open();
    browser.enter("Virtual disks");
    browser.enter(wanted);
    browser.enter("Delete");
  }

  World world;
  Browser browser;
};

// All forms as a person sees them, in both languages.
TEST_F(Setup, ShowsWhatTheControllerHas) {
  uint32_t foreign[] = {1018, 1019};
  ASSERT_EQ(sim::makeForeign(world.sim, RAID_LEVEL_1, foreign, 2), EFI_SUCCESS);
  ASSERT_EQ(sim::failDisk(world.sim, 1001) | sim::pullDisk(world.sim, 1012), EFI_SUCCESS);
  virtualDisk(u"Fast")->Name[0] = u'\x1b'; // what a terminal would take for a command
  EXPECT_EQ(browser.titles(), std::vector<std::string>{"Harrier R6 Integrated, PCI 03:00.0"});
  std::string all;
  static const std::vector<std::vector<std::string>> ways = {{},
                                                             {"Virtual disks"},
                                                             {"Virtual disks", "Archive"},
                                                             {"Virtual disks", "Data", "Delete"},
                                                             {"Disks"},
                                                             {"Disks", "Slot 8"},
                                                             {"Hot spares"},
                                                             {"Foreign"},
                                                             {"Foreign", "Clear"},
                                                             {"Create"},
                                                             {"Modes"}};
  for (const char *language : {"en-US", "de-DE"}) {
    browser.language = language;
    for (const auto &way : ways) {
      browser.open();
      for (const std::string &step : way) {
        browser.enter(step);
      }
      all += "--- " + browser.title() + "\n" + browser.shown();
    }
  }
  expectGolden("images/setup/forms.txt", all);
}

TEST_F(Setup, CostsOneGetOfEachKind) {
  Tap tap(world);
  std::map<UINT32, int> once = {{RAID_OBJECT_ADAPTER, 1},
                                {RAID_OBJECT_ENCLOSURE, 1},
                                {RAID_OBJECT_PHYSICAL_DISK, 1},
                                {RAID_OBJECT_VIRTUAL_DISK, 1}};
  std::map<UINT32, int> opening = once;
  opening[RAID_OBJECT_ADAPTER] = 2; // firmware asks for its settings before the page is drawn
  browser.open();
  EXPECT_EQ(tap.takeGets(), opening);
  for (const char *line : {"Disks", "Slot 8"}) {
    browser.enter(line);
    EXPECT_EQ(tap.takeGets(), once) << line;
  }
  browser.back();
  EXPECT_EQ(tap.takeGets(), once);
}

TEST_F(Setup, DeletesOnlyWithTheTick) {
  askToDelete("Data");
  browser.press("Delete it"); // grey
  EXPECT_NE(virtualDisk(u"Data"), nullptr);
  browser.set("I am sure", 1);
  browser.back();
  browser.enter("Delete");
  browser.press("Delete it"); // the tick was for the time before
  EXPECT_NE(virtualDisk(u"Data"), nullptr);
  browser.set("I am sure", 1);
  browser.press("Delete it");
  EXPECT_EQ(virtualDisk(u"Data"), nullptr);
  EXPECT_TRUE(shows("Data was deleted.")) << browser.shown();
  EXPECT_TRUE(shows("It is no longer there."));
  browser.back();
  EXPECT_FALSE(browser.has("Data"));
  EXPECT_TRUE(shows("Data was deleted.")) << browser.shown();
  browser.back();
  EXPECT_FALSE(shows("Data was deleted.")) << browser.shown();
}

TEST_F(Setup, DoesNothingToWhatHasChanged) {
  askToDelete("Data");
  browser.set("I am sure", 1);
  ASSERT_EQ(sim::pullDisk(world.sim, 1003), EFI_SUCCESS); // Data is degraded now
  uint64_t before = world.sim->virtualDisks.count;
  browser.press("Delete it");
  EXPECT_EQ(world.sim->virtualDisks.count, before);
  EXPECT_TRUE(shows("it has changed meanwhile")) << browser.shown();

  browser.open();
  browser.enter("Disks");
  browser.enter("Slot 8");
  ASSERT_EQ(sim::replaceDisk(world.sim, 1009, 0), EFI_SUCCESS);
  browser.press("Make it a hot spare for all");
  EXPECT_TRUE(shows("no longer there")) << browser.shown();

  browser.open();
  browser.enter("Create");
  browser.choose("Level", "RAID 1");
  browser.set("Pick so many", 2);
  ASSERT_TRUE(browser.has("Create it")) << browser.shown();
  ASSERT_EQ(sim::failDisk(world.sim, 1010), EFI_SUCCESS);
  browser.press("Create it");
  EXPECT_EQ(world.sim->virtualDisks.count, before);
  EXPECT_TRUE(shows("it has changed meanwhile")) << browser.shown();
}

TEST_F(Setup, CreatesWhatFits) {
  browser.open();
  browser.enter("Create");
  EXPECT_TRUE(shows("Not yet: no level is chosen"));
  browser.choose("Level", "RAID 5");
  EXPECT_TRUE(shows("Not yet: RAID 5 takes 3 to 32 disks, not 0")) << browser.shown();
  browser.set("302:6", 1);
  EXPECT_TRUE(shows("301:8: the level mixes no SAS and SATA disks")) << browser.shown();
  EXPECT_TRUE(shows("301:10: the level mixes no hard disks and solid state disks"));
  browser.set("302:7", 1);
  browser.set("302:8", 1);
  EXPECT_TRUE(shows("Room on them: 8.00 TB")) << browser.shown();
  browser.set("Size in MB", 9000000);
  EXPECT_TRUE(shows("Not yet: the disks have room for 8.00 TB")) << browser.shown();
  browser.set("Size in MB", 2000000);
  browser.type("Name", "B\xFC"
                       "ro");
  EXPECT_TRUE(shows("That is no name")) << browser.shown();
  browser.type("Name", "Builds");
  browser.choose("Stripe size", "128 KiB");
  browser.choose("Writes", "through");
  ASSERT_TRUE(sim::failKind(world.sim, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, EFI_DEVICE_ERROR));
  browser.press("Create it");
  EXPECT_TRUE(shows("refused: a device error")) << browser.shown();
  sim::clearFaults(world.sim);
  browser.press("Create it"); // all of it is still there
  EXPECT_TRUE(shows("Builds was created.")) << browser.shown();
  const sim::VirtualDisk *made = virtualDisk(u"Builds");
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->record.RAIDLevel, RAID_LEVEL_5);
  EXPECT_EQ(made->record.Size, 2000000000000u);
  EXPECT_EQ(made->record.StripeSize, RAID_STRIPE_SIZE_128KB);
  UINT32 others = made->record.RAIDLevelDesc.DefaultCachePolicy & ~RAID_CACHE_WRITE_MASK;
  EXPECT_EQ(made->record.CurrentCachePolicy, RAID_CACHE_WRITE_THROUGH | others);
  EXPECT_EQ(std::vector<UINT32>(made->PDs, made->PDs + 3), (std::vector<UINT32>{1018, 1019, 1020}));
  EXPECT_TRUE(shows("Not yet: no level is chosen")); // nothing is left of it
  browser.choose("Level", "RAID 1");
  browser.set("Pick so many", 3);
  EXPECT_TRUE(shows("There are not that many free disks")) << browser.shown();
  browser.choose("Writes", "through");
  EXPECT_TRUE(shows("Writes: through"));
  browser.choose("Level", "RAID 0"); // what one level offers another may not
  EXPECT_TRUE(shows("Writes: as the controller has it")) << browser.shown();
}

TEST_F(Setup, MakesAndFreesHotSpares) {
  auto spareOf = [&](UINT32 id) { return sim::findDisk(world.sim, id)->record.Hotspare; };
  browser.open();
  browser.enter("Hot spares");
  browser.enter("301:8"); // SAS, 900 GB
  EXPECT_TRUE(shows("Not for Data: it is smaller than what each member holds")) << browser.shown();
  EXPECT_TRUE(shows("Not for Fast: the level mixes no"));
  browser.choose("For the virtual disk", "System");
  browser.press("Make it a hot spare for that one");
  EXPECT_TRUE(shows("Disk 301:8 is a hot spare now.")) << browser.shown();
  EXPECT_EQ(spareOf(1009), RAID_HOTSPARE_DEDICATED);
  EXPECT_EQ(sim::findDisk(world.sim, 1009)->VDs[0], virtualDisk(u"System")->record.ObjectID);
  browser.press("Free this hot spare");
  EXPECT_EQ(spareOf(1009), RAID_HOTSPARE_NONE);
  browser.press("Make it a hot spare for all");
  EXPECT_EQ(spareOf(1009), RAID_HOTSPARE_GLOBAL);
  ASSERT_TRUE(sim::failKind(world.sim, RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, EFI_WRITE_PROTECTED));
  browser.press("Free this hot spare");
  EXPECT_TRUE(shows("The controller refused: write-protected.")) << browser.shown();
}

TEST_F(Setup, ImportsAndClearsWhatIsForeign) {
  uint32_t disks[] = {1018, 1019};
  for (bool imports : {false, true}) {
    ASSERT_EQ(sim::makeForeign(world.sim, RAID_LEVEL_1, disks, 2), EFI_SUCCESS);
    browser.open();
    browser.enter("Foreign configuration: 2 disks");
    if (imports) {
      browser.press("Take the virtual disks over");
    } else {
      browser.enter("Clear");
      browser.set("I am sure", 1);
      browser.press("Clear it");
    }
    EXPECT_TRUE(shows(imports ? "was taken over" : "was cleared")) << browser.shown();
    EXPECT_EQ(world.sim->foreignDisks.count, 0u);
    EXPECT_EQ(sim::findDisk(world.sim, 1018)->record.State, imports ? RAID_STATE_ONLINE : RAID_STATE_READY);
  }
}

TEST_F(Setup, SavesOnlyWhatDiffers) {
  auto rateOf = [&](UINTN slot) {
    return world.sim->adapter.record.Rates[slot].EditableValue >> RAID_RATE_VALUE_SHIFT;
  };
  browser.open();
  browser.enter("Modes");
  uint64_t before = count();
  EXPECT_EQ(name(browser.save()), name(EFI_SUCCESS));
  EXPECT_EQ(count() - before, 1u); // it asked, and had nothing to say
  browser.set("Rebuild", 41);
  browser.set("Patrol unused areas", 0);
  browser.choose("Copy back", "never");
  EXPECT_EQ(name(browser.save()), name(EFI_SUCCESS));
  EXPECT_EQ(count() - before, 3u);
  EXPECT_EQ(rateOf(0), 41);
  EXPECT_EQ(world.sim->adapter.record.PatrolReadMode, RAID_MODE_PRESENT | RAID_PATROL_READ_MODE_AUTO);
  EXPECT_EQ(world.sim->adapter.record.CopyBackMode, RAID_MODE_PRESENT | RAID_COPY_BACK_MODE_OFF);
  browser.set("Rebuild", 101);
  EXPECT_EQ(name(browser.save()), name(EFI_INVALID_PARAMETER));
  browser.back();
  browser.enter("Modes");
  browser.set("Rebuild", 7);
  browser.takeDefaults(); // what the controller has, and no zeros
  EXPECT_EQ(name(browser.save()), name(EFI_SUCCESS));
  EXPECT_EQ(rateOf(0), 41);
  EXPECT_EQ(rateOf(1), 30);
  EXPECT_EQ(name(browser.setKeyword("/StorageController/{1}/ControllerRates/RebuildRatePercent", 55)),
            name(EFI_SUCCESS));
  EXPECT_EQ(rateOf(0), 55);
  EXPECT_EQ(rateOf(1), 30);
}

TEST_F(Setup, GoesWithItsController) {
  sim::Controller *other = nullptr;
  EFI_HANDLE handle = nullptr;
  ASSERT_EQ(sim::create("demo", &other) | sim::install(other, &handle), EFI_SUCCESS);
  EXPECT_EQ(name(browser.connect(handle)), name(EFI_SUCCESS));
  EXPECT_EQ(browser.titles(),
            (std::vector<std::string>{"Harrier R6 Integrated, PCI 03:00.0", "Harrier R6 Integrated, PCI 03:00.0 (2)"}));
  EXPECT_NE(browser.path(0), browser.path(1));
  browser.open(1);
  browser.enter("Virtual disks");
  // Firmware walks the forms for as long as somebody looks at them; they say that nobody answers.
  EXPECT_EQ(name(world.services->DisconnectController(handle, nullptr, nullptr)), name(EFI_SUCCESS));
  EXPECT_EQ(sim::destroy(other), EFI_SUCCESS);
  EXPECT_EQ(browser.titles().size(), 2u);
  browser.back();
  EXPECT_TRUE(shows("The controller does not answer")) << browser.shown();
  browser.close();
  // Another one takes the place. One that goes without a word is noticed when the page is used.
  handle = nullptr;
  ASSERT_EQ(sim::create("demo", &other) | sim::install(other, &handle), EFI_SUCCESS);
  EXPECT_EQ(name(browser.connect(handle)), name(EFI_SUCCESS));
  EXPECT_EQ(browser.titles().size(), 2u);
  EXPECT_EQ(name(world.services->DisconnectController(handle, nullptr, nullptr)), name(EFI_SUCCESS));
  EXPECT_EQ(sim::destroy(other), EFI_SUCCESS);
  EXPECT_EQ(browser.titles().size(), 1u);
  browser.open(0);
  browser.enter("Disks");
  EXPECT_EQ(name(world.removeController()), name(EFI_SUCCESS));
  browser.enter("Slot 1");
  EXPECT_TRUE(shows("There are none.")) << browser.shown();
}

class SetupOfLarge : public Setup {
protected:
  SetupOfLarge() : Setup("large") {}
};

TEST_F(SetupOfLarge, HasAllDisks) {
  browser.open();
  browser.enter("Disks: 240");
  EXPECT_GE(browser.lines().size(), 240u);
  EXPECT_LT(browser.screens().forms.size(), 12u);
}
