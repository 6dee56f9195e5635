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
      Parsed parsed(std::string("<raidData>") + row.before + repeated(count, row.element) + row.behind + "</raidData>");
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

} // namespace
