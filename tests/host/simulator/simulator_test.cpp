// Simulated controllers: their files, and what a person does at them.
#include "tests/client/client.h"

TEST(ControllerFile, KeepsEveryPresetWhole) {
  for (const std::string preset : {"demo", "direct", "sas", "empty", "large"}) {
    Client client(preset);
    // Replacing the settings by the same ones saves the file again, byte for byte, and nothing beside it.
    client.expect({"0 !xyl get --preset " + preset + " | cmp - saved.xml",
                   "0 !cp lab.json before.json; xyl restore saved.xml $LAB => succeeded",
                   "0 !cmp lab.json before.json && ls => before.json\nlab.json\nsaved.xml\n",
                   "0 sim new --from saved.xml lab.json --force",
                   "0 !xyl get $LAB | cmp - saved.xml && test $(ls | wc -l) = 3"});
  }
}

struct DAMAGE {
  const char *from, *to, *said;
};

TEST(ControllerFile, IsCheckedBeforeItIsUsed) {
  Client client("demo");
  client.expect({"0 sim pull lab.json 1009", "0 sim fail-next lab.json create"});
  std::string whole = client.read("lab.json");
  const DAMAGE damages[] = {
      {"\"format\": 2", "\"format\": 1", "its format is 1, this program knows format 2; make the controller anew"},
      {"\"format\"", "\"form\"", "\"format\" is missing"},
      {"\"adapter\": {", "\"adapter\": [", "it is no JSON: parse error at line"},
      {"\"MaxLDs\": 64", "\"MaxLDs\": \"64\"", "adapter.MaxLDs: a whole number from 0 to 4294967295 is wanted"},
      {"\"MaxLDs\": 64", "\"MaxLDs\": 64, \"extra\": 1", "adapter.extra: there is no such member"},
      {"\"Embedded\": true", "\"Embedded\": 1", "adapter.PCIID.Embedded: true or false is wanted"},
      {"\"WWN\": \"0x5", "\"WWN\": \"0x15", "adapter.WWN: \"0x\" and 1 to 16"},
      {"\"SATA\",", "\"FLOPPY\",", "adapter.SupportedDiskProtocols[0]: 'FLOPPY' is no value of this member"},
      {"\"State\": \"Online\"", "\"State\": \"Asleep\"", "disks[0].State: 'Asleep' is no value"},
      {"\"ServiceTag\": \"", "\"ServiceTag\": \"12345678901", "enclosures[0].ServiceTag: at most 10 characters"},
      {"\"ServiceTag\": \"", "\"ServiceTag\": \"\\u0000", "enclosures[0].ServiceTag: it holds a character"},
      {"\"enclosures\": [", "\"enclosures\": [7,", "enclosures[0]: an object is wanted"},
      {"\"status\": \"Device Error\"", "\"status\": \"Ill\"", "pendingFaults[0].status: 'Ill' is no error status"},
      {"\"kind\": \"fails with status\"", "\"kind\": 9", "a planned fault has no such kind"},
      {"\"ObjectID\": 1009,", "\"ObjectID\": 1010,", "a pulled disk has another one's id"},
      {"\"ObjectID\": 1002,", "\"ObjectID\": 1001,", "two disks have one id"}, // the controller's own check
  };
  for (const DAMAGE &damage : damages) {
    client.writeEdited("lab.json", whole, damage.from, damage.to);
    client.expect({std::string("4 get $LAB => xyl: cannot use 'lab.json': |") + damage.said});
  }
}

TEST(ControllerFile, IsReplacedInOneStepByOneAtATime) {
  Client client("demo");
  client.expect(
      {"0 !mv lab.json real.json; chmod 640 real.json; ln -s real.json lab.json", "0 sim firmware lab.json 2",
       "0 !stat -c '%N %a' *.json => 'lab.json' -> 'real.json' 777\n'real.json' 640\n",
       "0 !grep FirmwareVersion real.json => \"2\"",
       "0 !ln -s far.xml near.xml; xyl get --preset demo -o near.xml; test -L near.xml && cmp far.xml saved.xml",
       "0 !ln -s a b; ln -s b a", "4 get --preset demo -o a => cannot write",
       // What is no regular file is written to, not replaced.
       "0 !xyl get --preset demo -o /dev/stdout | cmp - saved.xml",
       // Twelve at once, each until it had its turn: on a busy machine that may take longer than one waits.
       "0 !for i in $(seq -w 9 20); do while xyl sim pull lab.json 10$i 2>/dev/null; test $? = 4; do :; done & done; "
       "wait",
       "0 sim show lab.json => \nPulled disks: 12\n",
       // While another one has it, reading goes on, unless that would use up a fault.
       "4 !flock lab.json xyl sim pull lab.json 1001 => 'lab.json' is being changed by another xyl; try again",
       "4 !flock lab.json xyl sim new --preset sas lab.json --force => another xyl",
       "0 !flock lab.json xyl show $LAB => Enclosure 301", "0 sim fail-next lab.json get:vd",
       "4 !flock lab.json xyl show $LAB => another xyl"});
}

