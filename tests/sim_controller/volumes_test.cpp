// Create, Delete, Change and foreign configuration.
#include "tests/sim_controller/commands.h"

#define LEVEL_0 0x2U
#define LEVEL_1 0x4U
#define LEVEL_5 0x40U
#define LEVEL_6 0x80U
#define LEVEL_10 0x800U
#define LEVEL_50 0x2000U
#define LEVEL_60 0x4000U

#define DISK_SIZE 600127266816ULL
#define ROOM (DISK_SIZE / 0x100000 * 0x100000)

// 24 equal SAS disks in one shelf.
class Volumes : public testing::Test {
protected:
  Volumes() : world(bare("empty")) {
    SIM_ENCLOSURE *enclosure = simAppend(world.sim->enclosures);
    enclosure->objectId = 301;
    enclosure->deviceId = 32;
    enclosure->slotCount = 24;
    for (UINT8 slot = 0; slot < 24; ++slot) {
      ids.push_back(0);
      EXPECT_EQ(simInsertDisk(world.sim, 301, slot, {DISK_SIZE, 0x20, 0x11}, &ids.back()), EFI_SUCCESS);
    }
    world.markBalance();
  }
  IDS members(size_t count, size_t first = 0) { return {ids.begin() + first, ids.begin() + first + count}; }
  SIM_DISK &disk(size_t index) { return *simFindDisk(world.sim, ids[index]); }

  World world;
  IDS ids;
};

