// Volumes read from members that were written through the map, of which laws.cpp judges; and which volumes are read at
// all.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "providers/volume_map/parity.h"
#include "providers/volume_map/volume_map.h"
#include "tests/providers/ddf/fixture.h"

using namespace xyl;

using volume_map::Judgement;
using volume_map::Map;
using volume_map::Readiness;
using Bytes = std::vector<UINT8>;

// --- The model ---

struct Model {
  Map map = {};
  UINT64 rows = 0;
  Bytes volume;
  std::vector<Bytes> members;                // whole disks up to the volume's end
  std::vector<std::vector<bool>> unreadable; // pages of each member's part
  UINTN largest = 0;                         // request
};

// A block and its copies, and what it adds to parities.
static void writeBlock(Model &model, UINT64 block) {
  const Map &map = model.map;
  const UINT8 *from = model.volume.data() + block * ddf::sectorSize;
  for (UINT32 copy = 0; copy < map.layout.copies; ++copy) {
    volume_map::Place place = volume_map::placeOf(map.layout, block, copy);
    auto at = [&](UINT32 member) {
      return model.members[member].data() + (map.members[member].start + place.at) * ddf::sectorSize;
    };
    std::memcpy(at(place.member), from, ddf::sectorSize);
    UINT8 factor = volume_map::power(place.member);
    for (size_t i = 0; i < ddf::sectorSize && place.p != volume_map::none; ++i) {
      at(place.p)[i] ^= from[i];
      place.q != volume_map::none ? void(at(place.q)[i] ^= volume_map::multiply(factor, from[i])) : void();
    }
  }
}

// Fills volume and members from what the map has: level, qualifier, members, strip.
static void fill(Model &model, std::mt19937 &random) {
  Map &map = model.map;
  UINT64 memberBlocks = model.rows * (map.layout.level == ddf::VirtualDiskLevel::raid1 ? 8 : map.layout.stripBlocks);
  map.layout.blocks = volume_map::blocksOf(map.layout, memberBlocks);
  model.volume.resize(map.layout.blocks * ddf::sectorSize);
  std::generate(model.volume.begin(), model.volume.end(), [&] { return static_cast<UINT8>(random()); });
  for (UINT32 i = 0; i < map.layout.memberCount; ++i) {
    map.members[i] = {random() % 20, i, true};
    model.members.emplace_back((map.members[i].start + memberBlocks) * ddf::sectorSize);
    model.unreadable.emplace_back(memberBlocks / 8 + 1);
  }
  for (UINT64 block = 0; block < map.layout.blocks; ++block) {
    writeBlock(model, block);
  }
}

static EFI_STATUS readModel(void *context, UINT32 member, UINT64 block, UINTN count, void *buffer) {
  auto &model = *static_cast<Model *>(context);
  const Bytes &disk = model.members[member];
  EXPECT_TRUE(model.map.members[member].readable);
  if (count == 0 || (block + count) * ddf::sectorSize > disk.size() || block < model.map.members[member].start) {
    ADD_FAILURE() << "outside of member " << member;
    return EFI_DEVICE_ERROR;
  }
  model.largest = std::max(model.largest, count);
  std::memcpy(buffer, disk.data() + block * ddf::sectorSize, count * ddf::sectorSize);
  UINT64 from = block - model.map.members[member].start;
  for (UINT64 page = from / 8; page <= (from + count - 1) / 8; ++page) {
    if (model.unreadable[member][page]) {
      std::memset(buffer, 0xEE, count * ddf::sectorSize);
      return EFI_DEVICE_ERROR;
    }
  }
  return EFI_SUCCESS;
}

// Whether a block can be had at all.
static bool isHad(const Model &model, UINT64 block) {
  const Map &map = model.map;
  auto lost = [&](UINT32 member, UINT64 at) {
    return !map.members[member].readable || model.unreadable[member][at / 8];
  };
  volume_map::Place place = {};
  bool own = false;
  for (UINT32 copy = 0; copy < map.layout.copies; ++copy) {
    place = volume_map::placeOf(map.layout, block, copy);
    own = own || !lost(place.member, place.at);
  }
  UINT32 missing = 0;
  for (UINT32 i = 0; i < map.layout.memberCount; ++i) {
    missing += lost(i, place.at) ? 1 : 0;
  }
  return own || (map.parityHolds && missing <= volume_map::paritiesOf(map.layout.level));
}

