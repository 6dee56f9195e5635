// Identify_Live and Get_Live: arguments, and what may fail.
#include "driver/xml/xml.h"
#include "tests/live/request_text.h"

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

TEST(GetLive, ChecksArgumentsBeforeItAsks) {
  World world;
  RAID_XYL_PARAMETER good = {1, 0}, revision = {2, 0}, both = {0, 1}, instance = {1, 1};
  RAID_XYL_BUFFER output = {77, 77, &output};
  RAID_XYL_PROTOCOL *xyl = world.xyl;
  uint64_t commands = world.sim->commandCount;
  EXPECT_EQ(xyl->Get_Live(xyl, &revision, &output), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xyl->Get_Live(xyl, &both, &output), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xyl->Get_Live(xyl, &instance, &output), EFI_NOT_FOUND);
  EXPECT_EQ(xyl->Get_Live(nullptr, &good, &output), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xyl->Get_Live(xyl, nullptr, &output), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xyl->Get_Live(xyl, &good, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.sim->commandCount, commands);
  EXPECT_EQ(output.Data, &output);
  world.clearLog();
  std::string size = std::to_string(world.get().text.size() + 1);
  EXPECT_EQ(linesOf(world, "RAIDXYLGet_Live"),
            "T Entered.|T Get_live parameter Instance 0, Revision 1|T Keyid=" + std::string(world.sim->key.keyId) +
                "|T Returning a buffer of size " + size + "|T Exit. Success|");
}

TEST(GetLive, OnlyTheAdapterMustAnswer) {
  struct {
    UINT32 objectType;
    SIM_FAULT_KIND kind;
    UINT32 bytes;
    EFI_STATUS status;
    const char *missing; // an element that the document lacks, or null
  } cases[] = {
      {RAID_OBJECT_ADAPTER, SIM_FAULT_SIZE, 511, EFI_NOT_FOUND, nullptr},
      {RAID_OBJECT_PHYSICAL_DISK, SIM_FAULT_NULL_DATA, 5120, EFI_SUCCESS, "<SerialNumber>"},
      {RAID_OBJECT_VIRTUAL_DISK, SIM_FAULT_SIZE, 511, EFI_SUCCESS, "<TargetID>"},
      {RAID_OBJECT_PHYSICAL_DISK, SIM_FAULT_EXTRA, 511, EFI_SUCCESS, nullptr},
      {SIM_ANY, SIM_FAULT_STATUS, 0, EFI_SUCCESS, "<Keyid>"}, // of GetKeyID
  };
  World world;
  std::string whole = world.get().text;
  for (const auto &row : cases) {
    SCOPED_TRACE(&row - cases);
    world.clearLog();
    UINT32 command = row.objectType == SIM_ANY ? RAID_COMMAND_GET_KEY_ID : RAID_COMMAND_GET;
    ASSERT_TRUE(simAddFault(world.sim, {row.kind, command, row.objectType, 1, false, EFI_DEVICE_ERROR, row.bytes}));
    ANSWER answer = world.get();
    simClearFaults(world.sim);
    EXPECT_EQ(name(answer.status), name(row.status));
    EXPECT_EQ(answer.hasText, row.status == EFI_SUCCESS);
    EXPECT_EQ(countOf(world.log(), "ERROR RAIDXYLGet_Live: Adapter returned no data"), row.status == EFI_NOT_FOUND);
    EXPECT_EQ(answer.text == whole, row.status == EFI_SUCCESS && row.missing == nullptr);
    EXPECT_TRUE(row.missing == nullptr || answer.text.find(row.missing) == std::string::npos);
    world.expectBalanced();
  }
}

TEST(GetLive, WorksWithoutLogAndFailsWithoutXmlService) {
  std::string whole = World("demo").get().text;
  EXPECT_EQ(World({.debugLog = false}).get().text, whole);
  World world({.xmlService = false});
  EXPECT_EQ(world.get().status, EFI_OUT_OF_RESOURCES);
  world.expectBalanced();
}

// A provider whose Serialize gives no text.
static EFI_STATUS EFIAPI serializeNothing(XML_PROTOCOL *, XML_NODE *, CHAR8 **) {
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
