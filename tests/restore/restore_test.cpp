// Restores of records that a controller gave earlier: statuses, steps and their order, what the controller then holds.
#include "base/text.h"
#include "controller/controller.h"
#include "restore/restore.h"
#include "tests/restore/log_text.h"

// A configuration as a parsed document would give it, but in the test's own memory, with the controller's
// rate names and without other texts.
struct SAVED {
  RAID_ADAPTER_RECORD adapter;
  std::vector<RAID_PD_RECORD> disks;
  std::vector<RAID_VD_RECORD> volumes;
  std::vector<std::vector<UINT32>> lists;
  RAID_CONFIG config = {};

  explicit SAVED(World &world) {
    adapter = read<RAID_ADAPTER_RECORD>(world, RAID_OBJECT_ADAPTER)[0];
    adapter.FirmwareVersion = nullptr;
    adapter.RAIDLevelParams = nullptr;
    for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
      adapter.Rates[i].Name = world.sim->adapter.rates[i].name[0] == 0 ? nullptr : world.sim->adapter.rates[i].name;
    }
    disks = read<RAID_PD_RECORD>(world, RAID_OBJECT_PHYSICAL_DISK);
    volumes = read<RAID_VD_RECORD>(world, RAID_OBJECT_VIRTUAL_DISK);
    config.adapter = &adapter;
    config.physicalDiskCount = static_cast<UINT32>(disks.size());
    config.physicalDisks = disks.data();
    config.logicalDiskCount = static_cast<UINT32>(volumes.size());
    config.logicalDisks = volumes.data();
    simClearLog(world.sim);
  }

private:
  UINT32 *keep(const UINT32 *ids, UINT32 count) {
    lists.emplace_back(ids, ids + count);
    return lists.back().data();
  }
  void detach(RAID_ADAPTER_RECORD &) {}
  void detach(RAID_PD_RECORD &disk) { disk.VDs = keep(disk.VDs, disk.VDCount); }
  void detach(RAID_VD_RECORD &volume) { volume.PDs = keep(volume.PDs, volume.PDCount); }

  template <class T> std::vector<T> read(World &world, UINT32 objectType) {
    RAID_CMD_RESULT answer;
    issueCommand(&world.sim->protocol, RAID_COMMAND_GET, objectType, &answer);
    const T *records = static_cast<const T *>(answer.Data);
    std::vector<T> copies(records, records + recordCount(&answer));
    for (T &copy : copies) {
      copy.Name = nullptr;
      copy.FQDD = nullptr;
      detach(copy);
    }
    giveBack(&world.sim->protocol, &answer);
    return copies;
  }
};

// The steps of a log in order, those that failed with their codes: "GetLive, GetLive 7". A question mark stands for
// what there was no memory for.
static std::string stepsOf(const XML_NODE *root) {
  std::string steps;
  for (const XML_NODE *node = root == nullptr ? nullptr : root->FirstChild; node != nullptr; node = node->NextSibling) {
    if (textEqual(node->Name, "Operation")) {
      const XML_NODE *status = node->FirstChild;
      const XML_NODE *code = status == nullptr ? nullptr : status->NextSibling;
      steps += (steps.empty() ? "" : ", ") + std::string(node->Attributes == nullptr ? "?" : node->Attributes->Value);
      if (code == nullptr || !textEqual(status->Content, "Success")) {
        steps += " " + std::string(code == nullptr ? "?" : code->Content);
      }
    }
  }
  return steps;
}

struct OUTCOME {
  EFI_STATUS status;
  std::string steps;
};

static OUTCOME restore(World &world, SAVED &saved, UINT32 runMode) {
  XML_NODE *root = nullptr;
  OUTCOME outcome;
  outcome.status = RaidRestore(&world.sim->protocol, &saved.config, runMode | RUN_MODE_RESTORE, &root);
  outcome.steps = stepsOf(root);
  FreeXMLNode(root);
  return outcome;
}

static UINT32 hotSpares(World &world) {
  UINT32 count = 0;
  for (UINT32 i = 0; i < world.sim->disks.count; ++i) {
    count += world.sim->disks.items[i].hotspare != 0 ? 1 : 0;
  }
  return count;
}

static const char *const READ = "GetLive, GetLive, Validate";
static const char *const CLEARED = "GetLive, GetLive, Validate, ResetConfig, ClearForeignConfig";

struct RESTORE_CASE {
  const char *name;
  const char *preset;
  UINT32 runMode;
  void (*change)(World &world, SAVED &saved); // before the restore
  EFI_STATUS status;
  std::string steps;
  UINT32 volumes;   // afterwards
  const char *line; // of the log, or null
};

static void nothing(World &, SAVED &) {}
static void changeMode(World &world, SAVED &) {
  simSetMode(world.sim, SIM_MODE_COPY_BACK, 0x80);
}
template <UINT32 objectType, SIM_FAULT_KIND kind, UINT32 bytes> static void shape(World &world, SAVED &) {
  simShapeAnswer(world.sim, RAID_COMMAND_GET, objectType, kind, bytes);
}

