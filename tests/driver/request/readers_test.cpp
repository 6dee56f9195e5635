// What the readings of single documents do not show.
#include "base/log.h"
#include "base/pool.h"
#include "tests/driver/request/parsed.h"

using namespace xyl;
using namespace xyl::driver;

namespace {

// Arrays of nested objects are made once, for as many as there are; others double, from four on.
TEST(Readers, ArraysAreMadeOnceOrDouble) {
  ReadingWorld world;
  const struct {
    const char *before, *element, *behind;
    bool doubles;
  } cases[] = {
      {"<Adapter>", "<PD/>", "</Adapter>", false},
      {"<Adapter>", "<VD/>", "</Adapter>", false},
      {"<Adapter>", "<Enclosure/>", "</Adapter>", false},
      {"<Adapter><Enclosure>", "<PD/>", "</Enclosure></Adapter>", false},
      {"<Adapter><Enclosure><PD/></Enclosure><Enclosure>", "<PD/>", "</Enclosure><PD/></Adapter>", false},
      {"<Method name='Change'><Object><Enclosure>", "<PD/>", "</Enclosure></Object></Method><Adapter/>", false},
      {"<Adapter><VD>", "<PD>1</PD>", "</VD></Adapter>", true},
      {"", "<Method name='Get'/>", "<Adapter/>", true},
      {"<Method name='Get'>", "<OID>1</OID>", "</Method><Adapter/>", true},
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
    EXPECT_EQ(allocations(300), row.doubles ? allocations(256) + 1 : allocations(1)) << row.element;
  }
}

TEST(Readers, AnEnclosureCountsUpTo255Disks) {
  ReadingWorld world;
  Parsed parsed("<raidData><Adapter><Enclosure>" + repeated(257, "<PD/>") + "</Enclosure></Adapter></raidData>");
  ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS));
  EXPECT_EQ(parsed.config->enclosures[0].PDCount, 255);
  EXPECT_EQ(parsed.config->physicalDiskCount, 257U);
}

TEST(Readers, DisksOfAnEnclosureAreAppended) {
  ReadingWorld world;
  getXMLProto();
  XML_NODE *root = nullptr;
  g_xmlProtocol->Parse(g_xmlProtocol, "<Enclosure><PD><WWN>A</WWN></PD><PD><WWN>B</WWN></PD></Enclosure>", &root);
  auto *config = poolNew<RAID_CONFIG>();
  for (UINT32 count : {2U, 4U}) {
    RAID_ENCLOSURE_RECORD enclosure;
    EXPECT_EQ(name(parseEnclosure(root, &enclosure, config)), name(EFI_SUCCESS));
    ASSERT_EQ(config->physicalDiskCount, count);
    EXPECT_EQ(config->physicalDisks[1].WWN, 0xBU);
    EXPECT_EQ(config->physicalDisks[count - 2].WWN, 0xAU);
  }
  world.firmware.failAllocation(1);
  RAID_ENCLOSURE_RECORD enclosure;
  EXPECT_EQ(name(parseEnclosure(root, &enclosure, config)), name(EFI_OUT_OF_RESOURCES));
  EXPECT_EQ(config->physicalDiskCount, 4U);
  releaseConfig(config);
  FreeXMLNode(root);
}

TEST(Readers, RefuseNullArguments) {
  ReadingWorld world;
  XML_NODE *root = CreateXMLNode("raidData");
  RAID_CONFIG config = {}, *configs = &config;
  RAID_ENCLOSURE_RECORD enclosure;
  RAID_PD_RECORD disk;
  RAID_KEY_RECORD *key = nullptr;
  UINT32 one = 1, none = 0;
  const EFI_STATUS statuses[] = {ParseRAIDData(nullptr, &configs, &one, 0, 0, 0),
                                 ParseRAIDData(root, nullptr, &one, 0, 0, 0),
                                 ParseRAIDData(root, &configs, nullptr, 0, 0, 0),
                                 ParseRAIDData(root, &configs, &none, 0, 0, 0),
                                 ParseXYLComponent(nullptr, &configs, &one),
                                 ParseXYLComponent(root, nullptr, &one),
                                 ParseXYLComponent(root, &configs, nullptr),
                                 ParseXYLComponent(root, &configs, &none),
                                 parseMethod(nullptr, &config),
                                 parseMethod(root, nullptr),
                                 parseAdapter(nullptr, &config),
                                 parseAdapter(root, nullptr),
                                 parseEnclosure(nullptr, &enclosure, &config),
                                 parseEnclosure(root, nullptr, &config),
                                 parseEnclosure(root, &enclosure, nullptr),
                                 parsePD(nullptr, &disk),
                                 parseVD(root, nullptr),
                                 GetKeyFromXML(nullptr, &key, nullptr),
                                 GetKeyFromXML(root, nullptr, nullptr),
                                 TarnFree(nullptr, nullptr, 1)};
  for (const EFI_STATUS &status : statuses) {
    EXPECT_EQ(name(status), name(EFI_INVALID_PARAMETER)) << &status - statuses;
  }
  FreeXMLNode(root);
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

// The lists of all commands so far grow with the square of their number, so they are for traces alone.
TEST(Readers, CommandsAreListedForALogOfTraces) {
  ReadingWorld world;
  auto getLevel = g_debugLog->GetLevel;
  g_debugLog->GetLevel = []() EFIAPI -> INT32 { return LOG_WARN; };
  Parsed parsed("<raidData><Method name='Get'/><Adapter/></raidData>");
  g_debugLog->GetLevel = getLevel;
  EXPECT_EQ(countOf(world.log(), "Command["), 0u);
}

} // namespace