TEST(ControllerFile, IsMadeOnlyFromGoodDocuments) {
  Client client("demo");
  std::string whole = client.read("saved.xml");
  const DAMAGE damages[] = {
      {"<ObjectID>1002<", "<ObjectID>1001<", "cannot use 'saved.xml': two disks have one id; correct"},
      {"<PD>1002<", "<PD>1009<", "a member does not list its virtual disk"},
      {"<EnclosureObjectID>301<", "<EnclosureObjectID>7<", "a disk is in an unknown enclosure"},
      {"Shelf 0<", "A name that is far too long for anything that sits in a rack or beside one<", "63"},
      {"</Adapter>", "</Adapter><Adapter/>", "more than one adapter"},
  };
  for (const DAMAGE &damage : damages) {
    client.writeEdited("saved.xml", whole, damage.from, damage.to);
    client.expect({std::string("4 sim new --from saved.xml new.json => ") + damage.said});
  }
  // Gaps are filled so that the controller works.
  client.write("saved.xml", whole);
  client.expect(
      {"0 !sed -i '/<\\(MaxLDs\\|SlotCount\\|AccessPolicy\\|EnclosureDeviceID\\|State\\)>/d' saved.xml",
       "0 sim new --from saved.xml new.json",
       "0 sim show new.json => Enclosure 301, Shelf 0, 11 slots\n|  Online    VD 1\n",
       "1 restore saved.xml --rebuild --partial --no-backup --yes --controller new.json => to its end; what it left"});
}

TEST(XylSim, SaysWhatIsWrongAndWhatToDo) {
  Client client("demo");
  client.expect({"0 !xyl sim pull lab.json 1011; cp lab.json before.json; echo '<raidData/>' >bare.xml",
                 "2 sim new x.json => --preset NAME|xyl sim presets|--from SAVED.xml",
                 "2 sim new x.json --preset demo --from saved.xml => one of them",
                 "4 sim new --preset demo lab.json => 'lab.json' exists|--force",
                 "4 sim new --from bare.xml x.json => cannot use 'bare.xml': ",
                 "3 sim pull lab.json 99 => no disk '99'; 'xyl sim show lab.json' lists",
                 "3 sim pull lab.json 1011 => disk 1011 is pulled; 'xyl sim insert lab.json 1011' puts it back",
                 "3 sim insert lab.json 1001 => disk 1001 is in its slot; pull it first",
                 "3 sim insert lab.json 99 => no pulled disk '99'|new PLACE",
                 "2 sim insert lab.json new => needs a place|xyl sim show lab.json",
                 "2 sim insert lab.json new 301 => '301' is no place; write enclosure:slot",
                 "3 sim insert lab.json new 9:1 => no enclosure 9; there are 301, 302",
                 "3 sim insert lab.json new 302:12 => no slot 302:12; slots are numbered from 0 to 11",
                 "4 sim insert lab.json new 302:0 => 302:0 is taken by disk 1012; pull it",
                 "2 sim insert lab.json new 302:9 --size 4XB => '4XB' is no size; write it as 600GB",
                 "2 sim insert lab.json new 302:9 --model zip => no model 'zip'; there are HS10K Enterprise, HS10K SED",
                 "2 sim insert lab.json new 302:9 --model gs => several models are called 'gs'",
                 "2 sim insert lab.json 1011 --size 1TB => are for new disks",
                 "2 sim foreign lab.json five 1009 1010 => 'five' is no RAID level; write it as 5",
                 "4 sim foreign lab.json 1 1009 1001 => disk 1001 (301:0) is Online; choose",
                 "4 sim foreign lab.json 1 1009 1008 => disk 1008 (301:7) is a hot spare",
                 "4 sim foreign lab.json 5 1009 1010 => no RAID 5 of these 2 disks: Invalid Parameter|MinDisks",
                 "2 sim firmware lab.json $(seq -s . 40) => 1 to 63 characters",
                 "2 sim fail-next lab.json getforeign => 'getforeign' is no command; there are Get, |GetKeyID, any",
                 "2 sim fail-next lab.json get:fan => 'fan' is no object; there are adapter, enclosure, pd, vd, any",
                 "2 sim fail-next lab.json get success => 'success' is no error status|device-error",
                 "0 !cmp lab.json before.json && test ! -e x.json"});
}

