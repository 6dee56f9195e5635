// Answers: the books behind them, their memory, planned faults and the log of commands.
#include "base/text.h"
#include "tests/sim_controller/commands.h"

static EFI_STATUS freeRecords(World &world, void *data, UINT32 count) {
  return world.sim->protocol.FreeRecords(&world.sim->protocol, data, count);
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
  UINT32 count = disks.DataSize >> RAID_RECORD_SHIFT;
  ASSERT_EQ(giveBack(world, again), EFI_SUCCESS);
  auto *second = static_cast<UINT8 *>(disks.Data) + RAID_RECORD_SIZE;
  struct {
    const char *what;
    void *data;
    UINT32 count;
  } cases[] = {
      {"one too few", disks.Data, count - 1},
      {"single of many", disks.Data, 1},
      {"from the middle", second, count - 1},
      {"null", nullptr, 0},
      {"twice", again.Data, 1},
      {"text as a record", keyId.Data, 1},
      {"with a list", stillListing, 1},
  };
  uint64_t live = world.firmware.pool().liveAllocations;
  UINT32 mistakes = 0;
  for (const auto &row : cases) {
    EXPECT_EQ(name(freeRecords(world, row.data, row.count)), name(EFI_INVALID_PARAMETER)) << row.what;
    EXPECT_EQ(world.sim->books.mistakeCount, ++mistakes) << row.what;
    EXPECT_EQ(world.firmware.pool().liveAllocations, live) << row.what;
  }
  EXPECT_EQ(freeRecords(world, disks.Data, count), EFI_SUCCESS);
  EXPECT_EQ(freeRecords(world, keyId.Data, 0), EFI_SUCCESS);
  EXPECT_FALSE(simBooksBalanced(world.sim)) << "mistakes are not forgotten";
  world.sim->books.mistakeCount = 0;
  EXPECT_TRUE(simBooksBalanced(world.sim));

  // What was no copy becomes one.
  poolFree(stillListing->VDs);
  stillListing->VDs = nullptr;
  EXPECT_EQ(freeRecords(world, stillListing, 1), EFI_SUCCESS);
  EXPECT_EQ(world.sim->books.driverCopies, 1u);
  world.expectBalanced();
}

// Leaves an array room for no more than it holds, or for one.
template <class T> static void fit(SIM_ARRAY<T> &array) {
  UINT32 capacity = array.count == 0 ? 1 : array.count;
  T *items = poolNew<T>(capacity);
  std::memcpy(static_cast<void *>(items), array.items, sizeof(T) * array.count);
  poolFree(array.items);
  array.items = items;
  array.capacity = capacity;
}

static EFI_STATUS holdTwo(World &world) {
  Records<RAID_ENCLOSURE_RECORD> first(world, RAID_OBJECT_ENCLOSURE);
  return EFI_ERROR(first.status) ? first.status : run(world, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK);
}

// Everything that needs memory gives all of it back when there is not enough, and has changed nothing then.
TEST(Memory, RunsOutWithoutALeak) {
  SWEEP sweep;
  sweep.world = bare("demo");
  sweep.prepare = [](World &world) {
    fit(world.sim->answers);
    fit(world.sim->virtualDisks);
    fit(world.sim->foreignDisks);
  };
  sweep.operation = [](World &world) {
    EFI_STATUS(*const steps[])
    (World &) = {holdTwo, [](World &w) { return run(w, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER); },
                 [](World &w) {
                   return create(w, 0x2, disksIn(w, 1, {6, 7}));
                 },
                 [](World &w) { return simReplaceAdapter(w.sim); },
                 [](World &w) { return run(w, RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER); }};
    for (auto step : steps) {
      std::string before = stateOf(world.sim);
      EFI_STATUS status = step(world);
      if (EFI_ERROR(status)) {
        EXPECT_TRUE(before == stateOf(world.sim));
        return status;
      }
    }
    return EFI_STATUS{EFI_SUCCESS};
  };
  sweep.afterFailure = [](World &, EFI_STATUS status) { EXPECT_EQ(name(status), name(EFI_OUT_OF_RESOURCES)); };
  sweepAllocations(sweep);
}
