// What the readings of single documents do not show.
#include "tests/request/parsed.h"

namespace {

std::string repeated(int count, const std::string &text) {
  std::string all;
  for (int i = 0; i < count; ++i) {
    all += text;
  }
  return all;
}

// Arrays double, whatever they hold: twice the elements cost one allocation more.
TEST(Readers, ArraysHaveRoomForTheNextPowerOfTwo) {
  ReadingWorld world;
  const struct {
    const char *before, *element, *behind;
  } cases[] = {
      {"<Adapter>", "<PD/>", "</Adapter>"},
      {"<Adapter>", "<VD/>", "</Adapter>"},
      {"<Adapter>", "<Enclosure/>", "</Adapter>"},
      {"<Adapter><Enclosure>", "<PD/>", "</Enclosure></Adapter>"},
      {"<Adapter><VD>", "<PD>1</PD>", "</VD></Adapter>"},
      {"", "<Method name='Get'/>", "<Adapter/>"},
      {"<Method name='Get'>", "<OID>1</OID>", "</Method><Adapter/>"},
  };
  for (const auto &row : cases) {
    auto allocations = [&](int count) {
      uint64_t before = world.firmware.pool().totalAllocations;
      // Always as many elements, which the XML service's memory goes by.
      std::string elements = repeated(count, row.element) + repeated(300 - count, "<x/>");
      Parsed parsed(std::string("<raidData>") + row.before + elements + row.behind + "</raidData>");
      EXPECT_EQ(name(parsed.status), name(EFI_SUCCESS));
      return world.firmware.pool().totalAllocations - before;
    };
    EXPECT_EQ(allocations(300), allocations(257)) << row.element;
    EXPECT_EQ(allocations(300), allocations(256) + 1) << row.element;
  }
}

TEST(Readers, AnEnclosureCountsUpTo255Disks) {
  ReadingWorld world;
  Parsed parsed("<raidData><Adapter><Enclosure>" + repeated(257, "<PD/>") + "</Enclosure></Adapter></raidData>");
  ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS));
  EXPECT_EQ(parsed.config->enclosures[0].PDCount, 255);
  EXPECT_EQ(parsed.config->physicalDiskCount, 257U);
}

// A method that memory is too short for is left out, and the log says so; the others stay.
TEST(Readers, AMethodIsNotLeftOutInSilence) {
  ReadingWorld world;
  size_t leftOut = 0;
  bool failed = true;
  for (uint64_t n = 1; failed; ++n) {
    world.clearLog();
    world.firmware.failAllocation(n);
    Parsed parsed("<raidData><Method name='Get'><OID>1</OID></Method><Method name='Clear'/><Adapter/></raidData>");
    failed = world.firmware.allocationFailed();
    world.firmware.failAllocation(0);
    if (!EFI_ERROR(parsed.status)) {
      size_t missing = 2 - parsed.config->commandCount;
      EXPECT_EQ(countOf(world.log(), "ERROR ParseRAIDData: Out of memory, a method is left out"), missing) << n;
      leftOut += missing;
    }
  }
  EXPECT_GT(leftOut, 0U);
}

} // namespace
