// The host program: its command line, and every command on simulated controllers.
#include <gtest/gtest.h>

#include "client.h"

using ARGUMENTS = std::vector<std::string>;

static bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

static bool isOneLine(const std::string &text) {
  return !text.empty() && text.find('\n') == text.size() - 1;
}

struct MISTAKE {
  ARGUMENTS arguments;
  int code;
  std::vector<std::string> said; // parts of the one line on the error output
};

TEST(Xyl, SaysWhatIsWrongInOneLine) {
  Client client;
  client.output({"get", "--preset", "demo", "-o", "saved.xml"});
  client.write("empty", "");
  client.write("utf16", "\xFF\xFE<");
  client.write("nul", std::string("<a/>\0<b/>", 9));
  client.write("cut.xml", client.read("saved.xml").substr(0, 5000));
  client.write("bare.xml", "<raidData><Method name=\"Delete\"/></raidData>");
  const MISTAKE mistakes[] = {
      {{}, 2, {"no command", "xyl help"}},
      {{"frobnicate"}, 2, {"unknown command 'frobnicate'", "xyl help"}},
      {{"sim"}, 2, {"unknown command 'sim'"}},
      {{"get", "--frob"}, 2, {"unknown option '--frob'"}},
      {{"get", "--preset", "demo", "-o"}, 2, {"-o needs a value", "FILE"}},
      {{"get", "--output=", "--preset", "demo"}, 2, {"needs a value"}},
      {{"get", "--preset", "demo", "--preset", "sas"}, 2, {"--preset is given twice"}},
      {{"restore", "saved.xml", "--yes=1"}, 2, {"--yes takes no value"}},
      {{"list", "--preset", "demo", "-o", "x"}, 2, {"'list' does not take option --output", "xyl help list"}},
      {{"verify", "--preset", "demo"}, 2, {"'verify' needs an argument SAVED.xml"}},
      {{"show", "a", "b"}, 2, {"'show' does not take the argument 'b'"}},
      {ARGUMENTS(41, "x"), 2, {"too many arguments from 'x'"}},
      {{"get"}, 2, {"no controller", "--preset", "--controller"}},
      {{"get", "--preset", "demo", "--controller", "x"}, 2, {"exclude each other"}},
      {{"get", "--preset", "demo", "--log", "loud"}, 2, {"trace, warn or error", "'loud'"}},
      {{"get", "--preset", "nope"}, 3, {"no preset 'nope'", "demo", "large"}},
      {{"get", "--controller", "none.json"}, 3, {"cannot read 'none.json': Not Found", "xyl sim new"}},
      {{"get", "--preset", "demo", "-c", "0"}, 3, {"no controller 0"}},
      {{"get", "--preset", "demo", "-c", "18446744073709551617"}, 3, {"no controller 18446744073709551617"}},
      {{"get", "--preset", "demo", "-c", "1x"}, 2, {"not '1x'"}},
      {{"get", "--preset", "demo", "-o", "no/folder.xml"}, 4, {"cannot write 'no/folder.xml': Not Found"}},
      {{"log"}, 2, {"--log trace"}},
      {{"sim", "new", "x.json"}, 2, {"--preset NAME"}},
      {{"sim", "new", "--preset", "demo", "saved.xml"}, 4, {"'saved.xml' exists", "--force"}},
      {{"show", "none.xml"}, 3, {"cannot read 'none.xml': Not Found"}},
      {{"show", "."}, 4, {"cannot read '.'"}},
      {{"show", "empty"}, 4, {"the file is empty"}},
      {{"show", "utf16"}, 4, {"UTF-16", "-o FILE"}},
      {{"show", "nul"}, 4, {"NUL bytes"}},
      {{"show", "cut.xml"}, 4, {"cut.xml is not a well-formed XML document"}},
      {{"show", "bare.xml"}, 4, {"bare.xml has no adapter"}},
      {{"verify", "cut.xml", "--preset", "demo"}, 4, {"'cut.xml' is no saved configuration: Aborted"}},
      {{"verify", "bare.xml", "--preset", "demo"}, 4, {"'bare.xml' is no saved configuration"}},
      {{"restore", "cut.xml", "--preset", "demo"}, 4, {"cut.xml is no usable configuration"}},
      {{"restore", "bare.xml", "--preset", "demo"}, 4, {"bare.xml is no usable configuration"}},
      {{"restore", "saved.xml", "--rebuild", "--preserve-vd", "--preset", "demo"}, 2, {"exclude each other"}},
      {{"replace", "bare.xml", "--preset", "demo"}, 4, {"bare.xml is no usable configuration"}},
      {{"apply", "saved.xml", "--saved", "cut.xml", "--preset", "demo"}, 4, {"cut.xml is no usable configuration"}},
      {{"apply", "cut.xml", "--saved", "saved.xml", "--preset", "demo"}, 4, {"cut.xml is not a well-formed"}},
  };
  for (const MISTAKE &mistake : mistakes) {
    RUN run = client.run(mistake.arguments);
    std::string shown = testing::PrintToString(mistake.arguments) + run.error;
    EXPECT_EQ(run.code, mistake.code) << shown;
    EXPECT_EQ(run.out, "") << shown;
    EXPECT_TRUE(isOneLine(run.error)) << shown;
    for (const std::string &part : mistake.said) {
      EXPECT_TRUE(contains(run.error, part)) << part << shown;
    }
  }
}

