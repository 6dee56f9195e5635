// What a disk carries, and whether it is free.

#include "tests/providers/ddf/fixture.h"

using namespace xyl;

// Boot sectors that are no partition table, small disks, texts with less room than there is to say.
TEST_F(Ddf, SignaturesTellWhatADiskHolds) {
  const std::string table = "\x80" + std::string(3, 0) + "\x83";
  const struct {
    UINT64 sectors;
    std::vector<std::pair<size_t, std::string>> pieces; // where, what
    const char *text;
  } cases[] = {
      {2000, {}, ""},
      {2000, {{446, table}, {510, "\x55\xAA"}}, "partitions"},
      {2000, {{446, table}, {510, "\x55\xAB"}}, ""},
      {2000, {{446, table}, {462, "\x01"}, {510, "\x55\xAA"}}, ""},
      {1, {{3, "NTFS    "}}, "NTFS"},
      {2000, {{0, "LUKS\xba\xbe"}, {512, "EFI PART"}, {1024 + 56, "\x53\xef"}}, "encrypted volume, GPT, "},
  };
  for (const auto &row : cases) {
    std::string image(3 * ddf::sectorSize, 0);
    for (const auto &[at, bytes] : row.pieces) {
      image.replace(at, bytes.size(), bytes);
    }
    Disks disks(1, {row.sectors, {}});
    disks[0].write(0, image.data(), std::min<size_t>(row.sectors, 3));
    CHAR8 text[24];
    EXPECT_EQ(ddf::findContents(disks[0].source(), text, sizeof(text)), EFI_SUCCESS);
    EXPECT_STREQ(text, row.text);
  }
  CHAR8 cut[8];
  ddf::faultText({"wrong checksum", "anchor"}, cut, sizeof(cut));
  EXPECT_STREQ(cut, "wrong c");
}

// --- Whether a disk is free ---

static SectorBytes filled(UINT8 byte) {
  SectorBytes bytes;
  bytes.fill(byte);
  return bytes;
}

// The areas are the first MiB, the last 34 MiB and samples; what is between them is not looked at, blank sectors may
// differ, and the search ends with what it finds.
TEST_F(Ddf, ADiskThatLooksBlankIsFree) {
  constexpr UINT64 mib = 2048, sectorCount = 200 * mib, stepValue = 165 * mib / 17;
  const struct {
    UINT64 lba;
    std::string text;
    UINT64 mostRead; // MiB
  } cases[] = {
      {0, "other, holds data that is not known, at byte 0\n", 36},
      {mib - 1, "other, holds data that is not known, at byte 1048064\n", 36},
      {mib, "other\n", 36},
      {(mib + stepValue) / 8 * 8, "other, holds data that is not known, at byte 11223040\n", 36},
      {sectorCount - 34 * mib - 1, "other\n", 36},
      {sectorCount - 34 * mib, "other, holds data that is not known, at byte 174063616\n", 36},
      {sectorCount - 1, "other, holds data that is not known, at byte 209714688\n", 36},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.lba);
    Disks disks(1, {sectorCount, {}});
    const SectorBytes zeros = filled(0), data = filled(0x5A);
    disks[0].write(9, zeros.data(), 1);
    disks[0].write(row.lba, data.data(), 1);
    EXPECT_EQ(searchedText(disks), "disk 0: " + row.text);
    EXPECT_LE(disks[0].readSectors, row.mostRead * mib);
    EXPECT_GE(disks[0].readSectors, 34 * mib);
  }
  // Bytes that differ within a sector, the last one only.
  Disks disks(1, {sectorCount, {}});
  SectorBytes sector = filled(0xFF);
  sector[ddf::sectorSize - 1] = 0xFE;
  disks[0].write(100, sector.data(), 1);
  EXPECT_NE(searchedText(disks).find("at byte 51200"), std::string::npos);
  disks[0].kept.clear();
  UINT64 reads = 0;
  do {
    disks[0].failAfter = reads;
  } while (searchedText(disks).find("unreadable, cannot be read") != std::string::npos && ++reads < 1000);
  EXPECT_GE(reads, 36u);
  EXPECT_LT(reads, 100u);
  disks[0].failAfter = ~UINT64{0};
  OwnedModel model = readModel(disks);
  EXPECT_EQ(ddf::searchDisk(model.get(), 0), EFI_SUCCESS);
  UINT64 once = disks[0].readSectors;
  EXPECT_EQ(ddf::searchDisk(model.get(), 0), EFI_SUCCESS);
  EXPECT_EQ(disks[0].readSectors, once);
}

