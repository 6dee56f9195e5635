// Identify_Live and Get_Live: arguments, and what may fail.
#include "driver/live/live.h"
#include "driver/xml/xml.h"
#include "tests/driver/live/request_text.h"

using namespace xyl;

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
  driver::RAID_XYL_DEV unbound = {};
  EXPECT_EQ(xyl->Get_Live(&unbound.RaidXylProtocol, &good, &output), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.sim->commandCount, commands);
  EXPECT_EQ(output.Data, &output);
  world.clearLog();
  std::string size = std::to_string(world.get().text.size() + 1);
  for (const std::string &line :
       {std::string("Get_live parameter Instance 0, Revision 1"), std::string("Keyid=demo-key-1"),
        "Returning a buffer of size " + size, std::string("Exit. Success")}) {
    EXPECT_EQ(countOf(world.log(), "TRACE RAIDXYLGet_Live: " + line + "\n"), 1u) << line;
  }
}

TEST(GetLive, WorksWithoutLogAndFailsWithoutXmlService) {
  std::string whole = World("demo").get().text;
  EXPECT_EQ(World({.debugLog = false}).get().text, whole);
  World world({.xmlService = false});
  EXPECT_EQ(world.get().status, EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(world.set({restoreOptions}).status, EFI_NOT_FOUND);
  world.expectBalanced();
}

// Whoever writes a controller's driver reads in the log what is wrong with a record, by its field's name.
TEST(GetLive, TellsWhichFieldIsWrong) {
  const auto shaped = [](sim::FaultKind kind, UINT32 bytes) {
    return [=](World &world) { sim::shapeAnswer(world.sim, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, kind, bytes); };
  };
  const struct {
    std::function<void(World &)> arrange;
    const char *warning;
  } cases[] = {
      {[](World &) {}, ""},
      {shaped(sim::faultExtra, 100), "executeCommand: Get of type 3: DataSize 4196 is not that of records"},
      {shaped(sim::faultNullData, 512), "executeCommand: Get of type 3: DataSize 512 is not that of records"},
      {[](World &world) { world.sim->adapter.record.LearnMode = RAID_MODE_PRESENT | 0x3F; },
       "addFieldsToXML: LearnMode has the value 3F, which has no name"},
      {[](World &world) { world.sim->adapter.RAIDLevelParams[0].RAIDLevel = RAID_LEVEL_60; },
       "addFieldsToXML: RAIDLevelParams has no entry for the bits"},
  };
  for (const auto &row : cases) {
    World world("direct");
    row.arrange(world);
    world.clearLog();
    world.get();
    EXPECT_EQ(countOf(world.log(), "WARN "), *row.warning == 0 ? 0u : 1u) << world.log();
    EXPECT_EQ(countOf(world.log(), "WARN " + std::string(row.warning)), *row.warning == 0 ? 0u : 1u) << world.log();
  }
}

// A provider whose Serialize gives no text.
static EFI_STATUS EFIAPI serializeNothing(XML_PROTOCOL *, XML_NODE *, CHAR8 **) {
  return EFI_OUT_OF_RESOURCES;
}

TEST(GetLive, NoTextIsADeviceError) {
  World world;
  ASSERT_TRUE(world.get().hasText);
  auto serialize = driver::g_xmlProtocol->Serialize;
  driver::g_xmlProtocol->Serialize = serializeNothing;
  RAID_XYL_PARAMETER parameter = {1, 0};
  RAID_XYL_BUFFER output = {7, 7, &output};
  EXPECT_EQ(world.xyl->Get_Live(world.xyl, &parameter, &output), EFI_DEVICE_ERROR);
  EXPECT_EQ(output.Revision, 1U);
  EXPECT_EQ(output.Size, 0U);
  EXPECT_EQ(output.Data, nullptr);
  driver::g_xmlProtocol->Serialize = serialize;
  world.expectBalanced();
}
