// Jobs that are staged on a machine: what is written and refused, and what is left after any cut of the power.
#include "tests/host/stage/fake_machine.h"

using namespace xyl;

using Files = FakeMachine::Files;

class Stage : public testing::Test {
  World world_{"empty"}; // the client's memory
};

static void expectSaid(const FakeMachine &machine, const std::string &part) {
  EXPECT_NE(machine.said.find(part), std::string::npos) << part << "\n" << machine.said;
}

// Tells only what differs.
static void expectSame(const FakeMachine &machine, Files wanted) {
  Files now = machine.state();
  for (const auto &[path, content] : wanted) {
    EXPECT_TRUE(now.count(path) != 0 && now[path] == content) << path << "\n" << machine.said;
    now.erase(path);
  }
  for (const auto &[path, content] : now) {
    ADD_FAILURE() << path << " was not there\n" << machine.said;
  }
}

TEST_F(Stage, PutsTheMediumThereAndOrdersItsBootOnce) {
  FakeMachine machine;
  Files before = machine.state();
  ASSERT_EQ(machine.run({"@job"}), 0) << machine.said;
  expectSaid(machine, "Boot0002 \"RAID job (once)\": it does the job once, and restarts.\n"
                      "The boot order stays as it is (Boot0003, Boot0001)");
  // Number, first block and blocks of the partition, its GUID, GPT and GUID; a file; the end. Boot0003 is free, but in
  // the order.
  std::string disk = std::string("\4\1\x2A\0\2\0\0\0\0\x10\0\0\0\0\0\0\0\x10\0\0\0\0\0\0", 24) +
                     "\x80\x81\x82\x83\x84\x85\x86\x87\x88\x89\x8A\x8B\x8C\x8D\x8E\x8F\2\2";
  std::string name, file;
  for (char letter : std::string("RAID job (once)") + '\0') {
    name += {letter, '\0'};
  }
  for (char letter : std::string("\\EFI\\raidxyl\\RaidBoot.efi") + '\0') {
    file += {letter, '\0'};
  }
  EXPECT_EQ(machine.value("Boot0002"), std::string("\1\0\0\0\x66\0", 6) + name + disk + std::string("\4\4\x38\0", 4) +
                                           file + std::string("\x7F\xFF\4\0", 4));
  EXPECT_EQ(machine.value("BootNext"), std::string("\2\0", 2));
  Files after = machine.state();
  for (const auto &[path, content] : before) {
    EXPECT_EQ(after[path], content) << path;
  }
  const std::string home = "boot/efi/EFI/raidxyl/", work = "boot/efi/raidxyl/";
  EXPECT_EQ(after[home + "RaidBoot.efi"], machine.read("images/RaidBoot.efi"));
  EXPECT_EQ(after[home + "x64/Maker.efi"], FakeMachine::image());
  EXPECT_EQ(after[work + "saved/box.xml"], "<Inventory/>");
  EXPECT_EQ(after[work + "medium.id"].size(), 32u);
  // Those of before, two variables, seven files, what stage keeps, and four folders.
  EXPECT_EQ(after.size(), before.size() + 2 + 7 + 1 + 4);
  EXPECT_EQ(machine.run({"--result", "@out"}), 3);
  expectSaid(machine, "the machine was not restarted since");
  machine.write("proc/sys/kernel/random/boot_id", "second\n");
  EXPECT_EQ(machine.run({"--result", "@out"}), 3);
  expectSaid(machine, "the firmware has not booted what it was told to");
  EXPECT_EQ(machine.run({"--cancel"}), 0) << machine.said;
  expectSame(machine, before);
}

