// Boot media as the host program has them: mistakes in job files, and results in console logs.
#include "client/transcript/transcript.h"
#include "tests/client/client.h"

using namespace xyl;

TEST(Jobs, MistakesAreToldWithTheirLine) {
  Client client("empty");
  client.write("jobs.txt",
               "\xEF\xBB\xBF# comment\r\n\r\nagain\r\nlist\r\n\tok:  show \"my\\%SERIAL%.xml\" 100%%\r\n"
               "failed: end reset\r\ndelete a -c 1\r\nlimit 5\r\ndelete \"b c\" --yes -c 03:00.0\r\nend shutdown");
  client.expect({"2 jobs jobs.txt => line 5: 'show' does not take the argument '100%'", "3 jobs none.txt",
                 "0 !sed -i 's/ 100%%//; /end shutdown/d' jobs.txt",
                 "0 jobs jobs.txt =>    4              list\n|   5  ok:         show my\\%SERIAL%.xml\n|end reset\n|"
                 "delete a -c 1\n|Each line may take 5 minutes.\n   9              delete \"b c\" --yes -c "
                 "03:00.0\nRuns at every "
                 "boot.\n",
                 "0 !xyl jobs jobs.txt | head -n 1 =>    4 "});
  const struct {
    std::string jobs, message;
  } mistakes[] = {
      {"", "there is nothing to do"},
      {"ok: list", "line 1: a condition wants a line before it"},
      {"list\nokay: list", "line 2: conditions are ok:, different: and failed:, not okay:"},
      {"list\nok:", "line 2: a condition wants a command behind it"},
      {"list\nend", "line 2: 'end' wants one of return, reset and shutdown"},
      {"end reset now", "line 1: 'end' wants"},
      {"end reset\nlist", "line 2: stands behind the end and would never run"},
      {"limit 1441\nlist", "line 1: 'limit' wants minutes"},
      {"limit 1m\nlist", "line 1: 'limit' wants minutes"},
      {"limit\nlist", "line 1: 'limit' wants minutes"},
      {"limit 5", "there is nothing to do"},
      {"show \"a b.xml", "line 1: a quotation mark has no partner"},
      {"show %SERIAL.xml", "line 1: a percent sign has no partner; %% stands for one"},
      {"show %HOST%.xml", "line 1: there are %SERIAL% and %UUID%, and no %HOST"},
      {"get --preset demo", "line 1: unknown option '--preset'"},
      {"verify", "line 1: 'verify' needs an argument SAVED.xml"},
      {"restore a.xml --yes", "line 1: --yes wants -c with the controller's PCI place, WWN or name"},
      {"restore a.xml --yes -c 1", "line 1: --yes wants -c"},
      {std::string("l\0i\0s\0t\0", 8), "the file is no UTF-8 text"},
      {std::string(70000, '\n'), "the file is larger than 64 KB"},
  };
  for (const auto &row : mistakes) {
    client.write("jobs.txt", row.jobs);
    client.expect({"2 jobs jobs.txt => " + row.message});
  }
}

TEST(Unpack, TakesWholeFilesAndNothingElse) {
  Client client("empty");
  // The second boot's file counts; the one before it was cut by the end of power, within a line.
  const std::string whole =
      "\x1b[2J\x1b[01;01HShell\r\n===== raidxyl file a\\b.xml\r\nx=\r\n===== raidxyl file a\\b.xml\r\n"
      "<a b=3D\"=C3=A9\"/>=\r\n  \r\n=20\r\n===== raidxyl end 14 E5A3F550\r\nmore\r\n";
  client.write("log", whole);
  client.expect({"0 unpack log out => 14  out/a/b.xml", "4 unpack log out => exists", "0 unpack log out --force"});
  EXPECT_EQ(client.read("out/a/b.xml"), "<a b=\"\xC3\xA9\"/>\n \n");
  client.writeEdited("log", whole + "===== raidxyl file c\r\nx\r\n===== raidxyl end 1 00000000\r\n", "more", "");
  client.expect({"4 unpack log new => left out: c", "0 !test ! -e new/c && cat new/a/b.xml"});
  // A mark that is damaged costs its own file.
  const std::string two = whole + "===== raidxyl file c\r\nx=\r\n===== raidxyl end 1 8CDC1683\r\n";
  client.writeEdited("log", two, "file a\\b.xml\r\n<", "file ..\\b.xml\r\n<");
  client.expect(
      {"4 unpack log new1 => 1  new1/c\n|left out: '..\\b.xml', no name for a file here", "0 !test ! -e b.xml"});
  client.writeEdited("log", two, "raidxyl file c", "raidx#l file c");
  client.expect({"4 unpack log new2 => new2/a/b.xml\n|without the line that names them were left out: 1"});
  client.writeEdited("log", two, "raidxyl file c", "raidxyl file c=");
  client.expect({"4 unpack log new3 => new3/a/b.xml\n|left out: cx"});
  client.writeEdited("log", whole, "=20\r\n", "");
  client.expect({"4 unpack log cut => left out: a\\b.xml"});
  client.write("log", "nothing");
  client.expect({"3 unpack log new => no results", "3 unpack none new"});
}

TEST(Unpack, BringsBackWhatAMediumSaid) {
  std::string file, name = "f\xC3\xBCr = " + std::string(100, 'n');
  for (int i = 0; i < 512; ++i) {
    file += std::string(static_cast<size_t>(i % 80), 'x') + static_cast<char>(i) + (i % 3 == 0 ? " \n" : "");
  }
  std::string log;
  client::Front front = frontInto(log);
  client::sayFile(&front, name.c_str(), file.data(), file.size());
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(line.size() <= 76 && (line.empty() || line.back() != ' ')) << line;
  }
  Client client("empty");
  // As a console's log, and as a program keeps it that writes UTF-16, in both orders of bytes.
  std::string wide[] = {"\xFF\xFE", "\xFE\xFF"};
  for (char letter : log) {
    wide[0] += {letter, '\0'};
    wide[1] += {'\0', letter};
  }
  for (const std::string &text : {log, wide[0], wide[1]}) {
    client.write("log", text);
    client.expect({"0 unpack log out --force"});
    EXPECT_EQ(client.read("out/" + name), file);
    client.expect({"0 !rm -r out"});
  }
}
