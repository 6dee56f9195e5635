#include <cstdio>
#include <fstream>

#include "raid_records.h"
#include "tests/support/world.h"
#include "xml/xml.h"

namespace {

TEST(IdentifyLive, AnswersWithoutAskingTheController) {
  World world;
  uint64_t commands = world.sim->commandCount;
  RAID_XYL_IDENTIFY_DATA info = {};
  ASSERT_EQ(world.xyl->Identify_Live(world.xyl, &info), EFI_SUCCESS);
  const UINT32 wanted[5] = {1, 4, 0xDC, 0xEDCC0002, 0};
  EXPECT_EQ(memcmp(info.Words, wanted, sizeof(wanted)), 0);
  EXPECT_EQ(world.xyl->Identify_Live(world.xyl, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.xyl->Identify_Live(nullptr, &info), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.sim->commandCount, commands);
}

class GetLivePresets : public testing::TestWithParam<const char *> {};

// An independent parser reads the document, and it holds as many objects as the controller has.
TEST_P(GetLivePresets, DocumentIsReadByAnIndependentParser) {
  World world(GetParam());
  ANSWER answer = world.get();
  ASSERT_EQ(answer.status, EFI_SUCCESS);
  world.expectBalanced();
  std::string path = std::string(RAIDXYL_BINARY_DIR "/inventory-") + GetParam() + ".xml";
  std::ofstream(path) << answer.text;
  struct {
    const char *expression;
    UINT32 count;
  } wanted[] = {
      {"/xylComponent/Configuration/raidData/Adapter", 1},
      {"/xylComponent/Configuration/raidData/Adapter/Enclosure", world.sim->enclosures.count},
      {"//Adapter//PD[ObjectType]", world.sim->disks.count},
      {"/xylComponent/Configuration/raidData/Adapter/VD", world.sim->virtualDisks.count},
      {"/xylComponent/Configuration/raidData/Adapter/*[last()][self::Keyid]", world.sim->key.present ? 1U : 0U},
      {"/xylComponent/*[1][self::Inventory]", 1},
      {"/xylComponent/*[2][self::Configuration]", 1},
      {"//Adapter/Rate", static_cast<UINT32>(countOf(answer.text, "<Rate>"))},
  };
  for (const auto &row : wanted) {
    std::string command = "xmllint --xpath 'count(" + std::string(row.expression) + ")' " + path + " 2>&1";
    FILE *pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    char output[200] = "";
    EXPECT_NE(fgets(output, sizeof(output), pipe), nullptr);
    EXPECT_EQ(pclose(pipe), 0) << command << output;
    EXPECT_EQ(atoi(output), static_cast<int>(row.count)) << row.expression << ": " << output;
  }
}

INSTANTIATE_TEST_SUITE_P(All, GetLivePresets, testing::Values("demo", "direct", "sas", "empty", "large"));

TEST(GetLive, ArgumentsAreCheckedBeforeTheControllerIsAsked) {
  World world;
  uint64_t commands = world.sim->commandCount;
  const struct {
    RAID_XYL_PARAMETER parameter;
    EFI_STATUS status;
  } cases[] = {{{2, 0}, EFI_INVALID_PARAMETER}, {{0, 1}, EFI_INVALID_PARAMETER}, {{1, 1}, EFI_NOT_FOUND}};
  RAID_XYL_BUFFER output = {77, 77, &output};
  world.clearLog();
  for (auto row : cases) {
    EXPECT_EQ(world.xyl->Get_Live(world.xyl, &row.parameter, &output), row.status);
  }
  RAID_XYL_PARAMETER parameter = {1, 0};
  EXPECT_EQ(world.xyl->Get_Live(nullptr, &parameter, &output), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.xyl->Get_Live(world.xyl, nullptr, &output), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.xyl->Get_Live(world.xyl, &parameter, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.sim->commandCount, commands);
  EXPECT_EQ(output.Data, &output);
  EXPECT_EQ(world.log().find("Get_live parameter"), std::string::npos);
}

TEST(GetLive, LogTellsTheStepsInOrder) {
  World world;
  world.clearLog();
  std::string text = world.get().text;
  std::string log = world.log();
  const std::string wanted[] = {
      "TRACE RAIDXYLGet_Live: Entered.\n",
      "TRACE RAIDXYLGet_Live: Get_live parameter Instance 0, Revision 1\n",
      "TRACE RAIDXYLGet_Live: Keyid=" + std::string(world.sim->key.keyId) + "\n",
      "TRACE cacheToXML: Entered.\n",
      "TRACE addLDsToXML: Entered...\nTRACE addLDsToXML: LD Attributes...\nTRACE addLDsToXML: RL Desc...\n"
      "TRACE addLDsToXML: Cache Policy...\nTRACE addLDsToXML: Header...\n",
      "TRACE cacheToXML: Adding Keyid to XML\n",
      "TRACE addKeyidToXML: Entered...\nTRACE addKeyidToXML: tmp_str=" + std::string(world.sim->key.keyId) + "\n",
      "TRACE cacheToXML: Exit. Success\n",
      "TRACE RAIDXYLGet_Live: Returning a buffer of size " + std::to_string(text.size() + 1) + "\n",
      "TRACE RAIDXYLGet_Live: Exit. Success\n",
  };
  size_t at = 0;
  for (const std::string &line : wanted) {
    size_t found = log.find(line, at);
    ASSERT_NE(found, std::string::npos) << line << "not found in order in:\n" << log;
    at = found + line.size();
  }
  EXPECT_EQ(at, log.size());
}

struct COMMAND_CASE {
  const char *name;
  UINT32 command;
  UINT32 objectType;
  SIM_FAULT_KIND kind;
  UINT32 bytes;
  EFI_STATUS status;
  const char *missing; // an element that the document lacks, or null
};

TEST(GetLive, OnlyTheAdapterMustAnswer) {
  const COMMAND_CASE cases[] = {
      {"adapter fails", RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, SIM_FAULT_STATUS, 0, EFI_DEVICE_ERROR, nullptr},
      {"adapter without data", RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, SIM_FAULT_NO_DATA, 0, EFI_NOT_FOUND, nullptr},
      {"adapter with a size only", RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, SIM_FAULT_NULL_DATA, 512, EFI_NOT_FOUND,
       nullptr},
      {"adapter of 511 bytes", RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, SIM_FAULT_SIZE, 511, EFI_NOT_FOUND, nullptr},
      {"enclosures fail", RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE, SIM_FAULT_STATUS, 0, EFI_SUCCESS, "<Enclosure>"},
      {"disks with a size only", RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, SIM_FAULT_NULL_DATA, 5120, EFI_SUCCESS,
       "<SerialNumber>"},
      {"virtual disks of 511 bytes", RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, SIM_FAULT_SIZE, 511, EFI_SUCCESS,
       "<TargetID>"},
      {"odd size of disks", RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, SIM_FAULT_EXTRA, 511, EFI_SUCCESS, nullptr},
      {"no key", RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, SIM_FAULT_STATUS, 0, EFI_SUCCESS, "<Keyid>"},
      {"key without text", RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, SIM_FAULT_NO_DATA, 0, EFI_SUCCESS, "<Keyid>"},
  };
  World world;
  std::string whole = world.get().text;
  for (const COMMAND_CASE &row : cases) {
    SCOPED_TRACE(row.name);
    world.clearLog();
    SIM_FAULT fault = {row.kind, row.command, row.objectType,
                       1,        false,       row.status == EFI_SUCCESS ? EFI_DEVICE_ERROR : row.status,
                       row.bytes};
    ASSERT_TRUE(simAddFault(world.sim, fault));
    ANSWER answer = world.get();
    simClearFaults(world.sim);
    EXPECT_EQ(name(answer.status), name(row.status));
    EXPECT_EQ(answer.hasText, row.status == EFI_SUCCESS);
    EXPECT_EQ(world.log().find("ERROR RAIDXYLGet_Live: Adapter returned no data\n") != std::string::npos,
              row.status == EFI_NOT_FOUND);
    if (row.missing != nullptr) {
      EXPECT_EQ(answer.text.find(row.missing), std::string::npos);
      EXPECT_NE(whole.find(row.missing), std::string::npos);
    } else if (row.status == EFI_SUCCESS) {
      EXPECT_EQ(answer.text, whole);
    }
    world.expectBalanced();
  }
}

// A document may lack what could not be made, but it is always whole XML.
TEST(GetLive, EveryAllocationMayFail) {
  ANSWER answer;
  sweepAllocations({.world = {.preset = "direct"},
                    .keepsWorld = true,
                    .prepare = {},
                    .operation =
                        [&answer](World &world) {
                          answer = world.get();
                          return answer.status;
                        },
                    .afterFailure =
                        [&answer](World &, EFI_STATUS status) {
                          EXPECT_EQ(answer.hasText, status == EFI_SUCCESS);
                          if (answer.hasText) {
                            XML_NODE *root = nullptr;
                            EXPECT_EQ(g_xmlProtocol->Parse(g_xmlProtocol, answer.text.c_str(), &root), EFI_SUCCESS);
                            FreeXMLNode(root);
                          } else {
                            EXPECT_TRUE(status == EFI_OUT_OF_RESOURCES || status == EFI_DEVICE_ERROR) << name(status);
                          }
                        }});
}

TEST(GetLive, EveryCommandMayFail) {
  sweepCommands({.world = {.preset = "demo"},
                 .keepsWorld = true,
                 .prepare = {},
                 .operation = [](World &world) { return world.get().status; },
                 .afterFailure =
                     [](World &, EFI_STATUS status) {
                       EXPECT_TRUE(status == EFI_SUCCESS || status == EFI_DEVICE_ERROR) << name(status);
                     }});
}

TEST(GetLive, WorksWithoutLogAndFailsWithoutXmlService) {
  std::string whole = World("demo").get().text;
  EXPECT_EQ(World({.debugLog = false}).get().text, whole);
  World world({.xmlService = false});
  EXPECT_EQ(world.get().status, EFI_OUT_OF_RESOURCES);
  world.expectBalanced();
}

// A provider whose Serialize gives no text.
EFI_STATUS EFIAPI serializeNothing(XML_PROTOCOL *, XML_NODE *, CHAR8 **) {
  return EFI_OUT_OF_RESOURCES;
}

TEST(GetLive, NoTextIsADeviceError) {
  World world;
  ASSERT_TRUE(world.get().hasText);
  auto serialize = g_xmlProtocol->Serialize;
  g_xmlProtocol->Serialize = serializeNothing;
  RAID_XYL_PARAMETER parameter = {1, 0};
  RAID_XYL_BUFFER output = {7, 7, &output};
  EXPECT_EQ(world.xyl->Get_Live(world.xyl, &parameter, &output), EFI_DEVICE_ERROR);
  EXPECT_EQ(output.Revision, 1U);
  EXPECT_EQ(output.Size, 0U);
  EXPECT_EQ(output.Data, nullptr);
  g_xmlProtocol->Serialize = serialize;
  world.expectBalanced();
}

} // namespace
