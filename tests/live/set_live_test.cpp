// Set_Live through the published table: what its arguments ask for, statuses, and whose the texts are afterwards.
#include "tests/support/world.h"

// Marks in SET_CASE.
static const char *const LIVE = "live";       // what Get_Live says at that moment
static const char *const NO_DATA = "no data"; // a buffer with a size whose Data is null
static const char *const UNUSED = "unused";   // a text in a buffer of size 0
static constexpr UINT32 NO_OUTPUT = ~0U;

static const char *const NOTHING = "<raidData><Other/></raidData>";
static const char *const METHOD_ONLY = "<raidData><Method name=\"GetKeyID\"/></raidData>";
static const char *const CONFIG_LOG = "<RaidConfig>";
static const char *const RESTORE_LOG = "<RaidRestore>";

struct SET_CASE {
  const char *name;
  const char *options;
  const char *saved;   // null: Size 0 and Data null
  const char *request; // null: none in the array of two
  UINT32 outputSize;
  EFI_STATUS status;
  const char *freed; // o, s, r: the documents that the operation freed
  const char *log;   // how the returned log begins; null: what would receive it is untouched
  bool asks;         // whether the controller got a command
};

static const SET_CASE g_setCases[] = {
    {"no options", nullptr, LIVE, nullptr, 0, EFI_INVALID_PARAMETER, "", nullptr, false},
    {"options do not parse", "<RunMode>", LIVE, nullptr, 0, EFI_INVALID_PARAMETER, "o", nullptr, false},
    {"no mode", "<RunMode><StopOnError>True</StopOnError></RunMode>", LIVE, METHOD_ONLY, 32, EFI_INVALID_PARAMETER, "o",
     nullptr, false},
    {"saved does not parse", NORMAL, "<raidData>", METHOD_ONLY, 32, EFI_INVALID_PARAMETER, "os", nullptr, false},
    {"saved is empty", NORMAL, "<raidData/>", METHOD_ONLY, 32, EFI_UNSUPPORTED, "os", nullptr, false},
    {"saved is a log", RESTORE, "<RaidConfig/>", nullptr, 0, EFI_INVALID_PARAMETER, "os", nullptr, false},
    {"saved has no adapter", NORMAL, METHOD_ONLY, METHOD_ONLY, 32, EFI_INVALID_PARAMETER, "os", nullptr, false},
    {"restore without saved", RESTORE, nullptr, nullptr, 0, EFI_INVALID_PARAMETER, "o", nullptr, false},
    {"restore, saved without data", RESTORE, NO_DATA, nullptr, 0, EFI_INVALID_PARAMETER, "o", nullptr, false},
    {"replacement, saved of size 0", NORMAL, UNUSED, nullptr, 0, EFI_INVALID_PARAMETER, "o", nullptr, false},
    {"replacement without saved", NORMAL, nullptr, nullptr, NO_OUTPUT, EFI_INVALID_PARAMETER, "o", nullptr, false},
    {"output of 1", RESTORE, LIVE, nullptr, 1, EFI_SUCCESS, "os", nullptr, false},
    {"output of 31", NORMAL, LIVE, METHOD_ONLY, 31, EFI_SUCCESS, "os", nullptr, false},
    {"no request", NORMAL, LIVE, nullptr, 32, EFI_INVALID_PARAMETER, "os", nullptr, false},
    {"request does not parse", NORMAL, LIVE, "<raidData>", 32, EFI_INVALID_PARAMETER, "osr", nullptr, false},
    {"request is empty", NORMAL, nullptr, "<raidData/>", 32, EFI_UNSUPPORTED, "or", nullptr, false},
    {"request without methods", NORMAL, LIVE, NOTHING, 32, EFI_SUCCESS, "osr", nullptr, false},
    {"request without known methods", NORMAL, LIVE, "<raidData><Method name=\"get\"/></raidData>", 48, EFI_SUCCESS,
     "osr", nullptr, false},
    {"request is an inventory", NORMAL, nullptr, LIVE, 32, EFI_SUCCESS, "or", nullptr, false},
    {"change", NORMAL, nullptr, METHOD_ONLY, 32, EFI_SUCCESS, "or", CONFIG_LOG, true},
    {"change, saved without data", NORMAL, NO_DATA, METHOD_ONLY, 32, EFI_SUCCESS, "or", CONFIG_LOG, true},
    {"change in restore mode", RESTORE_REBUILD, LIVE, METHOD_ONLY, 32, EFI_SUCCESS, "osr", CONFIG_LOG, true},
    {"restore with log", RESTORE, LIVE, nullptr, 0, EFI_SUCCESS, "os", RESTORE_LOG, true},
    {"restore in both modes", "<RunMode><Mode>Normal</Mode><Mode>Restore</Mode></RunMode>", LIVE, nullptr, 0,
     EFI_SUCCESS, "os", RESTORE_LOG, true},
    {"restore without log", RESTORE, LIVE, nullptr, NO_OUTPUT, EFI_SUCCESS, "os", nullptr, true},
    {"replacement", NORMAL, LIVE, nullptr, 0, EFI_SUCCESS, "os", nullptr, true},
};

