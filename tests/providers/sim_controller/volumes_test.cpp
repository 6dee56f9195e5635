// Create, Delete, Change and foreign configuration.
#include "providers/sim_controller/hand.h"
#include "tests/providers/sim_controller/commands.h"

enum : UINT32 { LEVEL_0 = 2, LEVEL_1 = 4, LEVEL_5 = 0x40, LEVEL_6 = 0x80, LEVEL_10 = 0x800, LEVEL_50 = 0x2000 };
constexpr UINT32 NONE = 99;
constexpr UINT64 DISK_SIZE = 600127266816;
constexpr UINT64 ROOM = DISK_SIZE / 0x100000 * 0x100000;

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
      EXPECT_EQ(sim::insertDisk(world.sim, 301, slot, {DISK_SIZE, 0x20, 0x11}, &ids.back()), EFI_SUCCESS);
    }
    world.markBalance();
  }
  IDS members(size_t count, size_t first = 0) { return {ids.begin() + first, ids.begin() + first + count}; }
  sim::Disk &disk(size_t index) { return *sim::findDisk(world.sim, ids[index]); }

  World world;
  IDS ids;
};

TEST_F(VirtualDisks, AreMadeOrRefused) {
  ASSERT_EQ(create(world, LEVEL_1, members(2, 18)), EFI_SUCCESS);            // 18, 19 are full
  ASSERT_EQ(create(world, LEVEL_5, members(3, 20), 100 << 20), EFI_SUCCESS); // 20, 21, 22 have room
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
      {"one disk", LEVEL_0, 0, 1, NONE, 0, 0, 0, 0, EFI_SUCCESS, 1, 1},
      {"spans of level 0", LEVEL_0, 0, 4, NONE, 2, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"a mirror", LEVEL_1, 0, 2, NONE, 0, 0, 0, 0, EFI_SUCCESS, 1, 1},
      {"too many", LEVEL_1, 0, 4, NONE, 0, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"too few", LEVEL_5, 0, 2, NONE, 0, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"two parities", LEVEL_6, 0, 5, NONE, 0, 0, 0, 0, EFI_SUCCESS, 3, 1},
      {"spans of its own", LEVEL_10, 0, 8, NONE, 0, 0, 0, 0, EFI_SUCCESS, 4, 4},
      {"spans as asked", LEVEL_10, 0, 8, NONE, 2, 0, 0, 0, EFI_SUCCESS, 4, 2},
      {"half a mirror", LEVEL_10, 0, 6, NONE, 2, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"three spans", LEVEL_50, 0, 9, NONE, 3, 0, 0, 0, EFI_SUCCESS, 6, 3},
      {"uneven", LEVEL_50, 0, 8, NONE, 3, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"two levels", LEVEL_0 | LEVEL_1, 0, 2, NONE, 0, 0, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {"twice", LEVEL_0, 0, 2, 1, 0, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"nobody", LEVEL_0, 0, 0, NONE, 0, 0, 0, 0, EFI_INVALID_PARAMETER, 0, 0},
      {"a full group", LEVEL_0, 18, 2, NONE, 0, 0, 0, 0, EFI_VOLUME_FULL, 0, 0},
      {"a group and another", LEVEL_0, 20, 3, 1, 0, 0, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"part of a group", LEVEL_0, 20, 2, NONE, 0, 0, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"failed", LEVEL_0, 23, 1, NONE, 0, 0, 0, 0, EFI_NOT_READY, 0, 0},
      {"hot spare", LEVEL_0, 12, 1, NONE, 0, 0, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"foreign", LEVEL_0, 13, 1, NONE, 0, 0, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"media mixed", LEVEL_0, 0, 1, 14, 0, 0, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {"protocols mixed", LEVEL_1, 0, 1, 15, 0, 0, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {"too large", LEVEL_0, 0, 1, NONE, 0, 0, 0, ROOM + 1, EFI_VOLUME_FULL, 0, 0},
      {"beyond 64 bits", LEVEL_5, 0, 3, NONE, 0, 0, 0, ~0ULL, EFI_VOLUME_FULL, 0, 0},
      {"too large for the smallest", LEVEL_0, 0, 1, 16, 0, 0, 0, 22 << 20, EFI_VOLUME_FULL, 0, 0},
      {"FDE without key", LEVEL_0, 0, 1, NONE, 0, 1, 0, 0, EFI_ACCESS_DENIED, 0, 0},
      {"CacheCade of hard disks", LEVEL_0, 0, 1, NONE, 0, 0x80, 0, 0, EFI_UNSUPPORTED, 0, 0},
      {"cache", LEVEL_0, 0, 1, NONE, 0, 0, ~0U, 0, EFI_INVALID_PARAMETER, 0, 0},
  };
  KEPT_STATE before(world.sim);
  for (const auto &row : cases) {
    SCOPED_TRACE(row.what);
    IDS group = members(row.count, row.first);
    if (row.other != NONE) {
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
    EXPECT_EQ(virtualDisk.record.Size, row.dataMembers * ROOM);
    EXPECT_EQ(virtualDisk.record.SpanDepth, row.madeSpans);
    EXPECT_EQ(virtualDisk.record.PDsPerSpan, row.count / row.madeSpans);
    EXPECT_EQ(disk(row.count - 1).record.UsedSize, ROOM);
    EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {virtualDisk.record.ObjectID}), EFI_SUCCESS);
    before = KEPT_STATE(world.sim);
  }
  EXPECT_EQ(create(world, LEVEL_0, {ids[0], 5000}), EFI_INVALID_PARAMETER);
  world.sim->adapter.record.MaxLDs = 2;
  EXPECT_EQ(create(world, LEVEL_0, {ids[0]}), EFI_VOLUME_FULL);
}

TEST_F(VirtualDisks, ShareDisks) {
  ASSERT_EQ(create(world, LEVEL_5, members(3), 1000 << 20), EFI_SUCCESS);
  ASSERT_EQ(create(world, LEVEL_0, {ids[2], ids[0], ids[1]}), EFI_SUCCESS); // the same group in another order
  const sim::VirtualDisk *virtualDisks = world.sim->virtualDisks.items;
  EXPECT_EQ(virtualDisks[1].record.Size, 3 * (ROOM - (500ULL << 20)));
  EXPECT_EQ(virtualDisks[1].PDs[0], ids[2]);
  EXPECT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {virtualDisks[0].record.ObjectID}), EFI_SUCCESS);
  EXPECT_EQ(disk(0).record.UsedSize, ROOM - (500ULL << 20));
  EXPECT_EQ(create(world, LEVEL_5, members(3)), EFI_VOLUME_FULL); // the room is in front of what is there
  EXPECT_STREQ(sim::stateFault(world.sim), nullptr);
}

TEST_F(VirtualDisks, GoWithTheirLastDisk) {
  ASSERT_EQ(sim::makeForeign(world.sim, LEVEL_1, ids.data(), 2), EFI_SUCCESS);
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
      {LEVEL_0, 2, {1}, RAID_STATE_OFFLINE},       {LEVEL_1, 2, {1}, RAID_STATE_DEGRADED},
      {LEVEL_5, 4, {3, 0}, RAID_STATE_OFFLINE},    {LEVEL_6, 4, {1, 2}, RAID_STATE_DEGRADED},
      {LEVEL_6, 4, {1, 2, 3}, RAID_STATE_OFFLINE}, {LEVEL_10, 4, {0, 2}, RAID_STATE_DEGRADED},
      {LEVEL_10, 4, {2, 3}, RAID_STATE_OFFLINE},   {LEVEL_50, 6, {0, 5}, RAID_STATE_DEGRADED},
  };
  size_t first = 0;
  for (const auto &row : cases) {
    SCOPED_TRACE(&row - cases);
    IDS group = members(row.count, first);
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
