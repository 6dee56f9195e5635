// What is typed: mistakes, help, and how much is said.
#include "tests/client/client.h"

TEST(CommandLine, SaysWhatIsWrongInOneLine) {
  Client client("demo");
  client.write("utf16", "\xFF\xFE<");
  client.write("nul", std::string("<a/>\0<b/>", 9));
  client.write("cut.xml", client.read("saved.xml").substr(0, 5000));
  client.write("empty.xml", "<raidData><Other/></raidData>");
  client.expect({"0 !xyl import --preset demo --show >import.xml"});
  client.write("bare.xml",
               "<raidData><Method name=\"Delete\"><Object><PD><Protocol/></PD></Object></Method></raidData>");
  client.write("mode.xml", "<raidData><Adapter><MaxLDs/><LearnMode>Often</LearnMode></Adapter></raidData>");
  for (const char *mistake :
       {"2  => no command|xyl help",
        "2 frob => unknown command 'frob'|xyl help",
        "2 sim frob => 'sim' has no command 'frob'; it has new, presets,",
        "2 key => behind it comes one of lock, rekey, erase,",
        "2 get --frob => unknown option '--frob'",
        "2 get --preset demo -o => -o needs a value|FILE",
        "2 get --preset demo --preset sas => --preset is given twice",
        "2 list --preset demo -o x => 'list' does not take option --output|xyl help list",
        "2 verify --preset demo => 'verify' needs an argument SAVED.xml",
        "2 show a b => 'show' does not take the argument 'b'",
        "2 delete '' --preset demo --yes => argument 1 of 'delete' is empty; nothing was done",
        "2 delete 1,,2 --preset demo --yes => a name in a list of virtual disks is empty",
        "2 show saved.xml --preset demo => asks no controller; leave out --preset",
        "2 report saved.xml -c 1 => asks no controller; leave out --number",
        "2 $(seq 73) => too many arguments from '73'",
        "2 get => no controller|--preset|--controller",
        "2 get --preset demo --controller x => exclude each other",
        "2 get --preset demo --log loud => trace, warn or error|'loud'",
        "3 get --preset nope => no preset 'nope'|demo|large",
        "3 get --controller none.json => cannot read 'none.json': Not Found|xyl sim new",
        "3 get --preset demo -c 18446744073709551617 => no controller 18446744073709551617",
        "3 get --preset demo -c 1x => no controller 1x",
        "2 log => --log trace",
        "4 show /dev/null => the file is empty",
        "4 show utf16 => UTF-16|-o FILE",
        "4 show nul => NUL bytes",
        "4 verify cut.xml --preset demo => 'cut.xml' is no saved configuration: Aborted",
        "2 restore saved.xml --rebuild --preserve-vd --preset demo => exclude each other",
        "4 restore bare.xml --preset demo => bare.xml is no usable configuration: Invalid Parameter;",
        "4 restore mode.xml --preset demo => mode.xml is no usable configuration: Not Found at the element LearnMode;",
        "4 apply saved.xml --preset demo => is a configuration and has no methods, so nothing was done; 'xyl restore'",
        "4 apply empty.xml --preset demo => 'empty.xml' has no methods, so nothing was done",
        "4 apply import.xml --saved cut.xml --preset demo => cut.xml is no usable configuration",
        "4 apply cut.xml --saved saved.xml --preset demo => cut.xml is not a well-formed"}) {
    std::string printed = client.expect({mistake});
    EXPECT_EQ(printed.find('\n'), printed.size() - 1) << printed;
  }
}

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

TEST(CommandLine, QuietLeavesErrorsAndFiles) {
  Client client("demo");
  client.expect({"2 get --preset demo --quiet => give --output", "2 show saved.xml --quiet --json => exclude",
                 "2 restore saved.xml $LAB --json --log-file - => no place for the log",
                 "0 get --preset demo --quiet -o quiet.xml => ", "0 !cmp quiet.xml saved.xml",
                 "0 sim pull lab.json 1003 --quiet", "1 diff saved.xml $LAB --quiet",
                 "4 get --preset demo --quiet -o no/folder.xml => cannot write 'no/folder.xml': Not Found",
                 "2 restore saved.xml --rebuild --partial --no-backup --quiet $LAB => give --yes"});
  EXPECT_EQ(client.expect({"1 restore saved.xml --rebuild --partial --no-backup --yes --quiet $LAB"}), "");
}