static char *document(World &world, const char *text) {
  if (text == nullptr || text == NO_DATA) {
    return nullptr;
  }
  return world.firmware.poolText(text == LIVE ? world.get().text : std::string(text));
}

static void runCase(World &world, const SET_CASE &row) {
  char *texts[] = {document(world, row.options), document(world, row.saved), document(world, row.request)};
  char untouched;
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER inputs[] = {{9, row.saved == nullptr || row.saved == UNUSED ? 0U : 1U, texts[1]}, {9, 0, texts[0]}};
  RAID_XYL_BUFFER input = {9, 0, inputs};
  RAID_XYL_BUFFER outputs[] = {{9, 77, &untouched}, {9, 0, texts[2]}};
  RAID_XYL_BUFFER output = {9, row.outputSize, row.outputSize == 0 ? &untouched : static_cast<void *>(outputs)};
  simClearLog(world.sim);
  EFI_STATUS status =
      world.xyl->Set_Live(world.xyl, &parameter, &input, row.outputSize == NO_OUTPUT ? nullptr : &output);
  EXPECT_EQ(name(status), name(row.status));
  EXPECT_EQ(simCommandCount(world.sim) != 0, row.asks);
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
  for (const SET_CASE &row : g_setCases) {
    SCOPED_TRACE(row.name);
    World world("demo");
    runCase(world, row);
  }
}

TEST(SetLive, RefusesBadArgumentsBeforeAnythingIsTouched) {
  World world("demo");
  char *options = world.firmware.poolText(RESTORE);
  RAID_XYL_BUFFER inputs[] = {{1, 0, nullptr}, {1, 0, options}};
  RAID_XYL_BUFFER input = {1, 32, inputs};
  RAID_XYL_BUFFER empty = {1, 32, nullptr};
  struct {
    RAID_XYL_PROTOCOL *table;
    RAID_XYL_PARAMETER parameter;
    bool hasParameter;
    RAID_XYL_BUFFER *input;
    EFI_STATUS status;
  } cases[] = {
      {nullptr, {1, 0}, true, &input, EFI_INVALID_PARAMETER},
      {world.xyl, {1, 0}, false, &input, EFI_INVALID_PARAMETER},
      {world.xyl, {1, 0}, true, nullptr, EFI_INVALID_PARAMETER},
      {world.xyl, {2, 1}, true, &input, EFI_INVALID_PARAMETER},
      {world.xyl, {1, 1}, true, &input, EFI_NOT_FOUND},
      {world.xyl, {1, 0}, true, &empty, EFI_INVALID_PARAMETER},
  };
  for (auto &row : cases) {
    EFI_STATUS status = world.xyl->Set_Live(row.table, row.hasParameter ? &row.parameter : nullptr, row.input, nullptr);
    EXPECT_EQ(name(status), name(row.status));
    EXPECT_TRUE(world.firmware.allocated(options));
  }
  // The array that should hold the request and receive the log is missing.
  RAID_XYL_PARAMETER parameter = {1, 0};
  EXPECT_EQ(name(world.xyl->Set_Live(world.xyl, &parameter, &input, &empty)), name(EFI_INVALID_PARAMETER));
  EXPECT_FALSE(world.firmware.allocated(options));
  world.expectBalanced();
}

// The lines that Set_Live itself logged, without its name; the run's dump of each block and the address are left out.
static std::vector<std::string> ownLines(World &world) {
  std::vector<std::string> lines;
  std::string log = world.log();
  for (size_t at = 0, end; (end = log.find('\n', at)) != std::string::npos; at = end + 1) {
    std::string line = log.substr(at, end - at);
    size_t found = line.find(" RAIDXYLSet_Live: ");
    if (found != std::string::npos && line.find("   = ") == std::string::npos) {
      lines.push_back(line.substr(0, 1) + " " + line.substr(found + 18));
    }
  }
  return lines;
}