// Members that were copied to a larger disk, or cut, or whose set still lists them.
TEST_F(Ddf, MetadataOfADiskOfAnotherSizeIsFound) {
  constexpr UINT64 size = UINT64{1} << 17; // a power of two
  const Disks pair = makeDisks({ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 256}, 1, ddf::smallLimits);
  auto moved = [&](UINT64 sectors, UINT64 by) {
    SparseDisk disk = {sectors, {}};
    for (const auto &[lba, bytes] : pair[1].kept) {
      lba + by < sectors ? disk.write(lba + by, bytes.data(), 1) : void();
    }
    return disk;
  };
  auto holding = [&](ddf::Header header) {
    SparseDisk disk = {size, {}};
    disk.write(size - 100, &header, 1);
    return disk;
  };
  ddf::Header header = {};
  header.signature = ddf::headerSignature;
  const SparseDisk damaged = holding(header);
  header.type = 9;
  const std::string found = "other, holds metadata of a disk of another size\n";
  const struct {
    const char *name;
    Disks disks;
    std::string text;
  } cases[] = {
      {"a sector more", {moved(testDiskSectors + 1, 0)}, found},
      {"a sector less", {moved(testDiskSectors - 1, 0)}, found},
      {"copied to a larger one beside its set", {moved(8 * testDiskSectors, 0), pair[0]}, found},
      {"copied from a usual size", {moved(8 * size, size - testDiskSectors)}, found},
      {"blank, beside a set that misses two", {{8 * size, {}}, pair[0]}, "other\n"},
      {"a damaged header", {damaged}, "other, holds data that is not known, at byte 67057664\n"},
      {"a header of no kind", {holding(header)}, "other, holds data that is not known, at byte 67057664\n"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    Disks disks = row.disks;
    std::string text = searchedText(disks);
    EXPECT_EQ(text.find("disk 0: " + row.text), 0U) << text;
  }
}

// As long as what was on a disk when it was set free is there, nobody wants it.
TEST_F(Ddf, AMarkTellsThatADiskWasSetFree) {
  constexpr UINT64 sectorCount = testDiskSectors + 4096;
  SparseDisk disk = {sectorCount, {}};
  SectorBytes super = filled(0);
  super[56] = 0x53, super[57] = 0xEF;
  disk.write(2, super.data(), 1);
  ddf::FreeMark mark;
  std::vector<UINT8> buffer(ddf::bufferSize);
  ASSERT_EQ(ddf::makeFreeMark(disk.source(), buffer.data(), &mark), EFI_SUCCESS);
  disk.write(sectorCount - 1, &mark, 1);
  const struct {
    const char *name;
    std::function<void(SparseDisk &disk)> change;
    const char *text;
  } cases[] = {
      {"as it was", [](SparseDisk &) {}, "other, set free\n"},
      {"elsewhere in the metadata",
       [&](SparseDisk &changed) { changed.write(sectorCount - ddf::reserveSectors, &mark, 1); }, "other, set free\n"},
      {"the file system was used",
       [&](SparseDisk &changed) {
         super[60] = 1;
         changed.write(2, super.data(), 1);
       },
       "other, holds ext file system\n"},
      {"the last MiB was written", [&](SparseDisk &changed) { changed.write(sectorCount - 2048, &mark, 1); },
       "other, holds ext file system\n"},
      {"a larger disk",
       [&](SparseDisk &changed) {
         changed.sectors += 8;
         changed.write(sectorCount + 7, &mark, 1);
       },
       "other, holds ext file system\n"},
      {"a damaged mark", [](SparseDisk &changed) { changed.kept[sectorCount - 1][40] ^= 1; },
       "other, holds ext file system\n"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    Disks disks(1, disk);
    row.change(disks[0]);
    EXPECT_EQ(searchedText(disks), std::string("disk 0: ") + row.text);
  }
  Disks failing(1, disk);
  UINT64 reads = 0;
  for (std::string text = "unreadable"; text.find("unreadable") != std::string::npos; ++reads) {
    failing[0].failAfter = reads;
    text = searchedText(failing);
    EXPECT_NE(text.find(reads < 18 ? "unreadable, cannot be read" : "disk 0: "), std::string::npos) << text;
  }
  EXPECT_LT(reads, 100u);
  // A member may be smaller than this controller would make one; no read leaves it.
  for (UINT64 sectors : {1, 1000, 2048, 3000}) {
    SparseDisk small = {sectors, {}};
    EXPECT_EQ(ddf::makeFreeMark(small.source(), buffer.data(), &mark), EFI_SUCCESS) << sectors;
  }
}
