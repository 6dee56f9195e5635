// Restores step by step: statuses, the steps and their order, and what the controller then holds, whatever it answers.
#include <regex>

#include "restore/restore.h"
#include "tests/live/request_text.h"

// The steps of a log in order, those that failed with their codes: "GetLive, GetLive 7".
static std::string stepsOf(const std::string &log) {
  static const std::regex step("<Operation name=\"(\\w+)\">\\s*<Status>(\\w+)</Status>\\s*<ErrorCode>(\\w+)<");
  std::string steps;
  for (std::sregex_iterator it(log.begin(), log.end(), step), end; it != end; ++it) {
    steps += (steps.empty() ? "" : ", ") + it->str(1) + (it->str(2) == "Success" ? "" : " " + it->str(3));
  }
  return steps;
}

static UINT32 hotSpares(const World &world) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < world.sim->disks.count; ++i) {
    count += world.sim->disks.items[i].hotspare != 0 ? 1 : 0;
  }
  return count;
}

static void changeMode(World &world, std::string &) {
  simSetMode(world.sim, SIM_MODE_COPY_BACK, 0x80);
}
template <UINT32 objectType, SIM_FAULT_KIND kind, UINT32 bytes> static void shape(World &world, std::string &) {
  simShapeAnswer(world.sim, RAID_COMMAND_GET, objectType, kind, bytes);
}

// Every command but the reads answers with data that nobody asked for.
static void answerAll(World &world, std::string &) {
  for (UINT32 command : {RAID_COMMAND_DELETE, RAID_COMMAND_CLEAR, RAID_COMMAND_CHANGE, RAID_COMMAND_CREATE}) {
    simShapeAnswer(world.sim, command, SIM_ANY, SIM_FAULT_SIZE, 1100);
  }
}

TEST(Restore, StepsDependOnControllerAndMode) {
  constexpr UINT32 ADAPTER = RAID_OBJECT_ADAPTER;
  constexpr UINT32 DISK = RAID_OBJECT_PHYSICAL_DISK;
  const char *const KEEP = RESTORE;
  const char *const BUILD = RESTORE_REBUILD;
  const std::string read = "GetLive, GetLive, Validate";
  const std::string changed = read + ", ResetConfig, ClearForeignConfig, ChangeAdapter";
  struct {
    const char *name;
    const char *preset;
    const char *options;
    void (*change)(World &world, std::string &saved); // before the restore
    EFI_STATUS status;
    std::string steps;
    UINT32 volumes;   // afterwards
    const char *line; // that the log must have
  } cases[] = {
      {"mode, SAS", "sas", KEEP, changeMode, EFI_SUCCESS, read, 1,
       "Its a SAS controller, No Change to controller ...!"},
      {"answers that nobody needs", "direct", BUILD, answerAll, EFI_SUCCESS, changed + ", CreateVD, CreateVD, ChangePD",
       2, ""},
      {"adapter of 511 bytes", "direct", BUILD, shape<ADAPTER, SIM_FAULT_SIZE, 511>, EFI_NOT_FOUND, "GetLive", 2,
       "ERROR _GetCurrentConfig: Could not get current adapter info"},
      {"no disk records: ids stay 0, and the controller refuses", "direct", BUILD, shape<DISK, SIM_FAULT_NO_DATA, 0>,
       EFI_SUCCESS, changed + ", CreateVD 2, CreateVD 2", 0, "Changes VDs returned error Invalid Parameter"},
      {"unknown member", "direct", BUILD,
       [](World &, std::string &saved) { saved.insert(saved.rfind("<PD>") + 4, "77"); }, EFI_INVALID_PARAMETER,
       changed + ", CreateVD", 1, "ERROR _CreateOrChangeVDs: Could not find VD pd in restore PD array"},
      {"no members", "direct", BUILD,
       [](World &, std::string &saved) { saved = std::regex_replace(saved, std::regex("<PD>\\d+</PD>"), ""); },
       EFI_SUCCESS, changed + ", CreateVD 2, CreateVD 2", 0, "TRACE _CreateOrChangeVDs: VD creation failed"},
  };
  for (auto &row : cases) {
    SCOPED_TRACE(row.name);
    World world(row.preset);
    std::string saved = world.get().text;
    row.change(world, saved);
    world.clearLog();
    ANSWER answer = world.set({row.options, saved.c_str()});
    EXPECT_EQ(name(answer.status), name(row.status));
    EXPECT_EQ(stepsOf(answer.text).substr(0, row.steps.size()), row.steps);
    EXPECT_TRUE(stepsOf(answer.text).size() == row.steps.size() || row.volumes == 0) << answer.text;
    EXPECT_EQ(world.sim->virtualDisks.count, row.volumes);
    EXPECT_NE(world.log().find(row.line), std::string::npos) << world.log();
    world.expectBalanced();
  }
}

