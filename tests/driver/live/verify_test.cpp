// Verify: which differences are which bits and messages, how versions compare, and what is no answer.
#include "driver/live/live.h"
#include "providers/sim_controller/hand.h"
#include "tests/driver/live/request_text.h"

using namespace xyl;

using Edits = std::vector<std::pair<const char *, const char *>>;

static const Edits noChange = {};
static const Edits WWN = {{"<FQDD>adapter-0</FQDD>\n        <WWN>", "<WWN>1"}};
static const Edits rate = {{"<Editable>true</Editable>\n          <Value>30", "<Value>99"}};
static const Edits older = {{"<FirmwareVersion>2.1", "<FirmwareVersion>2.2"}};

static Edits both(Edits edits, const Edits &more) {
  edits.insert(edits.end(), more.begin(), more.end());
  return edits;
}

#define CHANGED "WARN RAIDXYLVerify: Config change detected: "
#define PRINTED "RAIDXYLVerify:Config change detected : "

TEST(Verify, DifferencesAreBitsAndMessages) {
  constexpr sim::Mode cc = sim::modeCheckConsistency;
  constexpr UINT32 part = VERIFY_PART_REPLACEMENT, changeValue = VERIFY_CONFIG_CHANGE, lower = VERIFY_FW_LOWER;
  struct {
    const char *what;
    sim::Mode mode;
    UINT8 value; // of the mode; all others are 0x80
    Edits saved;
    UINT32 result;
    const char *said; // warnings and errors of the log, and the console
  } cases[] = {
      {"nothing", cc, 0x80, noChange, 0, ""},
      {"another adapter", cc, 0x80, WWN, part, "WARN RAIDXYLVerify: Part Replacement detected\n"},
      {"consistency check", cc, 0x81, noChange, changeValue, CHANGED "CC Mode changed\n"},
      {"a mode that is not live", cc, 0x01, noChange, 0, ""},
      {"a mode that is not saved", cc, 0x81, {{"<CheckConsistencyMode>Normal</CheckConsistencyMode>", ""}}, 0, ""},
      {"patrol read", sim::modePatrolRead, 0x84, noChange, changeValue, CHANGED "patrolReadMode changed\n"},
      {"patrol read areas only", sim::modePatrolRead, 0xF3, noChange, 0, ""},
      {"uncertified disks", sim::modeUncertified, 0x82, noChange, changeValue, PRINTED "Uncertified Mode changed \n"},
      {"load balance", sim::modeLoadBalance, 0x81, noChange, changeValue, PRINTED "Load Balance Mode changed \n"},
      {"learn", sim::modeLearn, 0x82, noChange, changeValue, PRINTED "Learn Mode changed \n"},
      {"copy back", sim::modeCopyBack, 0x83, noChange, changeValue, CHANGED "copyBackMode changed\n"},
      {"a rate", cc, 0x80, rate, changeValue, CHANGED "Rebuild changed\n"},
      {"a rate that may no longer be edited", cc, 0x80, {{"<Editable>true", "<Editable>false"}}, 0, ""},
      {"a rate in another slot", cc, 0x80, both(rate, {{"<Rate>", "<Rate/><Rate>"}}), 0, ""},
      {"replaced, reset and older", cc, 0x80, both(both(WWN, rate), older), part | changeValue | lower,
       "WARN RAIDXYLVerify: Part Replacement detected\n" CHANGED "Rebuild changed\n"},
      {"of another vendor", cc, 0x80, both(older, {{"4E54</SubvendorID>\n          <", "1</SubvendorID><"}}), 0, ""},
      {"of another model", cc, 0x80, both(older, {{"0091</DeviceID>\n          <", "1</DeviceID><"}}), lower, ""},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.what);
    World world;
    for (UINT32 mode = sim::modeUncertified; mode <= sim::modeCopyBack; ++mode) {
      sim::setMode(world.sim, static_cast<sim::Mode>(mode), RAID_MODE_PRESENT);
    }
    sim::setFirmware(world.sim, u"2.1");
    std::string saved = world.get().text;
    for (auto &[from, to] : row.saved) {
      saved = replaced(saved, from, to);
    }
    sim::setMode(world.sim, row.mode, row.value);
    world.clearLog();
    world.console();
    UINT64 calls = world.firmware.consoleCalls();
    OperationAnswer answer = world.verify(saved);
    EXPECT_EQ(name(answer.status), name(EFI_SUCCESS));
    EXPECT_EQ(answer.result, row.result);
    std::string said, log = world.log();
    for (size_t at = 0, end; (end = log.find('\n', at)) != std::string::npos; at = end + 1) {
      said += log[at] == 'T' ? "" : log.substr(at, end + 1 - at);
    }
    said += world.console();
    EXPECT_EQ(said, row.said);
    EXPECT_EQ(world.firmware.consoleCalls() - calls, countOf(said, PRINTED));
    world.expectBalanced();
  }
}

