// Restores step by step: statuses, the steps and their order, whatever the controller answers.
#include <regex>

#include "driver/restore/restore.h"
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

// What neither the model nor the sweeps show: shapes of answers, and the lines of the log.
TEST(Restore, StepsDependOnTheAnswers) {
  const SIM_FAULT none = {};
  const SIM_FAULT all = {SIM_FAULT_SIZE, SIM_ANY, SIM_ANY, 3, false, 0, 1100};
  const SIM_FAULT cut = {SIM_FAULT_SIZE, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, 1, false, 0, 511};
  const SIM_FAULT empty = {SIM_FAULT_NO_DATA, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, 1, false, 0, 0};
  const std::string read = "GetLive, GetLive, Validate";
  const std::string cleared = read + ", ResetConfig, ClearForeignConfig, ChangeAdapter";
  struct {
    const char *name;
    const char *preset;
    SIM_FAULT fault;
    const char *from, *to; // in the saved document
    EFI_STATUS status;
    std::string steps;
    const char *line; // that the log must have
  } cases[] = {
      {"SAS", "sas", none, "", "", EFI_SUCCESS, cleared.substr(0, cleared.rfind(',')) + ", CreateVD",
       "Its a SAS controller, No Change to controller ...!"},
      {"answers of all steps", "direct", all, "", "", EFI_SUCCESS, cleared + ", CreateVD, CreateVD, ChangePD", ""},
      {"adapter of 511 bytes", "direct", cut, "", "", EFI_NOT_FOUND, "GetLive",
       "ERROR _GetCurrentConfig: Could not get current adapter info"},
      {"unknown member", "direct", none, "<PD>1", "<PD>771", EFI_INVALID_PARAMETER, cleared,
       "ERROR _CreateOrChangeVDs: Could not find VD pd in restore PD array"},
      {"no map", "direct", empty, "", "", EFI_SUCCESS, cleared + ", CreateVD 2, CreateVD 2",
       "Changes VDs returned error Invalid Parameter"},
  };
  for (auto &row : cases) {
    SCOPED_TRACE(row.name);
    World world(row.preset);
    std::string saved = replaced(world.get().text, row.from, row.to);
    if (row.fault.command != 0) {
      simAddFault(world.sim, row.fault);
    }
    ANSWER answer = world.set({RESTORE_REBUILD, saved.c_str()});
    EXPECT_EQ(name(answer.status), name(row.status));
    EXPECT_EQ(stepsOf(answer.text), row.steps);
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