TEST(Xyl, HelpComesFromTheTables) {
  Client client;
  std::string general = client.output({"help"});
  EXPECT_EQ(client.output({"-h"}), general);
  EXPECT_EQ(client.output({"--help"}), general);
  for (const char *command : {"list", "identify", "get", "show", "verify", "restore", "replace", "apply", "log",
                              "sim new", "sim presets", "help"}) {
    EXPECT_TRUE(contains(general, std::string("\n  ") + command + " ")) << command;
    ARGUMENTS words = {"help"};
    std::string name = command;
    size_t blank = name.find(' ');
    words.push_back(name.substr(0, blank));
    if (blank != std::string::npos) {
      words.push_back(name.substr(blank + 1));
    }
    std::string help = client.output(words);
    for (const char *part : {"\nUsage:\n  xyl ", "\nOptions", "\nExamples:\n  xyl ", "\nReturn values:\n  0 "}) {
      EXPECT_TRUE(contains(help, part)) << command << part;
    }
  }
  std::string get = client.output({"help", "get"});
  EXPECT_EQ(client.output({"get", "-?"}), get);
  EXPECT_EQ(client.output({"--help", "get", "superfluous"}), get);
  EXPECT_TRUE(contains(get, "-o, --output FILE"));
  EXPECT_FALSE(contains(get, "--rebuild"));
  EXPECT_FALSE(contains(client.output({"help", "show"}), "there are differences"));
  EXPECT_TRUE(contains(client.output({"help", "verify"}), "there are differences"));
}

TEST(Xyl, ShowsWhatTheControllerHolds) {
  Client client;
  EXPECT_EQ(client.output({"list", "--preset", "demo"}), "  1  Harrier R6 Integrated\n");
  EXPECT_EQ(client.output({"identify", "-c", "1", "--preset", "demo"}),
            "revision 1\nwords    00000001 00000004 000000DC EDCC0002 00000000\n");
  std::string document = client.output({"--preset", "demo", "get"});
  client.output({"get", "--preset=demo", "--output=saved.xml"});
  EXPECT_EQ(client.read("saved.xml"), document);
  std::string shown = client.output({"show", "--preset", "demo"});
  EXPECT_EQ(client.output({"show", "saved.xml"}), shown);
  EXPECT_EQ(client.output({"show", "--", "saved.xml"}), shown);
  const char *lines[] = {
      "Adapter      Harrier R6 Integrated\nFirmware     21.3.4-0001\n",
      "RAID levels  RAID 0, RAID 1, RAID 5, RAID 6, RAID 10, RAID 50, RAID 60\nKey id       demo-key-1\n",
      "Enclosure 301, Shelf 0: 12 slots, 11 disks\n",
      "     2    1003  HARRIER HS10K Enterprise  SAS          2.00 TB  Online      VD 2, 3\n",
      "     6    1007  HARRIER HS10K Enterprise  SAS          2.00 TB  Ready       hot spare of VD 2\n",
      "     7    1008  HARRIER HS10K Enterprise  SAS          2.00 TB  Ready       global hot spare\n",
      "     8    1020  -                         SATA         4.00 TB  Ready       -\n",
      "       1  System            RAID 1     600.12 GB  Online      1001, 1002 ",
      "Direct I/O, Write Back, Adaptive Read Ahead",
  };
  for (const char *line : lines) {
    EXPECT_TRUE(contains(shown, line)) << line << shown;
  }
  EXPECT_TRUE(contains(client.output({"show", "--preset", "direct"}), "\nDirectly attached disks: 8\n"));
  EXPECT_TRUE(contains(client.output({"show", "--preset", "empty"}), "Key id       -\n\nVirtual disks: 0\n"));
  RUN logged = client.run({"show", "--preset", "demo", "--log", "trace"});
  EXPECT_EQ(logged.out, shown);
  EXPECT_TRUE(contains(logged.error, "TRACE RAIDXYLGet_Live: Exit. Success"));
}

