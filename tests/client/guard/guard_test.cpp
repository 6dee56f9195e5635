// What stands in the way of outputs and of incomplete documents.
#include "tests/client/client.h"

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
