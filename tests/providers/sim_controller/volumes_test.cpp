// Create, Delete, Change and foreign configuration.
#include "providers/sim_controller/hand.h"
#include "tests/providers/sim_controller/commands.h"

using namespace xyl;

enum : UINT32 { level0 = 2, level1 = 4, level5 = 0x40, level6 = 0x80, level10 = 0x800, level50 = 0x2000 };
constexpr UINT32 none = 99;
constexpr UINT64 diskSize = 600127266816;
constexpr UINT64 roomSize = diskSize / 0x100000 * 0x100000;

// 32 equal SAS disks in one shelf.
class VirtualDisks : public testing::Test {
protected:
  VirtualDisks() : world(bare("empty")) {
    sim::Enclosure *enclosure = arrayAppend(world.sim->enclosures);
    enclosure->record.ObjectID = 301;
    enclosure->record.DeviceID = 32;
    enclosure->record.SlotCount = 32;
    for (UINT8 slot = 0; slot < 32; ++slot) {
      ids.push_back(0);
      EXPECT_EQ(sim::insertDisk(world.sim, 301, slot, {diskSize, 0x20, 0x11}, &ids.back()), EFI_SUCCESS);
    }
    world.markBalance();
  }
  Ids members(size_t count, size_t first = 0) { return {ids.begin() + first, ids.begin() + first + count}; }
  sim::Disk &disk(size_t index) { return *sim::findDisk(world.sim, ids[index]); }

  World world;
  Ids ids;
};

TEST_F(VirtualDisks, AreMadeOrRefused) {
  ASSERT_EQ(create(world, level1, members(2, 18)), EFI_SUCCESS);            // 18, 19 are full
  ASSERT_EQ(create(world, level5, members(3, 20), 100 << 20), EFI_SUCCESS); // 20, 21, 22 have room
  ASSERT_EQ(sim::failDisk(world.sim, ids[23]), EFI_SUCCESS);
  disk(12).record.Hotspare = 2;
  disk(13).record.State = RAID_STATE_FOREIGN;
  disk(14).record.Attributes = 0x13; // SSD
  disk(15).record.Protocol = 0x10;   // SATA
  disk(16).record.Size = 10 << 20;
  struct {
    const char *what;
    UINT32 level, first, count, other; // another member, or none
    UINT32 spans, attributes, cache;
    UINT64 size;
    EFI_STATUS status;
    UINT32 dataMembers, madeSpans;
  } cases[] = {
      {"one disk", level0, 0, 1, none, 0, 0, 0, 0, EFI_SUCCESS, 1, 1},
      {"spans of level 0", level0, 0, 4, none, 2, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"a mirror", level1, 0, 2, none, 0, 0, 0, 0, EFI_SUCCESS, 1, 1},
      {"too many", level1, 0, 4, none, 0, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"too few", level5, 0, 2, none, 0, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"two parities", level6, 0, 5, none, 0, 0, 0, 0, EFI_SUCCESS, 3, 1},
      {"spans of its own", level10, 0, 8, none, 0, 0, 0, 0, EFI_SUCCESS, 4, 4},
      {"spans as asked", level10, 0, 8, none, 2, 0, 0, 0, EFI_SUCCESS, 4, 2},
      {"half a mirror", level10, 0, 6, none, 2, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"three spans", level50, 0, 9, none, 3, 0, 0, 0, EFI_SUCCESS, 6, 3},
      {"uneven", level50, 0, 8, none, 3, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"two levels", level0 | level1, 0, 2, none, 0, 0, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {"twice", level0, 0, 2, 1, 0, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"nobody", level0, 0, 0, none, 0, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"a full group", level0, 18, 2, none, 0, 0, 0, 0, EFI_VOLUME_FULL, 0, 0},
      {"a group and another", level0, 20, 3, 1, 0, 0, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"part of a group", level0, 20, 2, none, 0, 0, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"failed", level0, 23, 1, none, 0, 0, 0, 0, EFI_NOT_READY, 0, 0},
      {"hot spare", level0, 12, 1, none, 0, 0, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"foreign", level0, 13, 1, none, 0, 0, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"media mixed", level0, 0, 1, 14, 0, 0, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {"protocols mixed", level1, 0, 1, 15, 0, 0, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {"too large", level0, 0, 1, none, 0, 0, 0, roomSize + 1, EFI_VOLUME_FULL, 0, 0},
      {"beyond 64 bits", level5, 0, 3, none, 0, 0, 0, ~0ULL, EFI_VOLUME_FULL, 0, 0},
      {"too large for the smallest", level0, 0, 1, 16, 0, 0, 0, 22 << 20, EFI_VOLUME_FULL, 0, 0},
      {"FDE without key", level0, 0, 1, none, 0, 1, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"CacheCade of hard disks", level0, 0, 1, none, 0, 0x80, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {"cache", level0, 0, 1, none, 0, 0, ~0U, 0, EFI_INVALID_PARAMETER, 0, 0},
  };
  KeptState before(world.sim);
  for (const auto &row : cases) {
    SCOPED_TRACE(row.what);
    Ids group = members(row.count, row.first);
    if (row.other != none) {
      group.push_back(ids[row.other]);
    }
    RAID_VD_RECORD wanted = {};
    wanted.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
    wanted.RAIDLevel = row.level;
    wanted.SpanDepth = row.spans;
    wanted.Attributes = row.attributes;
    wanted.CurrentCachePolicy = row.cache;
    wanted.Size = row.size;
    ASSERT_EQ(name(run(world, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, group, &wanted)), name(row.status));
    if (EFI_ERROR(row.status)) {
      EXPECT_TRUE(before.isIn(world.sim)) << "a refusal changes nothing";
      continue;
    }
    const sim::VirtualDisk &virtualDisk = world.sim->virtualDisks.items[2];
    EXPECT_EQ(virtualDisk.record.Size, row.dataMembers * roomSize);
    EXPECT_EQ(virtualDisk.record.SpanDepth, row.madeSpans);
    EXPECT_EQ(virtualDisk.record.PDsPerSpan, row.count / row.madeSpans);
    EXPECT_EQ(disk(row.count - 1).record.UsedSize, roomSize);
    EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {virtualDisk.record.ObjectID}), EFI_SUCCESS);
    before = KeptState(world.sim);
  }
  EXPECT_EQ(create(world, level0, {ids[0], 5000}), EFI_INVALID_PARAMETER);
  world.sim->adapter.record.MaxLDs = 2;
  EXPECT_EQ(create(world, level0, {ids[0]}), EFI_VOLUME_FULL);
}

TEST_F(VirtualDisks, ShareDisks) {
  ASSERT_EQ(create(world, level5, members(3), 1000 << 20), EFI_SUCCESS);
  ASSERT_EQ(create(world, level0, {ids[2], ids[0], ids[1]}), EFI_SUCCESS); // the same group in another order
  const sim::VirtualDisk *virtualDisks = world.sim->virtualDisks.items;
  EXPECT_EQ(virtualDisks[1].record.Size, 3 * (roomSize - (500ULL << 20)));
  EXPECT_EQ(virtualDisks[1].PDs[0], ids[2]);
  EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {virtualDisks[0].record.ObjectID}), EFI_SUCCESS);
  EXPECT_EQ(disk(0).record.UsedSize, roomSize - (500ULL << 20));
  EXPECT_EQ(create(world, level5, members(3)), EFI_VOLUME_FULL); // the room is in front of what is there
  EXPECT_STREQ(sim::stateFault(world.sim), nullptr);
}

