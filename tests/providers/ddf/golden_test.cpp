// What real mdadm wrote, and what can become of it: the models, and the same bytes again.

#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "tests/providers/ddf/fixture.h"
#include "tests/support/paths.h"
#include "tests/support/world.h"

using namespace xyl;

TEST_F(Ddf, RecordingsReadAsTheirModels) {
  forEachRecording([&](const std::string &name, Disks &disks) {
    OwnedModel model = readModel(disks);
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(modelFault(*model), "");
    expectGolden("providers/ddf/models/" + name + ".txt", describe(*model));
  });
}

static void spoilChecksums(const ddf::Copy &copy) {
  constexpr size_t checksumValue = 4;
  for (int section = 0; section < ddf::sectionCount; ++section) {
    copy.sections[section][checksumValue] ^= section != ddf::sectionRecords ? 1 : 0;
  }
  for (UINT32 i = 0; i < ddf::recordCapacity(copy); ++i) {
    ddf::Record *record = ddf::recordAt(copy, i);
    record->crc = record->signature == ddf::recordSignature ? ~record->crc : record->crc;
  }
}

// What is read, sealed and laid out again is what mdadm wrote, byte for byte.
TEST_F(Ddf, CopiesAreWrittenAsMdadmWroteThem) {
  forEachRecording([&](const std::string &, Disks &disks) {
    OwnedModel model = readModel(disks);
    ASSERT_NE(model, nullptr);
    for (UINT32 i = 0; i < model->diskCount; ++i) {
      ddf::Disk &disk = model->disks[i];
      if (disk.copy.sections[0] == nullptr) {
        continue;
      }
      spoilChecksums(disk.copy);
      SparseDisk written = disks[i];
      storeCopy(written, disk.copy);
      UINT64 from = disk.used == ddf::headerPrimary ? disk.copy.header.primaryLba : disk.copy.header.secondaryLba;
      const ddf::Extent last = ddf::extentOf(disk.copy, disk.used, ddf::sectionPdData);
      for (UINT64 lba = from; lba < last.lba + last.sectors; ++lba) {
        EXPECT_TRUE(written.read(lba) == disks[i].read(lba)) << "disk " << i << ", sector " << lba - from;
      }
      SectorBytes anchor = disks[i].read(disks[i].sectors - 1);
      ddf::Header header;
      ddf::makeHeader(disk.copy, ddf::headerAnchor, ddf::openFlagClosed, 7,
                      reinterpret_cast<ddf::Header *>(anchor.data())->time, &header);
      EXPECT_EQ(std::memcmp(&header, anchor.data(), ddf::sectorSize), 0) << "anchor " << i;
    }
  });
}

// A new set that is given the names of mdadm's own has the same headers, and the same sections but for the entries.
TEST_F(Ddf, NewCopiesAreLaidOutAsMdadmDoes) {
  Disks disks = loadDisks(goldenDir() + "/empty.disks");
  OwnedModel model = readModel(disks);
  ASSERT_NE(model, nullptr);
  const ddf::Copy &theirs = model->disks[0].copy;
  const ddf::DiskData &identity = *ddf::diskDataOf(theirs);
  ddf::NewCopy wanted = {
      disks[0].sectors, ddf::linuxLimits,  theirs.header.guid, ddf::controllerDataOf(theirs)->guid, {}, {},
      identity.guid,    identity.reference};
  ddf::Copy ours;
  ASSERT_EQ(ddf::makeNewCopy(wanted, &ours), EFI_SUCCESS);
  ddf::Header header;
  ddf::makeHeader(ours, model->disks[0].used, ddf::openFlagClosed, theirs.header.sequence, theirs.header.time, &header);
  EXPECT_EQ(std::memcmp(&header, &theirs.header, sizeof(header)), 0);
  for (ddf::Section list : {ddf::sectionPds, ddf::sectionVds}) {
    const auto *our = reinterpret_cast<const ddf::ListHead *>(ours.sections[list]);
    const auto *their = reinterpret_cast<const ddf::ListHead *>(theirs.sections[list]);
    EXPECT_EQ(UINT32{our->signature}, UINT32{their->signature});
    EXPECT_EQ(UINT16{our->maximum}, UINT16{their->maximum});
  }
  size_t records = size_t{ours.header.sections[ddf::sectionRecords].length} * ddf::sectorSize;
  EXPECT_EQ(std::memcmp(ours.sections[ddf::sectionRecords], theirs.sections[ddf::sectionRecords], records), 0);
  ddf::freeCopy(&ours);
}

// Disks that mdadm has settled have what they should have; disks that were left behind get it.
TEST_F(Ddf, DisksLeftBehindAreBroughtToWhatMdadmWrote) {
  auto piecesOf = [](const ddf::Copy &copy) {
    std::multiset<std::string> pieces; // records without the order of their slots
    auto add = [&](const void *at, size_t size) { pieces.emplace(static_cast<const char *>(at), size); };
    for (UINT32 i = 0; i < ddf::recordCapacity(copy); ++i) {
      const ddf::Record *slot = ddf::recordAt(copy, i);
      add(slot, slot->signature == ddf::recordSignature ? copy.header.recordLength * ddf::sectorSize : 0);
    }
    for (ddf::Section section : {ddf::sectionController, ddf::sectionPds, ddf::sectionVds, ddf::sectionPdData}) {
      add(copy.sections[section], size_t{copy.header.sections[section].length} * ddf::sectorSize);
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
    Disks from = loadDisks(goldenDir() + "/" + row.from + ".disks");
    Disks to = loadDisks(goldenDir() + "/" + row.to + ".disks");
    OwnedModel model = readModel(from), wanted = readModel(to);
    for (UINT32 i = 0; i < model->diskCount; ++i) {
      ddf::Copy copy;
      ASSERT_EQ(ddf::makeCurrentCopy(*model, i, &copy), EFI_SUCCESS);
      EXPECT_EQ(UINT32{copy.header.sequence}, UINT32{wanted->disks[i].copy.header.sequence});
      EXPECT_TRUE(piecesOf(copy) == piecesOf(wanted->disks[i].copy)) << "disk " << i;
      ddf::freeCopy(&copy);
    }
  }
}
