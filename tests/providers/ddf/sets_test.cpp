// Sets that are made here: all levels, and metadata that is valid by its checksums and wrong in what it says.

#include <cstring>

#include "tests/providers/ddf/fixture.h"

using namespace xyl;

struct LevelCase {
  TestVirtualDisk virtualDisk;
  const char *text;
};

constexpr LevelCase g_levels[] = {
    {{0x00, 0, 0xFF, 1, 3, 7, 300}, "RAID 0 (0, 0, secondary 255), 768 blocks"},
    {{0x01, 0, 0xFF, 1, 2, 0xFF, 300}, "RAID 1 (1, 0, secondary 255), 300 blocks"},
    {{0x01, 1, 0xFF, 1, 3, 7, 300}, "RAID 1 (1, 1, secondary 255), 300 blocks"},
    {{0x04, 1, 0xFF, 1, 3, 7, 256}, "RAID 4 (4, 1, secondary 255), 512 blocks"},
    {{0x05, 2, 0xFF, 1, 4, 7, 256}, "RAID 5 (5, 2, secondary 255), 768 blocks"},
    {{0x06, 3, 0xFF, 1, 5, 7, 256}, "RAID 6 (6, 3, secondary 255), 768 blocks"},
    {{0x11, 0, 0xFF, 1, 3, 7, 256}, "RAID 10 (17, 0, secondary 255), 384 blocks"},
    {{0x11, 0, 0xFF, 1, 4, 7, 256}, "RAID 10 (17, 0, secondary 255), 512 blocks"},
    {{0x11, 0, 0xFF, 1, 6, 7, 300}, "RAID 10 (17, 0, secondary 255), 768 blocks"},
    {{0x11, 1, 0xFF, 1, 4, 7, 256}, "RAID 10 (17, 1, secondary 255), 512 blocks"},
    {{0x01, 0, 0, 2, 2, 7, 256}, "RAID 10 (1, 0, secondary 0), 512 blocks"},
    {{0x01, 1, 3, 2, 3, 7, 256}, "RAID 10 (1, 1, secondary 3), 512 blocks"},
    {{0x1F, 0, 0xFF, 1, 2, 7, 300}, "linear (31, 0, secondary 255), 600 blocks"},
    // What Linux cannot map.
    {{0x01, 1, 0xFF, 1, 2, 7, 256}, "RAID 1 (1, 1, secondary 255), not for Linux, 256 blocks"},
    {{0x01, 0, 0xFF, 1, 3, 7, 256}, "RAID 1 (1, 0, secondary 255), not for Linux, 256 blocks"},
    {{0x01, 8, 0xFF, 1, 2, 7, 256}, "RAID 1 (1, 8, secondary 255), not for Linux, 256 blocks"},
    {{0x05, 0, 0xFF, 1, 1, 7, 256}, "RAID 5 (5, 0, secondary 255), not for Linux, 0 blocks"},
    {{0x05, 1, 0xFF, 1, 3, 7, 256}, "RAID 5 (5, 1, secondary 255), not for Linux, 512 blocks"},
    {{0x06, 0, 0xFF, 1, 4, 7, 256}, "RAID 6 (6, 0, secondary 255), not for Linux, 512 blocks"},
    {{0x05, 3, 3, 2, 3, 7, 256}, "unknown level (5, 3, secondary 3), not for Linux"},
    {{0x15, 0, 0xFF, 1, 3, 7, 256}, "unknown level (21, 0, secondary 255), not for Linux"},
};

// What lost disks leave of them is proved in laws.cpp.
TEST_F(Ddf, LevelsAreWhatTheirRecordsSay) {
  for (const LevelCase &row : g_levels) {
    Disks disks = makeDisks(row.virtualDisk, /* extraDisks= */ 1, ddf::smallLimits);
    EXPECT_NE(readText(disks).find(row.text), std::string::npos) << row.text << readText(disks);
  }
}

// --- What a set may say ---