TEST(SetLive, LogsItsSteps) {
  using LINES = std::vector<std::string>;
  const LINES start = {"T Entered.", "T Restore Operation Start - Parse RunTime XML", "T Before parseRunTimeXML"};
  auto then = [](LINES lines, const LINES &more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
  };
  const LINES normal =
      then(start, {"T RunTime Parsing = Success", "T runModeFlag is NORMAL A, should not come here..."});
  const LINES saved = {"T Restore Operation: Parse Config XML", "T Parsing Old XML blob"};
  const LINES restore = then(then(start, {"T RunTime Parsing = Success", "T runModeFlag is RESTORE C "}),
                             then(saved, {"T Restore case: runModeFlag = C "}));
  const LINES replace = then(then(normal, saved), {"T Part Replacement or Config Change with olddata provided"});
  const LINES change = then(normal, {"T Config Change with olddata and newdata provided"});
  const LINES block = {"T Command Block follows", "T OID_LIST_COUNT = 0"};
  struct {
    const char *options;
    const char *saved;
    const char *request;
    bool failing;
    LINES lines;
  } cases[] = {
      {"x", nullptr, nullptr, false,
       then(start, {"W Error in RunTime Parsing Invalid Parameter", "T Exit. Invalid Parameter"})},
      {"<RunMode><StopOnError>True</StopOnError></RunMode>", nullptr, nullptr, false,
       then(start,
            {"T RunTime Parsing = Success", "T Wrong Mode, should not come here... 18", "T Exit. Invalid Parameter"})},
      {NORMAL, "x", nullptr, false,
       then(then(normal, saved), {"W Parse XML blob returned error Invalid Parameter", "T Exit. Invalid Parameter"})},
      {RESTORE, LIVE, nullptr, false, then(restore, {"T Successfully performed Restore operation", "T Exit. Success"})},
      {RESTORE, LIVE, nullptr, true, then(restore, {"E Restore failed ", "T Exit. Device Error"})},
      {NORMAL, LIVE, nullptr, false,
       then(replace, {"T Successfully Changed Adapter for Part Replacement", "T Exit. Success"})},
      {NORMAL, LIVE, nullptr, true,
       then(replace, {"E _ChangeAdapter for Part Replacement failed ", "T Exit. Device Error"})},
      {NORMAL, nullptr, "x", false,
       then(change, {"W Parse XML blob returned error Invalid Parameter", "T Exit. Invalid Parameter"})},
      {NORMAL, nullptr, METHOD_ONLY, false, then(then(change, block), {"T Exit. Success"})},
      {NORMAL, nullptr, METHOD_ONLY, true,
       then(then(change, block), {"W Error returned from command 0 status Device Error", "T Exit. Device Error"})},
  };
  for (auto &row : cases) {
    World world("demo");
    std::string live = world.get().text;
    if (row.failing) {
      simFailCommand(world.sim, 1, false, EFI_DEVICE_ERROR);
    }
    world.clearLog();
    world.set({row.options, row.saved == LIVE ? live.c_str() : row.saved, row.request});
    EXPECT_EQ(ownLines(world), row.lines);
    bool completed = row.request == METHOD_ONLY && !row.failing; // the log is then printed as it was serialised, too
    EXPECT_EQ(countOf(world.log(), " PrintRestoreLog: <?xml"), completed ? 1u : 0u);
  }
}

TEST(SetLive, ReplacedPartGetsTheSavedSettings) {
  World world("demo");
  std::string saved = world.get().text;
  UINT8 savedMode = world.sim->adapter.checkConsistencyMode;
  UINT8 savedRate = world.sim->adapter.rates[0].value;
  simReplaceAdapter(world.sim);
  simSetMode(world.sim, SIM_MODE_CHECK_CONSISTENCY, savedMode ^ 1);
  simSetRate(world.sim, world.sim->adapter.rates[0].name, 99);
  world.markBalance();
  simClearLog(world.sim);
  EXPECT_EQ(name(world.set({NORMAL, saved.c_str()}).status), name(EFI_SUCCESS));
  EXPECT_EQ(simCommandCount(world.sim), 1u);
  EXPECT_EQ(world.sim->adapter.checkConsistencyMode, savedMode);
  EXPECT_EQ(world.sim->adapter.rates[0].value, savedRate);
  // Another WWN remains, and it is all that Verify still sees.
  EXPECT_EQ(world.verify(saved).result, VERIFY_PART_REPLACEMENT);
  world.expectBalanced();
}

TEST(SetLive, SavedWipedRestoredVerified) {
  World world("demo");
  std::string saved = world.get().text;
  UINT32 volumes = world.sim->virtualDisks.count;
  ASSERT_GT(volumes, 0u);
  const char *wipe = "<raidData><Method name=\"Delete\"><ObjectType>Adapter</ObjectType></Method></raidData>";
  EXPECT_EQ(name(world.set({NORMAL, nullptr, wipe}).status), name(EFI_SUCCESS));
  EXPECT_EQ(world.sim->virtualDisks.count, 0u);
  simSetMode(world.sim, SIM_MODE_COPY_BACK, world.sim->adapter.copyBackMode ^ 1);
  EXPECT_EQ(world.verify(saved).result, VERIFY_CONFIG_CHANGE);
  ANSWER restored = world.set({RESTORE_REBUILD, saved.c_str()});
  EXPECT_EQ(name(restored.status), name(EFI_SUCCESS));
  EXPECT_EQ(countOf(restored.text, "name=\"CreateVD\""), volumes);
  EXPECT_EQ(countOf(restored.text, ">Fail<"), 0u) << restored.text;
  EXPECT_EQ(world.verify(saved).result, 0u);
  EXPECT_EQ(world.sim->virtualDisks.count, volumes);
  std::string now = world.get().text;
  for (const char *element : {"<RAIDLevel>", "<Hotspare>", "<StripeSize>", "<VD>", "<State>Online"}) {
    EXPECT_EQ(countOf(now, element), countOf(saved, element)) << element;
  }
  world.expectBalanced();
}
