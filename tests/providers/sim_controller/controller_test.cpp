// Answers and the books behind them, what is refused, and states that do not hold.
#include "base/text.h"
#include "tests/providers/sim_controller/commands.h"

// Each misuse of an answer of 21 disks leaves it out, is noted once and changes nothing.
TEST(Books, NoteEachMisuse) {
  World world(bare("demo"));
  // As the driver assembles a record: fresh texts, no list, though VDCount still says what was there.
  auto *stillListing = static_cast<RAID_PD_RECORD *>(poolAllocateZero(RAID_RECORD_SIZE));
  stillListing->ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  stillListing->Name = textDuplicate(u"Physical Disk 0:1");
  stillListing->VDCount = 3;
  stillListing->VDs = static_cast<UINT32 *>(poolAllocate(4));
  RAID_CMD_RESULT disks = {}, again = {}, keyId = {};
  ASSERT_EQ(execute(world, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, {}, nullptr, &disks), EFI_SUCCESS);
  ASSERT_EQ(execute(world, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, {}, nullptr, &keyId), EFI_SUCCESS);
  ASSERT_EQ(execute(world, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, {}, nullptr, &again), EFI_SUCCESS);
  EXPECT_EQ(keyId.DataSize, std::strlen(static_cast<char *>(keyId.Data)) + 1);
  UINT32 count = disks.DataSize >> RAID_RECORD_SHIFT;
  ASSERT_EQ(giveBack(world, again), EFI_SUCCESS);
  auto freeRecords = [&](void *data, UINT32 records) {
    return world.sim->protocol.FreeRecords(&world.sim->protocol, data, records);
  };
  struct {
    const char *what;
    void *data;
    UINT32 count;
  } cases[] = {{"one too few", disks.Data, count - 1},
               {"single of many", disks.Data, 1},
               {"from the middle", static_cast<UINT8 *>(disks.Data) + RAID_RECORD_SIZE, count - 1},
               {"null", nullptr, 0},
               {"twice", again.Data, 1},
               {"text as a record", keyId.Data, 1},
               {"with a list", stillListing, 1}};
  uint64_t live = world.firmware.pool().liveAllocations;
  UINT32 mistakes = 0;
  for (const auto &row : cases) {
    EXPECT_EQ(name(freeRecords(row.data, row.count)), name(EFI_INVALID_PARAMETER)) << row.what;
    EXPECT_EQ(world.sim->books.mistakeCount, ++mistakes) << row.what;
    EXPECT_EQ(world.firmware.pool().liveAllocations, live) << row.what;
  }
  EXPECT_EQ(freeRecords(disks.Data, count), EFI_SUCCESS);
  EXPECT_EQ(freeRecords(keyId.Data, 0), EFI_SUCCESS);
  EXPECT_FALSE(booksBalanced(&world.sim->books)) << "mistakes are not forgotten";
  world.sim->books.mistakeCount = 0;

  // What was no copy becomes one.
  poolFree(stillListing->VDs);
  stillListing->VDs = nullptr;
  EXPECT_EQ(freeRecords(stillListing, 1), EFI_SUCCESS);
  EXPECT_EQ(world.sim->books.driverCopies, 1u);
  world.expectBalanced();
}

TEST(Commands, RefuseUnknownObjectsAndKinds) {
  World world(bare("demo"));
  UINT32 disk = world.sim->disks.items[0].record.ObjectID, volume = world.sim->virtualDisks.items[0].record.ObjectID;
  EXPECT_EQ(run(world, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, {volume, disk}), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_GET, RAID_OBJECT_BATTERY), EFI_UNSUPPORTED);
  EXPECT_EQ(run(world, RAID_COMMAND_GET_BOUNDS, RAID_OBJECT_ADAPTER), EFI_UNSUPPORTED);
  EXPECT_EQ(run(world, RAID_COMMAND_IDENTIFY, RAID_OBJECT_ENCLOSURE), EFI_INVALID_PARAMETER);
  EXPECT_EQ(run(world, RAID_COMMAND_CHECK, RAID_OBJECT_VIRTUAL_DISK, {volume, 99}), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER), EFI_INVALID_PARAMETER);
}