TEST_F(Volumes, AreMadeByTheirLevelsLimits) {
  struct {
    UINT32 level;
    UINT32 count;
    UINT32 spans, perSpan; // asked for
    EFI_STATUS status;
    UINT32 dataMembers;
    UINT32 madeSpans;
  } cases[] = {
      {LEVEL_0, 1, 0, 0, EFI_SUCCESS, 1, 1},
      {LEVEL_0, 24, 1, 24, EFI_SUCCESS, 24, 1},
      {LEVEL_0, 4, 2, 2, EFI_INVALID_PARAMETER, 0, 0}, // has no spans
      {LEVEL_1, 1, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {LEVEL_1, 2, 0, 0, EFI_SUCCESS, 1, 1},
      {LEVEL_1, 3, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {LEVEL_1, 4, 0, 0, EFI_INVALID_PARAMETER, 0, 0}, // MaxDisks
      {LEVEL_5, 2, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {LEVEL_5, 3, 0, 0, EFI_SUCCESS, 2, 1},
      {LEVEL_6, 3, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {LEVEL_6, 5, 0, 0, EFI_SUCCESS, 3, 1},
      {LEVEL_10, 2, 0, 0, EFI_INVALID_PARAMETER, 0, 0}, // MinDisks
      {LEVEL_10, 8, 0, 0, EFI_SUCCESS, 4, 4},
      {LEVEL_10, 8, 2, 4, EFI_SUCCESS, 4, 2},
      {LEVEL_10, 8, 2, 3, EFI_INVALID_PARAMETER, 0, 0},
      {LEVEL_10, 6, 2, 3, EFI_INVALID_PARAMETER, 0, 0},  // half a mirror
      {LEVEL_10, 18, 9, 2, EFI_INVALID_PARAMETER, 0, 0}, // MaxSpansPerLD
      {LEVEL_50, 6, 0, 0, EFI_SUCCESS, 4, 2},
      {LEVEL_50, 9, 3, 0, EFI_SUCCESS, 6, 3},
      {LEVEL_50, 8, 3, 0, EFI_INVALID_PARAMETER, 0, 0}, // uneven
      {LEVEL_60, 8, 2, 4, EFI_SUCCESS, 4, 2},
      {LEVEL_60, 9, 3, 3, EFI_INVALID_PARAMETER, 0, 0},
      {0x8, 3, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {LEVEL_0 | LEVEL_1, 2, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {0, 2, 0, 0, EFI_UNSUPPORTED, 0, 0},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(&row - cases);
    std::string before = stateOf(world.sim);
    RAID_VD_RECORD wanted = {};
    wanted.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
    wanted.RAIDLevel = row.level;
    wanted.SpanDepth = row.spans;
    wanted.PDsPerSpan = row.perSpan;
    EFI_STATUS status = run(world, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, members(row.count), &wanted);
    ASSERT_EQ(name(status), name(row.status));
    if (EFI_ERROR(status)) {
      EXPECT_TRUE(before == stateOf(world.sim)) << "a refusal changes nothing";
      continue;
    }
    const SIM_VIRTUAL_DISK &volume = world.sim->virtualDisks.items[0];
    EXPECT_EQ(volume.size, row.dataMembers * ROOM);
    EXPECT_EQ(volume.spanDepth, row.madeSpans);
    EXPECT_EQ(volume.pdsPerSpan, row.count / row.madeSpans);
    EXPECT_EQ(disk(row.count - 1).usedSize, ROOM);
    EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {volume.objectId}), EFI_SUCCESS);
    EXPECT_STREQ(simStateFault(world.sim), nullptr);
  }
}

TEST_F(Volumes, RefuseUnfitMembersAndSettings) {
  ASSERT_EQ(create(world, LEVEL_1, members(2)), EFI_SUCCESS);               // 0, 1 are full
  ASSERT_EQ(create(world, LEVEL_5, members(3, 2), 100 << 20), EFI_SUCCESS); // 2, 3, 4 have room
  ASSERT_EQ(simFailDisk(world.sim, ids[5]), EFI_SUCCESS);
  disk(6).hotspare = 2;
  disk(7).state = SIM_STATE_FOREIGN;
  disk(8).attributes = 0x13; // SSD
  disk(9).protocol = 0x10;   // SATA
  disk(10).protocol = 0x8;   // USB
  disk(11).size = 10 << 20;
  auto unchanged = [](RAID_VD_RECORD &) {};
  struct {
    const char *what;
    UINT32 level;
    IDS ids;
    void (*ask)(RAID_VD_RECORD &wanted);
    EFI_STATUS status;
  } cases[] = {
      {"twice", LEVEL_1, {ids[12], ids[12]}, unchanged, EFI_INVALID_PARAMETER},
      {"unknown", LEVEL_1, {ids[12], 5000}, unchanged, EFI_INVALID_PARAMETER},
      {"nobody", LEVEL_0, {}, unchanged, EFI_INVALID_PARAMETER},
      {"a full group", LEVEL_1, members(2), unchanged, EFI_VOLUME_FULL},
      {"a group and another", LEVEL_5, members(4, 2), unchanged, EFI_ACCESS_DENIED},
      {"part of a group", LEVEL_1, members(2, 2), unchanged, EFI_ACCESS_DENIED},
      {"failed", LEVEL_0, {ids[5]}, unchanged, EFI_NOT_READY},
      {"hot spare", LEVEL_0, {ids[6]}, unchanged, EFI_ACCESS_DENIED},
      {"foreign", LEVEL_0, {ids[7]}, unchanged, EFI_ACCESS_DENIED},
      {"media mixed", LEVEL_1, {ids[8], ids[12]}, unchanged, EFI_UNSUPPORTED},
      {"protocols mixed", LEVEL_1, {ids[9], ids[12]}, unchanged, EFI_UNSUPPORTED},
      {"protocol unknown to the level", LEVEL_0, {ids[10]}, unchanged, EFI_UNSUPPORTED},
      {"too large", LEVEL_1, members(2, 12), [](RAID_VD_RECORD &wanted) { wanted.Size = ROOM + 1; }, EFI_VOLUME_FULL},
      {"beyond 64 bits", LEVEL_5, members(3, 12), [](RAID_VD_RECORD &wanted) { wanted.Size = ~0ULL; }, EFI_VOLUME_FULL},
      {"too large for the smallest",
       LEVEL_1,
       {ids[11], ids[12]},
       [](RAID_VD_RECORD &wanted) { wanted.Size = 11 << 20; },
       EFI_VOLUME_FULL},
      {"FDE without key", LEVEL_0, {ids[12]}, [](RAID_VD_RECORD &wanted) { wanted.Attributes = 1; }, EFI_ACCESS_DENIED},
      {"CacheCade of hard disks",
       LEVEL_0,
       {ids[12]},
       [](RAID_VD_RECORD &wanted) { wanted.Attributes = 0x80; },
       EFI_UNSUPPORTED},
      {"stripe", LEVEL_0, {ids[12]}, [](RAID_VD_RECORD &wanted) { wanted.StripeSize = 0x8000; }, EFI_INVALID_PARAMETER},
      {"two stripes",
       LEVEL_0,
       {ids[12]},
       [](RAID_VD_RECORD &wanted) { wanted.StripeSize = 0x180; },
       EFI_INVALID_PARAMETER},
      {"cache",
       LEVEL_0,
       {ids[12]},
       [](RAID_VD_RECORD &wanted) { wanted.CurrentCachePolicy = ~0U; },
       EFI_INVALID_PARAMETER},
      {"disk cache",
       LEVEL_0,
       {ids[12]},
       [](RAID_VD_RECORD &wanted) { wanted.DiskCachePolicy = 1; },
       EFI_INVALID_PARAMETER},
      {"access", LEVEL_0, {ids[12]}, [](RAID_VD_RECORD &wanted) { wanted.AccessPolicy = ~0U; }, EFI_INVALID_PARAMETER},
      {"another record",
       LEVEL_0,
       {ids[12]},
       [](RAID_VD_RECORD &wanted) { wanted.ObjectType = RAID_OBJECT_PHYSICAL_DISK; },
       EFI_INVALID_PARAMETER},
  };
  std::string before = stateOf(world.sim);
  for (const auto &row : cases) {
    RAID_VD_RECORD wanted = {};
    wanted.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
    wanted.RAIDLevel = row.level;
    row.ask(wanted);
    EXPECT_EQ(name(run(world, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, row.ids, &wanted)), name(row.status))
        << row.what;
    EXPECT_TRUE(before == stateOf(world.sim)) << row.what;
  }
  EXPECT_EQ(run(world, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, {ids[12]}), EFI_INVALID_PARAMETER);
  world.sim->adapter.maxLds = 2;
  EXPECT_EQ(create(world, LEVEL_0, {ids[12]}), EFI_VOLUME_FULL);
}

TEST_F(Volumes, ShareDisksAndTakeTheLowestFreeIds) {
  ASSERT_EQ(create(world, LEVEL_5, members(3), 1000 << 20), EFI_SUCCESS);
  ASSERT_EQ(create(world, LEVEL_0, {ids[2], ids[0], ids[1]}), EFI_SUCCESS); // the same group in another order
  ASSERT_EQ(create(world, LEVEL_1, members(2, 3)), EFI_SUCCESS);
  const SIM_VIRTUAL_DISK *volumes = world.sim->virtualDisks.items;
  EXPECT_EQ(volumes[0].memberSize, 500ULL << 20);
  EXPECT_EQ(volumes[1].startingLba, (500ULL << 20) / 512);
  EXPECT_EQ(volumes[1].size, 3 * (ROOM - (500ULL << 20)));
  EXPECT_EQ(volumes[1].pds[0], ids[2]);
  EXPECT_EQ(disk(0).vdCount, 2u);
  EXPECT_EQ(disk(0).usedSize, ROOM);
  UINT32 first = volumes[0].objectId, second = volumes[1].objectId;
  EXPECT_EQ(volumes[2].targetId, 2u);
  // Unknown among known ones: nothing is deleted.
  EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {first, 4711}), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.sim->virtualDisks.count, 3u);
  EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {first}), EFI_SUCCESS);
  EXPECT_EQ(disk(0).state, SIM_STATE_ONLINE);
  EXPECT_EQ(create(world, LEVEL_5, members(3)), EFI_VOLUME_FULL); // the room is in front of what is there
  EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {second}), EFI_SUCCESS);
  EXPECT_EQ(disk(0).state, SIM_STATE_READY);
  ASSERT_EQ(create(world, LEVEL_5, members(3)), EFI_SUCCESS);
  EXPECT_EQ(world.sim->virtualDisks.items[1].objectId, first);
  EXPECT_EQ(world.sim->virtualDisks.items[1].targetId, 0u);
  EXPECT_STREQ(simStateFault(world.sim), nullptr);
}

