// Change documents: what they do, and what their plan says.
#include "tests/client/client.h"

TEST(Apply, ApplyRunsAndReportsAndKeepsTheState) {
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

TEST(Apply, PlanOfChangesSaysWhatIsDestroyed) {
  Client client("demo");
  const auto plan = [](const std::string &code, const std::string &method, const std::string &options = " => ") {
    return code + " !echo '<raidData><Method name=\"" + method + "</Method></raidData>' >c.xml; xyl plan c.xml $LAB" +
           options;
  };
  const std::string adapter = "\"><ObjectType>Adapter</ObjectType>";
  const std::string virtualDisk = "\"><ObjectType>Virtual Disk</ObjectType>";
  const std::string create = "Create" + virtualDisk +
                             "<OID>1009</OID><OID>1010</OID><Object><VD><ObjectType>Virtual Disk"
                             "</ObjectType><Name>New</Name><RAIDLevel>RAID 1</RAIDLevel></VD></Object>";
  client.expect(
      {plan("0", "Delete" + adapter) + "all virtual disks: 1 \"System\", RAID 1, |DESTROYED",
       plan("1", "Delete" + virtualDisk + "<OID>77</OID>") + "virtual disk 77 (not there): DESTR|will fail",
       plan("1", "Clear" + adapter) + "no disk is foreign|will fail: nothing is foreign",
       plan("0", "SecureErase" + adapter) + "the security key, |DESTROYED",
       plan("0", "Init" + virtualDisk + "<OID>2</OID>") + "\"Data\", RAID 5, 4.00 TB: DESTROYED",
       plan("0", create) + "virtual disk \"New\", RAID 1, on disk 1009; disk 1010\n",
       plan("0", "Create" + virtualDisk + "<OID>1009</OID><OID>1003</OID>") +
           "data on disk 1003, beside which there is room: AT RISK",
       plan("0", "Change\"><ObjectType>Physical Disk</ObjectType><OID>1018</OID>") + "  Change        disk 1018\n",
       // With a saved configuration a disk is the one in the same place.
       "0 sim replace-disk lab.json 1009", plan("1", create) + "disk 1009 (not there)",
       plan("0", create, " --saved saved.xml => ") + "on disk 1021; disk 1010\n"});
}