static ddf::Record *record(ddf::Copy &copy) {
  return ddf::recordAt(copy, 0);
}

typedef void (*SetChange)(ddf::Copy &copy, size_t disk);

struct SetCase {
  const char *name;
  SetChange change; // of two disks of a mirror, 256 blocks from 0 on, and a spare
  const char *text; // what the model then has
};

#define CHANGE(...)                                                                                                    \
  [](ddf::Copy &copy, size_t disk) {                                                                                   \
    (void)copy, (void)disk;                                                                                            \
    __VA_ARGS__;                                                                                                       \
  }

static const SetCase g_cases[] = {
    {"nothing changed", CHANGE(), "members 0@0, 1@0\n"},
    // Members.
    {"one disk twice", CHANGE(ddf::referencesOf(record(copy))[1] = ddf::referencesOf(record(copy))[0]),
     "0@0, 0@0 repeated\n"},
    {"no disk, but an entry",
     CHANGE(ddf::referencesOf(record(copy))[0] = ddf::noReference;
            ddf::pdEntryAt(copy, 2)->reference = ddf::noReference),
     "members ?@0 unknown, 1@0\n"},
    // Records.
    {"span beyond the last", CHANGE(record(copy)->secondaryCount = 2; record(copy)->secondaryElement = 2),
     "impossible counts"},
    {"members without end", CHANGE(record(copy)->secondaryCount = 200), "too many members"},
    {"the newer record counts", CHANGE(if (disk == 1) { record(copy)->sequence = 7, record(copy)->blocks = 9; }),
     " 9 blocks"},
    // Lists.
    {"entries alike", CHANGE(*ddf::vdEntryAt(copy, 9) = *ddf::vdEntryAt(copy, 0)), "another entry has its identity"},
    {"free entry with old numbers", CHANGE(std::memset(&ddf::pdEntryAt(copy, 2)->guid, 0xFF, 24)),
     "disk 2: stale of set 0, not in the list"},
    {"references alike", CHANGE(ddf::pdEntryAt(copy, 2)->reference = ddf::pdEntryAt(copy, 0)->reference),
     "disk 2: stale of set 0, not in the list"},
    {"no entries", CHANGE(for (UINT32 i = 0; i < 3; ++i) std::memset(&ddf::pdEntryAt(copy, i)->guid, 0xFF, 24)),
     "disk 0: stale of set 0, not in the list"},
    // Virtual disks and spares.
    {"states of the entry",
     CHANGE(ddf::vdEntryAt(copy, 0)->state = ddf::vdDegraded | ddf::vdInconsistent;
            ddf::vdEntryAt(copy, 0)->init = 0x81),
     "\"volume\" degraded (entry: degraded, inconsistent, quickly initialised, read only)"},
    {"a name of any bytes", CHANGE(std::memcpy(ddf::vdEntryAt(copy, 0)->name, "a b\x1b\x80 c     \0xyz", 16)),
     "\"a b?? c\""},
    {"global spare", CHANGE(), "type global spare, global spare, used 0"},
    {"spare without its record", CHANGE(ddf::pdEntryAt(copy, 2)->type = ddf::pdSpare), "type spare, global spare"},
    {"dedicated spare", CHANGE(dedicateSpare(copy, disk, 2)), "type spare, spare for volumes 0, used 0"},
    {"spare that is not dedicated",
     CHANGE(dedicateSpare(copy, disk, 2);
            reinterpret_cast<ddf::SpareRecord *>(ddf::recordAt(copy, 16))->type = disk == 2 ? 0 : 0xFF),
     "type spare, global spare"},
    {"failed spare", CHANGE(ddf::pdEntryAt(copy, 2)->state = ddf::pdOnline | ddf::pdFailed),
     "type global spare, used 0"},
    // Headers.
    {"no name", CHANGE(std::memset(&copy.header.guid, 0xFF, 24)), "disk 0: damaged, header of another kind: anchor"},
    {"copy on the anchor", CHANGE(copy.header.secondaryLba = testDiskSectors - 1),
     "secondary: header outside the disk"},
};

