// What single elements give, above all where their text is none that we write.
#include "base/text.h"
#include "driver/xml/xml.h"
#include "tests/request/parsed.h"

namespace {

#define AT(record, member)                                                                                             \
  { offsetof(record, member), sizeof(record::member) }
#define ADAPTER(member) "Adapter", AT(RAID_ADAPTER_RECORD, member)
#define ENCLOSURE(member) "Enclosure", AT(RAID_ENCLOSURE_RECORD, member)
#define DISK(member) "PD", AT(RAID_PD_RECORD, member)
#define VOLUME(member) "VD", AT(RAID_VD_RECORD, member)

std::string documentWith(const std::string &object, const std::string &children) {
  std::string inner = object == "Adapter" ? children : "<" + object + ">" + children + "</" + object + ">";
  return "<raidData><Adapter>" + inner + "</Adapter></raidData>";
}

const void *firstRecord(const RAID_CONFIG *config, const std::string &object) {
  if (object == "Adapter" || object == "Enclosure") {
    return object == "Adapter" ? static_cast<const void *>(config->adapter) : config->enclosures;
  }
  return object == "PD" ? static_cast<const void *>(config->physicalDisks) : config->logicalDisks;
}

struct FIELD_CASE {
  const char *object;
  FIELD_PLACE place;
  const char *children;
  UINT64 value;
};

const FIELD_CASE g_fields[] = {
    // Numbers.
    {ADAPTER(MaxLDs), "<MaxLDs> 64</MaxLDs>", 64},
    {ADAPTER(MaxLDs), "<MaxLDs>x64</MaxLDs>", 0},
    {ADAPTER(MaxLDs), "<MaxLDs>\t64</MaxLDs>", 0},
    {ADAPTER(MaxLDs), "<MaxLDs>4294967299</MaxLDs>", 3},
    {ADAPTER(MaxLDs), "<MaxLDs>1</MaxLDs><MaxLDs>2</MaxLDs>", 2},
    {DISK(Size), "<Size>18446744073709551616</Size>", ~0ULL},
    {ADAPTER(WWN), "<WWN>  00500a0b</WWN>", 0x500A0B},
    {ADAPTER(WWN), "<WWN>10000000000000000</WWN>", ~0ULL},
    // Numbers that share their field.
    {ENCLOSURE(MultipathPort), "<Multipath>false</Multipath><Port>3</Port>", 0x06},
    {ENCLOSURE(MultipathPort), "<Port>3</Port><Multipath>no</Multipath>", 0x07},
    // The PCI identity goes by position.
    {"Adapter",
     {72, 8},
     "<PCIID><a>1A2B</a><b>005C</b><c>2D</c><d>3E</d><e>true</e><f>2</f><g>9</g></PCIID>",
     0x1A2B005C002D003E},
    {"Adapter", {84, 4}, "<PCIID><a/><a/><a/><a/><a>true</a><a>2</a></PCIID>", 5},
    {"Adapter", {84, 4}, "<PCIID><a/><a/><a/><a/><a>false</a><a>2147483648</a></PCIID>", 0},
    // Masks: items add up, an empty element clears; open masks start anew.
    {ADAPTER(SupportedRAIDLevels),
     "<SupportedRAIDLevels><RaidLevel>RAID 0</RaidLevel><RAIDLevel>RAID 1</RAIDLevel><RaidLevel>RAID X</RaidLevel>"
     "<Level>RAID 6</Level></SupportedRAIDLevels>",
     6},
    {ADAPTER(Attributes), "<Attributes><Attrib>Bootable</Attrib></Attributes><Attributes/>", 0},
    {ADAPTER(Attributes), "<Attributes><Attrib>Unknown</Attrib></Attributes>", 0},
    {DISK(Attributes), "<Attributes><Attrib>SSD</Attrib></Attributes><Attributes><Attrib>FDE</Attrib></Attributes>", 4},
    {DISK(Attributes), "<Attributes><Attrib>Unknown</Attrib></Attributes>", 0xFF},
    {VOLUME(CurrentCachePolicy), "<CurrentCachePolicy><ReadPolicy>Unknown</ReadPolicy></CurrentCachePolicy>",
     0xFFFFFFFF},
    // Names, and what is stored for an unknown one where it is no failure.
    {DISK(Hotspare), "<Hotspare>Unknown</Hotspare>", 0xFF},
    {DISK(State), "<State>Unknown</State>", 0},
    {DISK(SecureState), "<SecureState>LOCKED</SecureState>", 2},
    {DISK(Protocol), "<Protocol>Unknown</Protocol>", 0},
    {VOLUME(AccessPolicy), "<AccessPolicy>Unknown</AccessPolicy>", 0xFFFFFFFF},
    {VOLUME(StripeSize), "<StripeSize>Unknown</StripeSize>", 0xFFFFFFFF},
    {VOLUME(SRL), "<SRL>Unknown</SRL><RLQ>3</RLQ>", 0},
    {VOLUME(ObjectType), "<TargetID>1</TargetID>", 4},
    {"VD",
     {144, 8},
     "<RAIDLevelDesc><StripeSize>8 Kb</StripeSize><DefaultRLQ>7</DefaultRLQ></RAIDLevelDesc>",
     0x1000000000},
    // Mode bytes.
    {ADAPTER(LearnMode), "<LearnMode>Warn</LearnMode><LearnMode>Disabled</LearnMode>", 0x81},
    {ADAPTER(SecurityMode), "<SecurityMode>LKM</SecurityMode><SecurityMode>RKM Pending</SecurityMode>", 0xC1},
    {ADAPTER(PatrolReadMode), "<CorrectUnconfiguredAreas/><PatrolReadMode>Auto</PatrolReadMode>", 0xC8},
    // Fixed texts: cut, and the rest of the field is left alone.
    {"Enclosure", {76, 8}, "<ServiceTag>ABCDEFGHIJKL</ServiceTag>", 0x4847464544434241},
    {"Enclosure", {96, 4}, "<Revision>ABCD</Revision><Revision>X</Revision><Revision/>", 0x44430058},
    // Identity and lists.
    {DISK(DeviceID), "<DeviceID>99</DeviceID><ObjectID>12</ObjectID>", 12},
    {DISK(EnclosureDeviceID), "<EnclosureDeviceID>4294967295</EnclosureDeviceID>", 0xFFFFFFFF},
};

TEST(Readers, ElementsGiveTheirFields) {
  ReadingWorld world;
  for (const FIELD_CASE &row : g_fields) {
    {
      Parsed parsed(documentWith(row.object, row.children));
      ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS)) << row.children;
      EXPECT_EQ(fieldLoad(firstRecord(parsed.config, row.object), row.place), row.value) << row.children;
    }
    world.expectBalanced(row.children);
  }
}

