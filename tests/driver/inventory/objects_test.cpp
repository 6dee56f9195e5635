#include <regex>

#include "base/text.h"
#include "driver/inventory/inventory.h"
#include "driver/xml/xml.h"
#include "tests/support/world.h"

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
template <class... FIELD> void spoil(FIELD &...fields) {
  (memset(&fields, 0xEE, sizeof(fields)), ...);
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
  RAID_LEVEL_PARAMS levels[] = {
      {0x2, 1, 32, 0x20000022, 0x30000777, 0x80, 0xF8, 0x3, 1, 0x3, 2, 0xF, 0x30, 0xFF},
      {0x40, 3, 1234567, 0, 0, 0, 0, 0, 0, 0, 0, 0x10, 0x40, 0x100},
  };
  RAID_ADAPTER_RECORD adapter = {};
  adapter.ObjectID = 12345678;
  adapter.Name = wide(u"Adapter <1> \u00e9 & \"co\"");
  adapter.ObjVersion = 1;
  adapter.FQDD = wide(u"adapter-0");
  adapter.WWN = 0x1F;
  adapter.PCIID = {0x3E, 0x2D, 0x5C, 0x1A2B, 3, 0, 255, 0xEE, 0x00000003};
  adapter.SupportedRAIDLevels = 0x42;
  adapter.SupportedDiskProtocols = 0x30;
  adapter.Attributes = 0x1C4;
  adapter.MaxLDs = 64;
  adapter.MaxPDsPerSpan = 32;
  adapter.MaxSpansPerLD = 8;
  adapter.FirmwareVersion = wide(u"21.2.0-0007");
  adapter.RAIDLevelParams = levels;
  const UINT8 modes[] = {0xC0, 0x02, 0x80, 0x85, 0x81, 0xFB, 0x83}; // in their order
  memcpy(&adapter.SecurityMode, modes, sizeof(modes));
  adapter.Rates[0] = {wide(u"Rebuild"), 0x65};
  adapter.Rates[3] = {wide(u""), 0xFE};
  adapter.CapableSpeeds = 0x805;
  RAID_ENCLOSURE_RECORD enclosures[] = {
      {RAID_OBJECT_ENCLOSURE, 0, nullptr, 0, nullptr, {}, 8, 0, 0, 0, 0, 0, 0, 0, 0, "IGNORED", {}, {}, {}},
      {RAID_OBJECT_ENCLOSURE, 0, wide(u"Box"), 23, nullptr, {}, 9, 255, 0, 0, 0x05, 1, 2, 3, 4, {}, {}, {}, {}}};
  memcpy(enclosures[1].ServiceTag, "ABC1234   ", 10);
  memcpy(enclosures[1].Revision, "1.02", 4);

  UINT32 volumes[] = {3, 5};
  RAID_PD_RECORD disks[8] = {makeDisk(1, 9), makeDisk(2, RAID_ENCLOSURE_NONE), makeDisk(3, 7)};
  disks[0].ObjVersion = 1;
  disks[0].FQDD = wide(u"disk-1");
  disks[0].DeviceID = 99;
  disks[0].EnclosureObjectID = 4;
  disks[0].Size = ~0ULL;
  disks[0].State = 7;
  disks[0].WWN = 0xABCDEF0123456789;
  disks[0].Protocol = 0x20;
  disks[0].Slot = 11;
  disks[0].Hotspare = 2;
  disks[0].Attributes = 0x0E;
  disks[0].CapableSpeeds = 7;
  disks[0].SecureState = 4;
  disks[0].ManufactureYear = 20111;
  disks[0].ManufactureDay = 7;
  disks[0].VDCount = 2;
  disks[0].VDs = volumes;
  memcpy(disks[0].ManufactureName, "MAKER  X", 8);
  memcpy(disks[0].ModelName, "  \tST9146 A     ", 16);
  memcpy(disks[0].Revision, "A\0\0B", 4);
  memcpy(disks[0].SerialNumber, "12345678901234567890", 20);
  disks[1].State = 0x100000001;
  disks[1].SecureState = 3;
  disks[1].VDCount = 2;
  memcpy(disks[1].SerialNumber, "HIDDEN", 7);
  // Identity texts are trimmed, each in its way.
  const char *const identities[] = {"      ST9146  ", "                ", "AB12 CD34       ", "", "0123456789ABCDEF"};
  for (UINT32 i = 3; i < 8; ++i) {
    disks[i] = makeDisk(1 + i, RAID_ENCLOSURE_NONE);
    disks[i].ObjVersion = 1;
    strncpy(disks[i].ModelName, identities[i - 3], sizeof(disks[i].ModelName));
    memcpy(disks[i].SerialNumber, disks[i].ModelName, sizeof(disks[i].ModelName));
  }

  UINT32 members[] = {4, 5, 6};
  RAID_VD_RECORD volume = {};
  volume.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  volume.ObjectID = 3;
  volume.Name = wide(u"Data");
  volume.RAIDLevel = 0x40;
  volume.RLQ = 2;
  volume.SRL = 1;
  volume.State = 1;
  volume.CurrentCachePolicy = 0x10000122;
  volume.AccessPolicy = 6;
  volume.RAIDLevelDesc.RAIDLevel = 0x40;
  volume.Attributes = 0x48;
  volume.StartingLba = ~0ULL;
  volume.PDCount = 3;
  volume.PDs = members;
  spoil(adapter.ReservedHeader, adapter.Reserved1, adapter.Reserved2, enclosures[0].Reserved, enclosures[1].Reserved,
        volume.ReservedHeader, volume.Reserved);

  CHAR8 key[] = "key <1>";
  RAID_CONFIG config = {&adapter, 2,       enclosures, 8,       disks, 1,       &volume, key, nullptr,
                        0,        nullptr, 0,          nullptr, 0,     nullptr, nullptr, 0,   nullptr};
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
  FIELD_ROW row = {};
  row.Element = "State";
  row.Place = {offsetof(RAID_RECORD_HEADER, ObjectID), sizeof(UINT32)};
  row.Names = g_stateTable;
  row.Format = FORMAT_NAME;
  row.Length = 4;
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
  RAID_VD_RECORD volume = {};
  RAID_CONFIG config = {};
  config.adapter = &adapter;
  config.enclosures = enclosures;
  config.physicalDisks = &disk;
  config.logicalDisks = &volume;
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
  RAID_VD_RECORD volume = {};
  for (EFI_STATUS status :
       {cacheToXML(nullptr, &text), cacheToXML(&config, nullptr), addHeaderToXML(nullptr, &node),
        addHeaderToXML(&disk, nullptr), addAdapterToXML(nullptr, &node), addAdapterToXML(&adapter, nullptr),
        addPDToXML(nullptr, &node), addPDToXML(&disk, nullptr), addLDsToXML(nullptr, &node),
        addLDsToXML(&volume, nullptr), addKeyidToXML(nullptr, &node), addKeyidToXML("k", nullptr)}) {
    EXPECT_EQ(status, EFI_INVALID_PARAMETER);
  }
  EXPECT_EQ(cacheToXML(&config, &text), EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(text, nullptr);
}

} // namespace