static void hasText(Disks &disks, const std::string &wanted) {
  OwnedModel model = readModel(disks);
  std::string text = describe(*model);
  EXPECT_EQ(modelFault(*model), "");
  EXPECT_NE(text.find(wanted), std::string::npos) << text;
}

TEST_F(Ddf, WhatASetSaysIsJudged) {
  for (const SetCase &row : g_cases) {
    SCOPED_TRACE(row.name);
    Disks disks = makeDisks({ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 256}, 1, ddf::smallLimits);
    changeDisks(disks, row.change);
    hasText(disks, row.text);
  }
}

TEST_F(Ddf, ASectionMayBeLonger) {
  Disks disks = makeDisks({ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 256}, 0, ddf::smallLimits);
  OwnedModel model = readModel(disks);
  for (UINT32 i = 0; i < 2; ++i) {
    ddf::Copy copy = model->disks[i].copy; // with the same sections, but for the first
    std::vector<UINT8> longer(2 * ddf::sectorSize, 0xFF);
    std::memcpy(longer.data(), copy.sections[ddf::sectionController], ddf::sectorSize);
    copy.sections[ddf::sectionController] = longer.data();
    copy.header.sections[ddf::sectionController].length = 2;
    for (int section = ddf::sectionController + 1; section < ddf::sectionCount; ++section) {
      copy.header.sections[section].offset = copy.header.sections[section].offset + 1;
    }
    storeCopy(disks[i], copy);
  }
  hasText(disks, "newest disk 0, not ordered\n");
}

static void addOwnVirtualDisk(ddf::Copy &copy) {
  ddf::vdEntryAt(copy, 0)->guid.bytes[9] ^= 1;
  record(copy)->guid.bytes[9] ^= 1;
}

static void noteOther(ddf::Copy &copy) {
  ddf::Guid other = record(copy)->guid;
  other.bytes[9] ^= 1;
  ddf::noteDeleted(copy, other);
}

TEST_F(Ddf, ACopyIsMadeForMembersThatHaveRoom) {
  const struct {
    const char *name;
    SetChange change;
    UINT32 disk;
    EFI_STATUS status;
    bool leftover; // whether the disk is one
  } cases[] = {
      {"no such disk", CHANGE(), 3, EFI_INVALID_PARAMETER, false},
      {"a volume's", CHANGE(ddf::pdEntryAt(copy, 1)->guid.bytes[9] ^= 1), 1, EFI_INVALID_PARAMETER, false},
      {"with an unknown volume",
       CHANGE(ddf::pdEntryAt(copy, 1)->guid.bytes[9] ^= 1; record(copy)->guid.bytes[9] ^= disk == 1), 1,
       EFI_INVALID_PARAMETER, false},
      {"empty", CHANGE(ddf::pdEntryAt(copy, 2)->guid.bytes[9] ^= 1), 2, EFI_INVALID_PARAMETER, true},
      {"longer records", CHANGE(if (disk == 2) { copy.header.recordLength = 17; }), 2, EFI_UNSUPPORTED, false},
      {"fewer elements", CHANGE(if (disk == 2) { copy.header.maxElements = 63; }), 2, EFI_UNSUPPORTED, false},
      {"no slot",
       CHANGE(*ddf::vdEntryAt(copy, 9) = *ddf::vdEntryAt(copy, 0); ddf::vdEntryAt(copy, 9)->guid.bytes[9] ^= 1;
              for (UINT32 i = 0; disk == 0 && i < 17; ++i) { ddf::recordAt(copy, i)->signature = 0x12345678; }),
       0, EFI_VOLUME_FULL, false},
      {"a volume that was deleted meanwhile",
       CHANGE(copy.header.sequence = disk == 0 ? 1 : 2; disk == 0 ? addOwnVirtualDisk(copy) : noteOther(copy)), 0,
       EFI_SUCCESS, false},
      {"empty since then",
       CHANGE(ddf::pdEntryAt(copy, 1)->guid.bytes[9] ^= 1; disk == 1 ? addOwnVirtualDisk(copy) : noteOther(copy)), 1,
       EFI_INVALID_PARAMETER, true},
      {"a volume of its own", CHANGE(if (disk == 1) { addOwnVirtualDisk(copy); }), 1, EFI_INVALID_PARAMETER, false},
      {"a record that its set does not know", CHANGE(record(copy)->guid.bytes[9] ^= 1), 0, EFI_SUCCESS, false},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    Disks disks = makeDisks({ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 256}, 1, ddf::smallLimits);
    changeDisks(disks, row.change);
    OwnedModel model = readModel(disks);
    ddf::Copy copy;
    EXPECT_EQ(ddf::makeCurrentCopy(*model, row.disk, &copy), row.status);
    EXPECT_EQ(copy.sections[0] != nullptr, row.status == EFI_SUCCESS);
    UINT32 records = 0;
    for (UINT32 i = 0; copy.sections[0] != nullptr && i < ddf::recordCapacity(copy); ++i) {
      records += ddf::recordAt(copy, i)->signature == ddf::recordSignature ? 1 : 0;
    }
    EXPECT_EQ(records, row.status == EFI_SUCCESS ? 1u : 0u);
    EXPECT_EQ(row.disk < model->diskCount && ddf::isLeftover(*model, row.disk), row.leftover);
    ddf::freeCopy(&copy);
  }
}

