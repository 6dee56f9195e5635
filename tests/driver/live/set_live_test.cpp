// Set_Live through the published table: what its arguments ask for, statuses, and whose the texts are afterwards.
#include "driver/live/live.h"
#include "driver/xml/xml.h"
#include "tests/driver/live/request_text.h"

using namespace xyl;

// Marks in SetCase.
static const char *const liveName = "live";     // what Get_Live says at that moment
static const char *const unusedName = "unused"; // a text in a buffer of size 0
static const char *const noData = "";           // none in a buffer that has a size
static constexpr UINT32 noOutput = ~0U;

static const char *const nothingName = "<raidData><Other/></raidData>";
static const char *const methodOnly = "<raidData><Method name=\"GetKeyID\"/></raidData>";
static const char *const configLog = "<RaidConfig>";
static const char *const restoreLog = "<RaidRestore>";

static const struct SetCase {
  const char *name;
  const char *options;
  const char *saved;   // null: Size 0 and Data null
  const char *request; // null: none in the array of two
  UINT32 outputSize;
  EFI_STATUS status;
  const char *freed; // o, s, r: the documents that the operation freed
  const char *log;   // how the returned log begins; null: what would receive it is untouched
  bool asks;         // whether the controller got a command
} g_setCases[] = {
    {"no options", nullptr, liveName, nullptr, 0, EFI_INVALID_PARAMETER, "", nullptr, false},
    {"options do not parse", "<RunMode>", liveName, nullptr, 0, EFI_INVALID_PARAMETER, "o", nullptr, false},
    {"no mode", "<RunMode><StopOnError>True</StopOnError></RunMode>", liveName, methodOnly, 32, EFI_INVALID_PARAMETER,
     "o", nullptr, false},
    {"saved does not parse", normal, "<raidData>", methodOnly, 32, EFI_INVALID_PARAMETER, "os", nullptr, false},
    {"saved has no adapter", normal, methodOnly, methodOnly, 32, EFI_INVALID_PARAMETER, "os", nullptr, false},
    {"restore without saved", restoreOptions, nullptr, nullptr, 0, EFI_INVALID_PARAMETER, "o", nullptr, false},
    {"replacement, saved of size 0", normal, unusedName, nullptr, 0, EFI_INVALID_PARAMETER, "o", nullptr, false},
    {"replacement, saved without data", normal, noData, nullptr, 0, EFI_INVALID_PARAMETER, "o", nullptr, false},
    {"restore without output", restoreOptions, liveName, nullptr, noOutput, EFI_SUCCESS, "os", nullptr, true},
    {"output of 31", normal, liveName, methodOnly, 31, EFI_SUCCESS, "os", nullptr, false},
    {"no request", normal, liveName, nullptr, 32, EFI_INVALID_PARAMETER, "os", nullptr, false},
    {"request does not parse", normal, liveName, "<raidData>", 32, EFI_INVALID_PARAMETER, "osr", nullptr, false},
    {"request without methods", normal, liveName, nothingName, 32, EFI_SUCCESS, "osr", nullptr, false},
    {"request is an inventory", normal, nullptr, liveName, 32, EFI_SUCCESS, "or", nullptr, false},
    {"change", normal, nullptr, methodOnly, 32, EFI_SUCCESS, "or", configLog, true},
    {"change in restore mode", restoreRebuild, liveName, methodOnly, 32, EFI_SUCCESS, "osr", configLog, true},
    {"restore with log", restoreOptions, liveName, nullptr, 0, EFI_SUCCESS, "os", restoreLog, true},
    {"replacement", normal, liveName, nullptr, 0, EFI_SUCCESS, "os", nullptr, true},
};

static char *document(World &world, const char *text) {
  return text == nullptr || text == noData
             ? nullptr
             : world.firmware.poolText(text == liveName ? world.get().text : std::string(text));
}

static void runCase(World &world, const SetCase &row) {
  char *texts[] = {document(world, row.options), document(world, row.saved), document(world, row.request)};
  char untouched;
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER inputs[] = {{9, row.saved == nullptr || row.saved == unusedName ? 0U : 1U, texts[1]},
                              {9, 0, texts[0]}};
  RAID_XYL_BUFFER input = {9, 0, inputs};
  RAID_XYL_BUFFER outputs[] = {{9, 77, &untouched}, {9, 0, texts[2]}};
  RAID_XYL_BUFFER output = {9, row.outputSize, row.outputSize == 0 ? &untouched : static_cast<void *>(outputs)};
  sim::clearLog(world.sim);
  EFI_STATUS status =
      world.xyl->Set_Live(world.xyl, &parameter, &input, row.outputSize == noOutput ? nullptr : &output);
  EXPECT_EQ(name(status), name(row.status));
  EXPECT_EQ(sim::commandCount(world.sim) != 0, row.asks);
  RAID_XYL_BUFFER &receiver = row.outputSize == 0 ? output : outputs[0];
  if (row.log == nullptr) {
    EXPECT_EQ(receiver.Data, &untouched);
    EXPECT_EQ(receiver.Size, row.outputSize == 0 ? 0U : 77U);
  } else {
    std::string log = static_cast<const char *>(receiver.Data);
    EXPECT_EQ(log.substr(0, std::string(row.log).size()), row.log);
    EXPECT_EQ(receiver.Size, log.size() + 1);
    world.services->FreePool(receiver.Data);
  }
  EXPECT_EQ(receiver.Revision, 9u);
  std::string freed;
  for (int i = 0; i < 3; ++i) {
    if (texts[i] != nullptr && world.firmware.allocated(texts[i])) {
      world.services->FreePool(texts[i]);
    } else if (texts[i] != nullptr) {
      freed += "osr"[i];
    }
  }
  EXPECT_EQ(freed, row.freed);
  world.expectBalanced();
}

