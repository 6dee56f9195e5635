// Presets, answers and the books behind them, what is refused, and states that do not hold.
#include "base/text.h"
#include "tests/sim_controller/commands.h"

TEST(Presets, AreSoundAndOfEverySize) {
  for (const char *preset : {"demo", "direct", "sas", "empty", "large"}) {
    EXPECT_STREQ(simStateFault(World(bare(preset)).sim), nullptr) << preset;
  }
  World world(bare("empty"));
  SIM_CONTROLLER *sim = nullptr;
  EXPECT_EQ(simCreate("Demo", &sim), EFI_NOT_FOUND);
  EXPECT_EQ(sim, nullptr);
  ASSERT_EQ(simCreateSized(12, 255, 100, &sim), EFI_SUCCESS);
  EXPECT_TRUE(sim->disks.count == 12 * 255 && sim->virtualDisks.count == 100);
  EXPECT_STREQ(simStateFault(sim), nullptr);
  EXPECT_EQ(simDestroy(sim), EFI_SUCCESS);
}

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
  } cases[] = {
      {"one too few", disks.Data, count - 1},
      {"single of many", disks.Data, 1},
      {"from the middle", static_cast<UINT8 *>(disks.Data) + RAID_RECORD_SIZE, count - 1},
      {"null", nullptr, 0},
      {"twice", again.Data, 1},
      {"text as a record", keyId.Data, 1},
      {"with a list", stillListing, 1},
  };
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

// Leaves an array room for no more than it holds, or for one.
template <class T> static void fit(POOL_ARRAY<T> &array) {
  UINT32 capacity = array.count == 0 ? 1 : array.count;
  T *items = poolNew<T>(capacity);
  std::memcpy(static_cast<void *>(items), array.items, sizeof(T) * array.count);
  poolFree(array.items);
  array.items = items;
  array.capacity = capacity;
}

// Two answers are out at once.
static EFI_STATUS holdTwo(World &world) {
  RAID_CMD_RESULT first = {};
  EFI_STATUS status = execute(world, RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE, {}, nullptr, &first);
  if (!EFI_ERROR(status)) {
    status = run(world, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK);
    giveBack(world, first);
  }
  return status;
}

// Everything that needs memory gives all of it back when there is not enough, and has changed nothing then.
TEST(Memory, RunsOutWithoutALeak) {
  static EFI_STATUS (*const steps[])(World &) = {
      holdTwo,
      [](World &world) { return run(world, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER); },
      [](World &world) {
        return create(world, /* RAID 0 */ 2, {1019, 1020});
      },
      [](World &world) { return simReplaceAdapter(world.sim); },
      [](World &world) { return run(world, RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER); },
  };
  SWEEP sweep;
  sweep.world = bare("demo");
  sweep.prepare = [](World &world) {
    fit(world.sim->books.out);
    fit(world.sim->virtualDisks);
    fit(world.sim->foreignDisks);
  };
  sweep.operation = [](World &world) {
    EFI_STATUS status = EFI_SUCCESS;
    for (size_t i = 0; i < std::size(steps) && !EFI_ERROR(status); ++i) {
      KEPT_STATE before(world.sim);
      status = steps[i](world);
      EXPECT_TRUE(!EFI_ERROR(status) || before.isIn(world.sim));
    }
    return status;
  };
  sweep.afterFailure = [](World &, EFI_STATUS status) { EXPECT_EQ(name(status), name(EFI_OUT_OF_RESOURCES)); };
  sweepAllocations(sweep);
}

TEST(Commands, RefuseUnknownObjectsKindsAndPlaces) {
  World world(bare("demo"));
  UINT32 disk = world.sim->disks.items[0].record.ObjectID, volume = world.sim->virtualDisks.items[0].record.ObjectID;
  EXPECT_EQ(run(world, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, {volume, disk}), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_GET, RAID_OBJECT_BATTERY), EFI_UNSUPPORTED);
  EXPECT_EQ(run(world, RAID_COMMAND_GET_BOUNDS, RAID_OBJECT_ADAPTER), EFI_UNSUPPORTED);
  EXPECT_EQ(run(world, RAID_COMMAND_IDENTIFY, RAID_OBJECT_ENCLOSURE), EFI_INVALID_PARAMETER);
  EXPECT_EQ(run(world, RAID_COMMAND_CHECK, RAID_OBJECT_VIRTUAL_DISK, {volume, 99}), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER), EFI_INVALID_PARAMETER);
  SIM_DRIVE drive = {1 << 30, 0x10, 0};
  UINT32 shelf = world.sim->enclosures.items[0].record.ObjectID;
  EXPECT_EQ(simInsertDisk(world.sim, shelf, 3, drive), EFI_ALREADY_STARTED);
  EXPECT_EQ(simInsertDisk(world.sim, shelf, 12, drive), EFI_NOT_FOUND);
  EXPECT_EQ(simInsertDisk(world.sim, 9, 0, drive), EFI_NOT_FOUND);
  EXPECT_EQ(simInsertDisk(world.sim, shelf, 11, drive), EFI_SUCCESS);
  for (EFI_STATUS status : {simPullDisk(world.sim, 99), simFailDisk(world.sim, 99), simReplaceDisk(world.sim, 99, 0),
                            simSwapDisks(world.sim, disk, 99)}) {
    EXPECT_EQ(status, EFI_NOT_FOUND);
  }
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
      {"disk twice", [](auto sim, auto &disk, auto &) { sim->disks.items[1].record.ObjectID = disk.record.ObjectID; }},
      {"id of both kinds", [](auto sim, auto &, auto &) { sim->virtualDisks.items[4].record.ObjectID = 1021; }},
      {"target id twice", [](auto sim, auto &, auto &) { sim->virtualDisks.items[1].record.TargetID = 0; }},
      {"member that does not know", [](auto, auto &, auto &volume) { volume.PDs[0] = 1010; }},
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