static void checkRead(Model &model, UINT64 block, UINTN count) {
  Bytes scratch(size_t{16} * ddf::sectorSize), buffer(count * ddf::sectorSize + 1, 0x77);
  volume_map::Access access = {readModel, &model, scratch.data(), 16};
  EFI_STATUS status = volume_map::read(model.map, access, block, count, buffer.data());
  bool had = true;
  for (UINT64 i = block; i < block + count; i += 8 - i % 8) {
    had = had && isHad(model, i);
  }
  EXPECT_EQ(status, had ? EFI_SUCCESS : EFI_DEVICE_ERROR) << block << ", " << count;
  EXPECT_TRUE(!had ||
              std::memcmp(buffer.data(), model.volume.data() + block * ddf::sectorSize, count * ddf::sectorSize) == 0)
      << block << ", " << count;
  EXPECT_EQ(buffer.back(), 0x77);
}

struct Layout {
  ddf::VirtualDiskLevel level;
  UINT8 qualifier;
  UINT32 copies, fewest, most;
};
constexpr Layout g_layouts[] = {
    {ddf::VirtualDiskLevel::raid0, 0, 1, 1, 6},   {ddf::VirtualDiskLevel::raid1, 0, 2, 2, 2},
    {ddf::VirtualDiskLevel::raid1, 1, 3, 3, 3},   {ddf::VirtualDiskLevel::raid4, 1, 1, 3, 6},
    {ddf::VirtualDiskLevel::raid5, 0, 1, 3, 7},   {ddf::VirtualDiskLevel::raid5, 2, 1, 3, 7},
    {ddf::VirtualDiskLevel::raid5, 3, 1, 3, 7},   {ddf::VirtualDiskLevel::raid6, 1, 1, 4, 8},
    {ddf::VirtualDiskLevel::raid6, 2, 1, 4, 8},   {ddf::VirtualDiskLevel::raid6, 3, 1, 4, 8},
    {ddf::VirtualDiskLevel::raid10, 0, 2, 3, 7},  {ddf::VirtualDiskLevel::raid10, 0, 3, 6, 6},
    {ddf::VirtualDiskLevel::raid6, 3, 1, 63, 64},
};

static Model makeModel(const Layout &layout, std::mt19937 &random) {
  Model model;
  model.map.layout.level = layout.level;
  model.map.layout.qualifier = layout.qualifier;
  model.map.parityHolds = random() % 8 != 0;
  model.map.layout.copies = layout.copies;
  model.map.layout.memberCount = layout.fewest + static_cast<UINT32>(random()) % (layout.most - layout.fewest + 1);
  model.map.layout.stripBlocks = layout.level == ddf::VirtualDiskLevel::raid1 ? 0 : 8U << random() % 3;
  model.rows = model.map.layout.memberCount > 8 ? 2 : model.map.layout.memberCount * 2U + random() % 5;
  fill(model, random);
  return model;
}

// Whole, without up to three members, and with pages here and there that cannot be read.
TEST(VolumeMap, BlocksAreReadOrRefusedAsTheModelSays) {
  std::mt19937 random(30);
  for (int turn = 0; turn < 130 && !HasFailure(); ++turn) {
    const Layout &layout = g_layouts[turn % std::size(g_layouts)];
    Model model = makeModel(layout, random);
    SCOPED_TRACE(std::to_string(turn) + ": level " + std::to_string(static_cast<int>(layout.level)) + ", " +
                 std::to_string(layout.qualifier) + ", members " + std::to_string(model.map.layout.memberCount));
    checkRead(model, 0, model.map.layout.blocks);
    for (auto lost = random() % 4; lost > 0; --lost) {
      model.map.members[random() % model.map.layout.memberCount].readable = false;
    }
    for (auto bad = random() % 6; bad > 0; --bad) {
      auto &pages = model.unreadable[random() % model.map.layout.memberCount];
      pages[random() % pages.size()] = true;
    }
    for (int request = 0; request < 20; ++request) {
      UINT64 block = random() % model.map.layout.blocks;
      checkRead(model, block, 1 + random() % std::min<UINT64>(model.map.layout.blocks - block, 80));
    }
  }
}

// A mirror's request goes to the disk as it came: a file that lies in one piece is read with one.
TEST(VolumeMap, MirrorsDoNotCutRequests) {
  std::mt19937 random(1);
  for (const Layout &layout : {g_layouts[1], Layout{ddf::VirtualDiskLevel::raid0, 0, 1, 1, 1}}) {
    Model model = makeModel(layout, random);
    checkRead(model, 0, model.map.layout.blocks);
    EXPECT_EQ(model.largest, model.map.layout.blocks);
  }
}

// --- Judgement ---

typedef void (*SetChange)(ddf::Copy &copy, UINT32 disk);

struct JudgeCase {
  const char *name;
  TestVirtualDisk volume;
  unsigned gone; // disks that are not plugged in, bit by bit
  SetChange change;
  const char *wanted; // "ready", "degraded" or the reason, then the members that are read
};

#define CHANGE(...)                                                                                                    \
  [](ddf::Copy &copy, UINT32 disk) {                                                                                   \
    (void)copy, (void)disk;                                                                                            \
    __VA_ARGS__;                                                                                                       \
  }
