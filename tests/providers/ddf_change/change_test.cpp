// Changes of sets: what they leave, and what they refuse. In which order they write is judged where the power goes.

#include <algorithm>
#include <cstring>
#include <set>

#include "providers/ddf_change/ddf_change.h"
#include "tests/providers/ddf/fixture.h"
#include "tests/support/world.h"

using namespace xyl;

static ddf::Guid guidOf(const char *text, size_t number) {
  ddf::Guid guid;
  std::memset(guid.bytes, '-', sizeof(guid.bytes));
  std::memcpy(guid.bytes, text, std::strlen(text));
  guid.bytes[23] = static_cast<UINT8>('0' + number);
  return guid;
}

// Disks that are written.
class Rig {
public:
  explicit Rig(size_t count) : disks(count, {testDiskSectors, {}}) {
    std::memset(&maker_, 0xFF, sizeof(maker_));
    maker_.guid = guidOf("OurMaker", 0);
    std::memcpy(maker_.vendorData, "made", 4);
  }

  // Reads the disks, and lets a change do its work on them.
  EFI_STATUS run(const std::function<EFI_STATUS(ddf_change::Writer *)> &change) {
    const Disks before = disks;
    std::vector<ddf::Source> sources;
    std::vector<ddf_change::Target> targets;
    for (SparseDisk &disk : disks) {
      size_t number = sources.size();
      sources.push_back(disk.source());
      targets.push_back({write, flush, &disk, guidOf("Disk", number), number != unusable});
    }
    ddf::Model *model = nullptr;
    EFI_STATUS status = ddf::readModel(sources.data(), static_cast<UINT32>(sources.size()), &maker_.guid, &model);
    if (status == EFI_SUCCESS) {
      ddf_change::Writer writer = {model, targets.data(), &maker_, time, [] { return 0xFFFFFFFEU; }, {}, {}};
      status = change(&writer);
      trouble = writer.trouble.what == nullptr ? "" : writer.trouble.what;
      if (writer.trouble.disk != ddf::noIndex) {
        trouble = std::to_string(writer.trouble.disk) + ": " + trouble;
      }
      ddf::freeModel(model);
    }
    auto isSame = [](const SparseDisk &a, const SparseDisk &b) { return a.kept == b.kept; };
    changed = !std::equal(disks.begin(), disks.end(), before.begin(), isSame);
    return status;
  }

  EFI_STATUS create(UINT8 level, UINT8 qualifier, UINT8 strip, const char *name, UINT64 blocks,
                    const std::vector<UINT32> &members, UINT64 start = ddf_change::anywhere) {
    ddf_change::NewVirtualDisk wanted = {
        level,  qualifier, strip, 0, ddf::cacheReadAhead, {}, members.data(), static_cast<UINT32>(members.size()),
        blocks, start};
    std::memcpy(wanted.name, name, std::min(std::strlen(name), sizeof(wanted.name)));
    return run([&](ddf_change::Writer *writer) { return ddf_change::createVirtualDisk(writer, wanted); });
  }

  Disks disks;
  std::string trouble;
  bool changed = false; // by the last run
  size_t unusable = ~size_t{0};
  UINT32 time = 1000;

private:
  static EFI_STATUS write(void *context, UINT64 lba, UINTN count, const void *buffer) {
    auto *disk = static_cast<SparseDisk *>(context);
    EXPECT_TRUE(lba >= disk->sectors - ddf::reserveSectors && count <= disk->sectors - lba) << lba;
    disk->write(lba, buffer, count);
    return EFI_SUCCESS;
  }

  static EFI_STATUS flush(void *) { return EFI_SUCCESS; }

  ddf::ControllerData maker_;
};

// --- What is made ---

