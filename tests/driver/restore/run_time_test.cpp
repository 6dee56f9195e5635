// The run-time options document: what texts do to the run mode word, and what is said about those that are refused.
#include "driver/restore/restore.h"
#include "tests/support/world.h"

static const char *const VALID = "Valid Status = Success";

static const struct {
  const char *name;
  const char *text; // inside "RunMode", or a whole document
  UINT32 before, after;
  EFI_STATUS status;
  const char *line; // that the log must have
} g_runTimeCases[] = {
    {"all options",
     "<Mode>Restore</Mode><StopOnError>True</StopOnError><Raid><PreserveVDConfig>True</PreserveVDConfig></Raid>", 0,
     0x1C, EFI_SUCCESS, VALID},
    {"both modes", "<Mode>Normal</Mode><Mode>Restore</Mode>", 0, 0x0E, EFI_SUCCESS,
     "<Mode>:After parseRunModeData = E"},
    {"first child of Raid whatever its name", "<Raid><Any>False</Any><PreserveVDConfig>True</PreserveVDConfig></Raid>",
     0, 0, EFI_SUCCESS, "PreserveVDConfig:FALSE:*Mode 0"},
    {"later options win, other bits and elements stay",
     "<Other/><StopOnError>True</StopOnError><StopOnError>False</StopOnError><Raid><P>False</P></Raid>"
     "<Raid><P>True</P></Raid>",
     0xFFFFFF00, 0xFFFFFF00, EFI_SUCCESS, "PreserveVDConfig:TRUE:*Mode FFFFFF00"},
    {"mode in lower case", "<StopOnError>True</StopOnError><Mode>restore</Mode>", 0, 0x18, EFI_INVALID_PARAMETER,
     "ERROR parseRunTimeXML: Node content is invalid: restore"},
    {"mode without text", "<Mode/>", 0, 8, EFI_INVALID_PARAMETER, "ERROR parseRunTimeXML: Node content is invalid: "},
    {"stop without a truth value", "<StopOnError>Y&#10;\xE9s\x7F</StopOnError>", 0, 8, EFI_INVALID_PARAMETER,
     "invalid: Y??s?"},
    {"empty Raid", "<Raid/><Mode>Restore</Mode>", 0, 8, EFI_INVALID_PARAMETER, "No children for PreserveVDConfig"},
    {"Raid without a truth value", "<Raid><P>false</P></Raid>", 0, 8, EFI_INVALID_PARAMETER,
     "ERROR parseRunTimeXML: PreserveVDConfig Node content is invalid: false"},
    {"another root", "<RunModes><Mode>Restore</Mode></RunModes>", 0, 8, EFI_INVALID_PARAMETER,
     "ERROR parseRunTimeXML: DOC head is RunModes, I don't know how to parse this"},
    {"empty root", "<RunMode/>", 0, 8, EFI_INVALID_PARAMETER, "WARN parseRunTimeXML: No children, this is not valid"},
    {"no document", "nothing", 0x100, 0x100, EFI_INVALID_PARAMETER, "ERROR parseRunTimeXML: Parse doc failed to parse"},
};

TEST(RunTime, OptionsSetTheirBits) {
  World world(WORLD_OPTIONS{.preset = nullptr});
  UINT32 flags = 7;
  for (auto &row : g_runTimeCases) {
    SCOPED_TRACE(row.name);
    world.clearLog();
    flags = row.before;
    std::string text = row.text;
    bool whole = text[0] != '<' || text.starts_with("<RunMode");
    EXPECT_EQ(name(parseRunTimeXML((whole ? text : "<RunMode>" + text + "</RunMode>").c_str(), &flags)),
              name(row.status));
    EXPECT_EQ(flags, row.after);
    std::string log = world.log();
    EXPECT_EQ(countOf(log, row.line), 1u) << log;
    EXPECT_EQ(countOf(log, VALID), EFI_ERROR(row.status) ? 0u : 1u);
    world.expectBalanced();
  }
  EXPECT_EQ(name(parseRunTimeXML(nullptr, &flags)), name(EFI_INVALID_PARAMETER));
  EXPECT_EQ(name(parseRunTimeXML("<RunMode/>", nullptr)), name(EFI_INVALID_PARAMETER));
}

static decltype(XML_PROTOCOL::Parse) g_parse;
static EFI_STATUS EFIAPI parseAndFail(XML_PROTOCOL *service, const CHAR8 *text, XML_NODE **root) {
  g_parse(service, text, root);
  return EFI_VOLUME_CORRUPTED;
}

TEST(RunTime, TheServicesWordCounts) {
  UINT32 flags = 0;
  World world(WORLD_OPTIONS{.preset = nullptr});
  getXMLProto();
  g_parse = g_xmlProtocol->Parse;
  g_xmlProtocol->Parse = parseAndFail;
  EXPECT_EQ(name(parseRunTimeXML("<RunMode><Mode>Restore</Mode></RunMode>", &flags)), name(EFI_VOLUME_CORRUPTED));
  EXPECT_EQ(flags, 0u);
  g_xmlProtocol->Parse = g_parse;
  world.expectBalanced();
}
