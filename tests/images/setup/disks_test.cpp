// The page of the controller over the machine's disks: a virtual disk made by keys, and a member that is gone for good.
#include "tests/images/setup/browser.h"
#include "tests/providers/disk_controller/machine.h"

TEST(SetupOfDisks, RecordsAMissingMemberAsFailed) {
  Disks disks(3, {testDiskSectors, {}});
  Machine machine(disks);
  machine.mayWrite = true;
  Browser browser(machine);
  EXPECT_EQ(name(browser.connect(machine.controller)), name(EFI_SUCCESS));
  EXPECT_EQ(browser.titles(), std::vector<std::string>{"RAID over the machine's disks, number 1"});
  browser.open();
  browser.enter("Create");
  browser.choose("Level", "RAID 1");
  browser.type("Name", "two words");
  EXPECT_NE(browser.shown().find("That is no name"), std::string::npos) << browser.shown();
  browser.type("Name", "Mirror");
  for (const char *disk : {"251:0", "251:2"}) {
    browser.set(disk, 1);
  }
  std::string form = browser.shown();
  browser.press("Create it");
  ASSERT_NE(browser.shown().find("Mirror was created."), std::string::npos) << form << browser.shown();

  machine.devices[2].reset();
  browser.open();
  EXPECT_NE(browser.shown().find("Virtual disk Mirror, RAID 1: 1 of 2 disks missing"), std::string::npos)
      << browser.shown();
  browser.enter("Virtual disks");
  browser.enter("Mirror");
  size_t writes = machine.book.writes;
  browser.enter("Record disk");
  browser.press("Record it as failed");
  EXPECT_EQ(machine.book.writes, writes); // without the tick
  browser.set("I am sure", 1);
  browser.press("Record it as failed");
  EXPECT_NE(browser.shown().find("is recorded as failed."), std::string::npos) << browser.shown();
  EXPECT_GT(machine.book.writes, writes);
  browser.close();
  EXPECT_EQ(name(machine.services->DisconnectController(machine.controller, nullptr, nullptr)), name(EFI_SUCCESS));
}
