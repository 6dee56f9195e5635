// Documents as a whole: their shapes, how people write them, and what is no document.
#include <cctype>

#include "base/pool.h"
#include "tests/request/model.h"
#include "tests/request/parsed.h"

namespace {

const std::string LOCATION = "<PCILocation><PCIBus>3</PCIBus><PCIDevice>259</PCIDevice><PCIFunction>1</PCIFunction>"
                             "</PCILocation>";
const std::string INVENTORY = "<Inventory><WWN>1</WWN><Identifier><PCIID/>" + LOCATION + "</Identifier></Inventory>";
const std::string DATA = "<raidData><Method name=\"Get\"/><Adapter><MaxLDs>7</MaxLDs></Adapter></raidData>";
const std::string CONFIGURATION = "<Configuration>" + DATA + "<raidData/></Configuration>";

std::string component(const std::string &children) {
  return "<xylComponent version='1'>" + children + "</xylComponent>";
}

TEST(Documents, ShapesAreToldByTheirElements) {
  ReadingWorld world;
  struct {
    std::string text;
    EFI_STATUS status;
    UINT32 count; // 1 on entry
    UINT32 location;
    const char *logLine = "ParseXMLBlob: Exit.";
  } cases[] = {
      {DATA, EFI_SUCCESS, 1, 0, "ParseRAIDData: Exit. Success"},
      {component(CONFIGURATION), EFI_SUCCESS, 1, 0, "ParseXYLComponent: Exit. Success"},
      {component(INVENTORY + CONFIGURATION + "<More/>"), EFI_SUCCESS, 1, 0x010303},
      {component("<Inventory/>" + CONFIGURATION), EFI_SUCCESS, 1, 0},
      {component("<Inventory><Identifier>" + LOCATION +
                 "</Identifier><Identifier><PCILocation><PCIBus>9</PCIBus>"
                 "</PCILocation></Identifier></Inventory>" +
                 CONFIGURATION),
       EFI_SUCCESS, 1, 0x010309},
      {component(""), EFI_INVALID_PARAMETER, 0, 0},
      {component(CONFIGURATION + INVENTORY), EFI_SUCCESS, 1, 0},
      {component(INVENTORY), EFI_INVALID_PARAMETER, 1, 0},
      {component(INVENTORY + "<x/>" + CONFIGURATION), EFI_INVALID_PARAMETER, 1, 0},
      {component("<x/>" + INVENTORY + CONFIGURATION), EFI_INVALID_PARAMETER, 1, 0},
      {component("<Configuration/>"), EFI_INVALID_PARAMETER, 1, 0},
      {component("<Configuration><x/>" + DATA + "</Configuration>"), EFI_INVALID_PARAMETER, 1, 0},
      {component("<Configuration><raidData/></Configuration>"), EFI_UNSUPPORTED, 1, 0},
      {"<raidData>text</raidData>", EFI_UNSUPPORTED, 1, 0},
      {"<raidData><x/></raidData>", EFI_SUCCESS, 0, 0},
      {"<raidData><Method name='Get'/><Method name='Bad'/></raidData>", EFI_SUCCESS, 0, 0},
      {"<RaidConfig/>", EFI_INVALID_PARAMETER, 0, 0,
       "ERROR ParseXMLBlob: DOC head is RaidConfig, I don't know how to parse this"},
      {"<RaidData/>", EFI_INVALID_PARAMETER, 0, 0},
      {"<raidData>", EFI_INVALID_PARAMETER, 0, 0, "ERROR ParseXMLBlob: Parse doc failed to parse"},
      {"", EFI_INVALID_PARAMETER, 0, 0, "Return from Parsing blob Invalid Parameter"},
      {" \r\n", EFI_INVALID_PARAMETER, 0, 0},
      {"MZ\x90", EFI_INVALID_PARAMETER, 0, 0},
      {"<!DOCTYPE raidData [<!ENTITY a 'b'>]>" + DATA, EFI_INVALID_PARAMETER, 0, 0},
      {"<raidData><Adapter><Name>a</Adapter></Name></raidData>", EFI_INVALID_PARAMETER, 0, 0},
      {DATA + DATA, EFI_INVALID_PARAMETER, 0, 0},
  };
  for (const auto &row : cases) {
    {
      world.clearLog();
      Parsed parsed(row.text);
      EXPECT_EQ(name(parsed.status), name(row.status)) << row.text;
      EXPECT_EQ(parsed.count, row.count) << row.text;
      EXPECT_NE(world.log().find(row.logLine), std::string::npos) << row.text << world.log();
      if (!EFI_ERROR(row.status) && row.count == 1) {
        const UINT8 *location = &parsed.config->adapter->PCIID.PCIBus;
        EXPECT_EQ(location[0] | location[1] << 8 | location[2] << 16, static_cast<int>(row.location)) << row.text;
        EXPECT_EQ(parsed.config->commandCount, 1U) << row.text;
      }
    }
    world.expectBalanced(row.text);
  }
}

TEST(Documents, MethodsGoToTheAdapterThatFollows) {
  ReadingWorld world;
  const std::string get = "<Method name='Get'/>";
  const std::string text =
      "<raidData>" + get + get + "<Adapter/><Adapter/>" + get + "<x/><Adapter/>" + get + "</raidData>";
  RAID_CONFIG reused = {};
  reused.commandCount = 77;
  RAID_CONFIG *configs[4] = {nullptr, &reused, nullptr, nullptr};
  UINT32 count = 4;
  EXPECT_EQ(name(ParseXMLBlob(text.c_str(), configs, &count)), name(EFI_SUCCESS));
  ASSERT_EQ(count, 3U);
  EXPECT_EQ(configs[1], &reused);
  const UINT32 commands[] = {2, 0, 1, 1};
  for (int i = 0; i < 4; ++i) {
    ASSERT_NE(configs[i], nullptr) << "the methods behind the last adapter stay in an uncounted configuration";
    EXPECT_EQ(configs[i]->commandCount, commands[i]) << i;
    EXPECT_EQ(configs[i]->adapter != nullptr, i < 3);
  }
  FreeRaidConfig(&reused, RAID_CONFIG_ALL);
  for (int i : {0, 2, 3}) {
    releaseConfig(configs[i]);
  }
  world.expectBalanced();
}

TEST(Documents, ArgumentsAndTheServiceMustBeThere) {
  RAID_CONFIG *config = nullptr;
  UINT32 count = 1;
  UINT32 none = 0;
  {
    ReadingWorld world;
    for (EFI_STATUS status :
         {ParseXMLBlob(nullptr, &config, &count), ParseXMLBlob("<raidData/>", nullptr, &count),
          ParseXMLBlob("<raidData/>", &config, nullptr), ParseXMLBlob("<raidData/>", &config, &none),
          ParseXYLComponent(nullptr, &config, &count), ParseRAIDData(nullptr, &config, &count, 0, 0, 0),
          parseAdapter(nullptr, nullptr), parseEnclosure(nullptr, nullptr, nullptr), parsePD(nullptr, nullptr),
          parseVD(nullptr, nullptr), TarnFree(nullptr, nullptr, 1)}) {
      EXPECT_EQ(name(status), name(EFI_INVALID_PARAMETER));
    }
    EXPECT_NE(world.log().find("Invalid parameters adapter = 0 cache = 0"), std::string::npos);
    FreeRaidConfig(nullptr, RAID_CONFIG_ALL);
    releaseConfig(nullptr);
  }
  World world({.preset = nullptr, .xmlService = false, .connect = false});
  EXPECT_EQ(name(ParseXMLBlob("<raidData/>", &config, &count)), name(EFI_NOT_FOUND));
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(config, nullptr);
}

// Tags, and what stands between them.
std::vector<std::string> tokensOf(const std::string &text) {
  std::vector<std::string> tokens;
  for (size_t at = 0, end; at < text.size(); at = end) {
    end = text[at] == '<' ? text.find('>', at) + 1 : std::min(text.find('<', at), text.size());
    tokens.push_back(text.substr(at, end - at));
  }
  return tokens;
}

std::string rewritten(const std::string &text, std::string (*rewrite)(const std::string &token)) {
  std::string result;
  for (const std::string &token : tokensOf(text)) {
    result += rewrite(token);
  }
  return result;
}

std::string replaced(std::string text, const std::string &part, const std::string &with) {
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + with.size())) {
    text.replace(at, part.size(), with);
  }
  return text;
}

