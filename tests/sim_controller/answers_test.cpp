// Answers: the books behind them, their memory, planned faults and the log of commands.
#include "base/text.h"
#include "tests/sim_controller/commands.h"

static EFI_STATUS freeRecords(World &world, void *data, UINT32 count) {
  return world.sim->protocol.FreeRecords(&world.sim->protocol, data, count);
}

// As the driver assembles it: fresh texts, no list.
static RAID_PD_RECORD *driverCopy() {
  auto *copy = static_cast<RAID_PD_RECORD *>(poolAllocateZero(RAID_RECORD_SIZE));
  copy->ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  copy->Name = textDuplicate(u"Physical Disk 0:1");
  copy->FQDD = textDuplicate(u"disk-01");
  copy->VDCount = 3; // what the record said once
  return copy;
}

// Each misuse of an answer of 21 disks leaves it out, is noted once and changes nothing.
TEST(Books, NoteEachMisuse) {
  World world(bare("demo"));
  RAID_PD_RECORD *stillListing = driverCopy();
  stillListing->VDs = static_cast<UINT32 *>(poolAllocate(4));
  RAID_PD_RECORD *otherKind = driverCopy();
  otherKind->ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  RAID_CMD_RESULT disks = {}, again = {}, keyId = {}, adapter = {};
  ASSERT_EQ(execute(world, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, {}, nullptr, &disks), EFI_SUCCESS);
  ASSERT_EQ(execute(world, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, {}, nullptr, &keyId), EFI_SUCCESS);
  ASSERT_EQ(execute(world, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, {}, nullptr, &adapter), EFI_SUCCESS);
  ASSERT_EQ(execute(world, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, {}, nullptr, &again), EFI_SUCCESS);
  EXPECT_FALSE(simBooksBalanced(world.sim));
  UINT32 count = disks.DataSize >> RAID_RECORD_SHIFT;
  ASSERT_EQ(giveBack(world, again), EFI_SUCCESS);
  auto *second = static_cast<UINT8 *>(disks.Data) + RAID_RECORD_SIZE;
  struct {
    const char *what;
    void *data;
    UINT32 count;
  } cases[] = {
      {"one too few", disks.Data, count - 1},
      {"one too many", disks.Data, count + 1},
      {"bytes", disks.Data, disks.DataSize},
      {"single of many", disks.Data, 1},
      {"none of many", disks.Data, 0},
      {"from the middle", second, count - 1},
      {"null", nullptr, 0},
      {"twice", again.Data, 1},
      {"text as a record", keyId.Data, 1},
      {"with a list", stillListing, 1},
      {"another kind", otherKind, 1},
      {"copies", otherKind, 2},
  };
  uint64_t live = world.firmware.pool().liveAllocations;
  UINT32 mistakes = 0;
  for (const auto &row : cases) {
    EXPECT_EQ(name(freeRecords(world, row.data, row.count)), name(EFI_INVALID_PARAMETER)) << row.what;
    EXPECT_EQ(world.sim->books.mistakeCount, ++mistakes) << row.what;
    EXPECT_NE(world.sim->books.mistakes[mistakes - 1].reason, nullptr);
    EXPECT_EQ(world.firmware.pool().liveAllocations, live) << row.what;
  }
  EXPECT_EQ(freeRecords(world, disks.Data, count), EFI_SUCCESS);
  EXPECT_EQ(freeRecords(world, keyId.Data, 0), EFI_SUCCESS);
  EXPECT_EQ(freeRecords(world, adapter.Data, 1), EFI_SUCCESS);
  EXPECT_FALSE(simBooksBalanced(world.sim)) << "mistakes are not forgotten";
  world.sim->books.mistakeCount = 0;
  EXPECT_TRUE(simBooksBalanced(world.sim));

  // What was no copy becomes one.
  poolFree(stillListing->VDs);
  stillListing->VDs = nullptr;
  otherKind->ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  EXPECT_EQ(freeRecords(world, stillListing, 1), EFI_SUCCESS);
  EXPECT_EQ(freeRecords(world, otherKind, 1), EFI_SUCCESS);
  EXPECT_EQ(world.sim->books.driverCopies, 2u);
  world.expectBalanced();
}