TEST(XylSim, DisksComeAndGo) {
  Client client("demo");
  client.expect(
      {"0 sim pull lab.json 301:2 => disk 1003 (301:2) is pulled\n|virtual disk 2 \"Data\" is Degraded\n|3 \"Scr",
       "0 sim show lab.json =>   301:2           -  empty\n|Pulled disks: 1\n  301:2        1003  HS10K Enterprise",
       // In another slot it is the same disk, by its new names.
       "0 sim insert lab.json 1003 0:11 => disk 1003 (301:11) is back, Online\n|\"Data\" is Online\n",
       "0 sim fail lab.json 0:0 => disk 1001 (301:0) has failed\n|\"System\" is Degraded\n",
       "0 sim replace-disk lab.json 1001 --size 1.2TB => disk 1021 (301:0) is new: HS10K Enterprise, 1.20 TB\n",
       "0 sim replace-disk lab.json 1002 --model gs-t480 --size 5000000000 => GS-T480, 5.00 GB|\"System\" is Offline",
       "0 sim insert lab.json new 302:10 --model archive => disk 1023 (302:10) is new: KT7200 Archive, 4.00 TB",
       "0 sim show lab.json => 301:1        1022  GS-T480           SATA|Pulled disks: 2\n|Failed",
       // What has failed stays so; what the controller does not know any more is foreign.
       "0 sim insert lab.json 1001 301:2 => disk 1001 (301:2) is back, Failed\n|\"System\" is Offline",
       "0 sim pull lab.json 1017 => \"Fast\" is Degraded",
       "1 restore saved.xml --rebuild --partial --no-backup --yes $LAB => could not do",
       "0 sim insert lab.json 302:5 => disk 1017 (302:5) is back, Foreign\n", "0 sim new --preset direct direct.json",
       "0 sim insert direct.json new direct:8 => disk 1009 (direct:8) is new: GS-T480, 480.10 GB",
       "0 sim show direct.json => Key          none\n|Attached to the adapter directly\n  direct:0     1001  "});
}

TEST(XylSim, AdaptersChangeAndFaultsWait) {
  Client client("demo");
  client.expect(
      {"0 sim firmware lab.json 21.4.0",
       "0 sim foreign lab.json 'RAID 1' 1018 302:7 => a foreign RAID 1 of 4.00 TB is on them\n",
       "0 sim show lab.json => 21.4.0\nKey          demo-key-1, mode LKM|Foreign virtual disks: 1\n|disks 1018, 1019",
       "0 sim replace-adapter lab.json => WWN is 5EEDADA000001100 now; foreign virtual disks: 6\n",
       "0 sim fail-next lab.json import 'Security Violation' => the next Import fails: Security Violation\n",
       "0 sim fail-next lab.json get:adapter => the next Get:adapter fails: Device Error\n",
       "0 sim fail-next lab.json get:adapter not-ready => number 2 of the next Get:adapter fails: Not Ready\n",
       "4 get $LAB => Device Error", "4 get $LAB => Not Ready", "0 show $LAB => Key id       -\n|Virtual disks: 0\n",
       "0 sim show lab.json => Pending faults: 1\n  the next Import fails: Security Violation\n",
       "4 import $LAB => Security Violation", "0 import $LAB", "0 show $LAB => Virtual disks: 6\n",
       // What a file of before there was such a member leaves out is zero.
       "0 !sed -i '/\"FanCount\"/d' lab.json", "0 get $LAB => <FanCount>0<",
       "0 !for i in $(seq 16); do xyl sim fail-next lab.json any; done => number 16 of the next command fails",
       "4 sim fail-next lab.json any => 16 faults are pending|xyl sim clear-faults lab.json",
       "0 sim clear-faults lab.json => removed faults: 16\n"});
}