struct DIFFERENCE {
  const char *from; // in the controller's file
  const char *to;
  int code;
  const char *said;
};

TEST(Xyl, VerifySaysWhatChanged) {
  Client client;
  client.output({"sim", "new", "--preset", "demo", "lab.json"});
  client.output({"get", "--controller", "lab.json", "-o", "saved.xml"});
  std::string before = client.read("lab.json");
  const DIFFERENCE differences[] = {
      {"", "", 0, "no difference\nresult 0x0\n"},
      {"\"checkConsistencyMode\": 128", "\"checkConsistencyMode\": 129", 1,
       "setting changed, CheckConsistencyMode: Normal (saved) -> Stop On Error (now)\nresult 0x100\n"},
      {"\"value\": 30", "\"value\": 31", 1, "30 (saved) -> 31 (now)\nresult 0x100\n"},
      {"0x5EEDADA000001000", "0x5EEDADA000001001", 1,
       "adapter replaced, WWN: 5EEDADA000001000 (saved) -> 5EEDADA000001001 (now)\nresult 0x2\n"},
      {"21.3.4-0001", "21.3.3-0001", 1, "firmware lower: 21.3.4-0001 (saved) -> 21.3.3-0001 (now)\nresult 0x40\n"},
      {"21.3.4-0001", "21.10.0", 1, "firmware higher: 21.3.4-0001 (saved) -> 21.10.0 (now)\nresult 0x80\n"},
  };
  for (const DIFFERENCE &difference : differences) {
    client.write("lab.json", before);
    client.edit("lab.json", difference.from, difference.to);
    RUN run = client.run({"verify", "saved.xml", "--controller", "lab.json"});
    EXPECT_EQ(run.code, difference.code) << difference.to << run.error;
    EXPECT_EQ(run.error, "") << difference.to;
    EXPECT_TRUE(contains(run.out, difference.said)) << difference.said << run.out;
  }
}

TEST(Xyl, RebuildIsShownConfirmedAndReported) {
  Client client;
  client.output({"sim", "new", "--preset", "demo", "lab.json"});
  client.output({"get", "--controller", "lab.json", "-o", "saved.xml"});
  std::string before = client.read("lab.json");

  RUN asked = client.run({"restore", "saved.xml", "--rebuild", "--controller", "lab.json"});
  EXPECT_EQ(asked.code, 2);
  EXPECT_TRUE(contains(asked.error, "--yes") && isOneLine(asked.error)) << asked.error;
  EXPECT_EQ(client.read("lab.json"), before);
  for (const char *line :
       {"  virtual disk 2 \"Data\", RAID 5, 4.00 TB, on disks 1003, 1004, 1005, 1006\n", "  the security key\n",
        "  hot spares on disks 1007, 1008\n",
        "Disks that lose their contents: 1001, 1002, 1003, 1004, 1005, 1006, 1012, 1013, 1014, 1015, "
        "1016, 1017\n",
        "Saved disks without a partner: -\n"}) {
    EXPECT_TRUE(contains(asked.out, line)) << line << asked.out;
  }

  std::string done = client.output(
      {"restore", "saved.xml", "--rebuild", "--yes", "--log-file", "log.xml", "--controller", "lab.json"});
  EXPECT_EQ(done.find(asked.out), 0u);
  for (const char *line : {"   6  RemoveCtrlKey         Success   -                     -\n",
                           "   8  CreateVD              Success   -                     virtual disk System, RAID 1, "
                           "disks 1002, 1001\n",
                           "  14  ChangePD              Success   -                     disk 1008 "
                           "disk-07.enclosure-0.adapter-0, hot spare Global\n",
                           "the restore succeeded\n"}) {
    EXPECT_TRUE(contains(done, line)) << line << done;
  }
  EXPECT_EQ(client.read("log.xml").find("<RaidRestore>"), 0u);
  std::string after = client.output({"show", "--controller", "lab.json"});
  EXPECT_TRUE(contains(after, "Key id       -\n") && contains(after, "Virtual disks: 5\n")) << after;
}