TEST_F(Volumes, HaveHotSpares) {
  ASSERT_EQ(create(world, LEVEL_1, members(2)), EFI_SUCCESS);
  ASSERT_EQ(create(world, LEVEL_1, members(2, 2), 50 << 20), EFI_SUCCESS);
  UINT32 large = world.sim->virtualDisks.items[0].objectId, small = world.sim->virtualDisks.items[1].objectId;
  ASSERT_EQ(simFailDisk(world.sim, ids[5]), EFI_SUCCESS);
  disk(6).state = SIM_STATE_FOREIGN;
  disk(7).size = 100 << 20;
  struct {
    const char *what;
    UINT8 kind;
    IDS volumes;
    IDS disks;
    EFI_STATUS status;
  } cases[] = {
      {"global, two at once", 2, {}, {ids[8], ids[9]}, EFI_SUCCESS},
      {"the same again", 2, {}, {ids[8]}, EFI_SUCCESS},
      {"dedicated", 1, {large, small}, {ids[10]}, EFI_SUCCESS},
      {"dedicated to nothing", 1, {}, {ids[11]}, EFI_INVALID_PARAMETER},
      {"dedicated to the unknown", 1, {small, 99}, {ids[11]}, EFI_NOT_FOUND},
      {"too small for one", 1, {small, large}, {ids[7]}, EFI_VOLUME_FULL},
      {"large enough for the other", 1, {small}, {ids[7]}, EFI_SUCCESS},
      {"a member", 2, {}, {ids[11], ids[0]}, EFI_ACCESS_DENIED},
      {"failed", 2, {}, {ids[5]}, EFI_NOT_READY},
      {"foreign", 2, {}, {ids[6]}, EFI_ACCESS_DENIED},
      {"a kind without a name", 3, {}, {ids[11]}, EFI_INVALID_PARAMETER},
      {"unknown disk", 2, {}, {ids[11], 4711}, EFI_NOT_FOUND},
      {"no disk", 2, {}, {}, EFI_INVALID_PARAMETER},
      {"no longer", 0, {}, {ids[9]}, EFI_SUCCESS},
      {"never was", 0, {}, {ids[0]}, EFI_SUCCESS},
  };
  for (auto &row : cases) {
    std::string before = stateOf(world.sim);
    RAID_PD_RECORD record = {};
    record.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
    record.Hotspare = row.kind;
    record.VDCount = static_cast<UINT8>(row.volumes.size());
    record.VDs = row.volumes.empty() ? nullptr : row.volumes.data();
    EFI_STATUS status = run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, row.disks, &record);
    EXPECT_EQ(name(status), name(row.status)) << row.what;
    EXPECT_TRUE(!EFI_ERROR(status) || before == stateOf(world.sim)) << row.what;
  }
  EXPECT_EQ(disk(8).hotspare, 2);
  EXPECT_EQ(disk(9).hotspare, 0);
  EXPECT_EQ(disk(10).vdCount, 2u);
  EXPECT_EQ(disk(0).vdCount, 1u);
  EXPECT_STREQ(simStateFault(world.sim), nullptr);
  // A dedicated hot spare goes with its last virtual disk, a global one stays.
  ASSERT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {small}), EFI_SUCCESS);
  EXPECT_EQ(disk(7).hotspare, 0);
  EXPECT_EQ(disk(10).hotspare, 1);
  EXPECT_EQ(disk(8).hotspare, 2);
}

