// The run-time options document: what texts do to the run mode word, and what is said about those that are refused.
#include "restore/restore.h"
#include "tests/support/world.h"

struct RUN_TIME_CASE {
  const char *name;
  const char *text; // null: none given
  UINT32 before;
  UINT32 after;
  EFI_STATUS status;
  const char *line; // that the log must have
};

static const char *const VALID = "Valid Status = Success";

static const RUN_TIME_CASE g_runTimeCases[] = {
    {"all options",
     "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError><Raid><PreserveVDConfig>True</PreserveVDConfig></"
     "Raid>"
     "</RunMode>",
     0, 0x1C, EFI_SUCCESS, VALID},
    {"preserving is the default", "<RunMode><Mode>Normal</Mode></RunMode>", 0, 0x0A, EFI_SUCCESS, VALID},
    {"both modes", "<RunMode><Mode>Normal</Mode><Mode>Restore</Mode></RunMode>", 0, 0x0E, EFI_SUCCESS,
     "<Mode>:After parseRunModeData = E"},
    {"no mode, first child of Raid whatever its name",
     "<RunMode><Raid><Any>False</Any><PreserveVDConfig>True</PreserveVDConfig></Raid></RunMode>", 0, 0, EFI_SUCCESS,
     "PreserveVDConfig:FALSE:*Mode 0"},
    {"later options win, other bits and elements stay",
     "<RunMode><Other/><StopOnError>True</StopOnError><StopOnError>False</StopOnError><Raid><P>False</P></Raid>"
     "<Raid><P>True</P></Raid></RunMode>",
     0xFFFFFF00, 0xFFFFFF00, EFI_SUCCESS, "PreserveVDConfig:TRUE:*Mode FFFFFF00"},
    {"mode in lower case", "<RunMode><StopOnError>True</StopOnError><Mode>restore</Mode></RunMode>", 0, 0x18,
     EFI_INVALID_PARAMETER, "ERROR parseRunTimeXML: Node content is invalid: restore"},
    {"mode with a blank", "<RunMode><Mode>Restore </Mode></RunMode>", 0, 8, EFI_INVALID_PARAMETER, "invalid: Restore "},
    {"mode without text", "<RunMode><Mode/></RunMode>", 0, 8, EFI_INVALID_PARAMETER, "Node content is invalid: "},
    {"stop without a truth value", "<RunMode><StopOnError>Yes</StopOnError></RunMode>", 0, 8, EFI_INVALID_PARAMETER,
     "ERROR parseRunTimeXML: Node content is invalid: Yes"},
    {"empty Raid", "<RunMode><Raid/><Mode>Restore</Mode></RunMode>", 0, 8, EFI_INVALID_PARAMETER,
     "TRACE parseRunTimeXML: No children for PreserveVDConfig"},
    {"Raid without a truth value", "<RunMode><Raid><PreserveVDConfig>false</PreserveVDConfig></Raid></RunMode>", 0, 8,
     EFI_INVALID_PARAMETER, "ERROR parseRunTimeXML: PreserveVDConfig Node content is invalid: false"},
    {"another root", "<RunModes><Mode>Restore</Mode></RunModes>", 0, 8, EFI_INVALID_PARAMETER,
     "ERROR parseRunTimeXML: DOC head is RunModes, I don't know how to parse this"},
    {"empty root", "<RunMode/>", 0, 8, EFI_INVALID_PARAMETER, "WARN parseRunTimeXML: No children, this is not valid"},
    {"no document", "nothing", 0x100, 0x100, EFI_INVALID_PARAMETER, "ERROR parseRunTimeXML: Parse doc failed to parse"},
    {"no text", nullptr, 7, 7, EFI_INVALID_PARAMETER, "Exit. Invalid Parameter"},
};

TEST(RunTime, OptionsSetTheirBits) {
  World world(WORLD_OPTIONS{.preset = nullptr});
  for (const RUN_TIME_CASE &row : g_runTimeCases) {
    SCOPED_TRACE(row.name);
    world.clearLog();
    UINT32 flags = row.before;
    EXPECT_EQ(name(parseRunTimeXML(row.text, &flags)), name(row.status));
    EXPECT_EQ(flags, row.after);
    std::string log = world.log();
    EXPECT_EQ(countOf(log, row.line), 1u) << log;
    EXPECT_EQ(countOf(log, VALID), EFI_ERROR(row.status) ? 0u : 1u);
    world.expectBalanced();
  }
  EXPECT_EQ(name(parseRunTimeXML("<RunMode/>", nullptr)), name(EFI_INVALID_PARAMETER));
}

TEST(RunTime, NeedsTheService) {
  World world(WORLD_OPTIONS{.preset = nullptr, .xmlService = false});
  UINT32 flags = 0;
  EXPECT_EQ(name(parseRunTimeXML("<RunMode/>", &flags)), name(EFI_NOT_FOUND));
  EXPECT_EQ(flags, 0u);
}

// A service that gives no root and calls it a success, and one that gives a root and calls it a failure.
TEST(RunTime, AnswersWithTheStatusOfTheService) {
  World world(WORLD_OPTIONS{.preset = nullptr});
  getXMLProto();
  static EFI_STATUS(EFIAPI * parse)(XML_PROTOCOL *, const CHAR8 *, XML_NODE **);
  parse = g_xmlProtocol->Parse;
  UINT32 flags = 1;
  XML_PROTOCOL odd = *g_xmlProtocol;
  XML_PROTOCOL *service = g_xmlProtocol;
  g_xmlProtocol = &odd;
  odd.Parse = [](XML_PROTOCOL *, const CHAR8 *, XML_NODE **) EFIAPI { return EFI_SUCCESS; };
  EXPECT_EQ(name(parseRunTimeXML("<RunMode/>", &flags)), name(EFI_SUCCESS));
  odd.Parse = [](XML_PROTOCOL *This, const CHAR8 *text, XML_NODE **root) EFIAPI {
    parse(This, text, root);
    return EFI_ABORTED;
  };
  EXPECT_EQ(name(parseRunTimeXML("<RunMode><Mode>Normal</Mode></RunMode>", &flags)), name(EFI_ABORTED));
  g_xmlProtocol = service;
  EXPECT_EQ(flags, 1u);
  EXPECT_EQ(countOf(world.log(), "WARN parseRunTimeXML: Parse XML returned error Aborted"), 1u);
  world.expectBalanced();
}
