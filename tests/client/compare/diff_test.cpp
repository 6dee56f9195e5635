// What differs between two documents, and who is compared with whom.
#include "tests/client/client.h"

TEST(Diff, SaysWhatHappened) {
  Client client("demo");
  const std::string said = " saved.xml $LAB => , PCI |, WWN 5EEDADA000001000\n";
  const std::string diff = "1 diff" + said, anew = "0 sim new --preset demo lab.json --force";
  client.expect({"0 diff" + said + "no difference\n",
                 R"(0 !sed -i 's/"Normal"/"Stop On Error"/; s/"Value": 12$/"Value": 13/' lab.json)",
                 R"(0 !sed -i 's/"PCIBus": 3/"PCIBus": 4/; s/demo-key-1/other/' lab.json; xyl sim firmware lab.json 2)",
                 diff + "adapter changed, firmware version: 21.3.4-0001 -> 2\n"
                        "adapter changed, check consistency mode: Normal -> Stop On Error\n"
                        "adapter changed, rate Spin Up Delay, value: 12 -> 13\n"
                        "adapter changed, key id: demo-key-1 -> other\n"
                        "adapter changed, place, PCI bus: 3 -> 4\ndifferences: 5\n",
                 anew, "0 sim pull lab.json 1008", "0 sim insert lab.json 1008 302:9", "0 sim fail lab.json 1001",
                 diff + "disk 1001 changed, state: Online -> Failed\n"
                        "disk 1008 moved: enclosure 301, slot 7 -> enclosure 302, slot 9\n"
                        "disk 1008 changed, hotspare: Global -> -\n"
                        "virtual disk 1 \"System\" changed, state: Online -> Degraded\ndifferences: 4\n",
                 anew, "0 sim pull lab.json 1007", "0 sim insert lab.json new 302:9 --size 5TB --model archive",
                 diff +
                     "disk 1007 removed: HARRIER HS10K Enterprise, HS000003EF, 2.00 TB, Ready, |, slot 6\n"
                     "disk 1021 added: KESTREL KT7200 Archive, KT000003FD, 5.00 TB, Ready, |, slot 9\ndifferences: 2\n",
                 // Another disk in the place is told once, and its new id makes no other member of it.
                 anew, "0 sim replace-disk lab.json 1009",
                 diff + "disk 1021 replaced: HARRIER HS10K SED, HE000003F1, 900.18 GB, Ready -> HARRIER HS10K SED, "
                        "HE000003FD, 900.18 GB, Ready\ndifferences: 1\n",
                 anew, "0 delete Fast --yes $LAB",
                 diff + "disk 1016 changed, free size: 876544 (0.87 MB) -> 480103981056 (480.10 GB)\n"
                        "disk 1016 changed, used size: 480103104512 (480.10 GB) -> 0 (0.00 MB)\n"
                        "disk 1016 changed, state: Online -> Ready\ndisk 1017 changed, |\n"
                        "virtual disk 5 \"Fast\" removed: RAID 1, 480.10 GB, Online\ndifferences: 7\n"});
}

TEST(Diff, RecognisesThings) {
  Client client("demo");
  // Nothing differs from itself, whatever it lacks: members that are not there, or all that a virtual disk is known by.
  client.write("lone",
               "<raidData><Adapter><ObjectType>Adapter</ObjectType><PD><ObjectID>1</ObjectID></PD><VD><ObjectID>3"
               "</ObjectID></VD><VD><ObjectID>4</ObjectID><PD>1</PD><PD>9</PD></VD></Adapter></raidData>");
  client.write("bare.xml", "<raidData/>");
  const std::string diff = " saved.xml >new.xml; xyl diff saved.xml new.xml => ";
  client.expect(
      {"0 diff lone lone => no difference", "4 diff saved.xml bare.xml => bare.xml has no adapter",
       "3 diff none.xml saved.xml => cannot read 'none.xml'", "2 diff saved.xml => no controller is given",
       // Ids are the controller's own business.
       "0 !sed -z 's/>1003</>7003</g; s/<VD>2</<VD>92</g; s/>301</>9301</g; "
       "s/\\(>Logical Disk<[^\\n]*\\n *<ObjectID>\\)2</\\192</'" +
           diff + "no difference",
       "0 !test $(diff saved.xml new.xml | grep -c '^>') -gt 20",
       // A serial number without a WWN.
       "1 !sed 's/5EED00000003EB00/0000000000000000/; s/<Slot>2</<Slot>22</'" + diff +
           "disk 1003 moved: enclosure 301, slot 2 -> enclosure 301, slot 22\n",
       "1 !sed 's/>Data</>Base</; s/<PD>1003</<PD>1009</'" + diff +
           "virtual disk 2 \"Base\" changed, name: Data -> Base\nvirtual disk 2 \"Base\" changed, members: disk 1003, "
           "disk 1004, disk 1005, disk 1006 -> disk 1009, disk 1004,",
       "1 !sed 's/>Data</>Base</; s/>volume-1[.]/>volume-9./'" + diff +
           "virtual disk 2 \"Base\" changed, name: Data -> Base\nvirtual disk 2 \"Base\" changed, FQDD: ",
       "1 !sed -z 's/RAID 10\\(<.RAIDLevel>\\n          <R\\)/RAID 1\\1/g; "
       "s/>RAID 10\\(<.RAIDLevel>\\n            <MinDisks>\\)4/>RAID 1\\12/g'" +
           diff +
           "adapter changed, RAID level desc RAID 10: present -> -\nadapter changed, RAID level desc RAID 1: - -> "
           "present\nvirtual disk 4 \"Archive\" changed, RAID level: RAID 10 -> RAID 1\ndifferences: 3\n",
       "1 !sed 's/<MaxDisks>256</<MaxDisks>255</'" + diff +
           "adapter changed, RAID level desc RAID 10, max disks: 256 -> 255\n|RAID 50, max disks|RAID 60, max disks|"
           "virtual disk 4 \"Archive\" changed, level, max disks: 256 -> 255\n",
       "1 !sed 's/<Name>Reconstruct</<Name>New</'" + diff +
           "rate Reconstruct: present -> -\nadapter changed, rate New: - -> present\ndifferences: 2\n",
       "1 !sed 's/<SlotCount>12</<SlotCount>24</'" + diff +
           "enclosure 301 changed, slot count: 12 -> 24\nenclosure 302 changed, slot count: 12 -> 24\n",
       // A WWN of 0 is none, and what goes by one name twice is two things all the same.
       "0 !sed 's/5EED00000003EB00/0000000000000000/' saved.xml >old.xml",
       "1 !sed 's/5EED00000003EC00/0000000000000000/' saved.xml >new.xml; xyl diff old.xml new.xml => "
       "disk 1003 changed, WWN: 0000000000000000 -> 5EED00000003EB00\n"
       "disk 1004 changed, WWN: 5EED00000003EC00 -> 0000000000000000\ndifferences: 2\n",
       "0 !sed 's/>Scratch</>Data</' saved.xml >twins.xml",
       "1 !sed 's/>volume-1[.]/>volume-8./; s/>volume-2[.]/>volume-9./' twins.xml >new.xml; xyl diff twins.xml "
       "new.xml => virtual disk 2 \"Data\" changed, FQDD: |virtual disk 3 \"Data\" changed, FQDD: |differences: 2\n"});
}