bool isStart(const std::string &token) {
  return isalpha(token[1]) && token[0] == '<' && token.find_first_of(" /") == std::string::npos;
}

bool isText(const std::string &token) {
  return token[0] != '<' && token[0] != '\n';
}

// Swaps each "ObjectType" with the element behind it.
std::string reordered(const std::string &text) {
  std::vector<std::string> tokens = tokensOf(text);
  for (size_t i = 0; i + 7 < tokens.size(); ++i) {
    if (tokens[i] == "<ObjectType>") {
      std::swap_ranges(tokens.begin() + i, tokens.begin() + i + 3, tokens.begin() + i + 4);
      i += 4;
    }
  }
  std::string result;
  for (const std::string &token : tokens) {
    result += token;
  }
  return result;
}

// Begins every object with an element from some later version.
std::string withNewElements(std::string text) {
  for (const std::string object : {"Adapter", "Enclosure", "PD", "VD", "RAIDLevelDesc"}) {
    text = replaced(text, "<" + object + ">\n", "<" + object + ">\n<New><Name>x</Name></New>\n");
  }
  return text;
}

// Every way of writing the same document reads the same.
TEST(Documents, AreReadAsPeopleWriteThem) {
  World world;
  const std::string text = world.get().text;
  Parsed plain(text);
  ASSERT_EQ(name(plain.status), name(EFI_SUCCESS));
  MODEL wanted = modelOf(*plain.config);
  using TOKEN = const std::string &;
  struct {
    const char *what;
    std::string text;
  } cases[] = {
      {"Windows line ends", replaced(text, "\n", "\r\n")},
      {"byte order mark", "\xEF\xBB\xBF" + text},
      {"single quotes", replaced(text, "\"", "'")},
      {"no line ends", rewritten(text, [](TOKEN t) { return t[0] == '\n' ? "" : t; })},
      {"comments, instructions",
       rewritten(text, [](TOKEN t) { return isStart(t) ? t + "<!-- <PD> --><?note </PD>?>" : t; })},
      {"CDATA", rewritten(text, [](TOKEN t) { return isText(t) ? "<![CDATA[" + t + "]]>" : t; })},
      {"references",
       rewritten(text, [](TOKEN t) { return isText(t) ? "&#" + std::to_string(t[0]) + ";" + t.substr(1) : t; })},
      {"unknown elements", withNewElements(text)},
      {"attributes",
       rewritten(text, [](TOKEN t) { return isStart(t) ? t.substr(0, t.size() - 1) + " a='&lt;'>" : t; })},
      {"another order", reordered(text)},
      {"items under their other name", replaced(text, "RaidLevel>", "RAIDLevel>")},
  };
  for (const auto &row : cases) {
    Parsed parsed(row.text);
    ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS)) << row.what;
    EXPECT_NE(row.text, text) << row.what;
    MODEL read = modelOf(*parsed.config);
    EXPECT_EQ(describe(read), describe(wanted)) << row.what;
  }
}