TEST_F(Ddf, NewCopiesNeedRoom) {
  const std::pair<UINT64, ddf::Limits> cases[] = {{ddf::reserveSectors, ddf::smallLimits},
                                                  {testDiskSectors, {0, 63, 16, 64}},
                                                  {testDiskSectors, {63, 63, 1023, 256}}};
  for (const auto &[sectors, limits] : cases) {
    ddf::Copy copy;
    EXPECT_EQ(ddf::makeNewCopy({sectors, limits, {}, {}, {}, {}, {}, 0}, &copy), EFI_INVALID_PARAMETER);
    EXPECT_EQ(copy.sections[0], nullptr);
  }
}

// Disks of one set that do not agree: nothing of one is read by the measures of another, and nothing is given up.
TEST_F(Ddf, WhatDoesNotFitTogetherIsNotMixed) {
  const SetChange changes[] = {
      CHANGE(record(copy)->strip = disk < 2 ? 7 : 8),
      CHANGE(record(copy)->level = disk < 2 ? ddf::levelRaid1 : ddf::levelRaid0),
      CHANGE(record(copy)->qualifier = disk < 2 ? 0 : 1),
      CHANGE(record(copy)->secondaryCount = disk < 2 ? 2 : 3),
      CHANGE(record(copy)->secondaryLevel = disk < 2 ? ddf::secondarySpanned : ddf::secondaryStriped),
      CHANGE(record(copy)->memberBlocks = disk < 2 ? 256 : 255),
      CHANGE(record(copy)->memberBlocks = disk < 2 ? 256 : 0),
      CHANGE(record(copy)->elements = disk < 2 ? 2 : 60),
  };
  Disks disks;
  for (auto change : changes) {
    disks = makeDisks({ddf::levelRaid1, 0, ddf::secondarySpanned, 2, 2, 7, 256}, 0, ddf::smallLimits);
    changeDisks(disks, change);
    hasText(disks, "members 0@0, 1@0, | ?@0 unknown, ?@0 unknown\n");
    EXPECT_FALSE(readModel(disks)->sets[0].sound); // so nothing is made where these members may be
  }
  changeDisks(disks, CHANGE(record(copy)->sequence = disk < 2 ? 2 : 1));
  EXPECT_TRUE(readModel(disks)->sets[0].sound);
  Disks others = makeDisks({ddf::levelRaid1, 0, ddf::secondarySpanned, 2, 2, 7, 256}, 0, ddf::linuxLimits);
  disks[1] = others[1];
  hasText(disks, "members 0@0, 1@0, | ?@0 unknown, ?@0 unknown\n");
  OwnedModel model = readModel(disks);
  ddf::Copy current;
  EXPECT_EQ(ddf::makeCurrentCopy(*model, 1, &current), EFI_UNSUPPORTED);
  ASSERT_EQ(ddf::makeCurrentCopy(*model, 2, &current), EFI_SUCCESS);
  EXPECT_EQ(std::memcmp(record(current), record(model->disks[2].copy), ddf::sectorSize), 0);
  ddf::freeCopy(&current);

  const Disks whole = others;
  for (size_t field :
       {offsetof(ddf::Header, guid), offsetof(ddf::Header, revision) + 4, offsetof(ddf::Header, primaryLba) + 7,
        offsetof(ddf::Header, secondaryLba) + 7, offsetof(ddf::Header, workspaceLba)}) {
    others = whole;
    others[0].kept[testDiskSectors - 32768][field] ^= 2; // of the revision, 01.00.00
    mendChecksums(others[0]);
    hasText(others, "primary: header does not match the anchor\n");
  }
}