TEST_F(Stage, TellsAndTakesWhatAJobLeft) {
  const std::string name = "results/SN-1.json";
  const std::string line = "{\"line\": 1, \"command\": \"verify saved\\\\box.xml\", \"state\": \"ran\", \"outcome\": ";
  const struct {
    std::string what;
    Files left;
    int code;
    std::string said;
    Files fetched;
  } rows[] = {
      {"done",
       {{name, "\"done\", \"lines\": [" + line + "\"ok\"}]"}, {"saved/after.xml", "<a/>"}},
       0,
       "The job is done\n   1  ok           verify saved\\box.xml\n",
       {{"files/saved/after.xml", "<a/>"}}},
      {"an input is written over",
       {{name, "\"done\""}, {"saved/box.xml", "<b/>"}},
       0,
       "is done",
       {{"files/saved/box.xml", "<b/>"}}},
      {"different", {{name, "\"done\", \"lines\": [" + line + "\"different\"}]"}}, 1, "   1  different", {}},
      {"failed", {{name, "\"done\", \"lines\": [" + line + "\"failed\"}]"}}, 4, "   1  failed", {}},
      {"cut off",
       {{name, "\"running\""}, {"results/SN-1.lines", line + "null}\n{\"li"}},
       4,
       "was cut off: the power went, or somebody or a limit reset the machine\n   1  ran  ",
       {{"result.lines", line + "null}\n{\"li"}}},
      {"refused", {{name, "\"refused\", \"mistakes\": \"no %SERIAL%\""}}, 4, "nothing ran: no %SERIAL%", {}},
      {"a driver that was not loaded",
       {{name, "\"done\", \"drivers\": [{\"file\": \"Maker.efi\", \"status\": \"Access Denied\"}]"}},
       0,
       "Driver Maker.efi: Access Denied",
       {}},
      {"cut off while the result took its place", {{name + ".xyl-new", "\"done\""}}, 0, "is done", {}},
      {"half a result", {{name, ""}}, 4, "left files, and no whole result", {{"files/" + name, "{\"job"}}},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    FakeMachine machine;
    Files before = machine.state();
    ASSERT_EQ(machine.run({"@job"}), 0) << machine.said;
    Files left = row.left;
    Files fetched = row.fetched;
    for (auto &[place, content] : left) {
      if (place.find(".json") != std::string::npos && !content.empty()) {
        content = fetched["result.json"] = machine.result(content);
      }
      content = place == name && content.empty() ? "{\"job" : content;
    }
    machine.boot(left);
    // It is not lost by whatever else is tried first.
    EXPECT_EQ(machine.run({"--cancel"}), 4);
    EXPECT_EQ(machine.run({"@job"}), 4);
    expectSaid(machine, "has begun");
    EXPECT_EQ(machine.run({"--result", "@boot/efi/out"}), 2);
    machine.write("out/" + fetched.begin()->first, "mine");
    EXPECT_EQ(machine.run({"--result", "@out"}), 4);
    expectSaid(machine, "exists");
    std::filesystem::remove_all(machine.path("out"));
    auto full = [&machine] { // until something is gone, since the job wrote until there was no room
      if (machine.has("boot/efi/EFI/raidxyl/fetched") && machine.has("boot/efi/EFI/raidxyl/RaidBoot.efi")) {
        throw host::ClientError(EFI_VOLUME_FULL, "full");
      }
    };
    EXPECT_EQ(machine.run({"--result", "@out"}, full), row.code) << machine.said;
    expectSaid(machine, row.said);
    expectSame(machine, before);
    for (const auto &[path, content] : fetched) {
      EXPECT_EQ(machine.read("out/" + path), content) << path;
    }
    EXPECT_EQ(machine.run({"--result", "@out"}), 3);
    expectSaid(machine, "nothing is staged");
  }
}

