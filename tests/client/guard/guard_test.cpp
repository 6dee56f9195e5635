// What stands in the way of outputs and of incomplete documents.
#include "tests/client/client.h"

TEST(Guard, OutputsSpareWhatStandsThere) {
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

TEST(Guard, IncompleteDocumentsAreRefused) {
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
