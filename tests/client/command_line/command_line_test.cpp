// What is typed: mistakes, help, and how much is said.
#include "tests/client/client.h"

TEST(CommandLine, HelpComesFromTheTables) {
  Client client("demo");
  client.write("changes.xml", "<raidData/>");
  const char *parts = " => \nUsage:\n  xyl |\nOptions|\nExamples:\n  xyl |\nReturn values:\n  0 ";
  std::string general = client.expect({"0 help => \nCommands (|\n  list  |\n  sim clear-faults  |\n  help  "});
  std::istringstream lines(general.substr(general.find("Commands (")));
  std::string line;
  for (std::getline(lines, line); std::getline(lines, line) && !line.empty();) {
    std::string help = client.expect({"0 help " + line.substr(2, line.find("  ", 2) - 2) + parts});
    // Whether an example works depends on what there is, but it is always a right command line.
    std::istringstream examples(help.substr(help.find("\nExamples:\n") + 11));
    for (std::string example; std::getline(examples, example) && example.rfind("  xyl ", 0) == 0;) {
      client.expect({"0 !{ " + example + "; } >/dev/null 2>&1; test $? -ne 2"});
    }
  }
  client.expect({"0 !xyl help >help; xyl -h | cmp - help && xyl --help | cmp - help",
                 "0 !xyl help get >help; xyl get -? | cmp - help && xyl --help get superfluous | cmp - help",
                 "0 !grep -e '-o, --output FILE' help && ! grep -e --rebuild help",
                 "0 !xyl help sim >help; xyl sim -h | cmp - help && ! grep -e ' restore ' help",
                 "0 help sim =>   sim new  |  sim clear-faults  ", "0 !xyl --version get | grep -x 'xyl [0-9.]*'",
                 "0 help verify => there are differences", "1 !xyl help show | grep 'there are differences'"});
}