TEST(SetLive, ArgumentsDecideWhatIsDoneAndWhoseTheTextsAre) {
  for (const SetCase &row : g_setCases) {
    SCOPED_TRACE(row.name);
    World world("demo");
    runCase(world, row);
  }
}

// The service's status is not trusted: there is nothing to run without a tree.
TEST(SetLive, ASuccessWithoutATreeIsNoRequest) {
  static decltype(XML_PROTOCOL::Parse) parse;
  World world("demo");
  driver::getXMLProto();
  parse = driver::g_xmlProtocol->Parse;
  driver::g_xmlProtocol->Parse = [](XML_PROTOCOL *service, const CHAR8 *text, XML_NODE **root) EFIAPI -> EFI_STATUS {
    bool isRequest = std::string(text).starts_with("<raidData");
    return isRequest ? EFI_SUCCESS : parse(service, text, root);
  };
  sim::clearLog(world.sim);
  OperationAnswer answer = world.set({normal, nullptr, "<raidData><Method name='Clear'/></raidData>"});
  driver::g_xmlProtocol->Parse = parse;
  EXPECT_FALSE(answer.hasText);
  EXPECT_TRUE(answer.requestFreed);
  EXPECT_EQ(sim::commandCount(world.sim), 0U);
  world.expectBalanced();
}

TEST(SetLive, RefusesBadArgumentsBeforeAnythingIsTouched) {
  World world("demo");
  char *options = world.firmware.poolText(restoreOptions);
  RAID_XYL_BUFFER inputs[] = {{1, 0, nullptr}, {1, 0, options}};
  RAID_XYL_BUFFER input = {1, 32, inputs}, empty = {1, 32, nullptr};
  RAID_XYL_PARAMETER good = {1, 0}, revision = {2, 1}, instance = {1, 1};
  RAID_XYL_PROTOCOL *xyl = world.xyl;
  EXPECT_EQ(xyl->Set_Live(nullptr, &good, &input, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xyl->Set_Live(xyl, nullptr, &input, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xyl->Set_Live(xyl, &good, nullptr, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xyl->Set_Live(xyl, &revision, &input, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xyl->Set_Live(xyl, &instance, &input, nullptr), EFI_NOT_FOUND);
  EXPECT_EQ(xyl->Set_Live(xyl, &good, &empty, nullptr), EFI_INVALID_PARAMETER);
  driver::RAID_XYL_DEV unbound = {};
  EXPECT_EQ(xyl->Set_Live(&unbound.RaidXylProtocol, &good, &input, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_TRUE(world.firmware.allocated(options));
  // The array that should hold the request and receive the log is missing.
  EXPECT_EQ(xyl->Set_Live(xyl, &good, &input, &empty), EFI_INVALID_PARAMETER);
  EXPECT_FALSE(world.firmware.allocated(options));
}

TEST(SetLive, RefusesOneBlockAsTwoThings) {
  World world("demo");
  char *text = world.firmware.poolText(methodOnly), *options = world.firmware.poolText(normal);
  RAID_XYL_PARAMETER parameter = {1, 0};
  RAID_XYL_BUFFER shared[] = {{1, 0, nullptr}, {1, 1, options}};
  struct {
    const char *name;
    char *saved;
    void *array; // null: one with the request
    char *request;
  } cases[] = {{"options and saved", options, nullptr, text},
               {"options and request", nullptr, nullptr, options},
               {"saved and request", text, nullptr, text},
               {"the array of Input and of Output", nullptr, shared, nullptr},
               {"options and the array of Output", nullptr, options, nullptr}};
  sim::clearLog(world.sim);
  for (auto &row : cases) {
    shared[0] = {1, row.saved == nullptr ? 0U : 1U, row.saved};
    RAID_XYL_BUFFER outputs[] = {{1, 0, nullptr}, {1, 1, row.request}};
    RAID_XYL_BUFFER input = {1, 32, shared}, output = {1, 32, row.array != nullptr ? row.array : outputs};
    EXPECT_EQ(world.xyl->Set_Live(world.xyl, &parameter, &input, &output), EFI_INVALID_PARAMETER) << row.name;
    EXPECT_TRUE(world.firmware.allocated(options) && world.firmware.allocated(text)) << row.name;
  }
  RAID_XYL_BUFFER both = {1, 0, shared};
  EXPECT_EQ(world.xyl->Set_Live(world.xyl, &parameter, &both, &both), EFI_INVALID_PARAMETER);
  EXPECT_EQ(sim::commandCount(world.sim), 0u);
  world.services->FreePool(text);
  world.services->FreePool(options);
}

// The records of a request go back before its log is made.
TEST(SetLive, ReleasesTheRequestBeforeItsLog) {
  World world("demo");
  world.clearLog();
  world.set({normal, nullptr, "<raidData><Method name=\"GetKeyID\"/><Adapter/></raidData>"});
  std::string log = world.log();
  EXPECT_LT(log.rfind("TarnFree: Exit. Success"), log.find("PrintRestoreLog: <?xml"));
}