TEST(Verify, FirmwareIsComparedWithinItsMajorVersion) {
  World world;
  const std::string saved = world.get().text;
  struct {
    const char16_t *live;
    std::string saved;
    UINT32 result;
  } cases[] = {
      {u"2.120.03-1234", "2.100.13-1234", VERIFY_FW_HIGHER},
      {u"2.a", "2.B", VERIFY_FW_HIGHER}, // equally long: as texts
      {u"21.2.0-0007", "21.10.0-0007", VERIFY_FW_LOWER},
      {u"2.01.0", "2.1", 0},
      {u"2", "2.1", VERIFY_FW_LOWER},
      {u"2.1", "2", VERIFY_FW_HIGHER},
      {u"2", "2", 0},
      {u"2.1", "2a.1", 0},
      {u"3.1", "2.9", 0},
      {u"2a.1", "2.1", 0},
      {u".2", ".1", VERIFY_FW_HIGHER},
      {u"2.1", "", 0},
      {u"", "2.1", 0},                                                           // null
      {u"2.00000000000000000000000000000001", "2.1", VERIFY_FW_LOWER},           // a piece has 31 characters
      {u"2.18446744073709551616-1", "2.18446744073709551615", VERIFY_FW_HIGHER}, // larger numbers are all the largest
      {u"2.1-0", "2.1", 0},
      {u"2.10", "2.9b", VERIFY_FW_LOWER}, // equally long
  };
  for (const auto &row : cases) {
    sim::setFirmware(world.sim, row.live);
    OperationAnswer answer = world.verify(replaced(saved, "21.3.4-0001</F", row.saved + "</F"));
    EXPECT_EQ(answer.result, row.result) << row.saved;
  }
}

TEST(Verify, ArgumentsAndNewDataAreCheckedBeforeTheController) {
  World world;
  RAID_XYL_PARAMETER parameter = {0, 77}; // not looked at
  char text[] = "<raidData><Adapter/></raidData>";
  RAID_XYL_BUFFER documents[3] = {{1, 0, nullptr}, {1, sizeof(text), text}, {1, 0, nullptr}};
  RAID_XYL_BUFFER input = {1, 0, &documents[1]}, noArray = {1, 0, nullptr}, noText = {1, 0, documents};
  RAID_XYL_BUFFER none = {1, 0, documents}, tiny = {1, 31, nullptr}, given = {1, 32, documents};
  RAID_XYL_BUFFER noNewArray = {1, 32, nullptr}, noNewText = {1, 32, &documents[1]};
  driver::RAID_XYL_DEV unbound = {};
  RAID_XYL_PROTOCOL *xyl = world.xyl;
  UINT32 result = 0x55;
  auto verify = [&](RAID_XYL_PROTOCOL *table, RAID_XYL_BUFFER *saved, RAID_XYL_BUFFER *newData) {
    return driver::RAIDXYLVerify(table, &parameter, saved, newData, &result);
  };
  uint64_t commands = world.sim->commandCount;
  EXPECT_EQ(driver::RAIDXYLVerify(xyl, nullptr, &input, nullptr, &result), EFI_INVALID_PARAMETER);
  EXPECT_EQ(driver::RAIDXYLVerify(xyl, &parameter, &input, nullptr, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(verify(nullptr, &input, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(verify(xyl, nullptr, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(result, 0x55u);
  EXPECT_EQ(verify(&unbound.RaidXylProtocol, &input, &given), EFI_INVALID_PARAMETER);
  EXPECT_EQ(result, 0u);
  EXPECT_EQ(verify(xyl, &noArray, &none), EFI_INVALID_PARAMETER);
  EXPECT_EQ(verify(xyl, &noText, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(verify(xyl, &noArray, &tiny), EFI_SUCCESS);
  EXPECT_EQ(verify(xyl, &noText, &given), EFI_SUCCESS);
  EXPECT_EQ(verify(xyl, &input, &noNewArray), EFI_INVALID_PARAMETER);
  EXPECT_EQ(verify(xyl, &input, &noNewText), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.sim->commandCount, commands);
  EXPECT_EQ(verify(xyl, &input, &none), EFI_SUCCESS);
  EXPECT_EQ(world.sim->commandCount, commands + 1);
}

TEST(Verify, DocumentsAndAnswersThatDoNotServe) {
  World world;
  const std::string saved = world.get().text;
  struct {
    std::string saved;
    sim::FaultKind kind;
    UINT32 bytes;
    EFI_STATUS status;
    const char *line;
  } cases[] = {
      {"<raidData>", sim::faultExtra, 0, EFI_ABORTED, "Exit. Aborted"},
      {"<raidData><Adapter><LearnMode/></Adapter></raidData>", sim::faultExtra, 0, EFI_ABORTED, "Exit. Aborted"},
      {"<raidData><Method name='Delete'><OID>1</OID></Method></raidData>", sim::faultExtra, 0, EFI_INVALID_PARAMETER,
       "Exit. Invalid Parameter"},
      {saved, sim::faultNullData, 512, EFI_NOT_FOUND, "Adapter returned no data"},
      {saved, sim::faultSize, 511, EFI_NOT_FOUND, "Adapter returned no data"},
      {saved, sim::faultStatus, 0, EFI_DEVICE_ERROR, "WARN RAIDXYLVerify: Get Adapter returned error Device Error"},
  };
  for (const auto &row : cases) {
    world.clearLog();
    sim::addFault(world.sim, {row.kind, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, 1, false, EFI_DEVICE_ERROR, row.bytes});
    OperationAnswer answer = world.verify(row.saved);
    EXPECT_EQ(name(answer.status), name(row.status)) << row.line;
    EXPECT_EQ(answer.result, 0U);
    EXPECT_NE(world.log().find(row.line), std::string::npos) << world.log();
    sim::clearFaults(world.sim);
    world.expectBalanced(row.line);
  }
}