// Every command but the reads answers with data that nobody asked for.
static void answerAll(World &world, SAVED &) {
  for (UINT32 command : {RAID_COMMAND_DELETE, RAID_COMMAND_CLEAR, RAID_COMMAND_CHANGE, RAID_COMMAND_CREATE}) {
    simShapeAnswer(world.sim, command, SIM_ANY, SIM_FAULT_SIZE, 1100);
  }
}

TEST(Restore, StepsDependOnControllerAndMode) {
  constexpr UINT32 KEEP = RUN_MODE_PRESERVE_VD;
  constexpr UINT32 DISK = RAID_OBJECT_PHYSICAL_DISK;
  const std::string read = READ;
  const std::string cleared = CLEARED;
  const RESTORE_CASE cases[] = {
      {"preserved, same", "direct", KEEP, nothing, EFI_SUCCESS, read, 2, "TRACE RaidRestore: Entered PreserveVDConfig"},
      {"preserved, mode", "direct", KEEP, changeMode, EFI_SUCCESS, read + ", ChangeAdapter", 2,
       "TRACE RaidRestore: Attributes did not match !!!"},
      {"preserved, SAS", "sas", KEEP, [](World &, SAVED &saved) { saved.adapter.CopyBackMode ^= 1; }, EFI_SUCCESS, read,
       1, "TRACE RaidRestore: Its a SAS controller, No Change to controller ...!"},
      {"rebuilt", "direct", 0, nothing, EFI_SUCCESS, cleared + ", ChangeAdapter, CreateVD, CreateVD, ChangePD", 2,
       nullptr},
      {"rebuilt, answers that nobody needs", "direct", 0, answerAll, EFI_SUCCESS,
       cleared + ", ChangeAdapter, CreateVD, CreateVD, ChangePD", 2, nullptr},
      {"rebuilt, SAS", "sas", 0, nothing, EFI_SUCCESS, cleared + ", CreateVD", 1,
       "TRACE RaidRestore: SAS Controller Detected...!"},
      {"rebuilt, key", "demo", 0, nothing, EFI_SUCCESS,
       cleared + ", RemoveCtrlKey, ChangeAdapter, CreateVD, CreateVD, CreateVD, CreateVD, CreateVD, ChangePD, ChangePD",
       5, nullptr},
      {"nothing saved, no disks", "empty", 0, nothing, EFI_SUCCESS,
       "GetLive, GetLive E, Validate, ResetConfig, ClearForeignConfig, ChangeAdapter", 0, nullptr},
      {"another adapter", "direct", 0, [](World &, SAVED &saved) { saved.adapter.PCIID.DeviceID ^= 1; },
       EFI_UNSUPPORTED, read + " 3", 2, "ERROR RaidRestore: _ValidateForRestore failed "},
      {"adapter without data", "direct", 0, shape<RAID_OBJECT_ADAPTER, SIM_FAULT_NO_DATA, 0>, EFI_NOT_FOUND, "GetLive",
       2, "ERROR _GetCurrentConfig: Could not get current adapter info"},
      {"adapter with a size only", "direct", 0, shape<RAID_OBJECT_ADAPTER, SIM_FAULT_NULL_DATA, 512>, EFI_NOT_FOUND,
       "GetLive", 2, "ERROR RaidRestore: Could not get current config info"},
      {"adapter of 511 bytes", "direct", 0, shape<RAID_OBJECT_ADAPTER, SIM_FAULT_SIZE, 511>, EFI_NOT_FOUND, "GetLive",
       2, "ERROR _GetCurrentConfig: Could not get current adapter info"},
      {"disks of 0 bytes", "direct", KEEP, shape<DISK, SIM_FAULT_SIZE, 0>, EFI_SUCCESS, read, 2, nullptr},
      {"no disk records: ids stay 0, and the controller refuses", "direct", 0, shape<DISK, SIM_FAULT_NO_DATA, 0>,
       EFI_SUCCESS, cleared + ", ChangeAdapter, CreateVD 2, CreateVD 2", 0,
       "WARN _CreateVD: Changes VDs returned error Invalid Parameter"},
      {"half a disk record", "direct", 0, shape<DISK, SIM_FAULT_SIZE, 511>, EFI_SUCCESS,
       cleared + ", ChangeAdapter, CreateVD 9, CreateVD 9", 0, "ERROR _CreateOrChangeVDs: Not enough PDs to create VD"},
      {"unknown member", "direct", 0, [](World &, SAVED &saved) { saved.volumes[1].PDs[1] = 77; },
       EFI_INVALID_PARAMETER, cleared + ", ChangeAdapter, CreateVD", 1,
       "ERROR _CreateOrChangeVDs: Could not find VD pd in restore PD array"},
      {"no members", "direct", 0, [](World &, SAVED &saved) { saved.volumes[0].PDs = nullptr; }, EFI_SUCCESS,
       cleared + ", ChangeAdapter, CreateVD 2, CreateVD, ChangePD", 1, "TRACE _CreateOrChangeVDs: VD creation failed"},
  };
  for (const RESTORE_CASE &row : cases) {
    SCOPED_TRACE(row.name);
    World world(row.preset);
    SAVED saved(world);
    row.change(world, saved);
    world.clearLog();
    OUTCOME outcome = restore(world, saved, row.runMode);
    EXPECT_EQ(name(outcome.status), name(row.status));
    EXPECT_EQ(outcome.steps, row.steps);
    EXPECT_EQ(world.sim->virtualDisks.count, row.volumes);
    EXPECT_TRUE(row.line == nullptr || countOf(world.log(), row.line) != 0) << world.log();
    world.expectBalanced();
  }
}