TEST_F(Stage, RefusesBeforeAnythingIsWritten) {
  using M = FakeMachine;
  const std::string esp = "30 1 8:2 / /boot/efi rw - vfat /dev/sda2 rw\n";
  const struct {
    std::string said;
    std::function<void(M &)> prepare;
    int code = 4;
    std::vector<std::string> arguments = {"@job"};
  } rows[] = {
      {"was not started by UEFI",
       [](M &m) { std::filesystem::rename(m.path("sys/firmware/efi"), m.path("sys/firmware/no")); }},
      {"firmware has 32 bits", [](M &m) { m.write("sys/firmware/efi/fw_platform_size", "32\n"); }},
      {"variables are not mounted", [&](M &m) { m.mounts(esp); }, 3},
      {"variables are mounted read-only",
       [&](M &m) { m.mounts("25 1 0:22 / /sys/firmware/efi/efivars ro - efivarfs efivarfs rw\n" + esp); }},
      {"no EFI system partition is mounted", [](M &m) { m.mounts(M::efivarfs); }, 3},
      {"several EFI system partitions are mounted (/boot/efi, /efi)",
       [&](M &m) {
         std::filesystem::create_symlink("../../devices/sda/sda2", m.path("sys/dev/block/8:18"));
         m.mounts(M::efivarfs + esp + "31 1 8:18 / /efi rw - vfat /dev/sdb2 rw\n");
       }},
      {"'/boot/efi' is mounted read-only",
       [](M &m) { m.mounts(M::efivarfs + "30 1 8:2 / /boot/efi ro - vfat x rw\n"); }},
      {"no FAT file system is mounted at '/mnt'", [](M &) {}, 3, {"@job", "--esp", "/mnt"}},
      {"no partition that firmware finds",
       [&](M &m) { m.write("sys/devices/sda/sda2/partition", ""); },
       4,
       {"@job", "--esp", "/boot/efi"}},
      {"no whole GPT",
       [](M &m) {
         std::string disk = m.disk();
         disk[1024 + 300] ^= 1;
         m.write("dev/sda", disk);
       },
       4,
       {"@job", "--esp", "/boot/efi"}},
      {"another place than the disk's partition table", [](M &m) { m.write("sys/devices/sda/sda2/start", "4097\n"); }},
      {"no images for the processor riscv64", [](M &m) { m.processor = "riscv64"; }},
      {"Maker.efi' is no image for this machine",
       [](M &m) { m.write("job/drivers/x64/Maker.efi", m.image(false, '\x65')); }},
      {"cannot read '", [](M &m) { std::filesystem::remove(m.path("images/XmlService.efi")); }, 3},
      {"Maker.efi' is not signed",
       [](M &m) {
         m.variable("SecureBoot", "\1");
         for (const char *name : {"RaidBoot.efi", "RaidXyl.efi", "XmlService.efi"}) {
           m.write(std::string("images/") + name, m.image(true));
         }
       }},
      {"RaidBoot.efi' is not signed",
       [](M &m) {
         m.variable("SecureBoot", "\1");
         m.write("images/RaidBoot.efi", m.image(true).substr(0, 540)); // cut within its signature
       }},
      {"job file, line 1:", [](M &m) { m.write("job/jobs.txt", "verify\n"); }, 2},
      {"cannot read '", [](M &m) { std::filesystem::remove(m.path("job/jobs.txt")); }, 3},
      {"a name has none of", [](M &m) { m.write("job/a:b", ""); }},
      {"a name has none of", [](M &m) { m.write("job/\xE9", ""); }},
      {"a name has none of", [](M &m) { m.write("job/saved./b", ""); }},
      {"are one name", [](M &m) { m.write("job/SAVED/box.xml", ""); }},
      {"raidxyl' is in the way", [](M &m) { m.write("boot/efi/raidxyl/jobs.txt", "of somebody"); }},
      {"EFI/raidxyl' is in the way", [](M &m) { m.write("boot/efi/EFI/raidxyl/x64/RaidVolumes.efi", "of somebody"); }},
      {"stage.json' is in the way", [](M &m) { m.write("boot/efi/EFI/raidxyl/stage.json", "{}"); }},
      {"BootNext is Boot0001 \"Ab\"",
       [](M &m) {
         m.variable("Boot0001", std::string("\1\0\0\0\4\0A\0b\0\0\0\x7F\xFF\4\0", 16));
         m.variable("BootNext", std::string("\1\0", 2));
       }},
      {"'/boot/efi' has room for 1.04 MB, and files and results want 1.07 MB",
       [](M &m) { m.room = [](const std::filesystem::path &) {
                    return host::stage::Room{1040000, 2048};
                  }; }},
      {"exclude each other", [](M &) {}, 2, {"--result", "--cancel"}},
      {"--cancel takes no folder", [](M &) {}, 2, {"--cancel", "@job"}},
      {"needs an argument DIR", [](M &) {}, 2, {}},
      {"nothing is staged", [](M &) {}, 3, {"--cancel"}},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.said);
    FakeMachine machine;
    row.prepare(machine);
    bool hasVariables = machine.has("sys/firmware/efi/efivars");
    Files before = hasVariables ? machine.state() : Files();
    EXPECT_EQ(machine.run(row.arguments), row.code) << machine.said;
    expectSaid(machine, row.said);
    EXPECT_EQ(hasVariables ? machine.state() : Files(), before);
  }
}