TEST(Xyl, RestoreNamesWhatItCannotBringBack) {
  Client client;
  client.output({"sim", "new", "--preset", "demo", "lab.json"});
  client.output({"get", "--controller", "lab.json", "-o", "saved.xml"});
  // Nothing that is there can stand in for a disk of 99 TB.
  std::string saved = client.read("saved.xml");
  size_t size = saved.find("<Size>", saved.find("<ObjectID>1001</ObjectID>"));
  client.write("saved.xml", saved.replace(size, saved.find("</Size>", size) - size, "<Size>99000000000000"));
  RUN run = client.run({"restore", "saved.xml", "--rebuild", "--yes", "--controller", "lab.json"});
  EXPECT_EQ(run.code, 4);
  EXPECT_TRUE(contains(run.out, "\"System\", RAID 1, 600.12 GB: NOT CREATED, no partner for saved disks 1001\n"));
  EXPECT_TRUE(contains(run.out, "Saved disks without a partner: 1001\n")) << run.out;
  EXPECT_TRUE(contains(run.out, "CreateVD              Fail      Out of Resources      virtual disk System"))
      << run.out;
  EXPECT_TRUE(contains(run.error, "1 of its steps failed")) << run.error;
  EXPECT_TRUE(contains(client.output({"show", "--controller", "lab.json"}), "Virtual disks: 4\n"));

  // The ids in the Adapter element count, which come after those in the Inventory.
  client.write("saved.xml", saved.replace(saved.rfind("<SubdeviceID>"), 14, "<SubdeviceID>3"));
  std::string before = client.read("lab.json");
  RUN foreign = client.run({"restore", "saved.xml", "--rebuild", "--yes", "--controller", "lab.json"});
  EXPECT_EQ(foreign.code, 4);
  EXPECT_TRUE(contains(foreign.error, "another kind of adapter; nothing was changed")) << foreign.error;
  EXPECT_EQ(client.read("lab.json"), before);
}

TEST(Xyl, SettingsComeBackWithoutARebuild) {
  for (const char *command : {"restore", "replace"}) {
    Client client;
    client.output({"sim", "new", "--preset", "demo", "lab.json"});
    client.output({"get", "--controller", "lab.json", "-o", "saved.xml"});
    client.edit("lab.json", "\"value\": 30", "\"value\": 31");
    EXPECT_EQ(client.run({"verify", "saved.xml", "--controller", "lab.json"}).code, 1);
    std::string done = client.output({command, "saved.xml", "--controller", "lab.json"});
    EXPECT_TRUE(contains(done, "succeeded\n")) << done;
    EXPECT_EQ(client.run({"verify", "saved.xml", "--controller", "lab.json"}).code, 0) << command;
    EXPECT_EQ(client.output({"get", "--controller", "lab.json"}), client.read("saved.xml")) << command;
  }
}

static std::string methods(const std::string &inner) {
  return "<raidData>" + inner + "</raidData>";
}

TEST(Xyl, ApplyRunsAndReportsAndKeepsTheState) {
  Client client;
  client.output({"sim", "new", "--preset", "demo", "lab.json"});
  std::string remove = "<Method name=\"Delete\"><ObjectType>Virtual Disk</ObjectType><OID>5</OID></Method>";
  std::string lock = "<Method name=\"Lock\"><Object><Key><Mode>LKM</Mode><KeyID>k</KeyID>"
                     "<Passphrase>U2VjcmV0LTE3LVdvcmQ=</Passphrase></Key></Object></Method>";
  client.write("changes.xml", methods(remove + lock));
  RUN run = client.run({"apply", "changes.xml", "--controller", "lab.json", "--log-file", "log.xml"});
  // The controller has a key already, so the second command is refused; the first stays done.
  EXPECT_EQ(run.code, 4) << run.error;
  EXPECT_TRUE(contains(run.out, "   1  DELETE                Success   -                     virtual disk 5\n"))
      << run.out;
  EXPECT_TRUE(contains(run.out, "   2  LOCK                  Fail      ")) << run.out;
  EXPECT_TRUE(contains(run.error, "the change failed: ")) << run.error;
  std::string shown = run.out + run.error + client.read("log.xml");
  EXPECT_FALSE(contains(shown, "Secret-17") || contains(shown, "U2VjcmV0"));
  EXPECT_EQ(client.read("log.xml").find("<RaidConfig>"), 0u);
  EXPECT_TRUE(contains(client.output({"show", "--controller", "lab.json"}), "Virtual disks: 4\n"));

  // Half of a change is worse than none.
  std::string before = client.read("lab.json");
  client.write("misspelt.xml",
               methods("<Method name=\"Destroy\"/>" + std::string(remove).replace(remove.find(">5<"), 3, ">4<")));
  RUN refused = client.run({"apply", "misspelt.xml", "--controller", "lab.json"});
  EXPECT_EQ(refused.code, 4);
  EXPECT_TRUE(contains(refused.error, "1 of the 2 methods in 'misspelt.xml' cannot be read")) << refused.error;
  EXPECT_EQ(client.read("lab.json"), before);
}