// What the log and the controller hold when commands fail, worked out from the order of the commands alone.
struct EXPECTED {
  std::string steps;
  EFI_STATUS status = EFI_SUCCESS;
  UINT32 volumes = 5;
  UINT32 spares = 2;

  EXPECTED(UINT32 nth, bool once, bool stopOnError) {
    static const char *const commands[] = {
        "GetLive",  "GetLive",  "ResetConfig", "ClearForeignConfig", "RemoveCtrlKey", "ChangeAdapter", "CreateVD",
        "CreateVD", "CreateVD", "CreateVD",    "CreateVD",           "ChangePD",      "ChangePD"};
    for (UINT32 c = 1; c <= std::size(commands) && status == EFI_SUCCESS; ++c) {
      bool failed = once ? c == nth : c >= nth;
      steps += (c == 1 ? "" : c == 3 ? ", Validate, " : ", ") + std::string(commands[c - 1]) + (failed ? " 7" : "");
      bool stops = c <= 5 || (stopOnError && (c == 6 || c >= 12));
      status = failed && stops ? EFI_DEVICE_ERROR : EFI_SUCCESS;
      if (c == 3 && !failed) {
        volumes = spares = 0;
      }
      volumes += c >= 7 && c <= 11 && !failed ? 1 : 0;
      spares += c >= 12 && !failed ? 1 : 0;
    }
  }
};

TEST(Restore, FailingCommandsEndItWhereTheyMust) {
  for (UINT32 run = 0; run < 14 * 4; ++run) {
    UINT32 nth = run / 4 + 1;
    bool once = (run & 1) != 0;
    bool stopOnError = (run & 2) != 0;
    SCOPED_TRACE(nth * 100 + run % 4);
    World world("demo");
    SAVED saved(world);
    simFailCommand(world.sim, nth, once, EFI_DEVICE_ERROR);
    OUTCOME outcome = restore(world, saved, stopOnError ? RUN_MODE_STOP_ON_ERROR : 0);
    EXPECTED wanted(nth, once, stopOnError);
    EXPECT_EQ(name(outcome.status), name(wanted.status));
    EXPECT_EQ(outcome.steps, wanted.steps);
    EXPECT_EQ(world.sim->virtualDisks.count, wanted.volumes);
    EXPECT_EQ(hotSpares(world), wanted.spares);
    world.expectBalanced();
  }
}

// Every restore of a sweep leaves some log, in which no step succeeded that did not happen.
TEST(Restore, WithoutMemoryNothingIsClaimed) {
  std::unique_ptr<SAVED> saved;
  OUTCOME outcome;
  SWEEP sweep;
  sweep.world = {.preset = "direct"};
  sweep.prepare = [&](World &world) { saved = std::make_unique<SAVED>(world); };
  sweep.operation = [&](World &world) {
    outcome = restore(world, *saved, 0);
    return outcome.status;
  };
  sweep.afterFailure = [&](World &world, EFI_STATUS status) {
    size_t created = countOf(outcome.steps, "CreateVD") - countOf(outcome.steps, "CreateVD ");
    EXPECT_LE(created, world.sim->virtualDisks.count) << outcome.steps;
    EXPECT_TRUE(status == EFI_SUCCESS || status == EFI_OUT_OF_RESOURCES || status == EFI_NOT_FOUND) << name(status);
  };
  sweepAllocations(sweep);
}

TEST(Restore, NeedsNoLog) {
  World world(WORLD_OPTIONS{.preset = "direct", .xmlService = false, .debugLog = false});
  SAVED saved(world);
  OUTCOME outcome = restore(world, saved, 0);
  EXPECT_EQ(name(outcome.status), name(EFI_SUCCESS));
  EXPECT_EQ(outcome.steps, "");
  EXPECT_EQ(world.sim->virtualDisks.count, 2u);
  EXPECT_EQ(name(RaidRestore(&world.sim->protocol, &saved.config, 0, nullptr)), name(EFI_SUCCESS));
  EXPECT_EQ(world.sim->virtualDisks.count, 2u);
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