// --- Reads that fail, memory that runs out ---

TEST_F(Ddf, ReadsThatFailAreReasons) {
  Disks disks = makeDisks({ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 256}, 0, ddf::smallLimits);
  const char *const wanted[] = {"unreadable, cannot be read",
                                "primary: header cannot be read",
                                "primary: cannot be read: controller data",
                                nullptr,
                                nullptr,
                                nullptr,
                                "primary: cannot be read: disk data",
                                "secondary: header cannot be read"};
  for (size_t i = 0; i < std::size(wanted); ++i) {
    disks[0].failAfter = i;
    std::string text = readText(disks);
    EXPECT_TRUE(wanted[i] == nullptr || text.find(wanted[i]) != std::string::npos) << i << ": " << text;
    EXPECT_NE(text.find(i == 0 ? "\"volume\" degraded" : "\"volume\" optimal"), std::string::npos) << i << ": " << text;
  }
  Disks blank = {{testDiskSectors, {}, 1}};
  EXPECT_NE(readText(blank).find("unreadable, cannot be read"), std::string::npos); // behind the anchor
  Disks none;
  EXPECT_EQ(readText(none), "");
}

TEST_F(Ddf, MemoryThatRunsOutLeavesNothing) {
  ddf::freeModel(nullptr); // as who did not get a model does
  Disks disks = makeDisks({ddf::levelRaid1, 0, 3, 2, 2, 7, 256}, 1, ddf::smallLimits);
  changeDisks(disks, [](ddf::Copy &copy, size_t disk) { dedicateSpare(copy, disk, 4); });
  sweepMemory([&] {
    OwnedModel model = readModel(disks);
    return model != nullptr;
  });
}

// --- What keeps a set from being changed ---

