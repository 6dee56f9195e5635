// The host program: its command line, and the driver's commands on simulated controllers.
#include "client.h"

TEST(Xyl, SaysWhatIsWrongInOneLine) {
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

TEST(Xyl, HelpComesFromTheTables) {
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

TEST(Xyl, QuietLeavesErrorsAndFiles) {
  Client client("demo");
  client.expect({"2 get --preset demo --quiet => give --output", "2 show saved.xml --quiet --json => exclude",
                 "2 restore saved.xml $LAB --json --log-file - => no place for the log",
                 "0 get --preset demo --quiet -o quiet.xml => ", "0 !cmp quiet.xml saved.xml",
                 "0 sim pull lab.json 1003 --quiet", "1 diff saved.xml $LAB --quiet",
                 "4 get --preset demo --quiet -o no/folder.xml => cannot write 'no/folder.xml': Not Found",
                 "2 restore saved.xml --rebuild --partial --no-backup --quiet $LAB => give --yes"});
  EXPECT_EQ(client.expect({"1 restore saved.xml --rebuild --partial --no-backup --yes --quiet $LAB"}), "");
}

TEST(Xyl, ShowsWhatTheControllerHolds) {
  Client client("demo");
  client.expect(
      {"0 !cp lab.json box.json; xyl sim pull box.json 1003; xyl sim replace-disk box.json 1012",
       "0 list --controller box.json =>   1  Harrier R6 Integrated, PCI 03:00.0, WWN 5EEDADA000001000\n     "
       "virtual disks: 2 Online, 3 Degraded\n     disks: ",
       "0 identify -c 1 --preset demo => revision 1\nwords    00000001 00000004 000000DC EDCC0002 00000000\n",
       "0 get --preset=demo --output=demo.xml => demo.xml: Harrier R6 Integrated, PCI 03:00.0, WWN 5EED|, read 2",
       "0 !xyl --preset demo get | cmp - demo.xml && cmp demo.xml saved.xml",
       "0 show --preset demo => Adapter      Harrier R6 Integrated\nFirmware     21.3.4-0001\n|"
       "RAID levels  RAID 0, RAID 1, RAID 5, RAID 6, RAID 10, RAID 50, RAID 60\nKey id       demo-key-1\n|"
       "Enclosure 301, Shelf 0: 12 slots, 11 disks\n|"
       "     2  1003  HARRIER HS10K Enterprise  SAS     2.00 TB  Online  VD 2, 3\n|"
       "     6  1007  HARRIER HS10K Enterprise  SAS     2.00 TB  Ready   spare of VD 2\n|"
       "     7  1008  HARRIER HS10K Enterprise  SAS     2.00 TB  Ready   global spare\n|"
       "     8  1020  -                       SATA    4.00 TB  Ready   -\n|"
       "   1  System   RAID 1   600.12 GB  Online  WB ARA DIO  1001, 1002\n",
       "0 !xyl show --preset demo >shown; xyl show -- saved.xml | cmp - shown",
       "0 !xyl show --preset demo --log trace 2>log | cmp - shown && cat log => TRACE RAIDXYLGet_Live: Exit. Success",
       "0 show --preset direct => \nDirectly attached disks: 8\n",
       "0 show --preset empty => Key id       -\n\nVirtual disks: 0\n"});
}

TEST(Xyl, TablesFitWhateverTheNames) {
  Client client("demo");
  client.expect({"0 sim pull lab.json 1003",
                 "0 !xyl get $LAB | sed 's/<Name>Data</<Name>D\\&#195;\\&#164;t and quite a lot more</; "
                 "s/<Slot>4</<Slot>14</' >odd",
                 "0 show odd =>     10  1011  |    14  1005  |"
                 "   2  D\xC3\xA4t and quite...  RAID 5     4.00 TB  Degraded  WB ARA DIO  1003 missing,\n|"
                 "  1004, 1005,\n|  1006\n   3  Scratch           RAID 5     2.00 TB",
                 "1 !LC_ALL=C.UTF-8; export LC_ALL; xyl show odd | grep -aE '.{81}'",
                 "1 !LC_ALL=C.UTF-8; export LC_ALL; COLUMNS=50 xyl show odd | grep -aE '^ .{50}'",
                 "0 !COLUMNS=50 xyl show odd => 1004  HARRIER ...  SAS  |  Online\n      VD 2, 3\n|Degraded  WB ...\n  "
                 "    1003 missing, 1004, 1005, 1006\n"});
}

TEST(Xyl, OutputsSpareWhatStandsThere) {
  Client client("demo");
  client.expect({"0 !cp lab.json before.json; cp saved.xml first.xml; mkdir folder",
                 "4 get $LAB -o saved.xml => 'saved.xml' exists; write to another file, or overwrite",
                 "4 report saved.xml -o first.xml => 'first.xml' exists", "4 get --preset demo -o folder --force",
                 "2 get $LAB -o ./lab.json --force => keeps the controller",
                 "2 restore saved.xml $LAB --log-file ../work/saved.xml --force => the command reads",
                 "2 sim new --from saved.xml ./saved.xml --force => the command reads",
                 "2 get --disk saved.xml -o ./saved.xml --force => the command reads",
                 "0 !xyl get $LAB -o - | cmp - saved.xml", "0 sim firmware lab.json 2",
                 "0 get $LAB -o saved.xml --force", "1 !cmp saved.xml first.xml",
                 "0 !cp before.json lab.json; ln -s first.xml link.xml",
                 // What cannot be written is known before anything changes.
                 "4 restore first.xml $LAB --log-file no/log.xml => cannot write 'no/log.xml'",
                 "2 restore first.xml $LAB --log-file link.xml --force => 'link.xml' is what the command reads",
                 "4 restore first.xml $LAB --log-file saved.xml => 'saved.xml' exists",
                 "0 !cmp lab.json before.json && test $(ls | wc -l) = 6"});
}

TEST(Xyl, IncompleteDocumentsAreRefused) {
  Client client("demo");
  const struct {
    const char *fault, *said;
  } cases[] = {{"get:pd", "16 members of virtual disks are not listed (disk 1002 of virtual disk 1)|has 20 disks"},
               {"get:vd", "17 virtual disks that disks belong to are not listed (virtual disk 1 of disk 1001)"},
               {"get:enclosure", "20 disks are in enclosures that are not listed (enclosure 301 of disk 1001)"},
               {"getkeyid", "the key identifier is missing"}};
  for (const auto &row : cases) {
    const std::string fail = std::string("0 sim fail-next lab.json ") + row.fault;
    client.expect({fail, std::string("4 get $LAB -o new.xml => the inventory is not complete: |") + row.said,
                   "1 !test -e new.xml", fail, "4 get $LAB -o gaps.xml --force --incomplete => not complete",
                   "4 plan gaps.xml $LAB => gaps.xml is not complete: |--incomplete", "0 !cp lab.json before.json",
                   "4 restore gaps.xml $LAB => gaps.xml is not complete", "0 !cmp lab.json before.json"});
    // What was not told is not taken for what is not there.
    for (const char *command : {"show", "report", "diff saved.xml", "verify saved.xml"}) {
      client.expect({fail, std::string("4 ") + command + " $LAB => the inventory is not complete: "});
    }
  }
  client.expect({"0 sim fail-next lab.json get:pd",
                 "0 !xyl report --incomplete $LAB 2>&1 => not complete|did not tell all that it has",
                 "0 sim fail-next lab.json get:pd",
                 "4 list $LAB => Device Error\nxyl: controller 1 does not tell all"});
  // A pulled disk is missing rightly, a controller without disks is whole.
  client.expect({"0 sim pull lab.json 1003", "0 get $LAB -o degraded.xml", "0 get --preset empty -o empty.xml",
                 "0 get --preset direct -o direct.xml"});
}

TEST(Xyl, VerifySaysWhatChangedAndSettingsComeBack) {
  Client client("demo");
  client.expect({"0 !cp lab.json demo.json",
                 "0 verify saved.xml $LAB => no difference\nresult 0x0\nController: Harrier|Compared: |Not compared: ",
                 "0 !xyl sim pull lab.json 1001 && xyl sim pull lab.json 1003",
                 "0 verify saved.xml $LAB => Not compared: |disks|In all 'xyl diff' finds 8 differences\n"});
  const char *const edits[][3] = {
      {"CheckConsistencyMode\": \"Normal", "CheckConsistencyMode\": \"Stop On Error",
       "setting changed, CheckConsistencyMode: Normal (saved) -> Stop On Error (now)\nresult 0x100\n"},
      {"0x5EEDADA000001000", "0x5EEDADA000001001",
       "adapter replaced, WWN: 5EEDADA000001000 (saved) -> 5EEDADA000001001 (now)\nresult 0x2\n"},
      {"21.3.4-0001", "21.3.3-0001", "firmware lower: 21.3.4-0001 (saved) -> 21.3.3-0001 (now)\nresult 0x40\n"},
      {"21.3.4-0001", "21.10.0", "firmware higher: 21.3.4-0001 (saved) -> 21.10.0 (now)\nresult 0x80\n"},
      {"\"Value\": 30", "\"Value\": 31", "30 (saved) -> 31 (now)\nresult 0x100\n"},
  };
  for (const auto &[from, to, said] : edits) {
    client.expect({std::string("1 !cp demo.json lab.json; sed -i '0,/") + from + "/s//" + to +
                   "/' lab.json; xyl verify saved.xml $LAB => " + said});
  }
  const std::string same = "0 !xyl get $LAB | cmp - saved.xml";
  client.expect(
      {"0 !cp lab.json other.json", "0 restore saved.xml $LAB => as it was saved\nthe restore succeeded on Harrier R6",
       same, "0 !mv other.json lab.json", "0 replace saved.xml $LAB => the replacement succeeded on Harrier R6", same});
}

static const std::string REBUILD = "restore saved.xml --rebuild --partial --yes --log-file log.xml $LAB";

TEST(Xyl, RebuildIsShownConfirmedAndReported) {
  Client client("demo");
  client.expect(
      {"0 !cp lab.json demo.json",
       // The demo's key is in no document.
       "2 restore saved.xml --rebuild --yes $LAB => the security key, whose passphrase|--partial",
       "2 restore saved.xml --rebuild --partial $LAB => Controller: Harrier R6 Integrated, PCI 03:00.0, WWN "
       "5EEDADA000001000\n|"
       "  virtual disk 2 \"Data\", RAID 5, 4.00 TB, on disks 1003, 1004, 1005, 1006\n|  the security key\n|"
       "Disks that lose their contents: 1001, 1002, 1003, 1004, 1005, 1006, 1012, 1013, 1014, 1015, 1016, 1017\n|"
       "  hot spares on disks 1007, 1008\n|Saved disks without a partner: -\n|--yes",
       "0 !cmp lab.json demo.json && test $(ls | wc -l) = 3",
       "1 " + REBUILD +
           " => The rebuild destroys|Saved disks without a partner: -\n|   6  RemoveCtrlKey         Success   -        "
           "             -\n|"
           "   8  CreateVD              Success   -                     virtual disk System, RAID 1, disks 1002, "
           "1001\n|"
           "  14  ChangePD              Success   -                     disk 1008 disk-07.enclosure-0.adapter-0, hot "
           "spare Global\n|"
           "What no restore brings back:\n|key id: demo-key-1 -> -\nWhat the controller held before is in "
           "'log.before.xml'\nthe restore on Harrier|to its end; what it left is told",
       "0 !head -c 13 log.xml => <RaidRestore>", "0 !cmp log.before.xml saved.xml",
       // What was kept is not lost by the next one.
       "4 " + REBUILD + " => 'log.xml' exists", "1 " + REBUILD + " --force => before is in 'log.before-2.xml'\n",
       "0 !cmp log.before.xml saved.xml && xyl diff log.before-2.xml $LAB",
       "1 !rm log.xml; xyl " + REBUILD + " --no-backup", "0 !test ! -e log.before-3.xml",
       // A log that cannot be written is all that went wrong.
       "4 restore saved.xml --log-file /dev/full $LAB => to its end|xyl: the restore is done, but its log "
       "is lost: cannot write '/dev/full': Volume Full\n",
       "0 show $LAB => Key id       -\n|Virtual disks: 5\n"});
}

TEST(Xyl, RestoreNamesWhatItCannotBringBack) {
  Client client("demo");
  // Nothing that is there can stand in for a disk of 99 TB.
  client.writeEdited("saved.xml", client.read("saved.xml"), "<Size>600127266816", "<Size>99000000000000");
  client.expect({"1 " + REBUILD +
                     " => \"System\", RAID 1, 600.12 GB: NOT CREATED, no partner for saved disks 1001\n|"
                     "  hot spares on disks 1007, 1008\n|Saved disks without a partner: 1001\n|"
                     "CreateVD              Fail      Out of Resources      virtual disk System|"
                     "What this restore could not do:\n  disk 1007 changed, spare of: virtual disk 2 \"Data\" -> "
                     "virtual disk 2 \"Scratch\"\n"
                     "  virtual disk 1 \"System\" removed|came to its end",
                 "0 show $LAB => Virtual disks: 4\n",
                 // The ids in the Adapter element count, which come after those in the Inventory.
                 "0 !cp lab.json before.json; sed -i '0,/<SubdeviceID>/!s/<SubdeviceID>2/<SubdeviceID>3/' saved.xml",
                 "4 " + REBUILD + " --force => another kind of adapter; nothing was changed",
                 "0 !cmp lab.json before.json"});
}

TEST(Xyl, RestoreSaysWhatWentWrong) {
  Client client("demo");
  client.expect({"0 sim fail-next lab.json create out-of-resources",
                 "4 " + REBUILD +
                     " => \"System\", RAID 1, 600.12 GB, on disks 1001, 1002\n|"
                     "What went wrong:\n|  virtual disk 1 \"System\" removed|but 1 of its steps failed\n",
                 // What a settings restore leaves alone is said, and is no success.
                 "0 get $LAB -o three.xml", "0 sim new --preset demo lab.json --force",
                 "0 restore saved.xml $LAB => is as it was saved",
                 "0 !xyl sim pull lab.json 1001 && xyl sim pull lab.json 1002", "0 delete 3 --yes $LAB",
                 "1 restore saved.xml $LAB => could not do:\n|\"Scratch\" removed"});
}

TEST(Xyl, ImportComesBeforeARebuild) {
  Client client("demo");
  client.expect(
      {"0 sim replace-adapter lab.json", "0 !cp lab.json foreign.json",
       "1 plan saved.xml $LAB => virtual disk 2 \"Data\", RAID 5, 4.00 TB: NOT ON THE CONTROLLER|'xyl import' may "
       "bring back with their data|\"Data\", RAID 5, 4.00 TB: 4 of its 4 disks",
       "2 " + REBUILD + " => 'xyl import' may bring|--discard-foreign. Nothing was changed",
       "0 !cmp lab.json foreign.json", "0 import $LAB => IMPORT_FOREIGN|the import succeeded on Harrier",
       "1 restore saved.xml $LAB => adapter replaced|could not do:\n  disk 1007 changed, hotspare: Dedicated "
       "-> -\n|came to its end",
       "0 show $LAB => Virtual disks: 5\n", "4 import $LAB => Not Found",
       "0 !mv foreign.json lab.json; xyl sim pull lab.json 1003",
       "1 plan saved.xml $LAB => \"Data\", RAID 5, 4.00 TB: 3 of its 4 disks are here",
       "1 " + REBUILD + " --discard-foreign => foreign configurations, on disks 1001, 1002, 1004|\"Data\" removed",
       "0 show $LAB => Virtual disks: 3\n", "0 sim new --preset sas host.json",
       "0 get --controller host.json -o host.xml", "0 sim foreign host.json 0 1003 1004",
       "0 plan host.xml --rebuild --controller host.json => lose their contents: 1001, 1002, 1003, 1004",
       "0 sim replace-adapter host.json",
       "2 restore host.xml --rebuild --partial --yes --controller host.json => 1 of the saved virtual disks lie on "
       "foreign"});
}

TEST(Xyl, ApplyRunsAndReportsAndKeepsTheState) {
  Client client("demo");
  const std::string remove = "<Method name=\"Delete\"><ObjectType>Virtual Disk</ObjectType><OID>5</OID></Method>";
  client.write("changes.xml", "<raidData>" + remove +
                                  "<Method name=\"Lock\"><Object><Key><Mode>LKM</Mode><KeyID>k</KeyID><Passphrase>"
                                  "U2VjcmV0LTE3LVdvcmQ=</Passphrase></Key></Object></Method></raidData>");
  // Half of a change is worse than none.
  client.write("misspelt.xml", "<raidData><Method name=\"Destroy\"/>" + remove + "</raidData>");
  // The controller has a key already, so the second command is refused; the first stays done.
  std::string printed = client.expect(
      {"4 apply misspelt.xml $LAB => 1 of the 2 methods in 'misspelt.xml' cannot be read",
       "0 show $LAB => Virtual disks: 5\n",
       "2 apply changes.xml $LAB => Controller: Harrier|   1  Delete        virtual disk 5 \"Fast\", RAID 1, "
       "480.10 GB: DESTROYED, with all data\n   2  Lock          the adapter\n|--yes. Nothing was changed",
       "0 show $LAB => Virtual disks: 5\n",
       "4 apply changes.xml --yes $LAB --log-file log.xml =>    1  DELETE                Success   -  |"
       "  virtual disk 5\n|   2  LOCK                  Fail      |the change failed on Harrier"});
  client.write("shown", printed + client.read("log.xml"));
  client.expect({"1 !grep -e Secret-17 -e U2VjcmV0 shown", "0 !head -c 12 log.xml => <RaidConfig>",
                 "0 show $LAB => Virtual disks: 4\n"});
}

TEST(Xyl, PlanOfChangesSaysWhatIsDestroyed) {
  Client client("demo");
  const auto plan = [](const std::string &code, const std::string &method, const std::string &options = " => ") {
    return code + " !echo '<raidData><Method name=\"" + method + "</Method></raidData>' >c.xml; xyl plan c.xml $LAB" +
           options;
  };
  const std::string adapter = "\"><ObjectType>Adapter</ObjectType>";
  const std::string volume = "\"><ObjectType>Virtual Disk</ObjectType>";
  const std::string create = "Create" + volume +
                             "<OID>1009</OID><OID>1010</OID><Object><VD><ObjectType>Virtual Disk"
                             "</ObjectType><Name>New</Name><RAIDLevel>RAID 1</RAIDLevel></VD></Object>";
  client.expect(
      {plan("0", "Delete" + adapter) + "all virtual disks: 1 \"System\", RAID 1, |DESTROYED",
       plan("1", "Delete" + volume + "<OID>77</OID>") + "virtual disk 77 (not there): DESTR|will fail",
       plan("1", "Clear" + adapter) + "no disk is foreign|will fail: nothing is foreign",
       plan("0", "SecureErase" + adapter) + "the security key, |DESTROYED",
       plan("0", "Init" + volume + "<OID>2</OID>") + "\"Data\", RAID 5, 4.00 TB: DESTROYED",
       plan("0", create) + "virtual disk \"New\", RAID 1, on disk 1009; disk 1010\n",
       plan("0", "Create" + volume + "<OID>1009</OID><OID>1003</OID>") +
           "data on disk 1003, beside which there is room: AT RISK",
       plan("0", "Change\"><ObjectType>Physical Disk</ObjectType><OID>1018</OID>") + "  Change        disk 1018\n",
       // With a saved configuration a disk is the one in the same place.
       "0 sim replace-disk lab.json 1009", plan("1", create) + "disk 1009 (not there)",
       plan("0", create, " --saved saved.xml => ") + "on disk 1021; disk 1010\n"});
}