#define STATE(pd, bits) ddf::pdEntryAt(copy, pd)->state = (bits)

// One without a secondary level.
constexpr TestVirtualDisk flat(UINT8 level, UINT8 qualifier, UINT32 members, UINT8 strip = 7, UINT64 blocks = 256) {
  return {level, qualifier, ddf::noSecondary, 1, members, strip, blocks};
}
constexpr TestVirtualDisk g_mirror = flat(ddf::levelRaid1, 0, 2, ddf::noStrip, 257);
constexpr TestVirtualDisk g_triple = flat(ddf::levelRaid1, 1, 3, ddf::noStrip);
constexpr TestVirtualDisk g_striped = flat(ddf::levelRaid0, 0, 2, 0);
constexpr TestVirtualDisk g_five = flat(ddf::levelRaid5, 3, 3), g_six = flat(ddf::levelRaid6, 3, 5);
constexpr TestVirtualDisk g_ten = flat(ddf::levelRaid1e, 0, 3);
constexpr TestVirtualDisk g_pairs = {ddf::levelRaid1, 0, ddf::secondarySpanned, 2, 2, 7, 256};
constexpr UINT16 failedValue = ddf::pdOnline | ddf::pdFailed, away = ddf::pdFailed | ddf::pdMissing;

static const JudgeCase g_cases[] = {
    {"mirror", g_mirror, 0, CHANGE(), "ready 01 256"},
    {"strips", g_striped, 0, CHANGE(), "ready 01 512"},
    {"triple", g_triple, 0, CHANGE(), "ready 012 256"},
    {"five", g_five, 0, CHANGE(), "ready 012 512"},
    {"six", g_six, 0, CHANGE(), "ready 01234 768"},
    {"ten of three", g_ten, 0, CHANGE(), "ready 012 384"},
    {"pairs", g_pairs, 0, CHANGE(), "ready 0123 512"},
    // Members that are away, and whether anybody said that they are.
    {"one away", g_mirror, 1, CHANGE(), "degraded 1 256"},
    {"one away for good", g_mirror, 1, CHANGE(STATE(0, away)), "ready 1 256"},
    {"a disk of strips", g_striped, 1, CHANGE(), "too few of its members are there"},
    {"two of six", g_six, 3, CHANGE(STATE(0, away)), "degraded 234 768"},
    {"three of six", g_six, 7, CHANGE(), "too few of its members are there"},
    {"neighbours of ten", g_ten, 3, CHANGE(), "too few of its members are there"},
    {"a pair, with its record", g_pairs, 3, CHANGE(), "too few of its members are there"},
    {"one of each pair", g_pairs, 9, CHANGE(STATE(0, away)), "degraded 12 512"},
    {"no disk named", g_five, 0, CHANGE(ddf::referencesOf(ddf::recordAt(copy, 0))[0] = ddf::noReference),
     "ready 12 512"},
    // Members that are there.
    {"failed", g_mirror, 0, CHANGE(STATE(0, failedValue)), "ready 1 256"},
    {"rebuilding", g_mirror, 0,
     CHANGE(STATE(0, ddf::pdOnline | ddf::pdRebuilding); ddf::vdEntryAt(copy, 0)->state = ddf::vdDegraded),
     "ready 1 256"},
    {"rebuilding another volume", g_mirror, 0, CHANGE(STATE(0, ddf::pdOnline | ddf::pdRebuilding)), "ready 01 256"},
    {"rebuilding under strips", g_striped, 0,
     CHANGE(STATE(0, ddf::pdOnline | ddf::pdRebuilding); ddf::vdEntryAt(copy, 0)->state = ddf::vdDegraded),
     "ready 01 512"},
    {"outside its disk", g_mirror, 0, CHANGE(ddf::pdEntryAt(copy, 1)->configuredSize = 9),
     "a member does not lie inside its disk"},
    {"twice", g_mirror, 0, CHANGE(ddf::referencesOf(ddf::recordAt(copy, 0))[1] = ddf::pdEntryAt(copy, 0)->reference),
     "one disk is two of its members"},
    // Parity that cannot be trusted is not used; data and copies may.
    {"dirty", g_five, 0, CHANGE(ddf::vdEntryAt(copy, 0)->state = ddf::vdInconsistent), "ready 012 512, no parity"},
    {"dirty and one away", g_five, 2, CHANGE(ddf::vdEntryAt(copy, 0)->state = ddf::vdInconsistent),
     "its parity is not to be trusted, and a member is missing"},
    {"never built and one away", g_six, 2, CHANGE(ddf::vdEntryAt(copy, 0)->init = ddf::initQuick),
     "its parity is not to be trusted, and a member is missing"},
    {"dirty mirror and one away", g_mirror, 2, CHANGE(ddf::vdEntryAt(copy, 0)->state = ddf::vdInconsistent),
     "degraded 0 256, no parity"},
    // What is not read, whatever is there.
    {"foreign", g_mirror, 0, CHANGE(copy.header.foreignFlag = 1), "it is another controller's and was not imported"},
    {"blocked", g_mirror, 0,
     CHANGE(ddf::vdEntryAt(copy, 0)->init = ddf::initFull | ddf::accessBlocked << ddf::accessShift),
     "access to it is blocked"},
    {"for reading only", g_mirror, 0,
     CHANGE(ddf::vdEntryAt(copy, 0)->init = ddf::initFull | ddf::accessReadOnly << ddf::accessShift), "ready 01 256"},
    {"deleted", g_mirror, 0, CHANGE(ddf::vdEntryAt(copy, 0)->state = ddf::vdDeleted), "it is marked as deleted"},
    {"offline", g_mirror, 0, CHANGE(ddf::vdEntryAt(copy, 0)->state = ddf::vdOffline),
     "it is marked as failed, missing or offline"},
    {"morphing", g_mirror, 0, CHANGE(ddf::vdEntryAt(copy, 0)->state = ddf::vdMorphing), "its layout is being changed"},
    {"no record", g_mirror, 0, CHANGE(ddf::recordAt(copy, 0)->signature = ddf::freeRecordSignature),
     "no disk has its record"},
    {"far or offset", flat(ddf::levelRaid1e, 1, 4), 0, CHANGE(), "its level is not read here"},
    {"one behind the other", flat(ddf::levelConcat, 0, 2), 0, CHANGE(), "its level is not read here"},
    {"no qualifier of Linux", flat(ddf::levelRaid5, 1, 3), 0, CHANGE(), "its level is not read here"},
    {"65 members", flat(ddf::levelRaid0, 0, 65), 0, CHANGE(), "it has too many members"},
    {"small strips", flat(ddf::levelRaid5, 3, 3, 2), 0, CHANGE(), "Linux takes no strips of that size"},
    {"no strips", flat(ddf::levelRaid0, 0, 2, ddf::noStrip), 0, CHANGE(), "Linux takes no strips of that size"},
    {"no whole strip", flat(ddf::levelRaid0, 0, 2, 9), 0, CHANGE(), "Linux takes no strips of that size"},
    // Halves that ran apart.
    {"each without the other", g_mirror, 0, CHANGE(STATE(disk ^ 1, away)),
     "its halves were used apart, and each calls the other failed"},
    {"one the longer", g_mirror, 0, CHANGE(STATE(disk ^ 1, away); copy.header.sequence = disk == 1 ? 6 : 5),
     "its halves were used apart, and each calls the other failed"},
    {"one without the other, which went on unasked", g_mirror, 0,
     CHANGE(if (disk == 0) { STATE(1, away); } copy.header.sequence = disk == 0 ? 5 : 6),
     "its halves were used apart, and each calls the other failed"},
    {"one against two", g_triple, 0,
     CHANGE(disk == 0 ? void(STATE(0, ddf::pdOnline)) : void(STATE(0, away));
            if (disk == 0) { STATE(1, away), STATE(2, away); } copy.header.sequence = disk == 0 ? 5 : 6),
     "its halves were used apart, and each calls the other failed"},
    {"one saw another go that came back since", g_six, 0,
     CHANGE(disk == 0 ? STATE(1, away) : STATE(0, away); copy.header.sequence = disk == 0 ? 5 : 6), "ready 1234 768"},
};

