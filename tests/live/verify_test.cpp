#include "live/live.h"
#include "tests/support/world.h"

namespace {

// The text with the content of the first element of that name, from part on, replaced.
std::string withContent(std::string text, const std::string &name, const std::string &content,
                        const std::string &part = "<raidData") {
  size_t begin = text.find("<" + name + ">", text.find(part));
  EXPECT_TRUE(text.find(part) != std::string::npos && begin != std::string::npos) << name;
  begin += name.size() + 2;
  return text.replace(begin, text.find("</", begin) - begin, content);
}

void setFirmware(World &world, const char16_t *version) {
  EXPECT_EQ(name(simSetFirmware(world.sim, version)), name(EFI_SUCCESS));
}

struct DIFFERENCE {
  const char *what;
  void (*changeLive)(World &world);
  std::string (*changeSaved)(const std::string &saved); // or null
  UINT32 result;
  const char *logLine = "";
  const char *console = "";
  int warnings = *logLine == 0 ? 0 : 1;
};

using TEXT = const std::string &;

const DIFFERENCE g_differences[] = {
    {"nothing", [](World &) {}, nullptr, 0},
    {"another adapter", [](World &) {}, [](TEXT t) { return withContent(t, "WWN", "1"); }, VERIFY_PART_REPLACEMENT,
     "WARN RAIDXYLVerify: Part Replacement detected"},
    {"consistency check", [](World &w) { simSetMode(w.sim, SIM_MODE_CHECK_CONSISTENCY, 0x81); }, nullptr,
     VERIFY_CONFIG_CHANGE, "WARN RAIDXYLVerify: Config change detected: CC Mode changed"},
    {"a mode that is not live", [](World &w) { simSetMode(w.sim, SIM_MODE_CHECK_CONSISTENCY, 0x01); }, nullptr, 0},
    {"a mode that is not saved", [](World &w) { simSetMode(w.sim, SIM_MODE_CHECK_CONSISTENCY, 0x81); },
     [](TEXT t) {
       std::string text = t;
       size_t at = text.find("<CheckConsistencyMode>");
       return text.erase(at, text.find('\n', at) - at);
     },
     0},
    {"patrol read", [](World &w) { simSetMode(w.sim, SIM_MODE_PATROL_READ, 0x84); }, nullptr, VERIFY_CONFIG_CHANGE,
     "WARN RAIDXYLVerify: Config change detected: patrolReadMode changed"},
    {"patrol read areas only", [](World &w) { simSetMode(w.sim, SIM_MODE_PATROL_READ, 0xF3); }, nullptr, 0},
    {"uncertified disks", [](World &w) { simSetMode(w.sim, SIM_MODE_UNCERTIFIED, 0x82); }, nullptr,
     VERIFY_CONFIG_CHANGE, "", "RAIDXYLVerify:Config change detected : Uncertified Mode changed \n"},
    {"load balance", [](World &w) { simSetMode(w.sim, SIM_MODE_LOAD_BALANCE, 0x81); }, nullptr, VERIFY_CONFIG_CHANGE,
     "", "RAIDXYLVerify:Config change detected : Load Balance Mode changed \n"},
    {"learn", [](World &w) { simSetMode(w.sim, SIM_MODE_LEARN, 0x82); }, nullptr, VERIFY_CONFIG_CHANGE, "",
     "RAIDXYLVerify:Config change detected : Learn Mode changed \n"},
    {"copy back", [](World &w) { simSetMode(w.sim, SIM_MODE_COPY_BACK, 0x83); }, nullptr, VERIFY_CONFIG_CHANGE,
     "WARN RAIDXYLVerify: Config change detected: copyBackMode changed"},
    {"security mode, which is not compared", [](World &w) { w.sim->adapter.securityMode = 0x82; }, nullptr, 0},
    {"a rate", [](World &) {}, [](TEXT t) { return withContent(t, "Value", "99", "<Name>Rebuild"); },
     VERIFY_CONFIG_CHANGE, "WARN RAIDXYLVerify: Config change detected: Rebuild"},
    {"a rate that may no longer be edited", [](World &) {},
     [](TEXT t) { return withContent(t, "Editable", "false", "<Name>Rebuild"); }, 0},
    {"a rate in another slot", [](World &) {},
     [](TEXT t) {
       std::string text = withContent(t, "Value", "99", "<Name>Rebuild");
       return text.insert(text.find("<Rate>"), "<Rate/>");
     },
     0},
    {"replaced, reset and older", [](World &w) { setFirmware(w, u"2.1"); },
     [](TEXT t) {
       std::string text = withContent(withContent(t, "WWN", "1"), "FirmwareVersion", "2.2");
       return withContent(text, "Value", "99", "<Name>Rebuild");
     },
     VERIFY_PART_REPLACEMENT | VERIFY_CONFIG_CHANGE | VERIFY_FW_LOWER, "Part Replacement detected", "", 2},
    {"firmware of another vendor", [](World &w) { setFirmware(w, u"2.1"); },
     [](TEXT t) { return withContent(withContent(t, "FirmwareVersion", "2.2"), "SubvendorID", "F00D"); }, 0},
    {"firmware of another model", [](World &w) { setFirmware(w, u"2.1"); },
     [](TEXT t) { return withContent(withContent(t, "FirmwareVersion", "2.2"), "DeviceID", "F00D"); }, VERIFY_FW_LOWER},
};

TEST(Verify, DifferencesAreBitsAndMessages) {
  for (const DIFFERENCE &row : g_differences) {
    SCOPED_TRACE(row.what);
    World world;
    for (SIM_MODE mode : {SIM_MODE_UNCERTIFIED, SIM_MODE_LOAD_BALANCE, SIM_MODE_LEARN, SIM_MODE_CHECK_CONSISTENCY,
                          SIM_MODE_PATROL_READ, SIM_MODE_COPY_BACK}) {
      simSetMode(world.sim, mode, RAID_MODE_PRESENT);
    }
    std::string saved = world.get().text;
    if (row.changeSaved != nullptr) {
      std::string changed = row.changeSaved(saved);
      EXPECT_NE(changed, saved);
      saved = changed;
    }
    row.changeLive(world);
    world.clearLog();
    world.console();
    ANSWER answer = world.verify(saved);
    EXPECT_EQ(name(answer.status), name(EFI_SUCCESS));
    EXPECT_EQ(answer.result, row.result);
    EXPECT_EQ(world.console(), row.console);
    std::string log = world.log();
    EXPECT_NE(log.find(row.logLine), std::string::npos) << log;
    EXPECT_EQ(countOf(log, "WARN ") + countOf(log, "ERROR "), static_cast<size_t>(row.warnings)) << log;
    EXPECT_EQ(countOf(log, "TRACE RAIDXYLVerify: Exit. Success"), 1U);
    world.expectBalanced();
  }
}

TEST(Verify, FirmwareIsComparedWithinItsMajorVersion) {
  World world;
  const std::string saved = world.get().text;
  struct {
    const char16_t *live;
    const char *saved;
    UINT32 result;
  } cases[] = {
      {u"2.120.03-1234", "2.100.13-1234", VERIFY_FW_HIGHER}, // equally long: as texts
      {u"2.9", "2.1", VERIFY_FW_HIGHER},
      {u"21.2.0-0007", "21.10.0-0007", VERIFY_FW_LOWER}, // else piece by piece
      {u"2.1", "2.1", 0},
      {u"2.01.0", "2.1", 0},
      {u"2", "2.1", VERIFY_FW_LOWER},
      {u"2", "2", 0},
      {u"3.1", "2.9", 0},
      {u"2a.1", "2.1", 0},
      {u"2.a", "2.B", VERIFY_FW_HIGHER},
      {u".2", ".1", VERIFY_FW_HIGHER},
      {u"2.1", "", 0}, // no text, so nothing to compare
  };
  for (const auto &row : cases) {
    setFirmware(world, row.live);
    ANSWER answer = world.verify(withContent(saved, "FirmwareVersion", row.saved));
    EXPECT_EQ(answer.result, row.result) << row.saved;
    EXPECT_EQ(name(answer.status), name(EFI_SUCCESS));
  }
}

TEST(Verify, VersionsComparePieceByPiece) {
  struct {
    const CHAR16 *lower;
    const CHAR16 *higher; // or equal
    bool equal;
  } cases[] = {
      {u"", u"", true},
      {u"1.2", u"1.2.0", true},
      {u"1.2", u"1-2", true},
      {u"2.01", u"2.1", true},
      {u"3a.1", u"3.1", true},
      {u"1..2", u"1.0.2", true},
      {u" 5", u"5", true},
      {u"x9", u"0", true},
      {u"\u01325", u"25", true},
      {u"1.2.", u"1.2", true},
      {u"99999999999999999999.1", u"18446744073709551615.1", true},
      {u"1.2", u"1.2.1", false},
      {u"1.9", u"1.10", false},
      {u"1-3", u"2", false},
      {u"0", u"18446744073709551615", false},
      // 31 characters are a piece, the rest is the next one.
      {u"0000000000000000000000000000001", u"00000000000000000000000000000012", false},
      {u"0000000000000000000000000000001.2", u"00000000000000000000000000000012", true},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(VersionCompare(cases[i].lower, cases[i].higher), cases[i].equal ? 0 : -1) << i;
    EXPECT_EQ(VersionCompare(cases[i].higher, cases[i].lower), cases[i].equal ? 0 : 1) << i;
  }
}

TEST(Verify, ArgumentsAndNewDataAreCheckedBeforeTheController) {
  World world;
  RAID_XYL_PARAMETER parameter = {0, 77}; // not looked at
  char text[] = "<raidData><Adapter/></raidData>";
  RAID_XYL_BUFFER documents[2] = {{1, sizeof(text), text}, {1, 0, nullptr}};
  RAID_XYL_BUFFER full[2] = {{1, 0, nullptr}, {1, sizeof(text), text}};
  RAID_XYL_BUFFER input = {1, 0, documents}, noArray = {1, 0, nullptr}, noText = {1, 0, &documents[1]};
  RAID_XYL_BUFFER none = {1, 0, full}, tiny = {1, 31, nullptr}, given = {1, 32, full};
  RAID_XYL_BUFFER noNewArray = {1, 32, nullptr}, noNewText = {1, 32, documents};
  RAID_XYL_DEV unbound = {};
  RAID_XYL_PROTOCOL *xyl = world.xyl;
  UINT32 result;
  struct {
    RAID_XYL_PROTOCOL *table;
    RAID_XYL_PARAMETER *parameter;
    RAID_XYL_BUFFER *input, *newData;
    UINT32 *result;
    EFI_STATUS status;
  } cases[] = {
      {nullptr, &parameter, &input, nullptr, &result, EFI_INVALID_PARAMETER},
      {xyl, nullptr, &input, nullptr, &result, EFI_INVALID_PARAMETER},
      {xyl, &parameter, nullptr, nullptr, &result, EFI_INVALID_PARAMETER},
      {xyl, &parameter, &input, nullptr, nullptr, EFI_INVALID_PARAMETER},
      {&unbound.RaidXylProtocol, &parameter, &input, &given, &result, EFI_INVALID_PARAMETER},
      {xyl, &parameter, &noArray, nullptr, &result, EFI_INVALID_PARAMETER},
      {xyl, &parameter, &noArray, &none, &result, EFI_INVALID_PARAMETER},
      {xyl, &parameter, &noText, &none, &result, EFI_INVALID_PARAMETER},
      {xyl, &parameter, &noArray, &tiny, &result, EFI_SUCCESS},
      {xyl, &parameter, &noText, &given, &result, EFI_SUCCESS},
      {xyl, &parameter, &input, &noNewArray, &result, EFI_INVALID_PARAMETER},
      {xyl, &parameter, &input, &noNewText, &result, EFI_INVALID_PARAMETER},
  };
  uint64_t commands = world.sim->commandCount;
  for (size_t i = 0; i < std::size(cases); ++i) {
    auto &row = cases[i];
    result = 0x55;
    bool untouched = row.table == nullptr || row.parameter == nullptr || row.input == nullptr || row.result == nullptr;
    EXPECT_EQ(name(RAIDXYLVerify(row.table, row.parameter, row.input, row.newData, row.result)), name(row.status)) << i;
    EXPECT_EQ(result, untouched ? 0x55U : 0U) << i;
  }
  EXPECT_EQ(world.sim->commandCount, commands);
  EXPECT_EQ(countOf(world.log(), "RAIDXYLVerify: Exit."), std::size(cases));
  EXPECT_EQ(name(xyl->Verify(xyl, &parameter, &input, &none, &result)), name(EFI_SUCCESS));
  EXPECT_EQ(world.sim->commandCount, commands + 1);
}

TEST(Verify, DocumentsAndAnswersThatDoNotServe) {
  World world;
  const std::string saved = world.get().text;
  const std::string noAdapter = "<raidData><Method name='Delete'><OID>1</OID></Method></raidData>";
  struct {
    std::string saved;
    SIM_FAULT_KIND kind;
    EFI_STATUS status;
    const char *logLine;
  } cases[] = {
      {"<raidData>", SIM_FAULT_EXTRA, EFI_ABORTED, "RAIDXYLVerify: Exit. Aborted"},
      {"<raidData/>", SIM_FAULT_EXTRA, EFI_ABORTED, "RAIDXYLVerify: Exit. Aborted"},
      {"<raidData><Adapter><LearnMode/></Adapter></raidData>", SIM_FAULT_EXTRA, EFI_ABORTED, "Exit. Aborted"},
      {noAdapter, SIM_FAULT_EXTRA, EFI_INVALID_PARAMETER, "RAIDXYLVerify: Exit. Invalid Parameter"},
      {saved, SIM_FAULT_NO_DATA, EFI_NOT_FOUND, "ERROR RAIDXYLVerify: Adapter returned no data"},
      {saved, SIM_FAULT_NULL_DATA, EFI_NOT_FOUND, "ERROR RAIDXYLVerify: Adapter returned no data"},
      {saved, SIM_FAULT_SIZE, EFI_NOT_FOUND, "ERROR RAIDXYLVerify: Adapter returned no data"},
      {saved, SIM_FAULT_STATUS, EFI_DEVICE_ERROR, "WARN RAIDXYLVerify: Get Adapter returned error Device Error"},
      {saved, SIM_FAULT_EXTRA, EFI_SUCCESS, "RAIDXYLVerify: Exit. Success"},
  };
  for (const auto &row : cases) {
    world.clearLog();
    if (row.kind == SIM_FAULT_STATUS) {
      simFailKind(world.sim, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, row.status);
    } else {
      UINT32 bytes = row.kind == SIM_FAULT_SIZE ? 511 : (row.kind == SIM_FAULT_NULL_DATA ? 512 : 100);
      simShapeAnswer(world.sim, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, row.kind, bytes);
    }
    ANSWER answer = world.verify(row.saved);
    EXPECT_EQ(name(answer.status), name(row.status)) << row.logLine;
    EXPECT_EQ(answer.result, 0U);
    EXPECT_NE(world.log().find(row.logLine), std::string::npos) << world.log();
    simClearFaults(world.sim);
    world.expectBalanced(row.logLine);
  }
}

TEST(Verify, SurvivesEveryFailure) {
  std::string saved;
  SWEEP sweep;
  sweep.keepsWorld = true;
  sweep.prepare = [&](World &world) { saved = world.get().text; };
  sweep.operation = [&](World &world) {
    ANSWER answer = world.verify(saved);
    EXPECT_EQ(answer.result, 0U);
    return answer.status;
  };
  sweep.world.preset = "direct";
  sweep.afterFailure = [](World &, EFI_STATUS status) {
    // A rate may go without its name; anything else ends the parsing, or the controller fails.
    EXPECT_TRUE(status == EFI_ABORTED || status == EFI_OUT_OF_RESOURCES || status == EFI_SUCCESS) << name(status);
  };
  sweepAllocations(sweep);
  sweep.afterFailure = [](World &, EFI_STATUS status) { EXPECT_EQ(name(status), name(EFI_DEVICE_ERROR)); };
  sweepCommands(sweep);
}

} // namespace
