// The run-time options document: what texts do to the run mode word, and what is said about them.
#include <sstream>

#include "driver/restore/restore.h"
#include "tests/support/world.h"

using namespace xyl;
using namespace xyl::driver;

TEST(RunTime, OptionsSetTheirBits) {
  World world(WorldOptions{.preset = nullptr});
  std::istringstream documents(sourceFile("tests/driver/restore/options.txt"));
  std::ostringstream readings;
  UINT32 flags = 0;
  for (std::string line; std::getline(documents, line);) {
    readings << line << "\n";
    for (UINT32 before : {0U, ~0U}) {
      if (line[0] != '#') {
        world.clearLog();
        flags = before;
        EFI_STATUS status = parseRunTimeXML(line.c_str(), &flags);
        readings << "  " << name(status) << ": " << std::hex << before << " becomes " << flags << "\n" << world.log();
        world.expectBalanced(line);
      }
    }
  }
  expectGolden("driver/restore/options_read.txt", readings.str());
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
  World world(WorldOptions{.preset = nullptr});
  getXMLProto();
  g_parse = g_xmlProtocol->Parse;
  g_xmlProtocol->Parse = parseAndFail;
  EXPECT_EQ(name(parseRunTimeXML("<RunMode><Mode>Restore</Mode></RunMode>", &flags)), name(EFI_VOLUME_CORRUPTED));
  EXPECT_EQ(flags, 0u);
  g_xmlProtocol->Parse = g_parse;
  world.expectBalanced();
}
