// Documents as a whole: their shapes, how people write them, and what is no document.
#include <regex>

#include "tests/driver/request/parsed.h"

using namespace xyl;
using namespace xyl::driver;

namespace {

TEST(Documents, MethodsGoToTheAdapterThatFollows) {
  ReadingWorld world;
  const std::string get = "<Method name='Get'/>";
  const std::string text =
      "<raidData>" + get + get + "<Adapter/><Adapter/>" + get + "<x/><Adapter/>" + get + "</raidData>";
  RAID_CONFIG *configs[4] = {nullptr, poolNew<RAID_CONFIG>(), nullptr, nullptr};
  configs[1]->commandCount = 77; // what a caller's configuration says is not read
  UINT32 count = 4;
  EXPECT_EQ(name(ParseXMLBlob(text.c_str(), configs, &count)), name(EFI_SUCCESS));
  ASSERT_EQ(count, 3U);
  const UINT32 commands[] = {2, 0, 1, 1};
  for (int i = 0; i < 4; ++i) {
    ASSERT_NE(configs[i], nullptr) << "the methods behind the last adapter stay in an uncounted configuration";
    EXPECT_EQ(configs[i]->commandCount, commands[i]) << i;
    EXPECT_EQ(configs[i]->adapter != nullptr, i < 3);
    releaseConfig(configs[i]);
  }
  world.expectBalanced();
}

TEST(Documents, ArgumentsAndTheServiceMustBeThere) {
  World world({.preset = nullptr, .xmlService = false, .connect = false});
  RAID_CONFIG *config = nullptr;
  UINT32 count = 1, none = 0;
  for (EFI_STATUS status :
       {ParseXMLBlob(nullptr, &config, &count), ParseXMLBlob("<raidData/>", nullptr, &count),
        ParseXMLBlob("<raidData/>", &config, nullptr), ParseXMLBlob("<raidData/>", &config, &none)}) {
    EXPECT_EQ(name(status), name(EFI_INVALID_PARAMETER));
  }
  EXPECT_EQ(name(ParseXMLBlob("<raidData/>", &config, &count)), name(EFI_NOT_FOUND));
  EXPECT_EQ(count, 1U);
}

// Every way of writing the same document reads the same.
TEST(Documents, AreReadAsPeopleWriteThem) {
  World world;
  for (UINT32 i = 0; i < world.sim->disks.count; ++i) { // a disk is read with its object id for a device id
    world.sim->disks.items[i].record.DeviceID = world.sim->disks.items[i].record.ObjectID;
  }
  const std::string text = world.get().text;
  Parsed plain(text);
  ASSERT_EQ(name(plain.status), name(EFI_SUCCESS));
  const std::string wanted = written(*plain.config);
  EXPECT_EQ(written(*Parsed(wanted).config), text); // each turn reverses the lists
  struct {
    const char *what, *pattern, *with;
  } cases[] = {
      {"Windows line ends", "\n", "\r\n"},
      {"byte order mark", "<\\?xml", "\xEF\xBB\xBF<?xml"},
      {"single quotes", "\"", "'"},
      {"no line ends", "\n *", ""},
      {"comments, instructions", "<\\w+>", "$&<!-- <PD> --><?note </PD>?>"},
      {"CDATA", ">([^<\n]+)<", "><![CDATA[$1]]><"},
      {"references", "RAID (\\d)", "R&#65;&#x49;D $1"},
      {"unknown elements", "<(Adapter|Enclosure|PD|VD|RAIDLevelDesc)>\n", "$&<New><Name>x</Name></New>"},
      {"attributes", "<(\\w+)>", "<$1 a='&lt;'>"},
      {"another order", "(<ObjectType>.*)(\n *)(<(\\w+)>.*</\\4>)", "$3$2$1"},
      {"items under their other name", "RaidLevel>", "RAIDLevel>"},
  };
  for (const auto &row : cases) {
    const std::string rewritten = std::regex_replace(text, std::regex(row.pattern), row.with);
    Parsed parsed(rewritten);
    ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS)) << row.what;
    EXPECT_NE(rewritten, text) << row.what;
    EXPECT_EQ(written(*parsed.config), wanted) << row.what;
  }
}

// The release by parts, on a configuration that has them all.
TEST(Release, TakesThePartsThatTheMaskNames) {
  ReadingWorld world;
  auto memory = [&] { return world.firmware.poolText("x"); };
  RAID_CONFIG config = {};
  // One record with a text in each array; its type tells nothing that matters here.
  auto fill = [&](auto *&array) {
    array = static_cast<std::remove_reference_t<decltype(array)>>(static_cast<void *>(poolNew<RAID_PD_RECORD>()));
    reinterpret_cast<RAID_RECORD_HEADER *>(array)->ObjectType = RAID_OBJECT_BATTERY;
    reinterpret_cast<RAID_RECORD_HEADER *>(array)->Name = reinterpret_cast<CHAR16 *>(memory());
  };
  fill(config.adapter);
  fill(config.enclosures);
  fill(config.physicalDisks);
  fill(config.logicalDisks);
  fill(config.reservedRecord);
  fill(config.reservedRecords1);
  fill(config.reservedRecords2);
  fill(config.reservedRecords3);
  config.enclosureCount = config.physicalDiskCount = config.logicalDiskCount = config.commandCount = 1;
  config.reservedCount1 = config.reservedCount2 = config.reservedCount3 = 1;
  for (int i = 0; i < 2; ++i) {
    auto *node = poolNew<RAID_CONFIG_LIST_NODE>();
    *node = {nullptr, memory(), config.reservedList};
    config.reservedList = node;
  }
  config.commands = poolNew<RAID_CMD_BLOCK>(1);
  config.commands[0].ObjectIds = reinterpret_cast<UINT32 *>(memory());
  config.commands[0].ObjectData = memory();
  const UINT64 blocks[] = {2, 2, 4, 3, 2, 2, 2, 2, 2, 2}; // of each bit's part
  FreeRaidConfig(&config, 0);
  for (UINT64 bit = 0; bit < std::size(blocks); ++bit) {
    UINT64 before = world.firmware.pool().liveAllocations;
    FreeRaidConfig(&config, 1ULL << bit);
    EXPECT_EQ(before - world.firmware.pool().liveAllocations, blocks[bit]) << "bit " << bit;
  }
  world.expectBalanced();
}

} // namespace