TEST(Restore, NeedsAnAdapterOfTheSameKind) {
  World world("empty");
  std::string live = world.get().text;
  for (const char *id : {"VendorID", "DeviceID", "SubvendorID", "SubdeviceID"}) {
    std::string open = "<" + std::string(id) + ">";
    std::string saved = std::regex_replace(live, std::regex(open + "...."), open + "F00D");
    ANSWER answer = world.set({RESTORE_REBUILD, saved.c_str()});
    EXPECT_EQ(name(answer.status), name(EFI_UNSUPPORTED)) << id;
    EXPECT_EQ(stepsOf(answer.text), "GetLive, GetLive E, Validate 3");
    EXPECT_NE(world.log().find("ERROR _ValidateRestore: PCI information does not match"), std::string::npos);
  }
}

// What the log and the controller hold when commands fail is worked out from the order of the commands alone.
TEST(Restore, FailingCommandsEndItWhereTheyMust) {
  const std::string goOn = RESTORE_REBUILD;
  const std::string stop = replaced(goOn, "<Raid>", "<StopOnError>True</StopOnError><Raid>");
  const char *const commands[] = {"GetLive",       "GetLive",  "ResetConfig", "ClearForeignConfig", "RemoveCtrlKey",
                                  "ChangeAdapter", "CreateVD", "CreateVD",    "CreateVD",           "CreateVD",
                                  "CreateVD",      "ChangePD", "ChangePD"};
  for (UINT32 run = 0; run < 14 * 4; ++run) {
    UINT32 nth = run / 4 + 1, volumes = 5, spares = 2;
    bool once = (run & 1) != 0, stopOnError = (run & 2) != 0;
    EFI_STATUS status = EFI_SUCCESS;
    std::string steps;
    for (UINT32 c = 1; c <= std::size(commands) && status == EFI_SUCCESS; ++c) {
      bool failed = once ? c == nth : c >= nth;
      steps += (c == 1 ? "" : c == 3 ? ", Validate, " : ", ") + std::string(commands[c - 1]) + (failed ? " 7" : "");
      bool stops = c <= 5 || (stopOnError && (c == 6 || c >= 12));
      status = failed && stops ? EFI_DEVICE_ERROR : EFI_SUCCESS;
      volumes = c == 3 && !failed ? 0 : volumes + (c >= 7 && c <= 11 && !failed ? 1 : 0);
      spares = c == 3 && !failed ? 0 : spares + (c >= 12 && !failed ? 1 : 0);
    }
    SCOPED_TRACE(nth * 100 + run % 4);
    World world("demo");
    std::string saved = world.get().text;
    simFailCommand(world.sim, nth, once, EFI_DEVICE_ERROR);
    ANSWER answer = world.set({(stopOnError ? stop : goOn).c_str(), saved.c_str()});
    EXPECT_EQ(name(answer.status), name(status));
    EXPECT_EQ(stepsOf(answer.text), steps);
    EXPECT_EQ(world.sim->virtualDisks.count, volumes);
    EXPECT_EQ(hotSpares(world), spares);
    world.expectBalanced();
  }
}

// Data of size 0 is no answer, but it goes back.
TEST(Restore, GivesEmptyAnswersBack) {
  World world(WORLD_OPTIONS{.preset = nullptr});
  static char answer;
  static int out;
  RAID_MGMT_PROTOCOL mgmt = {};
  mgmt.Execute = [](RAID_MGMT_PROTOCOL *, RAID_CMD_BLOCK *, RAID_CMD_RESULT *result) EFIAPI -> EFI_STATUS {
    result->Data = &answer;
    out += 1;
    return EFI_SUCCESS;
  };
  mgmt.FreeRecords = [](RAID_MGMT_PROTOCOL *, void *data, UINT32 count) EFIAPI -> EFI_STATUS {
    out -= data == &answer && count == 0 ? 1 : 100;
    return EFI_SUCCESS;
  };
  RAID_CONFIG config = {};
  EXPECT_EQ(name(RaidRestore(&mgmt, &config, 0, nullptr)), name(EFI_NOT_FOUND));
  EXPECT_EQ(out, 0);
}