std::string repeated(int count, const std::string &text) {
  std::string all;
  for (int i = 0; i < count; ++i) {
    all += text;
  }
  return all;
}

// Every object has owned texts and lists before the element that fails, and again behind it.
TEST(Readers, FailuresHaveTheirStatusAndKeepNothing) {
  ReadingWorld world;
  const std::string texts = "<Name>n</Name><FQDD>f</FQDD><FirmwareVersion>1</FirmwareVersion>";
  const std::string lists = "<VD>1</VD><PD>2</PD><Rate><Name>r</Name></Rate><Keyid>k</Keyid><Name>again</Name>";
  const std::string levels = "<SupportedRAIDLevels><RaidLevel>RAID 0</RaidLevel></SupportedRAIDLevels>";
  const std::string unknown = "<RAIDLevelDesc><RAIDLevel>Unknown</RAIDLevel></RAIDLevelDesc>";
  const std::string badDisk = "<PD>" + texts + lists + "<Protocol/></PD>";
  struct {
    const char *object;
    std::string children;
    EFI_STATUS status;
    const char *logLine;
  } cases[] = {
      {"Adapter", "<ObjectType>Enclosure</ObjectType>", EFI_INVALID_PARAMETER, "Incorrect object type 2!"},
      {"Adapter", "<ObjectType>adapter</ObjectType>", EFI_INVALID_PARAMETER, "Incorrect object type FFFFFFFF!"},
      {"PD", "<ObjectType/>", EFI_INVALID_PARAMETER, "End error!"},
      {"Adapter", "<LearnMode>Manual</LearnMode>", EFI_NOT_FOUND, "End error!"},
      {"Adapter", levels + "<RAIDLevelParams>" + unknown + "</RAIDLevelParams>", EFI_NOT_FOUND, "End error!"},
      {"PD", "<Protocol>SAS 12</Protocol>", EFI_NOT_FOUND, "parsePD: Exit. Not Found"},
      {"PD", repeated(255, "<VD>7</VD>"), EFI_INVALID_PARAMETER, "End error!"}, // one is owned
      {"Enclosure", badDisk, EFI_NOT_FOUND, "parseEnclosure: Exit. Not Found"},
  };
  for (const auto &row : cases) {
    std::string inside = std::string(row.object).size() == 2 ? texts + lists : texts;
    for (const std::string &children : {inside + row.children, row.children + inside}) {
      world.clearLog();
      Parsed parsed(documentWith(row.object, children));
      EXPECT_EQ(name(parsed.status), name(row.status)) << children;
      EXPECT_EQ(parsed.count, 0U);
      ASSERT_NE(parsed.config, nullptr);
      EXPECT_EQ(parsed.config->adapter, nullptr);
      EXPECT_NE(world.log().find(row.logLine), std::string::npos) << children << world.log();
    }
    world.expectBalanced(row.children);
  }
}

