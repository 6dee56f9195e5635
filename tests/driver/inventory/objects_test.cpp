#include <regex>

#include "base/text.h"
#include "driver/inventory/inventory.h"
#include "driver/xml/xml.h"
#include "tests/support/world.h"

using namespace xyl;
using namespace xyl::driver;

#pragma GCC diagnostic ignored "-Wmissing-field-initializers" // members that no record names are zero

namespace {

CHAR16 *wide(const CHAR16 *text) {
  return const_cast<CHAR16 *>(text);
}

std::string documentOf(const RAID_CONFIG &config) {
  CHAR8 *text = nullptr;
  cacheToXML(&config, &text);
  std::string document = text == nullptr ? "" : text;
  poolFree(text);
  return document;
}

// Reserved bytes are not zero, as with hardware.
template <class... Field> void spoil(Field &...fields) {
  (memset(&fields, 0xEE, sizeof(fields)), ...);
}

// Fills an identity text, which has no end of its own.
template <size_t size> void put(CHAR8 (&field)[size], std::string_view text) {
  text.copy(field, size);
}

RAID_PD_RECORD makeDisk(UINT32 id, UINT32 enclosure) {
  RAID_PD_RECORD disk = {};
  disk.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  disk.ObjectID = id;
  disk.EnclosureDeviceID = enclosure;
  spoil(disk.ReservedHeader, disk.Reserved);
  return disk;
}

// The texts of the elements with that name, in document order, each with a "|" behind it.
std::string texts(const std::string &document, const std::string &name) {
  const std::regex element("<" + name + "(?:/|>([^<]*))");
  std::string found;
  for (std::sregex_iterator at(document.begin(), document.end(), element), end; at != end; ++at) {
    found += (*at)[1].str() + "|";
  }
  return found;
}

// One configuration in which every kind of row shows, with members in their order: the document was checked by hand,
// element by element.
TEST(Inventory, TheWholeDocumentIsAsReadersExpectIt) {
  World world({.preset = nullptr, .connect = false});
  // clang-format off
  RAID_LEVEL_PARAMS levels[] = {
      {.RAIDLevel = RAID_LEVEL_0, .MinDisks = 1, .MaxDisks = 32,
       .DefaultCachePolicy = RAID_CACHE_IO_CACHED | RAID_CACHE_READ_AHEAD | RAID_CACHE_WRITE_BACK,
       .AvailableCachePolicy = RAID_CACHE_ALL, .StripeSize = RAID_STRIPE_SIZE_64KB,
       .AvailableStripeSize = RAID_STRIPE_SIZE_4KB | RAID_STRIPE_SIZE_64KB, .BoundsMask = RAID_BOUNDS_ALL,
       .DefaultRLQ = RAID_RLQ_0, .AvailableRLQ = RAID_RLQ_0 | RAID_RLQ_1, .DefaultSRL = RAID_SRL_1,
       .AvailableSRL = RAID_SRL_ALL, .AvailableProtocols = RAID_PROTOCOL_SATA | RAID_PROTOCOL_SAS,
       .Attributes = RAID_LEVEL_ATTRIBUTE_ALL},
      // A number that is cut, bits that have no name.
      {.RAIDLevel = RAID_LEVEL_5, .MinDisks = 3, .MaxDisks = 1234567, .AvailableSRL = RAID_SRL_ALL + 1,
       .AvailableProtocols = RAID_PROTOCOL_ALL + 1, .Attributes = RAID_LEVEL_ATTRIBUTE_ALL + 1}};
  RAID_ADAPTER_RECORD adapter = {
      .ObjectID = 12345678, .Name = wide(u"Adapter <1> \u00e9 & \"co\""), .ObjVersion = 1, .FQDD = wide(u"adapter-0"),
      .WWN = 0x1F,
      .PCIID = {0x3E, 0x2D, 0x5C, 0x1A2B, 3, 4, 255, 0xEE, 1 << RAID_PCI_INDEX_SHIFT | RAID_PCI_EMBEDDED},
      .SupportedRAIDLevels = RAID_LEVEL_0 | RAID_LEVEL_5,
      .SupportedDiskProtocols = RAID_PROTOCOL_SATA | RAID_PROTOCOL_SAS,
      .Attributes = RAID_ADAPTER_ATTRIBUTE_HIDES_PDS | RAID_ADAPTER_ATTRIBUTE_ENCRYPTION |
                    RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY | 4,
      .MaxLDs = 64, .MaxPDsPerSpan = 32, .MaxSpansPerLD = 8, .FirmwareVersion = wide(u"21.2.0-0007"),
      .RAIDLevelParams = levels, .SecurityMode = RAID_MODE_PRESENT | RAID_SECURITY_MODE_RKM_PENDING,
      .UncertifiedMode = RAID_UNCERTIFIED_MODE_WARN, // not present
      .LoadBalanceMode = RAID_MODE_PRESENT | RAID_LOAD_BALANCE_MODE_AUTO, .LearnMode = RAID_MODE_PRESENT | 5,
      .CheckConsistencyMode = RAID_MODE_PRESENT | RAID_CHECK_CONSISTENCY_MODE_STOP_ON_ERROR,
      .PatrolReadMode = 0xFF & ~RAID_PATROL_READ_MODE_MANUAL, // automatic; some bits do not count
      .CopyBackMode = RAID_MODE_PRESENT | RAID_COPY_BACK_MODE_ON_SMART,
      .Rates = {{wide(u"Rebuild"), 50 << RAID_RATE_VALUE_SHIFT | RAID_RATE_EDITABLE}, {}, {}, {wide(u""), 0xFE}},
      .CapableSpeeds = RAID_SPEED_1_5_GBS | RAID_SPEED_6_GBS | 0x800};
  RAID_ENCLOSURE_RECORD enclosures[] = {
      {.ObjectType = RAID_OBJECT_ENCLOSURE, .DeviceID = 8, .ServiceTag = "IGNORED"}, // as its ObjVersion says
      {.ObjectType = RAID_OBJECT_ENCLOSURE, .Name = wide(u"Box"), .ObjVersion = 23, .DeviceID = 9, .SlotCount = 255,
       .Position = 7, .MultipathPort = 2 << RAID_ENCLOSURE_PORT_SHIFT | RAID_ENCLOSURE_MULTIPATH, .EMMCount = 1,
       .FanCount = 2, .PSUCount = 3, .TempProbeCount = 4}};
  UINT32 virtualDisks[] = {3, 5}, members[] = {4, 5, 6};
  RAID_PD_RECORD disks[8] = {
      {.ObjectType = RAID_OBJECT_PHYSICAL_DISK, .ObjectID = 1, .ObjVersion = 1, .FQDD = wide(u"disk-1"),
       .DeviceID = 99, .EnclosureObjectID = 4, .EnclosureDeviceID = 9, .Size = ~0ULL, .FreeSize = 12, .UsedSize = 34,
       .State = RAID_STATE_DEGRADED, .WWN = 0xABCDEF0123456789, .Protocol = RAID_PROTOCOL_SAS, .Port = 3, .Slot = 11,
       .Hotspare = RAID_HOTSPARE_GLOBAL, .Attributes = RAID_PD_ATTRIBUTE_SSD | RAID_PD_ATTRIBUTE_FDE | 8,
       .CapableSpeeds = RAID_SPEED_ALL, .SecureState = RAID_SECURE_STATE_FOREIGN, .ManufactureYear = 20111,
       .ManufactureDay = 7, .VDCount = 2, .VDs = virtualDisks},
      {.ObjectType = RAID_OBJECT_PHYSICAL_DISK, .ObjectID = 2, .EnclosureDeviceID = RAID_ENCLOSURE_NONE,
       .State = 0x100000001, .SecureState = 3, .SerialNumber = "HIDDEN", .VDCount = 2},
      makeDisk(3, 7)};
  RAID_VD_RECORD virtualDisk = {
      .ObjectType = RAID_OBJECT_VIRTUAL_DISK, .ObjectID = 3, .Name = wide(u"Data"), .TargetID = 12,
      .RAIDLevel = RAID_LEVEL_5, .RLQ = RAID_RLQ_1, .Size = 56, .State = RAID_STATE_ONLINE,
      .StripeSize = RAID_STRIPE_SIZE_1MB,
      .CurrentCachePolicy = RAID_CACHE_IO_DIRECT | RAID_CACHE_DISK_DEFAULT | RAID_CACHE_READ_AHEAD | RAID_CACHE_WRITE_BACK,
      .AccessPolicy = RAID_ACCESS_POLICY_READ_WRITE, .SpanDepth = 2, .SRL = RAID_SRL_0, .PDsPerSpan = 3,
      .StartingLba = ~0ULL, .RAIDLevelDesc = {.RAIDLevel = RAID_LEVEL_5}, .Attributes = RAID_VD_ATTRIBUTE_HDD | 0x40,
      .PDCount = 3, .PDs = members};
  // clang-format on
  put(enclosures[1].ServiceTag, "ABC1234   ");
  put(enclosures[1].Revision, "1.02");
  put(disks[0].ManufactureName, "MAKER  X");
  put(disks[0].ModelName, "  \tST9146 A     ");
  put(disks[0].Revision, {"A\0\0B", 4});
  put(disks[0].SerialNumber, "12345678901234567890");
  // Identity texts are trimmed, each in its way.
  const char *const identities[] = {"      ST9146  ", "                ", "AB12 CD34       ", "", "0123456789ABCDEF"};
  for (UINT32 i = 3; i < 8; ++i) {
    disks[i] = makeDisk(1 + i, RAID_ENCLOSURE_NONE);
    disks[i].ObjVersion = 1;
    put(disks[i].ModelName, identities[i - 3]);
    put(disks[i].SerialNumber, identities[i - 3]);
  }
  spoil(adapter.ReservedHeader, adapter.Reserved1, adapter.Reserved2, enclosures[0].Reserved, enclosures[1].Reserved,
        disks[0].Reserved, virtualDisk.ReservedHeader, virtualDisk.Reserved);

  CHAR8 key[] = "key <1>";
  RAID_CONFIG config = {&adapter, 2,       enclosures, 8,       disks, 1,       &virtualDisk, key, nullptr,
                        0,        nullptr, 0,          nullptr, 0,     nullptr, nullptr,      0,   nullptr};
  expectGolden("driver/inventory/document.xml", documentOf(config));
}

TEST(Inventory, PlacementFollowsTheEnclosures) {
  World world({.preset = nullptr, .connect = false});
  RAID_ADAPTER_RECORD adapter = {};
  RAID_PD_RECORD disks[] = {makeDisk(1, 9), makeDisk(2, RAID_ENCLOSURE_NONE), makeDisk(3, 7), makeDisk(4, 9)};
  RAID_ENCLOSURE_RECORD enclosures[2] = {};
  enclosures[0].DeviceID = enclosures[1].DeviceID = 9;
  RAID_CONFIG config = {};
  config.physicalDiskCount = 4;
  config.physicalDisks = disks;
  EXPECT_EQ(documentOf(config).find("<Inventory"), std::string::npos);
  EXPECT_EQ(texts(documentOf(config), "ObjectID"), "");

  config.adapter = &adapter;
  EXPECT_EQ(texts(documentOf(config), "ObjectID"), "0|1|2|3|4|");
  config.enclosureCount = 2; // the same DeviceID twice: its disks stand in both
  config.enclosures = enclosures;
  std::string whole = documentOf(config);
  EXPECT_EQ(texts(whole, "ObjectID"), "0|0|1|4|0|1|4|2|");
  size_t same = 0;
  for (uint64_t n = 1; n == 1 || world.firmware.allocationFailed(); ++n) {
    world.firmware.failAllocation(n);
    same += documentOf(config) == whole ? 1 : 0;
  }
  EXPECT_EQ(same, 2U); // also without memory for an index of the disks
  world.firmware.failAllocation(0);
}

// All names of today fit; a longer one must not get past the text's end.
TEST(Inventory, ANameIsCutAtItsLength) {
  World world({.preset = nullptr, .connect = false});
  FieldRow row = {};
  row.element = "State";
  row.place = {offsetof(RAID_RECORD_HEADER, ObjectID), sizeof(UINT32)};
  row.names = g_stateTable;
  row.format = FieldFormat::name;
  row.length = 4;
  RAID_PD_RECORD disk = makeDisk(~0U, 8);
  XML_NODE *parent = CreateXMLNode("parent");
  EXPECT_EQ(addFieldsToXML(&disk, {&row, 1}, parent), EFI_SUCCESS);
  EXPECT_STREQ(parent->FirstChild->Content, "Unkn");
  FreeXMLNode(parent);
}

decltype(XML_PROTOCOL::CreateNode) g_createNode;
std::string g_unmade;

EFI_STATUS EFIAPI createAllBut(XML_PROTOCOL *service, const CHAR8 *name, XML_NODE **node) {
  *node = nullptr;
  return name == g_unmade ? EFI_OUT_OF_RESOURCES : g_createNode(service, name, node);
}

// A failing child leaves a shorter document; only an enclosure, disk or virtual disk element itself ends it. Our
// service has memory for many elements at a time, another one need not.
TEST(Inventory, AnObjectWithoutItsElementEndsTheDocument) {
  World world({.preset = nullptr, .connect = false});
  RAID_ADAPTER_RECORD adapter = {};
  RAID_ENCLOSURE_RECORD enclosures[2] = {};
  RAID_PD_RECORD disk = makeDisk(1, 0);
  RAID_VD_RECORD virtualDisk = {};
  RAID_CONFIG config = {};
  config.adapter = &adapter;
  config.enclosures = enclosures;
  config.physicalDisks = &disk;
  config.logicalDisks = &virtualDisk;
  config.physicalDiskCount = config.logicalDiskCount = 1;
  documentOf(config); // the service is found
  g_createNode = g_xmlProtocol->CreateNode;
  g_xmlProtocol->CreateNode = createAllBut;
  for (UINT32 count : {0, 2}) {
    config.enclosureCount = count;
    for (const char *name : {"Enclosure", "PD", "VD"}) {
      g_unmade = name;
      CHAR8 *text = nullptr;
      bool isThere = g_unmade != "Enclosure" || count != 0;
      EXPECT_EQ(cacheToXML(&config, &text), isThere ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS) << name;
      poolFree(text);
    }
    g_unmade = "TempProbeCount"; // an enclosure's first child
    std::string document = documentOf(config);
    EXPECT_EQ(countOf(document, "<Enclosure/>"), count);
    EXPECT_EQ(countOf(document, "<VD>"), 1U);
  }
  g_xmlProtocol->CreateNode = g_createNode;
}

TEST(Inventory, ArgumentsAndTheXmlServiceMustBeThere) {
  World world({.preset = nullptr, .xmlService = false, .connect = false});
  CHAR8 *text = nullptr;
  RAID_CONFIG config = {};
  XML_NODE node = {};
  RAID_ADAPTER_RECORD adapter = {};
  RAID_PD_RECORD disk = makeDisk(1, 8);
  RAID_VD_RECORD virtualDisk = {};
  for (EFI_STATUS status :
       {cacheToXML(nullptr, &text), cacheToXML(&config, nullptr), addHeaderToXML(nullptr, &node),
        addHeaderToXML(&disk, nullptr), addAdapterToXML(nullptr, &node), addAdapterToXML(&adapter, nullptr),
        addPDToXML(nullptr, &node), addPDToXML(&disk, nullptr), addLDsToXML(nullptr, &node),
        addLDsToXML(&virtualDisk, nullptr), addKeyidToXML(nullptr, &node), addKeyidToXML("k", nullptr)}) {
    EXPECT_EQ(status, EFI_INVALID_PARAMETER);
  }
  EXPECT_EQ(cacheToXML(&config, &text), EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(text, nullptr);
}

} // namespace
