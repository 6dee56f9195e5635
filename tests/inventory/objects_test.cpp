#include <sstream>

#include "base/text.h"
#include "driver/inventory/inventory.h"
#include "driver/xml/xml.h"
#include "tests/support/world.h"

namespace {

// Reserved bytes are not zero, as with hardware.
template <class T> T newRecord(UINT32 type) {
  T record;
  memset(&record, 0xEE, sizeof(record));
  memset(&record, 0, offsetof(RAID_RECORD_HEADER, ReservedHeader));
  record.ObjectType = type;
  return record;
}

CHAR16 *wide(const CHAR16 *text) {
  return const_cast<CHAR16 *>(text);
}

std::string documentOf(const RAID_CONFIG &config) {
  CHAR8 *text = nullptr;
  EXPECT_EQ(cacheToXML(&config, &text), EFI_SUCCESS);
  std::string document = text == nullptr ? "" : text;
  poolFree(text);
  return document;
}

RAID_ADAPTER_RECORD makeAdapter() {
  auto adapter = newRecord<RAID_ADAPTER_RECORD>(RAID_OBJECT_ADAPTER);
  adapter.PCIID = {};
  adapter.WWN = 0;
  adapter.SupportedRAIDLevels = adapter.SupportedDiskProtocols = adapter.Attributes = adapter.CapableSpeeds = 0;
  adapter.MaxLDs = adapter.MaxPDsPerSpan = adapter.MaxSpansPerLD = 0;
  adapter.FirmwareVersion = nullptr;
  adapter.RAIDLevelParams = nullptr;
  memset(&adapter.SecurityMode, 0, 7);
  memset(adapter.Rates, 0, sizeof(adapter.Rates));
  return adapter;
}

RAID_PD_RECORD makeDisk(UINT32 id, UINT32 enclosure) {
  auto disk = newRecord<RAID_PD_RECORD>(RAID_OBJECT_PHYSICAL_DISK);
  memset(&disk.DeviceID, 0, offsetof(RAID_PD_RECORD, Reserved) - offsetof(RAID_PD_RECORD, DeviceID));
  disk.ObjectID = id;
  disk.EnclosureDeviceID = enclosure;
  disk.VDCount = 0;
  disk.VDs = nullptr;
  return disk;
}

RAID_ENCLOSURE_RECORD makeEnclosure(UINT32 deviceId) {
  auto enclosure = newRecord<RAID_ENCLOSURE_RECORD>(RAID_OBJECT_ENCLOSURE);
  enclosure.DeviceID = deviceId;
  return enclosure;
}

// An adapter, two enclosures and a disk in each, and a virtual disk; as many of them as the counts say.
struct Small {
  World world{{.preset = nullptr, .connect = false}};
  RAID_ADAPTER_RECORD adapter = makeAdapter();
  RAID_ENCLOSURE_RECORD enclosures[2] = {makeEnclosure(8), makeEnclosure(9)};
  RAID_PD_RECORD disks[2] = {makeDisk(1, 8), makeDisk(2, 9)};
  RAID_VD_RECORD volume = {};
  RAID_CONFIG config = {};