// Lets the power go before the Nth change of a run, or that change fail; whether there was one.
static bool runCut(FakeMachine &machine, const std::vector<std::string> &arguments, int at, bool isFault) {
  int count = 0;
  auto before = [&] {
    if (++count == at) {
      isFault ? throw host::ClientError(EFI_DEVICE_ERROR, "a fault") : throw PowerCut();
    }
  };
  try {
    machine.run(arguments, before);
  } catch (const PowerCut &) {
  }
  return count >= at;
}

// What any cut of any run must leave: the boot order, what is not ours, and no order to boot what is not all there.
static void expectWhole(const FakeMachine &machine, const Files &before, const Files &staged) {
  Files now = machine.state();
  for (const auto &[path, content] : before) {
    EXPECT_EQ(now[path], content) << path;
  }
  if (!machine.value("BootNext").empty()) {
    for (const auto &[path, content] : staged) {
      bool isOwn = path.ends_with("stage.json") || path.ends_with("medium.id"); // of each staging another
      EXPECT_TRUE(isOwn ? now.count(path) != 0 : now[path] == content) << path;
    }
  }
}

TEST_F(Stage, AnyCutIsHealedByTheNextRun) {
  Files before, staged;
  {
    FakeMachine machine;
    before = machine.state();
    ASSERT_EQ(machine.run({"@job"}), 0) << machine.said;
    staged = machine.state();
  }
  int at = 1;
  for (bool isCut = true; isCut; ++at) {
    SCOPED_TRACE(at);
    FakeMachine cancelled, again, failing;
    isCut = runCut(cancelled, {"@job"}, at, /* isFault= */ false);
    expectWhole(cancelled, before, staged);
    cancelled.run({"--cancel"});
    std::filesystem::remove(cancelled.path("boot/efi/EFI/raidxyl")); // cut while nothing was in it yet
    expectSame(cancelled, before);
    runCut(again, {"@job"}, at, /* isFault= */ false);
    EXPECT_EQ(again.run({"@job"}), isCut ? 0 : 4) << again.said;
    expectWhole(again, before, staged);
    EXPECT_FALSE(again.value("BootNext").empty());
    EXPECT_EQ(runCut(failing, {"@job"}, at, /* isFault= */ true), isCut);
    isCut ? expectSame(failing, before) : void();
    EXPECT_EQ(failing.run({"@job"}), isCut ? 0 : 4) << failing.said;
  }
  EXPECT_GT(at, 30);
}

TEST_F(Stage, ResultsAreSafeWheneverCleaningUpIsCut) {
  int at = 1;
  for (bool isCut = true; isCut; ++at) {
    SCOPED_TRACE(at);
    FakeMachine machine;
    Files before = machine.state();
    ASSERT_EQ(machine.run({"@job"}), 0) << machine.said;
    machine.boot({{"results/SN.json", machine.result("\"done\"")}, {"saved/after.xml", "<a/>"}});
    isCut = runCut(machine, {"--result", "@out"}, at, /* isFault= */ false);
    EXPECT_EQ(machine.read("out/result.json"), machine.result("\"done\""));
    EXPECT_EQ(machine.read("out/files/saved/after.xml"), "<a/>");
    // Another job is staged over what is left, or the same is asked for again, once more over a cut.
    FakeMachine::Files left = machine.state();
    if (at % 2 == 0) {
      runCut(machine, {"--result", "@out", "--force"}, 3, /* isFault= */ false);
      machine.run({"--result", "@out", "--force"});
      std::filesystem::remove(machine.path("boot/efi/EFI/raidxyl"));
      expectSame(machine, before);
    } else if (machine.run({"@job"}) != 0) {
      expectSaid(machine, "fetch what it left");
      expectSame(machine, left);
    }
  }
  EXPECT_GT(at, 20);
}