TEST(Documents, CutFilesAreRefused) {
  ReadingWorld world;
  const std::string text =
      component(INVENTORY + "<Configuration><raidData><Method name=\"Lock\"><OID>1</OID><Object><Key>"
                            "<KeyID>k</KeyID></Key></Object></Method><Adapter><!-- c --><Name>a&lt;"
                            "</Name><PD><VD>1</VD></PD><VD/></Adapter></raidData></Configuration>");
  for (size_t length = 0; length < text.size(); ++length) {
    Parsed parsed(text.substr(0, length));
    ASSERT_EQ(name(parsed.status), name(EFI_INVALID_PARAMETER)) << length;
    ASSERT_EQ(parsed.config, nullptr) << length;
  }
  EXPECT_EQ(name(Parsed(text).status), name(EFI_SUCCESS));
}

TEST(Documents, NestingCostsNoStack) {
  ReadingWorld world;
  std::string open, close;
  for (int i = 0; i < 400000; ++i) {
    open += "<PD>";
    close += "</PD>";
  }
  EXPECT_EQ(name(Parsed(open + open + open).status), name(EFI_INVALID_PARAMETER));
  // An id list takes only the texts of its elements.
  Parsed parsed("<raidData><Adapter><VD>" + open + close + "</VD></Adapter></raidData>");
  EXPECT_EQ(name(parsed.status), name(EFI_SUCCESS));
  EXPECT_EQ(parsed.config->logicalDisks[0].PDCount, 1U);
}