  Small() {
    config.adapter = &adapter;
    config.enclosures = enclosures;
    config.physicalDisks = disks;
    config.logicalDisks = &volume;
  }
  std::string document() { return documentOf(config); }
};

// The texts of the elements with that name, in document order, joined by "|".
std::string texts(const std::string &document, const std::string &name) {
  std::string found;
  std::istringstream lines(document);
  for (std::string line; std::getline(lines, line);) {
    size_t at = line.find_first_not_of(' ');
    if (at == std::string::npos) {
      continue;
    }
    std::string element = line.substr(at);
    if (element == "<" + name + "/>") {
      found += "|";
    } else if (element.starts_with("<" + name + ">") && element.find("</") != std::string::npos) {
      size_t begin = name.size() + 2;
      found += element.substr(begin, element.find("</") - begin) + "|";
    }
  }
  return found;
}

// One configuration in which every kind of row shows: the document was checked by hand, element by element.
TEST(Inventory, TheWholeDocumentIsAsReadersExpectIt) {
  World world({.preset = nullptr, .connect = false});
  RAID_LEVEL_PARAMS levels[] = {
      {0x2, 1, 32, 0x20000022, 0x30000777, 0x80, 0xF8, 0x3, 1, 0x3, 2, 0xF, 0x30, 0xFF},
      {0x40, 3, 1234567, 0, 0, 0, 0, 0, 0, 0, 0, 0x10, 0x40, 0x100},
  };
  RAID_ADAPTER_RECORD adapter = makeAdapter();
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
  adapter.SecurityMode = 0xC0;
  adapter.CheckConsistencyMode = 0x81;
  adapter.LearnMode = 0x85;
  adapter.LoadBalanceMode = 0x80;
  adapter.UncertifiedMode = 0x02;
  adapter.CopyBackMode = 0x83;
  adapter.PatrolReadMode = 0xFB;
  adapter.Rates[0] = {wide(u"Rebuild"), 0x65};
  adapter.Rates[3] = {wide(u""), 0xFE};
  adapter.CapableSpeeds = 0x805;

  RAID_ENCLOSURE_RECORD enclosures[2] = {makeEnclosure(8), makeEnclosure(9)};
  memset(&enclosures[0].DeviceID, 0, 12);
  enclosures[0].DeviceID = 8;
  memcpy(enclosures[0].ServiceTag, "IGNORED", 8);
  enclosures[1] = enclosures[0];
  enclosures[1].ObjVersion = 23;
  enclosures[1].Name = wide(u"Box");
  enclosures[1].DeviceID = 9;
  enclosures[1].SlotCount = 255;
  enclosures[1].EMMCount = 1;
  enclosures[1].FanCount = 2;
  enclosures[1].PSUCount = 3;
  enclosures[1].TempProbeCount = 4;
  enclosures[1].MultipathPort = 0x05;
  memcpy(enclosures[1].ServiceTag, "ABC1234   ", 10);
  memset(enclosures[1].AssetTag, 0, 10);
  memcpy(enclosures[1].Revision, "1.02", 4);

  UINT32 volumes[] = {3, 5};
  RAID_PD_RECORD disks[] = {makeDisk(1, 9), makeDisk(2, RAID_ENCLOSURE_NONE), makeDisk(3, 7)};
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
  memcpy(disks[0].ManufactureName, "MAKER  X", 8);
  memcpy(disks[0].ModelName, "  \tST9146 A     ", 16);
  memcpy(disks[0].Revision, "A\0\0B", 4);
  memcpy(disks[0].SerialNumber, "12345678901234567890", 20);
  disks[0].ManufactureYear = 20111;
  disks[0].ManufactureDay = 7;
  disks[0].VDCount = 2;
  disks[0].VDs = volumes;
  disks[1].State = 0x100000001;
  disks[1].SecureState = 3;
  disks[1].VDCount = 2;
  memcpy(disks[1].SerialNumber, "HIDDEN", 7);

  UINT32 members[] = {4, 5, 6};
  auto volume = newRecord<RAID_VD_RECORD>(RAID_OBJECT_VIRTUAL_DISK);
  memset(&volume.TargetID, 0, offsetof(RAID_VD_RECORD, Reserved) - offsetof(RAID_VD_RECORD, TargetID));
  volume.ObjectID = 3;
  volume.Name = wide(u"Data");
  volume.RAIDLevel = 0x40;
  volume.RLQ = 2;
  volume.SRL = 1;
  volume.State = 1;
  volume.CurrentCachePolicy = 0x10000122;
  volume.AccessPolicy = 6;
  volume.DiskCachePolicy = 0;
  volume.RAIDLevelDesc.RAIDLevel = 0x40;
  volume.Attributes = 0x48;
  volume.StartingLba = 18446744073709551615ULL;
  volume.PDCount = 3;
  volume.PDs = members;

  CHAR8 key[] = "key <1>";
  RAID_CONFIG config = {};
  config.adapter = &adapter;
  config.enclosureCount = 2;
  config.enclosures = enclosures;
  config.physicalDiskCount = 3;
  config.physicalDisks = disks;
  config.logicalDiskCount = 1;
  config.logicalDisks = &volume;
  config.keyId = key;

  expectGolden("inventory/document.xml", documentOf(config));
}

TEST(Inventory, ModeBytesShowOnlyWithTheirPresenceBit) {
  Small small;
  const struct {
    UINT8 patrol;
    const char *areas, *mode;
  } cases[] = {{0x48, "", ""}, {0x84, "", "Manual|"}, {0x8C, "", "Unknown|"}, {0xC8, "True|", "Auto|"}};
  for (const auto &row : cases) {
    SCOPED_TRACE(row.patrol);
    small.adapter.PatrolReadMode = row.patrol;
    std::string document = small.document();
    EXPECT_EQ(texts(document, "CorrectUnconfiguredAreas"), row.areas);
    EXPECT_EQ(texts(document, "PatrolReadMode"), row.mode);
  }
}

TEST(Inventory, IdentityTextsAreTrimmedEachInItsWay) {
  Small small;
  RAID_PD_RECORD &disk = small.disks[0];
  small.config.physicalDiskCount = 1;
  const struct {
    const char *field, *model, *serial; // 16 bytes, NUL-padded
  } cases[] = {
      {"      ST9146  ", "ST9146  |", "|"},
      {"                ", "|", "|"},
      {"AB12 CD34       ", "AB12 CD34|", "AB12|"},
      {"", "", ""},
      {"0123456789ABCDEF", "0123456789ABCDEF|", "0123456789ABCDEF|"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.field);
    strncpy(disk.ModelName, row.field, 16);
    memset(disk.SerialNumber, 0, 20);
    memcpy(disk.SerialNumber, disk.ModelName, 16);
    disk.ObjVersion = 1;
    std::string document = small.document();
    EXPECT_EQ(texts(document, "ModelName"), row.model);
    EXPECT_EQ(texts(document, "SerialNumber"), row.serial);
    disk.ObjVersion = 0;
    document = small.document();
    EXPECT_EQ(texts(document, "ModelName") + texts(document, "SerialNumber") + texts(document, "FQDD"), "");
  }
}

TEST(Inventory, PlacementFollowsTheEnclosures) {
  World world({.preset = nullptr, .connect = false});
  RAID_ADAPTER_RECORD adapter = makeAdapter();
  RAID_PD_RECORD disks[] = {makeDisk(1, 9), makeDisk(2, RAID_ENCLOSURE_NONE), makeDisk(3, 7), makeDisk(4, 9)};
  RAID_ENCLOSURE_RECORD enclosures[] = {makeEnclosure(9), makeEnclosure(9)};
  RAID_CONFIG config = {};
  config.physicalDiskCount = 4;
  config.physicalDisks = disks;
  EXPECT_EQ(documentOf(config).find("<Inventory"), std::string::npos);
  EXPECT_EQ(texts(documentOf(config), "ObjectID"), "");

  config.adapter = &adapter;
  EXPECT_EQ(texts(documentOf(config), "ObjectID"), "0|1|2|3|4|");
  config.enclosureCount = 2; // the same DeviceID twice: its disks stand in both
  config.enclosures = enclosures;
  EXPECT_EQ(texts(documentOf(config), "ObjectID"), "0|0|1|4|0|1|4|2|");
}

// A failing child leaves a shorter document; only an enclosure, disk or virtual disk element itself may end it.
TEST(Inventory, AnEnclosureWithoutChildrenStaysInTheDocument) {
  Small small;
  small.config.enclosureCount = small.config.physicalDiskCount = 2;
  std::string whole = small.document();
  size_t emptied = 0;
  for (uint64_t n = 1;; ++n) {
    CHAR8 *text = nullptr;
    small.world.firmware.failAllocation(n);
    EFI_STATUS status = cacheToXML(&small.config, &text);
    bool failed = small.world.firmware.allocationFailed();
    small.world.firmware.failAllocation(0);
    std::string document = text == nullptr ? "" : text;
    poolFree(text);
    if (!failed) {
      EXPECT_EQ(document, whole);
      break;
    }
    emptied += countOf(document, "<Enclosure/>");
    EXPECT_TRUE(EFI_ERROR(status) || document.empty() || document.ends_with("</xylComponent>\n")) << document;
  }
  // Of either enclosure, its first child's text: elements share their memory.
  EXPECT_EQ(emptied, 2U);
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

// Our service has memory for many elements at a time, another one need not.
TEST(Inventory, AnObjectWithoutItsElementEndsTheDocument) {
  Small small;
  small.config.physicalDiskCount = small.config.logicalDiskCount = 1;
  small.document(); // the service is found
  g_createNode = g_xmlProtocol->CreateNode;
  g_xmlProtocol->CreateNode = createAllBut;
  for (UINT32 enclosures : {0, 1}) {
    small.config.enclosureCount = enclosures;
    for (const char *name : {"Enclosure", "PD", "VD"}) {
      g_unmade = name;
      CHAR8 *text = nullptr;
      bool isThere = g_unmade != "Enclosure" || enclosures != 0;
      EXPECT_EQ(cacheToXML(&small.config, &text), isThere ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS) << name;
      poolFree(text);
    }
  }
  g_xmlProtocol->CreateNode = g_createNode;
}

TEST(Inventory, ArgumentsAndTheXmlServiceMustBeThere) {
  World world({.preset = nullptr, .xmlService = false, .connect = false});
  CHAR8 *text = nullptr;
  RAID_CONFIG config = {};
  XML_NODE node = {};
  RAID_ADAPTER_RECORD adapter = makeAdapter();
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