TEST_F(Stage, WhatOthersPutThereStays) {
  FakeMachine machine;
  ASSERT_EQ(machine.run({"@job"}), 0) << machine.said;
  machine.write("boot/efi/EFI/raidxyl/x64/other.txt", "of somebody");
  machine.variable("Boot0002", std::string("\1\0\0\0\4\0A\0b\0\0\0\x7F\xFF\4\0", 16)); // the number went to another one
  EXPECT_EQ(machine.run({"--cancel"}), 0) << machine.said;
  expectSaid(machine, "Left, since this command did not make it: EFI/raidxyl/x64/other.txt");
  EXPECT_TRUE(machine.has("boot/efi/EFI/raidxyl/x64/other.txt"));
  EXPECT_EQ(machine.value("BootNext") + machine.value("Boot0002").substr(6, 1), std::string("\2\0A", 3));
}

// What is not known by its name would later pass for a result.
TEST_F(Stage, AFileUnderAnotherNameIsRefused) {
  FakeMachine machine;
  Files before = machine.state();
  const std::string work = "boot/efi/raidxyl/";
  EXPECT_EQ(machine.run({"@job"},
                        [&] {
                          if (machine.has(work + "saved/box.xml")) {
                            std::filesystem::rename(machine.path(work + "saved/box.xml"), machine.path(work + "b.xml"));
                            machine.write(work + "c.xml", "of somebody");
                          }
                        }),
            4);
  expectSaid(machine, "has a file 'raidxyl/b.xml', which is no name that it was given");
  before[work] = "";
  before[work + "c.xml"] = "of somebody";
  expectSame(machine, before);
}

// A firmware that could not write to the partition showed all on the console, and remembers the job.
TEST_F(Stage, TheMediumsVariableIsCleanedUp) {
  FakeMachine machine;
  Files before = machine.state();
  ASSERT_EQ(machine.run({"@job"}), 0) << machine.said;
  std::string jobs = machine.read("job/jobs.txt"), id = machine.read("boot/efi/raidxyl/medium.id");
  machine.boot({});
  // This firmware writes the way to the disk into options, and hides them.
  std::string option = machine.value("Boot0002");
  option.insert(6 + 2 * sizeof("RAID job (once)"), std::string("\2\1\x0C\0\xD0\x41\x03\x0A\0\0\0\0", 12));
  machine.variable("Boot0002", option.replace(0, 6, std::string("\x09\0\0\0\x72\0", 6)));
  EXPECT_EQ(machine.run({"--result", "@out"}), 4);
  expectSaid(machine, "the job left nothing: the staging was cut off, or the firmware did not start the image");
  machine.variable("RaidXylJob", host::stage::littleEndian(crc32Of(jobs.data(), jobs.size())) +
                                     host::stage::littleEndian(crc32Of(id.data(), id.size())));
  EXPECT_EQ(machine.run({"--result", "@out"}), 4);
  expectSaid(machine, "shown on the console");
  EXPECT_EQ(machine.run({"--cancel"}), 0) << machine.said;
  expectSame(machine, before);
  // One of another job is not ours.
  ASSERT_EQ(machine.run({"@job"}), 0);
  machine.variable("RaidXylJob", "12345678");
  EXPECT_EQ(machine.run({"--cancel"}), 0);
  EXPECT_EQ(machine.value("RaidXylJob"), "12345678");
}