TEST(Faults, ShapeAnswers) {
  World world(bare("demo"));
  struct {
    SIM_FAULT_KIND kind;
    UINT32 bytes;
    UINT32 dataSize;
    bool hasData;
    UINT32 count; // to give back
  } cases[] = {
      {SIM_FAULT_NO_DATA, 0, 0, false, 0},   {SIM_FAULT_NULL_DATA, 1024, 1024, false, 0},
      {SIM_FAULT_SIZE, 0, 0, false, 0},      {SIM_FAULT_SIZE, 16, 16, true, 0},
      {SIM_FAULT_SIZE, 511, 511, true, 1},   {SIM_FAULT_SIZE, 1023, 1023, true, 1},
      {SIM_FAULT_EXTRA, 100, 1124, true, 2}, {SIM_FAULT_EXTRA, 512, 1536, true, 3},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(&row - cases);
    ASSERT_TRUE(simShapeAnswer(world.sim, RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE, row.kind, row.bytes));
    RAID_CMD_RESULT result = {};
    EXPECT_EQ(execute(world, RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE, {}, nullptr, &result), EFI_SUCCESS);
    EXPECT_EQ(result.DataSize, row.dataSize);
    ASSERT_EQ(result.Data != nullptr, row.hasData);
    if (row.hasData) {
      // What is there of the first record leads to live texts.
      EXPECT_TRUE(textEqual(static_cast<RAID_RECORD_HEADER *>(result.Data)->Name, u"Shelf 0"));
      EXPECT_EQ(freeRecords(world, result.Data, row.count), EFI_SUCCESS);
    }
    EXPECT_EQ(run(world, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
    EXPECT_EQ(world.sim->faultHits, 1u);
    simClearFaults(world.sim);
    world.expectBalanced();
  }
}

TEST(Faults, StrikeTheCommandsThatTheyNameFromTheirTurnOn) {
  World world(bare("demo"));
  // Gets of these object types in turn, and whether they must fail.
  auto expectGets = [&](std::vector<std::pair<UINT32, bool>> gets) {
    for (auto [objectType, fails] : gets) {
      EXPECT_EQ(run(world, RAID_COMMAND_GET, objectType), fails ? EFI_TIMEOUT : EFI_SUCCESS) << objectType;
    }
  };
  simFailCommand(world.sim, 2, true, EFI_TIMEOUT);
  expectGets({{0, false}, {2, true}, {3, false}});
  simFailCommand(world.sim, 2, false, EFI_TIMEOUT);
  expectGets({{0, false}, {2, true}, {3, true}});
  simClearFaults(world.sim);
  simFailKind(world.sim, SIM_ANY, RAID_OBJECT_ENCLOSURE, EFI_TIMEOUT);
  expectGets({{0, false}, {2, true}, {2, true}, {3, false}});
  std::string before = stateOf(world.sim);
  simFailKind(world.sim, RAID_COMMAND_DELETE, SIM_ANY, EFI_DEVICE_ERROR);
  EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER), EFI_DEVICE_ERROR);
  EXPECT_TRUE(before == stateOf(world.sim)) << "a command that fails does nothing";
  UINT32 room = SIM_FAULT_CAPACITY - world.sim->faultCount;
  for (UINT32 i = 0; i <= room; ++i) {
    EXPECT_EQ(simFailCommand(world.sim, 1, true, EFI_TIMEOUT), i < room);
  }
}