TEST_F(Volumes, ChangeTheirSettings) {
  ASSERT_EQ(create(world, LEVEL_1, members(2)), EFI_SUCCESS);
  SIM_VIRTUAL_DISK &volume = world.sim->virtualDisks.items[0];
  std::u16string longName(SIM_TEXT_UNITS, u'n');
  struct {
    const CHAR16 *name;
    UINT32 cache, diskCache, access;
    EFI_STATUS status;
  } cases[] = {
      {u"Mail", 0x20000011, 0x400, 2, EFI_SUCCESS}, {nullptr, 0, 0, 0, EFI_SUCCESS}, // leaves all as it is
      {nullptr, 0x8, 0, 0, EFI_INVALID_PARAMETER},  {nullptr, 0, 0x300, 0, EFI_INVALID_PARAMETER},
      {nullptr, 0, 0, 3, EFI_INVALID_PARAMETER},    {longName.c_str(), 0, 0, 0, EFI_INVALID_PARAMETER},
  };
  for (const auto &row : cases) {
    RAID_VD_RECORD record = {};
    record.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
    record.Name = const_cast<CHAR16 *>(row.name);
    record.CurrentCachePolicy = row.cache;
    record.DiskCachePolicy = row.diskCache;
    record.AccessPolicy = row.access;
    EXPECT_EQ(run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_VIRTUAL_DISK, {volume.objectId}, &record), row.status);
    EXPECT_EQ(std::u16string(volume.name), u"Mail");
    EXPECT_EQ(volume.currentCachePolicy, 0x20000011u);
    EXPECT_EQ(volume.diskCachePolicy, 0x400u);
    EXPECT_EQ(volume.accessPolicy, 2u);
  }
}