TEST_F(Ddf, VirtualDisksAreMadeAsLinuxTakesThem) {
  struct Case {
    const char *name;
    UINT8 level, qualifier, strip;
    std::vector<UINT32> members;
    UINT64 blocks, start;
    EFI_STATUS status;
    const char *text; // of the model, or the trouble
  } const cases[] = {
      {"five", 5, 2, 7, {2, 1, 0, 3}, 0, ddf_change::anywhere, EFI_SUCCESS, "members 0@0, 1@0, 2@0, 3@0"},
      {"sixteenletters16", 0x11, 0, 15, {0, 1, 2, 3}, 0, ddf_change::anywhere, EFI_VOLUME_FULL, "0: has no room"},
      {"sixteenletters16",
       0x11,
       0,
       12,
       {0, 1, 2, 3},
       0,
       ddf_change::anywhere,
       EFI_SUCCESS,
       "RAID 10 (17, 0, secondary 255)"},
      {"raid 1 of 2", 1, 1, 7, {0, 1}, 0, ddf_change::anywhere, EFI_UNSUPPORTED, "level"},
      {"five", 5, 1, 7, {0, 1, 2}, 0, ddf_change::anywhere, EFI_UNSUPPORTED, "level"},
      {"offset copies", 0x11, 1, 7, {0, 1, 2, 3}, 0, ddf_change::anywhere, EFI_UNSUPPORTED, "level"},
      {"linear", 0x1F, 0, 7, {0, 1}, 0, ddf_change::anywhere, EFI_UNSUPPORTED, "level"},
      {"no pages", 5, 3, 2, {0, 1, 2}, 0, ddf_change::anywhere, EFI_UNSUPPORTED, "strip"},
      {"no strip", 0, 0, 0xFF, {0}, 0, ddf_change::anywhere, EFI_UNSUPPORTED, "strip"},
      {"uneven", 0, 0, 7, {0}, 129, ddf_change::anywhere, EFI_INVALID_PARAMETER, "whole strips"},
      {"ghost", 0, 0, 7, {4}, 0, ddf_change::anywhere, EFI_INVALID_PARAMETER, ""},
      {"last", 0, 0, 7, {2}, 128, 4096 - 127, EFI_VOLUME_FULL, "2: has no room"},
      {"behind", 0, 0, 7, {2}, 0, UINT64{1} << 60, EFI_VOLUME_FULL, "2: has no room"},
  };
  for (const Case &row : cases) {
    SCOPED_TRACE(row.name);
    Rig rig(4);
    EXPECT_EQ(rig.create(row.level, row.qualifier, row.strip, row.name, row.blocks, row.members, row.start),
              row.status);
    std::string text = row.status == EFI_SUCCESS ? readText(rig.disks) : rig.trouble;
    EXPECT_NE(text.find(row.text), std::string::npos) << text;
    EXPECT_EQ(rig.changed, row.status == EFI_SUCCESS);
  }
}

// What a set's lists must be beside their meaning: Linux counts on no gap before the number of entries, which
// stays when disks leave.
static std::string listFault(Disks &disks) {
  std::string faults;
  OwnedModel model = readModel(disks);
  for (UINT32 i = 0; i < model->setCount; ++i) {
    const ddf::Set &set = model->sets[i];
    const ddf::Copy &copy = model->disks[set.newest].copy;
    auto used = [&](ddf::Section list) { return UINT32{reinterpret_cast<ddf::ListHead *>(copy.sections[list])->used}; };
    bool gaps = (set.pdCount != 0 && set.pds[set.pdCount - 1].entry != ddf::pdEntryAt(copy, set.pdCount - 1)) ||
                (set.virtualDiskCount != 0 &&
                 set.virtualDisks[set.virtualDiskCount - 1].entry != ddf::vdEntryAt(copy, set.virtualDiskCount - 1));
    faults += gaps ? "gaps " : "";
    faults += used(ddf::sectionPds) < set.pdCount || used(ddf::sectionVds) != set.virtualDiskCount ? "counts " : "";
    std::set<UINT32> numbers;
    for (UINT32 j = 0; j < set.virtualDiskCount; ++j) {
      faults += numbers.insert(set.virtualDisks[j].entry->number).second ? "" : "numbers ";
    }
  }
  return faults;
}

// --- A story ---

