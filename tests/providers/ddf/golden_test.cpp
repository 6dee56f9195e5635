// What real mdadm wrote, and what can become of it: the models, and the same bytes again.

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "tests/providers/ddf/fixture.h"
#include "tests/support/paths.h"
#include "tests/support/world.h"

TEST_F(Ddf, RecordingsReadAsTheirModels) {
  forEachRecording([&](const std::string &name, DISKS &disks) {
    OWNED_MODEL model = readModel(disks);
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(modelFault(*model), "");
    expectGolden("providers/ddf/models/" + name + ".txt", describe(*model));
  });
}

static void spoilChecksums(const DDF_COPY &copy) {
  constexpr size_t CHECKSUM = 4;
  for (int section = 0; section < DDF_SECTIONS; ++section) {
    copy.sections[section][CHECKSUM] ^= section != DDF_RECORDS ? 1 : 0;
  }
  for (UINT32 i = 0; i < ddfRecordCapacity(copy); ++i) {
    DDF_RECORD *record = ddfRecordSlot(copy, i);
    record->crc = record->signature == DDF_RECORD_SIGNATURE ? ~record->crc : record->crc;
  }
}

// What is read, sealed and laid out again is what mdadm wrote, byte for byte.
TEST_F(Ddf, CopiesAreWrittenAsMdadmWroteThem) {
  forEachRecording([&](const std::string &, DISKS &disks) {
    OWNED_MODEL model = readModel(disks);
    ASSERT_NE(model, nullptr);
    for (UINT32 i = 0; i < model->diskCount; ++i) {
      DDF_DISK &disk = model->disks[i];
      if (disk.copy.sections[0] == nullptr) {
        continue;
      }
      spoilChecksums(disk.copy);
      SPARSE_DISK written = disks[i];
      storeCopy(written, disk.copy);
      UINT64 from = disk.used == DDF_PRIMARY ? disk.copy.header.primaryLba : disk.copy.header.secondaryLba;
      const DDF_EXTENT last = ddfSectionExtent(disk.copy, disk.used, DDF_PD_DATA);
      for (UINT64 lba = from; lba < last.lba + last.sectors; ++lba) {
        EXPECT_TRUE(written.read(lba) == disks[i].read(lba)) << "disk " << i << ", sector " << lba - from;
      }
      SECTOR_BYTES anchor = disks[i].read(disks[i].sectors - 1);
      DDF_HEADER header;
      ddfMakeHeader(disk.copy, DDF_ANCHOR, DDF_CLOSED, 7, reinterpret_cast<DDF_HEADER *>(anchor.data())->time, &header);
      EXPECT_EQ(std::memcmp(&header, anchor.data(), DDF_SECTOR), 0) << "anchor " << i;
    }
  });
}

// A new set that is given the names of mdadm's own has the same headers, and the same sections but for the entries.
TEST_F(Ddf, NewCopiesAreLaidOutAsMdadmDoes) {
  DISKS disks = loadDisks(goldenDir() + "/empty.disks");
  OWNED_MODEL model = readModel(disks);
  ASSERT_NE(model, nullptr);
  const DDF_COPY &theirs = model->disks[0].copy;
  const DDF_DISK_DATA &identity = *ddfDiskData(theirs);
  DDF_NEW_COPY wanted = {
      disks[0].sectors, DDF_LINUX_LIMITS,  theirs.header.guid, ddfControllerData(theirs)->guid, {}, {},
      identity.guid,    identity.reference};
  DDF_COPY ours;
  ASSERT_EQ(ddfNewCopy(wanted, &ours), EFI_SUCCESS);
  DDF_HEADER header;
  ddfMakeHeader(ours, model->disks[0].used, DDF_CLOSED, theirs.header.sequence, theirs.header.time, &header);
  EXPECT_EQ(std::memcmp(&header, &theirs.header, sizeof(header)), 0);
  for (DDF_SECTION list : {DDF_PD_RECORDS, DDF_VD_RECORDS}) {
    const auto *our = reinterpret_cast<const DDF_LIST_HEAD *>(ours.sections[list]);
    const auto *their = reinterpret_cast<const DDF_LIST_HEAD *>(theirs.sections[list]);
    EXPECT_EQ(UINT32{our->signature}, UINT32{their->signature});
    EXPECT_EQ(UINT16{our->maximum}, UINT16{their->maximum});
  }
  size_t records = size_t{ours.header.sections[DDF_RECORDS].length} * DDF_SECTOR;
  EXPECT_EQ(std::memcmp(ours.sections[DDF_RECORDS], theirs.sections[DDF_RECORDS], records), 0);
  ddfFreeCopy(&ours);
}

// Disks that mdadm has settled have what they should have; disks that were left behind get it.
TEST_F(Ddf, DisksLeftBehindAreBroughtToWhatMdadmWrote) {
  auto piecesOf = [](const DDF_COPY &copy) {
    std::multiset<std::string> pieces; // records without the order of their slots
    auto add = [&](const void *at, size_t size) { pieces.emplace(static_cast<const char *>(at), size); };
    for (UINT32 i = 0; i < ddfRecordCapacity(copy); ++i) {
      const DDF_RECORD *slot = ddfRecordSlot(copy, i);
      add(slot, slot->signature == DDF_RECORD_SIGNATURE ? copy.header.recordLength * DDF_SECTOR : 0);
    }
    for (DDF_SECTION section : {DDF_CONTROLLER, DDF_PD_RECORDS, DDF_VD_RECORDS, DDF_PD_DATA}) {
      add(copy.sections[section], size_t{copy.header.sections[section].length} * DDF_SECTOR);
    }
    return pieces;
  };
  const struct {
    const char *from, *to;
  } cases[] = {{"levels", "levels"},        {"killed", "killed"},          {"rebuilding", "rebuilding"},
               {"rebuilt", "rebuilt"},      {"two-failed", "two-failed"},  {"pair-degraded", "pair-degraded"},
               {"disks-behind", "rebuilt"}, {"secondary-newer", "rebuilt"}};
  for (const auto &row : cases) {
    SCOPED_TRACE(row.from);
    DISKS from = loadDisks(goldenDir() + "/" + row.from + ".disks");
    DISKS to = loadDisks(goldenDir() + "/" + row.to + ".disks");
    OWNED_MODEL model = readModel(from), wanted = readModel(to);
    for (UINT32 i = 0; i < model->diskCount; ++i) {
      DDF_COPY copy;
      ASSERT_EQ(ddfCurrentCopy(*model, i, &copy), EFI_SUCCESS);
      EXPECT_EQ(UINT32{copy.header.sequence}, UINT32{wanted->disks[i].copy.header.sequence});
      EXPECT_TRUE(piecesOf(copy) == piecesOf(wanted->disks[i].copy)) << "disk " << i;
      ddfFreeCopy(&copy);
    }
  }
}