TEST_F(Volumes, DegradeAndFailByTheirLevel) {
  struct {
    UINT32 level;
    UINT32 count;
    std::vector<size_t> lost;
    UINT64 state;
  } cases[] = {
      {LEVEL_0, 2, {1}, SIM_STATE_OFFLINE},       {LEVEL_1, 2, {1}, SIM_STATE_DEGRADED},
      {LEVEL_1, 2, {0, 1}, SIM_STATE_OFFLINE},    {LEVEL_5, 4, {3}, SIM_STATE_DEGRADED},
      {LEVEL_5, 4, {3, 0}, SIM_STATE_OFFLINE},    {LEVEL_6, 4, {1, 2}, SIM_STATE_DEGRADED},
      {LEVEL_6, 4, {1, 2, 3}, SIM_STATE_OFFLINE}, {LEVEL_10, 4, {0, 2}, SIM_STATE_DEGRADED},
      {LEVEL_10, 4, {2, 3}, SIM_STATE_OFFLINE},   {LEVEL_50, 6, {0, 5}, SIM_STATE_DEGRADED},
      {LEVEL_50, 6, {0, 2}, SIM_STATE_OFFLINE},
  };
  size_t first = 0;
  for (const auto &row : cases) {
    for (bool pulled : {false, true}) {
      IDS group;
      for (UINT32 i = 0; i < row.count; ++i) {
        group.push_back(ids[i]);
      }
      ASSERT_EQ(create(world, row.level, group), EFI_SUCCESS);
      const SIM_VIRTUAL_DISK &volume = world.sim->virtualDisks.items[0];
      for (size_t index : row.lost) {
        EXPECT_EQ(pulled ? simPullDisk(world.sim, group[index]) : simFailDisk(world.sim, group[index]), EFI_SUCCESS);
      }
      EXPECT_EQ(volume.state, row.state) << first << (pulled ? " pulled" : " failed");
      EXPECT_EQ(volume.pds[row.lost[0]], group[row.lost[0]]) << "a lost member's id stays";
      EXPECT_STREQ(simStateFault(world.sim), nullptr);
      ASSERT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
      for (size_t index : row.lost) {
        simPullDisk(world.sim, group[index]); // the failed ones are still there
        ASSERT_EQ(simInsertDisk(world.sim, 301, static_cast<UINT8>(index), {DISK_SIZE, 0x20, 0x11}, &ids[index]),
                  EFI_SUCCESS);
      }
    }
    ++first;
  }
}

TEST_F(Volumes, AreForeignUntilClearedOrImported) {
  EXPECT_EQ(run(world, RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER), EFI_NOT_FOUND);
  ASSERT_EQ(create(world, LEVEL_1, members(2)), EFI_SUCCESS);
  EXPECT_EQ(simMakeForeign(world.sim, LEVEL_1, ids.data(), 2), EFI_ACCESS_DENIED);
  ASSERT_EQ(simMakeForeign(world.sim, LEVEL_5, &ids[2], 3), EFI_SUCCESS);
  EXPECT_EQ(disk(2).state, SIM_STATE_FOREIGN);
  EXPECT_EQ(disk(2).secureState, RAID_SECURE_STATE_FOREIGN);
  EXPECT_EQ(world.sim->virtualDisks.count, 1u);
  // A reset is not for what is foreign.
  ASSERT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
  EXPECT_EQ(disk(0).state, SIM_STATE_READY);
  EXPECT_EQ(disk(2).state, SIM_STATE_FOREIGN);
  ASSERT_EQ(run(world, RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
  ASSERT_EQ(world.sim->virtualDisks.count, 1u);
  EXPECT_EQ(world.sim->virtualDisks.items[0].state, SIM_STATE_ONLINE);
  EXPECT_EQ(disk(2).usedSize, ROOM);
  EXPECT_EQ(disk(2).secureState, 0u);
  EXPECT_STREQ(simStateFault(world.sim), nullptr);
  EXPECT_EQ(run(world, RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER), EFI_NOT_FOUND);

  // Two on one group come back together, also with a drive missing.
  ASSERT_EQ(create(world, LEVEL_5, members(3, 6), 100 << 20), EFI_SUCCESS);
  ASSERT_EQ(create(world, LEVEL_0, members(3, 6)), EFI_SUCCESS);
  ASSERT_EQ(simReplaceAdapter(world.sim), EFI_SUCCESS);
  EXPECT_EQ(world.sim->virtualDisks.count, 0u);
  EXPECT_EQ(world.sim->foreignDisks.count, 3u);
  ASSERT_EQ(simPullDisk(world.sim, ids[7]), EFI_SUCCESS);
  world.sim->adapter.maxLds = 2;
  EXPECT_EQ(run(world, RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER), EFI_VOLUME_FULL);
  world.sim->adapter.maxLds = 3;
  ASSERT_EQ(run(world, RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
  EXPECT_EQ(world.sim->virtualDisks.items[1].state, SIM_STATE_DEGRADED);
  EXPECT_EQ(world.sim->virtualDisks.items[2].state, SIM_STATE_OFFLINE);
  EXPECT_EQ(disk(6).vdCount, 2u);
  EXPECT_EQ(disk(6).usedSize, ROOM);
  EXPECT_STREQ(simStateFault(world.sim), nullptr);

  ASSERT_EQ(simReplaceAdapter(world.sim), EFI_SUCCESS);
  ASSERT_EQ(run(world, RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
  EXPECT_EQ(world.sim->foreignDisks.count, 0u);
  EXPECT_EQ(create(world, LEVEL_0, members(6)), EFI_SUCCESS);
}