static std::string referencesOf(Disks &disks) {
  std::string text;
  OwnedModel model = readModel(disks);
  for (UINT32 i = 0; i < model->diskCount; ++i) {
    const ddf::Copy &copy = model->disks[i].copy;
    text += copy.sections[0] == nullptr ? " -" : " " + std::to_string(UINT32{ddf::diskDataOf(copy)->reference});
  }
  return text;
}

// What each step leaves, as story.txt has it; GOLDEN=1 in the environment writes it anew.
TEST_F(Ddf, ChangesFollowEachOther) {
  Rig rig(6);
  std::string told;
  auto step = [&](const char *what, EFI_STATUS status) {
    EXPECT_EQ(listFault(rig.disks), "") << what;
    told += std::string("--- ") + what + ": " + name(status) + (rig.trouble.empty() ? "" : ", ") + rig.trouble + "\n";
    told += rig.changed ? "references" + referencesOf(rig.disks) + "\n" + searchedText(rig.disks) + "\n" : "\n";
  };
  auto fail = [&](UINT32 pd) {
    return rig.run([=](ddf_change::Writer *writer) { return ddf_change::failDisk(writer, 0, pd); });
  };
  auto remove = [&](UINT32 virtualDisk) {
    return rig.run([=](ddf_change::Writer *writer) { return ddf_change::deleteVirtualDisk(writer, 0, virtualDisk); });
  };
  auto spare = [&](UINT32 disk, ddf::SpareKind kind, std::vector<UINT32> virtualDisks) {
    return rig.run([&](ddf_change::Writer *writer) {
      return ddf_change::setSpare(writer, ddf::noIndex, disk, kind, virtualDisks.data(),
                                  static_cast<UINT32>(virtualDisks.size()));
    });
  };
  step("first", rig.create(1, 0, 0xFF, "a", 1024, {0, 1}));
  step("gap", rig.create(0, 0, 7, "b", 1024, {1, 2}));
  step("a name that there is", rig.create(0, 0, 7, "a", 128, {3}));
  step("global", spare(5, ddf::SpareKind::global, {}));
  step("dedicated", spare(5, ddf::SpareKind::forVirtualDisks, {0, 1}));
  step("joins dedicated", spare(4, ddf::SpareKind::forVirtualDisks, {1}));
  step("for no volume that there is", spare(4, ddf::SpareKind::forVirtualDisks, {2}));
  step("leaves", spare(4, ddf::SpareKind::none, {}));
  step("is none", spare(4, ddf::SpareKind::none, {}));
  step("a member as a spare", spare(0, ddf::SpareKind::global, {}));
  step("and no more", spare(0, ddf::SpareKind::none, {}));
  step("settings", rig.run([](ddf_change::Writer *writer) {
    ddf_change::VirtualDiskSettings settings = {ddf_change::settingName | ddf_change::settingAccess |
                                                    ddf_change::settingCache,
                                                ddf::accessReadOnly, 0x21, "new"};
    return ddf_change::changeVirtualDisk(writer, 0, 0, settings);
  }));
  step("access", rig.run([](ddf_change::Writer *writer) {
    return ddf_change::changeVirtualDisk(writer, 0, 1, {ddf_change::settingAccess, ddf::accessBlocked, 0, {}});
  }));
  step("vendor's data", rig.run([](ddf_change::Writer *writer) {
    const ddf::Set &set = writer->model->sets[0];
    const ddf::Copy &copy = writer->model->disks[5].copy;
    EXPECT_EQ(ddf::recordAt(copy, ddf::recordCapacity(copy) - 1)->signature, ddf::spareSignature);
    constexpr UINTN roomSize = sizeof(ddf::ControllerData::vendorData);
    EXPECT_EQ(ddf_change::setVendorData(writer, 0, set.controller, roomSize + 1), EFI_INVALID_PARAMETER);
    EXPECT_EQ(set.virtualDisks[0].record->cache[7], 0x21);
    EXPECT_EQ(set.virtualDisks[0].record->sequence, 2u);
    EXPECT_EQ(std::memcmp(set.controller->vendorData, "made", 4), 0);
    return ddf_change::setVendorData(writer, 0, "kept", 4);
  }));
  Disks before = rig.disks;
  step("failed", fail(1));
  EXPECT_EQ(rig.disks[1].kept, before[1].kept);
  step("back to work", rig.create(0, 0, 7, "c", 128, {1}));
  step("as a spare", spare(1, ddf::SpareKind::global, {}));
  step("deleted", remove(1)); // the failed disk has records of both: it goes before them
  step("last", remove(0));
  step("three copies", rig.create(1, 1, 0xFF, "a", 128, {0, 1, 2}));
  step("other", rig.create(0, 0, 7, "b", 128, {0}));
  SparseDisk away = rig.disks[2];
  rig.disks[2] = rig.disks[5];
  step("lost", fail(2));
  step("one away", remove(0));
  rig.disks[2] = away;
  step("and back", remove(0));
  step("again", rig.create(5, 3, 7, "a", 0, {0, 1, 2}));
  step("spare", spare(4, ddf::SpareKind::global, {}));
  step("failed spare", fail(3));
  step("all", rig.run([](ddf_change::Writer *writer) { return ddf_change::deleteSet(writer, 0); }));
  expectGolden("providers/ddf_change/story.txt", told);
}