static std::string judgeAll(Disks &disks) {
  OwnedModel model = readModel(disks);
  const ddf::Set &set = model->sets[0];
  Map map = {};
  Judgement judgement = volume_map::judge(*model, set, set.virtualDisks[0], &map);
  std::string text = judgement.why == nullptr ? "" : judgement.why;
  if (judgement.why == nullptr) {
    text = judgement.readiness == Readiness::ready ? "ready " : "degraded ";
    for (UINT32 i = 0; i < map.layout.memberCount; ++i) {
      text += map.members[i].readable ? std::to_string(i) : "";
    }
    text += " " + std::to_string(map.layout.blocks) + (map.parityHolds ? "" : ", no parity");
  }
  return text;
}

TEST_F(Ddf, VolumesAreJudgedByWhatTheirSetSays) {
  for (const JudgeCase &row : g_cases) {
    SCOPED_TRACE(row.name);
    Disks all = makeDisks(row.volume, /* extraDisks= */ 1, {127, 63, 16, 256}), disks;
    changeDisks(all, [&](ddf::Copy &copy, size_t disk) { row.change(copy, static_cast<UINT32>(disk)); });
    for (size_t i = 0; i < all.size(); ++i) {
      i < 8 && (row.gone >> i & 1) != 0 ? void() : disks.push_back(all[i]);
    }
    EXPECT_EQ(judgeAll(disks), row.wanted);
  }
}