// A key's id may fill its field; its passphrase counts to the last character.
TEST(Key, IsExchangedForItsWholePassphrase) {
  World world(bare("empty"));
  auto send = [&](UINT32 command, const std::string &id, const char *passphrase, const char *old) {
    RAID_KEY_RECORD records[2] = {};
    std::memcpy(records[0].KeyID, id.data(), id.size());
    std::strcpy(reinterpret_cast<char *>(records[0].Passphrase), passphrase);
    std::strcpy(reinterpret_cast<char *>(records[1].Passphrase), old);
    return run(world, command, RAID_OBJECT_ADAPTER, {}, records);
  };
  std::string longest(RAID_KEY_ID_SIZE, 'K');
  EXPECT_EQ(send(RAID_COMMAND_LOCK, longest, "pass", ""), EFI_SUCCESS);
  EXPECT_EQ(send(RAID_COMMAND_REKEY, "", "new", "pas"), EFI_SECURITY_VIOLATION);
  EXPECT_EQ(send(RAID_COMMAND_REKEY, "", "new", "pass"), EFI_SUCCESS);
  EXPECT_EQ(world.sim->key.keyId, longest);
}

TEST(Key, IsKeptWhileAVirtualDiskNeedsIt) {
  World world(bare("demo"));
  ASSERT_EQ(create(world, /* RAID 1 */ 4, {1009, 1010}, 0, RAID_VD_ATTRIBUTE_FDE), EFI_SUCCESS);
  EXPECT_EQ(simFindDisk(world.sim, 1009)->record.SecureState, 1u);
  EXPECT_EQ(run(world, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER), EFI_ACCESS_DENIED);
  ASSERT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
  EXPECT_EQ(simFindDisk(world.sim, 1009)->record.SecureState, 0u);
  EXPECT_EQ(run(world, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
}

TEST(StateFault, FindsWhatAFileMayHoldWrong) {
  struct {
    const char *what;
    void (*damage)(SIM_CONTROLLER *sim, SIM_DISK &disk, SIM_VIRTUAL_DISK &volume);
  } cases[] = {
      {"text without end", [](auto, auto &disk, auto &) { std::memset(disk.Name, 'x', sizeof(disk.Name)); }},
      {"list longer than its room",
       [](auto, auto &disk, auto &) {
         for (; disk.record.VDCount < SIM_DISK_VDS; ++disk.record.VDCount) {
           disk.VDs[disk.record.VDCount] = disk.VDs[0];
         }
         ++disk.record.VDCount; // all others are good, so only the count can give it away
       }},
      {"members beyond their room", [](auto, auto &, auto &volume) { volume.record.PDCount = 1 << 20; }},
      {"unknown virtual disk", [](auto, auto &disk, auto &) { disk.VDs[0] = 99; }},
      {"id of both kinds", [](auto sim, auto &, auto &) { sim->virtualDisks.items[4].record.ObjectID = 1021; }},
      {"target id twice", [](auto sim, auto &, auto &) { sim->virtualDisks.items[1].record.TargetID = 0; }},
      {"more used than there is", [](auto, auto &disk, auto &) { disk.record.UsedSize = disk.record.Size + 1; }},
      {"state 6", [](auto, auto &disk, auto &) { disk.record.State = 6; }},
      {"patrol read mode 0x0C", [](auto sim, auto &, auto &) { sim->adapter.record.PatrolReadMode = 0x8C; }},
      {"key mode 3", [](auto sim, auto &, auto &) { sim->key.mode = 3; }},
  };
  for (const auto &row : cases) {
    World world(bare("demo"));
    ASSERT_STREQ(simStateFault(world.sim), nullptr);
    row.damage(world.sim, world.sim->disks.items[0], world.sim->virtualDisks.items[0]);
    EXPECT_NE(simStateFault(world.sim), nullptr) << row.what;
  }
}