TEST(CommandLog, KeepsTheLastCommandsAsTheyCame) {
  World world(bare("demo"));
  IDS ids(100, 4711);
  UINT32 list[] = {7, 8};
  RAID_PD_RECORD record = {};
  record.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  record.Hotspare = 1;
  record.VDCount = 2;
  record.VDs = list;
  run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, ids, &record);
  RAID_KEY_RECORD keys[2] = {};
  keys[1].Passphrase[0] = 'p';
  run(world, RAID_COMMAND_REKEY, RAID_OBJECT_ADAPTER, {}, keys);
  run(world, RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER, {}, &keys[1]);
  std::vector<char> exact(sizeof(UINT32), 'k'); // less than a record, as key data under another command may be
  run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, {1}, exact.data());
  ASSERT_EQ(simCommandCount(world.sim), 4u);
  const SIM_LOG_ENTRY *change = simCommand(world.sim, 0);
  EXPECT_EQ(change->block.ObjectIdCount, 100u);
  EXPECT_EQ(change->ids[SIM_LOG_IDS - 1], 4711u);
  EXPECT_EQ(name(change->status), name(EFI_NOT_FOUND));
  EXPECT_EQ(change->dataSize, 512u);
  EXPECT_EQ(change->listCount, 2u);
  EXPECT_EQ(change->list[1], 8u);
  EXPECT_EQ(simCommand(world.sim, 1)->dataSize, 584u);
  EXPECT_EQ(simCommand(world.sim, 1)->data[548], 'p');
  EXPECT_EQ(simCommand(world.sim, 2)->dataSize, 292u);
  EXPECT_EQ(simCommand(world.sim, 3)->dataSize, 0u);
  simClearLog(world.sim);
  EXPECT_EQ(simCommand(world.sim, 0), nullptr);
  for (UINT32 i = 0; i <= SIM_LOG_CAPACITY; ++i) {
    run(world, RAID_COMMAND_IDENTIFY, RAID_OBJECT_PHYSICAL_DISK, {i});
  }
  EXPECT_EQ(simCommand(world.sim, 0), nullptr);
  EXPECT_EQ(simCommand(world.sim, 1)->ids[0], 1u);
  EXPECT_EQ(simCommand(world.sim, SIM_LOG_CAPACITY)->ids[0], SIM_LOG_CAPACITY);
  EXPECT_EQ(simCommand(world.sim, SIM_LOG_CAPACITY + 1), nullptr);
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
  return EFI_ERROR(first.status) ? first.status : run(world, RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE);
}

// Every command that needs memory gives all of it back when there is not enough, and has changed nothing then.
TEST(Memory, RunsOutWithoutALeak) {
  struct {
    const char *what;
    void (*prepare)(World &world);
    EFI_STATUS (*operation)(World &world);
  } cases[] = {
      {"adapter", nullptr, [](World &world) { return run(world, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER); }},
      {"enclosures", nullptr, [](World &world) { return run(world, RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE); }},
      {"disks", nullptr, [](World &world) { return run(world, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK); }},
      {"volumes", nullptr, [](World &world) { return run(world, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK); }},
      {"key id", nullptr, [](World &world) { return run(world, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER); }},
      {"short answer",
       [](World &world) { simShapeAnswer(world.sim, RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE, SIM_FAULT_SIZE, 700); },
       [](World &world) { return run(world, RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE); }},
      {"create with full array", [](World &world) { fit(world.sim->virtualDisks); },
       [](World &world) {
         return create(world, 0x2, disksIn(world, 1, {6, 7}));
       }},
      {"import with full array",
       [](World &world) {
         ASSERT_EQ(simReplaceAdapter(world.sim), EFI_SUCCESS);
         fit(world.sim->virtualDisks);
       },
       [](World &world) { return run(world, RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER); }},
      {"adapter replaced with full array", [](World &world) { fit(world.sim->foreignDisks); },
       [](World &world) { return simReplaceAdapter(world.sim); }},
      {"many answers out", [](World &world) { fit(world.sim->answers); }, holdTwo},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.what);
    std::string before;
    SWEEP sweep;
    sweep.world = bare("demo");
    sweep.prepare = [&](World &world) {
      if (row.prepare != nullptr) {
        row.prepare(world);
      }
      before = stateOf(world.sim);
    };
    sweep.operation = row.operation;
    sweep.afterFailure = [&](World &world, EFI_STATUS status) {
      EXPECT_EQ(name(status), name(EFI_OUT_OF_RESOURCES));
      EXPECT_TRUE(before == stateOf(world.sim));
    };
    sweepAllocations(sweep);
  }
}
