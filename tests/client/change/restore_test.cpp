// Verify, restore and import on simulated controllers.
#include "tests/client/client.h"

TEST(Restore, VerifySaysWhatChangedAndSettingsComeBack) {
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

TEST(Restore, RebuildIsShownConfirmedAndReported) {
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

TEST(Restore, RestoreNamesWhatItCannotBringBack) {
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

TEST(Restore, RestoreSaysWhatWentWrong) {
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

TEST(Restore, ImportComesBeforeARebuild) {
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