TEST_F(Ddf, ASetThatIsStuckTellsWhy) {
  const SetCase cases[] = {
      {"nothing changed", CHANGE(), nullptr},
      {"a volume of its own", CHANGE(if (disk == 1) { addOwnVirtualDisk(copy); }), "changed apart"},
      {"which was deleted",
       CHANGE(disk == 1   ? addOwnVirtualDisk(copy)
              : disk == 0 ? noteOther(copy)
                          : void()),
       nullptr},
      {"which nobody noted",
       CHANGE(std::memset(ddf::diskDataOf(copy)->scratch, 'x', 32); disk == 1   ? addOwnVirtualDisk(copy)
                                                                    : disk == 0 ? noteOther(copy)
                                                                                : void()),
       "changed apart"},
      {"a record without an entry", CHANGE(record(copy)->guid.bytes[9] ^= disk == 1), "not understood"},
      {"the newest disk failed", CHANGE(if (disk == 1) { ddf::pdEntryAt(copy, 0)->state = 3; }), "changed apart"},
      {"and says so", CHANGE(ddf::pdEntryAt(copy, 0)->state = 3), nullptr},
      {"the newest disk is not listed", CHANGE(std::memset(&ddf::pdEntryAt(copy, 0)->guid, disk == 0 ? 0xFF : 1, 24)),
       nullptr},
      {"or not by another", CHANGE(if (disk == 1) { ddf::pdEntryAt(copy, 0)->reference = 1; }), nullptr},
      {"another start", CHANGE(ddf::startsOf(copy, record(copy))[0] = disk), "not understood"},
      {"another member", CHANGE(ddf::referencesOf(record(copy))[1] = disk == 1 ? 7 : 8), "not understood"},
      {"another size", CHANGE(record(copy)->memberBlocks = 64 + disk), "not understood"},
      {"another age", CHANGE(ddf::startsOf(copy, record(copy))[0] = disk; record(copy)->sequence = disk == 1 ? 2 : 1),
       nullptr},
      {"no record at all", CHANGE(record(copy)->secondaryCount = disk == 1 ? 200 : 1), nullptr},
      {"the last sequences", CHANGE(copy.header.sequence = 0xFFFFFFF0), "no sequence numbers"},
      {"a gap", CHANGE(copy.header.maxPartitions = 15), "Linux would misplace"},
      {"one copy", CHANGE(copy.header.secondaryLba = ddf::noLba), "no place to write"},
      {"no room", CHANGE(copy.header.secondaryLba = testDiskSectors - 2), "no place to write"},
      {"another layout", CHANGE(copy.header.maxElements = disk == 2 ? 63 : 64), "no place to write"},
      {"all failed", CHANGE(for (UINT32 i = 0; i < 3; ++i) ddf::pdEntryAt(copy, i)->state = 3), "no disk that works"},
  };
  for (const SetCase &row : cases) {
    SCOPED_TRACE(row.name);
    Disks disks = makeDisks({ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 256}, 1, ddf::smallLimits);
    changeDisks(disks, row.change);
    OwnedModel model = readModel(disks);
    const CHAR8 *stuck = model->sets[0].stuck;
    EXPECT_EQ(stuck == nullptr, row.text == nullptr) << (stuck == nullptr ? "" : stuck);
    EXPECT_TRUE(stuck == nullptr || row.text == nullptr || std::strstr(stuck, row.text) != nullptr) << stuck;
  }
}

// Notes of deleted virtual disks have a place that was blank, and what another maker has there stays.
TEST_F(Ddf, DeletedVirtualDisksAreNotedWhereNobodyElseWrites) {
  const ddf::Guid virtualDisk = {{'v'}};
  ddf::Copy copies[2];
  for (ddf::Copy &copy : copies) {
    ASSERT_EQ(ddf::makeNewCopy({testDiskSectors, ddf::smallLimits, {}, {}, {}, {}, {}, 1}, &copy), EFI_SUCCESS);
  }
  UINT8 *scratch = ddf::diskDataOf(copies[0])->scratch;
  EXPECT_FALSE(ddf::isDeleted(copies[0], virtualDisk));
  for (int fill : {0, 0xFF, static_cast<int>(' '), static_cast<int>('x'), 1}) {
    std::memset(scratch, fill == 1 ? 0 : fill, 32);
    scratch[31] = fill == 1 ? 1 : scratch[31];
    bool isFree = fill != 'x' && fill != 1;
    ddf::passDeleted(copies[1], copies[0]); // the first time none
    EXPECT_EQ(ddf::isDeleted(copies[0], virtualDisk), isFree && ddf::isDeleted(copies[1], virtualDisk));
    ddf::noteDeleted(copies[0], virtualDisk);
    EXPECT_EQ(ddf::isDeleted(copies[0], virtualDisk), isFree);
    ddf::passDeleted(copies[0], copies[1]);
    EXPECT_TRUE(ddf::isDeleted(copies[1], virtualDisk));
  }
  for (ddf::Copy &copy : copies) {
    ddf::freeCopy(&copy);
  }
}