TEST_F(VirtualDisks, GoWithTheirLastDisk) {
  ASSERT_EQ(sim::makeForeign(world.sim, level1, ids.data(), 2), EFI_SUCCESS);
  ASSERT_EQ(sim::failDisk(world.sim, ids[1]), EFI_SUCCESS);
  EXPECT_EQ(sim::pullDisk(world.sim, ids[0]), EFI_SUCCESS);
  EXPECT_EQ(world.sim->foreignDisks.count, 1U);
  EXPECT_EQ(sim::pullDisk(world.sim, ids[1]), EFI_SUCCESS);
  EXPECT_EQ(world.sim->foreignDisks.count, 0U);
  ASSERT_EQ(sim::reinsertDisk(world.sim, ids[1], 301, 1), EFI_SUCCESS);
  EXPECT_EQ(disk(1).record.State, RAID_STATE_FAILED) << "a failed disk comes back as one";
}

TEST_F(VirtualDisks, DegradeAndFailByTheirLevel) {
  struct {
    UINT32 level;
    UINT32 count;
    std::vector<size_t> lost;
    UINT64 state;
  } cases[] = {
      {level0, 2, {1}, RAID_STATE_OFFLINE},       {level1, 2, {1}, RAID_STATE_DEGRADED},
      {level5, 4, {3, 0}, RAID_STATE_OFFLINE},    {level6, 4, {1, 2}, RAID_STATE_DEGRADED},
      {level6, 4, {1, 2, 3}, RAID_STATE_OFFLINE}, {level10, 4, {0, 2}, RAID_STATE_DEGRADED},
      {level10, 4, {2, 3}, RAID_STATE_OFFLINE},   {level50, 6, {0, 5}, RAID_STATE_DEGRADED},
  };
  size_t first = 0;
  for (const auto &row : cases) {
    SCOPED_TRACE(&row - cases);
    Ids group = members(row.count, first);
    first += row.count;
    ASSERT_EQ(create(world, row.level, group), EFI_SUCCESS);
    const sim::VirtualDisk &virtualDisk = world.sim->virtualDisks.items[&row - cases];
    for (size_t index : row.lost) {
      EXPECT_EQ(index == 3 ? sim::failDisk(world.sim, group[index]) : sim::pullDisk(world.sim, group[index]),
                EFI_SUCCESS);
    }
    EXPECT_EQ(virtualDisk.record.State, row.state);
    EXPECT_EQ(virtualDisk.PDs[row.lost[0]], group[row.lost[0]]) << "a lost member's id stays";
    EXPECT_STREQ(sim::stateFault(world.sim), nullptr);
  }
}