// The descriptors are as many as the level bits, whatever the order and however often both come.
TEST(Readers, LevelDescriptorsFollowTheLevelMask) {
  ReadingWorld world;
  const std::string mask = "<SupportedRAIDLevels><RaidLevel>RAID 0</RaidLevel><RaidLevel>RAID 1</RaidLevel>"
                           "</SupportedRAIDLevels>";
  const std::string more = "<SupportedRAIDLevels><RaidLevel>RAID 5</RaidLevel></SupportedRAIDLevels>";
  const std::string params = "<RAIDLevelParams>" +
                             repeated(3, "<RAIDLevelDesc><MinDisks>4</MinDisks></RAIDLevelDesc>") +
                             "<unread/></RAIDLevelParams>";
  struct {
    std::string children;
    std::vector<UINT32> minDisks;
  } cases[] = {
      {mask + params, {4, 4}},
      {mask + params + more, {4, 4, 0}},
      {params + mask, {0, 0}},
      {mask + params + "<RAIDLevelParams/>", {0, 0}},
      {mask + params + "<SupportedRAIDLevels/>", {}},
  };
  for (const auto &row : cases) {
    Parsed parsed(documentWith("Adapter", row.children));
    ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS)) << row.children;
    const RAID_LEVEL_PARAMS *levels = parsed.config->adapter->RAIDLevelParams;
    EXPECT_EQ(levels == nullptr, row.minDisks.empty()) << row.children;
    for (size_t i = 0; levels != nullptr && i < row.minDisks.size(); ++i) {
      EXPECT_EQ(static_cast<UINT32>(levels[i].MinDisks), row.minDisks[i]) << row.children;
    }
  }
}

TEST(Readers, RatesGoByPositionAndFillEightSlots) {
  ReadingWorld world;
  auto rate = [](const std::string &children) { return "<Rate>" + children + "</Rate>"; };
  Parsed parsed(documentWith("Adapter", rate("<Name>Rebuild</Name><Editable>true</Editable><Value>50</Value>") +
                                            rate("<Value>1</Value><Editable>false</Editable><Value>200</Value>") +
                                            rate("<Name>Check</Name><x/><Value>3</Value><Name>late</Name>") +
                                            repeated(6, rate("<Name>n</Name>"))));
  ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS));
  const CHAR16 *names[] = {u"Rebuild", u"", u"Check", u"n", u"n", u"n", u"n", u"n"};
  const UINT8 values[] = {0x65, 0x90, 6, 0, 0, 0, 0, 0};
  for (size_t i = 0; i < RAID_RATE_COUNT; ++i) {
    RAID_RATE slot = parsed.config->adapter->Rates[i];
    EXPECT_EQ(static_cast<UINT8>(slot.EditableValue), values[i]) << i;
    EXPECT_TRUE(textEqual(slot.Name == nullptr ? u"" : slot.Name, names[i])) << i;
  }
}

TEST(Readers, NestedObjectsAndTheKeyIdentifierGoToTheConfiguration) {
  ReadingWorld world;
  Parsed parsed(documentWith(
      "Adapter", "<PD><ObjectID>1</ObjectID></PD><Enclosure><PD><ObjectID>2</ObjectID></PD><PD><ObjectID>3</ObjectID>"
                 "</PD></Enclosure><PD><ObjectID>4</ObjectID><VD>8</VD><VD>9</VD></PD><VD/><VD/><Keyid>old</Keyid>"
                 "<Keyid>" +
                     std::string(300, 'k') + "</Keyid><Name>a</Name><Name>b</Name><Other><Name>c</Name></Other>"));
  ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS));
  const RAID_CONFIG *config = parsed.config;
  ASSERT_EQ(config->enclosureCount, 1U);
  EXPECT_EQ(config->enclosures[0].PDCount, 2);
  ASSERT_EQ(config->physicalDiskCount, 4U);
  for (UINT32 i = 0; i < 4; ++i) {
    EXPECT_EQ(static_cast<UINT32>(config->physicalDisks[i].ObjectID), i + 1);
  }
  EXPECT_EQ(config->physicalDisks[3].VDs[1], 9U);
  EXPECT_EQ(config->logicalDiskCount, 2U);
  EXPECT_EQ(std::string(config->keyId), std::string(256, 'k'));
  EXPECT_TRUE(textEqual(config->adapter->Name, u"b"));
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
  Parsed parsed(documentWith("Enclosure", repeated(257, "<PD/>")));
  ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS));
  EXPECT_EQ(parsed.config->enclosures[0].PDCount, 255);
  EXPECT_EQ(parsed.config->physicalDiskCount, 257U);
}

} // namespace