// A record with the last number would be followed by one that counts less; what needs no new record is changed.
TEST_F(Ddf, TheLastNumberOfARecordIsKept) {
  Rig rig(2);
  ASSERT_EQ(rig.create(1, 0, 0xFF, "mirror", 1024, {0, 1}), EFI_SUCCESS);
  changeDisks(rig.disks, [](ddf::Copy &copy, size_t) { ddf::recordAt(copy, 0)->sequence = 0xFFFFFFFF; });
  for (UINT8 which : {ddf_change::settingCache, ddf_change::settingName}) {
    EFI_STATUS status = rig.run([which](ddf_change::Writer *writer) {
      return ddf_change::changeVirtualDisk(writer, 0, 0, {which, 0, 0x21, "new"});
    });
    EXPECT_EQ(status, which == ddf_change::settingName ? EFI_SUCCESS : EFI_ACCESS_DENIED) << rig.trouble;
  }
}

// Of a set that others made, whose member ends where no other can begin.
TEST_F(Ddf, MembersBeginInGapsAtWholeGrains) {
  Rig rig(2);
  ASSERT_EQ(rig.create(1, 0, 0xFF, "mirror", 1024, {0, 1}), EFI_SUCCESS);
  changeDisks(rig.disks, [](ddf::Copy &copy, size_t) { ddf::recordAt(copy, 0)->memberBlocks = 1021; });
  EXPECT_EQ(rig.create(0, 0, 7, "within", 128, {0}, 512), EFI_VOLUME_FULL);
  EXPECT_EQ(rig.create(0, 0, 7, "behind", 128, {0}), EFI_SUCCESS) << rig.trouble;
  EXPECT_NE(readText(rig.disks).find("members 0@1024"), std::string::npos) << readText(rig.disks);
}

TEST_F(Ddf, RecordsAndListsEnd) {
  Rig rig(2);
  rig.disks = makeDisks({ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 512}, 0, ddf::smallLimits);
  for (int virtualDisk = 1; virtualDisk < 16; ++virtualDisk) {
    EXPECT_EQ(rig.create(0, 0, 0, std::to_string(virtualDisk).c_str(), 8, {0}), EFI_SUCCESS) << virtualDisk;
  }
  EXPECT_EQ(rig.create(0, 0, 0, "16", 8, {0}), EFI_VOLUME_FULL); // Linux needs the last slot
  EXPECT_EQ(rig.trouble, "0: takes part in as many volumes as it can");
  EXPECT_EQ(listFault(rig.disks), "");
}

// --- What must not be written ---

#define SPOIL(...) [](Rig &rig) { __VA_ARGS__; }
#define SPOIL_COPIES(...) SPOIL(changeDisks(rig.disks, [](ddf::Copy &copy, size_t) { __VA_ARGS__; }))

static const std::string g_fileSystem = std::string(ddf::sectorSize, 'S').replace(56, 2, "\x53\xEF");

static void eraseLists(SparseDisk &disk) {
  for (UINT64 at : {0, 32768}) {
    disk.kept.erase(testDiskSectors - ddf::reserveSectors + at + 2);
  }
}