TEST(Documents, ReadingSurvivesEveryAllocationFailure) {
  const std::string record = "<Name>n</Name><FQDD>f</FQDD>";
  const std::string disk = "<PD>" + record + "<VD>1</VD><VD>2</VD></PD>";
  const std::string adapter =
      "<Adapter>" + record +
      "<FirmwareVersion>1</FirmwareVersion><SupportedRAIDLevels><RaidLevel>RAID 0</RaidLevel>"
      "</SupportedRAIDLevels><RAIDLevelParams/><SupportedRAIDLevels><RaidLevel>RAID 1</RaidLevel></SupportedRAIDLevels>"
      "<Enclosure>" +
      record + disk + disk + "</Enclosure><Enclosure/>" + disk + "<VD>" + record +
      "<PD>1</PD><PD>2</PD>"
      "</VD><VD/><Keyid>k</Keyid></Adapter>";
  const std::string text = "<raidData><Method name='Change'><OID>1</OID><OID>2</OID><Object>" + adapter +
                           "</Object></Method><Method name='Change'><Object><Enclosure>" + record + disk +
                           "</Enclosure></Object></Method>" + adapter + "</raidData>";
  SWEEP sweep;
  sweep.world = {.preset = nullptr, .connect = false};
  sweep.keepsWorld = true;
  sweep.operation = [&](World &) {
    Parsed parsed(text);
    // Whatever was counted must be there.
    EXPECT_EQ(parsed.count == 1, !EFI_ERROR(parsed.status));
    EXPECT_EQ(parsed.config != nullptr && parsed.config->adapter != nullptr, !EFI_ERROR(parsed.status));
    return parsed.status;
  };
  sweep.afterFailure = [](World &, EFI_STATUS status) {
    EXPECT_TRUE(status == EFI_OUT_OF_RESOURCES || status == EFI_SUCCESS) << name(status);
  };
  sweepAllocations(sweep);
}

// The release by parts, on a configuration that has them all.
TEST(Release, TakesThePartsThatTheMaskNames) {
  ReadingWorld world;
  auto memory = [&] { return world.firmware.poolText("x"); };
  RAID_CONFIG config = {};
  auto records = [&]<class T>(T *&array, UINT32 type) {
    array = poolNew<T>(1);
    auto *header = reinterpret_cast<RAID_RECORD_HEADER *>(array);
    header->ObjectType = type;
    header->Name = reinterpret_cast<CHAR16 *>(memory());
    return 1U;
  };
  records(config.adapter, RAID_OBJECT_ADAPTER);
  config.enclosureCount = records(config.enclosures, RAID_OBJECT_ENCLOSURE);
  config.physicalDiskCount = records(config.physicalDisks, RAID_OBJECT_PHYSICAL_DISK);
  config.logicalDiskCount = records(config.logicalDisks, RAID_OBJECT_VIRTUAL_DISK);
  RAID_PD_RECORD *reserved[4];
  for (auto &record : reserved) {
    records(record, RAID_OBJECT_BATTERY);
  }
  config.reservedRecord = reserved[0];
  config.reservedRecords1 = reserved[1];
  config.reservedRecords2 = reserved[2];
  config.reservedRecords3 = reserved[3];
  poolFree(reserved[2]->Name);
  reserved[2]->Name = nullptr;
  config.reservedCount1 = config.reservedCount2 = config.reservedCount3 = 1;
  for (int i = 0; i < 2; ++i) {
    auto *node = poolNew<RAID_CONFIG_LIST_NODE>();
    *node = {nullptr, memory(), config.reservedList};
    config.reservedList = node;
  }
  config.commandCount = 1;
  config.commands = poolNew<RAID_CMD_BLOCK>(1);
  config.commands[0].ObjectIds = reinterpret_cast<UINT32 *>(memory());
  config.commands[0].ObjectData = memory();
  const UINT64 blocks[] = {2, 2, 4, 3, 2, 2, 2, 2, 2, 1}; // of each bit's part
  FreeRaidConfig(&config, 0);
  for (UINT64 bit = 0; bit < std::size(blocks); ++bit) {
    UINT64 before = world.firmware.pool().liveAllocations;
    FreeRaidConfig(&config, 1ULL << bit);
    EXPECT_EQ(before - world.firmware.pool().liveAllocations, blocks[bit]) << "bit " << bit;
  }
  world.expectBalanced();
}

} // namespace
