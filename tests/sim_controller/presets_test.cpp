// Presets are sound and come back from their records; damaged states are noticed.
#include "tests/sim_controller/commands.h"

class Presets : public testing::TestWithParam<const char *> {};
INSTANTIATE_TEST_SUITE_P(All, Presets, testing::Values("demo", "direct", "sas", "empty", "large"));

// What was read, created again from its records after a reset, is what it was: a restore may expect that.
TEST_P(Presets, ComesBackFromItsRecords) {
  World world(bare(GetParam()));
  ASSERT_STREQ(simStateFault(world.sim), nullptr);
  Records<RAID_PD_RECORD> disks(world, RAID_OBJECT_PHYSICAL_DISK);
  Records<RAID_VD_RECORD> volumes(world, RAID_OBJECT_VIRTUAL_DISK);
  std::string before = stateOf(world.sim);
  ASSERT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
  EXPECT_EQ(world.sim->virtualDisks.count, 0u);
  for (UINT32 i = 0; i < world.sim->disks.count; ++i) {
    const SIM_DISK &disk = world.sim->disks.items[i];
    EXPECT_TRUE(disk.state == SIM_STATE_READY && disk.usedSize == 0 && disk.vdCount == 0 && disk.hotspare == 0);
  }
  for (RAID_VD_RECORD &volume : volumes) {
    IDS members(volume.PDs, volume.PDs + volume.PDCount);
    ASSERT_EQ(name(run(world, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, members, &volume)), name(EFI_SUCCESS));
  }
  for (RAID_PD_RECORD &disk : disks) {
    if (disk.Hotspare != 0) {
      ASSERT_EQ(run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, {disk.ObjectID}, &disk), EFI_SUCCESS);
    }
  }
  for (UINT32 i = 0; i < world.sim->disks.count; ++i) {
    SIM_DISK &disk = world.sim->disks.items[i]; // a list's unused entries may hold what was in it once
    std::memset(&disk.vds[disk.vdCount], 0, sizeof(UINT32) * (SIM_DISK_VDS - disk.vdCount));
  }
  EXPECT_TRUE(before == stateOf(world.sim));
}

TEST(PresetTable, MakesOtherSizesAndRefusesOtherNames) {
  World world(bare(nullptr));
  setSystemTable(world.firmware.systemTable());
  SIM_CONTROLLER *sim = nullptr;
  EXPECT_EQ(simCreate("Demo", &sim), EFI_NOT_FOUND);
  EXPECT_EQ(sim, nullptr);
  ASSERT_EQ(simCreateSized(12, 255, 100, &sim), EFI_SUCCESS);
  EXPECT_EQ(sim->disks.count, 12u * 255);
  EXPECT_EQ(sim->virtualDisks.count, 100u);
  EXPECT_STREQ(simStateFault(sim), nullptr);
  EXPECT_EQ(simDestroy(sim), EFI_SUCCESS);
}

TEST(StateFault, FindsWhatAFileMayHoldWrong) {
  struct {
    const char *what;
    void (*damage)(SIM_CONTROLLER *sim);
  } cases[] = {
      {"text without end",
       [](SIM_CONTROLLER *sim) { std::memset(sim->disks.items[3].name, 'x', sizeof(SIM_DISK::name)); }},
      {"list longer than its room",
       [](SIM_CONTROLLER *sim) {
         SIM_DISK &disk = sim->disks.items[0];
         for (; disk.vdCount < SIM_DISK_VDS; ++disk.vdCount) {
           disk.vds[disk.vdCount] = disk.vds[0];
         }
         ++disk.vdCount; // all others are good, so only the count can give it away
       }},
      {"members beyond their room", [](SIM_CONTROLLER *sim) { sim->virtualDisks.items[0].pdCount = 1 << 20; }},
      {"unknown virtual disk", [](SIM_CONTROLLER *sim) { sim->disks.items[0].vds[0] = 99; }},
      {"disk twice", [](SIM_CONTROLLER *sim) { sim->disks.items[1].objectId = sim->disks.items[0].objectId; }},
      {"id of both kinds",
       [](SIM_CONTROLLER *sim) { sim->virtualDisks.items[4].objectId = sim->disks.items[20].objectId; }},
      {"target id twice", [](SIM_CONTROLLER *sim) { sim->virtualDisks.items[1].targetId = 0; }},
      {"member that does not know",
       [](SIM_CONTROLLER *sim) { sim->virtualDisks.items[0].pds[0] = sim->disks.items[9].objectId; }},
      {"more used than there is",
       [](SIM_CONTROLLER *sim) { sim->disks.items[0].usedSize = sim->disks.items[0].size + 1; }},
      {"state 6", [](SIM_CONTROLLER *sim) { sim->disks.items[0].state = 6; }},
      {"patrol read mode 0x0C", [](SIM_CONTROLLER *sim) { sim->adapter.patrolReadMode = 0x8C; }},
      {"key mode 3", [](SIM_CONTROLLER *sim) { sim->key.mode = 3; }},
  };
  for (const auto &row : cases) {
    World world(bare("demo"));
    ASSERT_STREQ(simStateFault(world.sim), nullptr);
    row.damage(world.sim);
    EXPECT_NE(simStateFault(world.sim), nullptr) << row.what;
  }
}