static void moveMember(Disks &disks) {
  changeDisks(disks,
              [](ddf::Copy &copy, size_t disk) { ddf::startsOf(copy, ddf::recordAt(copy, 0))[0] = disk == 1 ? 8 : 0; });
}

TEST_F(Ddf, DisksThatAreNotOursStayAsTheyAre) {
  struct Case {
    const char *name;
    void (*spoil)(Rig &rig); // disks 0 and 1 are a mirror, 2 and 3 are fresh
    std::vector<UINT32> members;
    const char *trouble;
  } const cases[] = {
      {"contents", SPOIL(rig.disks[3].write(2, g_fileSystem.data(), 1)), {2, 3}, "3: ext file system"},
      {"not to be written", SPOIL(rig.unusable = 3), {2, 3}, "3: must not be written"},
      {"member not to be written", SPOIL(rig.unusable = 1), {2, 3}, "1: must not be written"},
      {"too small", SPOIL(rig.disks[2].sectors = ddf::reserveSectors), {2, 3}, "2: too small"},
      {"unreadable", SPOIL(rig.disks[2].sectors = 0), {2, 3}, "2: cannot be read"},
      {"copy of a member", SPOIL(rig.disks[3] = rig.disks[1]), {2}, "3: another disk has its identity"},
      {"damaged", SPOIL(eraseLists(rig.disks[1])), {2}, "1: no good copy"},
      {"records without an entry", SPOIL_COPIES(ddf::recordAt(copy, 0)->guid.bytes[9]++), {0}, "not understood"},
      {"members in two places", SPOIL(moveMember(rig.disks)), {0}, "not understood"},
      {"another controller's",
       SPOIL_COPIES(ddf::controllerDataOf(copy)->guid.bytes[23]++),
       {0},
       "0: belongs to a foreign"},
      {"offsets that Linux ignores", SPOIL_COPIES(copy.header.maxPartitions = 63), {0}, "Linux would misplace"},
      {"a list of another length", SPOIL_COPIES(copy.header.maxPds = 255), {2}, "2: cannot have the layout"},
  };
  for (const Case &row : cases) {
    SCOPED_TRACE(row.name);
    Rig rig(4);
    ASSERT_EQ(rig.create(1, 0, 0xFF, "mirror", 1024, {0, 1}), EFI_SUCCESS);
    row.spoil(rig);
    EXPECT_EQ(rig.create(0, 0, 7, "new", 128, row.members), EFI_ACCESS_DENIED);
    EXPECT_NE(rig.trouble.find(row.trouble), std::string::npos) << rig.trouble;
    EXPECT_FALSE(rig.changed);
  }
}

// Each half was used without the other one, and nothing of either may go before somebody tells which one counts.
TEST_F(Ddf, HalvesThatWereChangedApartWait) {
  const struct {
    const char *name;
    std::function<EFI_STATUS(Rig &rig, UINT32 own)> change; // of each half
  } cases[] = {
      {"volumes", [](Rig &rig, UINT32 own) { return rig.create(0, 0, 7, own == 0 ? "left" : "right", 128, {own}); }},
      {"the other one failed",
       [](Rig &rig, UINT32 own) {
         return rig.run([=](ddf_change::Writer *writer) { return ddf_change::failDisk(writer, 0, 1 - own); });
       }},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    Rig whole(3);
    ASSERT_EQ(whole.create(1, 0, 0xFF, "mirror", 1024, {0, 1}), EFI_SUCCESS);
    Rig halves[2] = {whole, whole};
    for (UINT32 own = 0; own < 2; ++own) {
      halves[own].disks[1 - own].kept.clear();
      halves[own].time += own;
      ASSERT_EQ(row.change(halves[own], own), EFI_SUCCESS) << halves[own].trouble;
    }
    // Of two of one age the first one counts; once more, and the second one does.
    for (UINT32 newer = 0; newer < 2; ++newer) {
      whole.disks[0] = halves[0].disks[0];
      whole.disks[1] = halves[1].disks[1];
      std::string text = readText(whole.disks), other = std::to_string(1 - newer);
      EXPECT_NE(text.find("disk " + other + ": stale"), std::string::npos) << text;
      EXPECT_NE(text.find("changed apart from its set"), std::string::npos) << text;
      EXPECT_EQ(whole.create(0, 0, 7, "new", 128, {newer}), EFI_ACCESS_DENIED);
      EXPECT_NE(whole.trouble.find("changed apart"), std::string::npos) << whole.trouble;
      EXPECT_EQ(whole.create(0, 0, 7, "new", 128, {1 - newer}), EFI_ACCESS_DENIED);
      EXPECT_EQ(whole.run([](ddf_change::Writer *writer) { return ddf_change::deleteSet(writer, 0); }),
                EFI_ACCESS_DENIED);
      EXPECT_FALSE(whole.changed);
      whole.disks[newer].kept.clear(); // so it is the other one
      EXPECT_EQ(whole.create(0, 0, 7, "new", 128, {1 - newer}), EFI_SUCCESS) << whole.trouble;
      EXPECT_NE(readText(whole.disks).find("\"mirror\" degraded"), std::string::npos);
      EXPECT_EQ(halves[1].create(0, 0, 7, std::to_string(newer).c_str(), 128, {1}), EFI_SUCCESS) << halves[1].trouble;
    }
  }
}

// A disk that was away while virtual disks were deleted: of the last seven it is known that they were.
TEST_F(Ddf, DeletedVirtualDisksAreRemembered) {
  for (UINT32 deleted : {7U, 8U}) {
    Rig rig(2);
    ASSERT_EQ(rig.create(1, 0, 0xFF, "mirror", 1024, {0, 1}), EFI_SUCCESS);
    for (UINT32 i = 0; i < deleted; ++i) {
      ASSERT_EQ(rig.create(1, 0, 0xFF, std::to_string(i).c_str(), 64, {0, 1}), EFI_SUCCESS);
    }
    SparseDisk away = rig.disks[1];
    rig.disks[1].kept.clear();
    for (UINT32 i = 0; i < deleted; ++i) {
      ASSERT_EQ(rig.run([](ddf_change::Writer *writer) { return ddf_change::deleteVirtualDisk(writer, 0, 1); }),
                EFI_SUCCESS);
    }
    rig.disks[1] = away;
    EXPECT_EQ(rig.create(0, 0, 7, "new", 128, {1}), deleted == 7 ? EFI_SUCCESS : EFI_ACCESS_DENIED) << rig.trouble;
    EXPECT_EQ(readText(rig.disks).find("orphans"), std::string::npos);
  }
}

TEST_F(Ddf, AFullListTakesNoMoreDisks) {
  Rig rig(3);
  ASSERT_EQ(rig.create(1, 0, 0xFF, "mirror", 1024, {0, 1}), EFI_SUCCESS);
  changeDisks(rig.disks, [](ddf::Copy &copy, size_t) {
    for (UINT32 i = 2; i < ddf::pdCapacity(copy); ++i) {
      *ddf::pdEntryAt(copy, i) = *ddf::pdEntryAt(copy, 0);
      ddf::pdEntryAt(copy, i)->guid = guidOf("Gone", i);
      ddf::pdEntryAt(copy, i)->reference = i;
    }
  });
  EXPECT_EQ(rig.create(0, 0, 7, "new", 128, {2}), EFI_VOLUME_FULL);
  EXPECT_NE(rig.trouble.find("no room for more disks"), std::string::npos) << rig.trouble;
  EXPECT_FALSE(rig.changed);
}

TEST_F(Ddf, WithoutMemoryNothingIsWritten) {
  Disks made = makeDisks({ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 512}, 0, ddf::smallLimits);
  sweepMemory([&] {
    Rig rig(4);
    std::copy(made.begin(), made.end(), rig.disks.begin());
    EFI_STATUS status = rig.create(5, 3, 7, "new", 512, {1, 2, 3});
    EXPECT_EQ(rig.changed, status != EFI_OUT_OF_RESOURCES);
    return status == EFI_SUCCESS;
  });
}
