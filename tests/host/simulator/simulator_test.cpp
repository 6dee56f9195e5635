// The files of simulated controllers.
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

struct Damage {
  const char *from, *to, *said;
};

TEST(ControllerFile, IsCheckedBeforeItIsUsed) {
  Client client("demo");
  client.expect({"0 sim pull lab.json 1009", "0 sim fail-next lab.json create"});
  std::string whole = client.read("lab.json");
  const Damage damages[] = {
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
  for (const Damage &damage : damages) {
    client.writeEdited("lab.json", whole, damage.from, damage.to);
    client.expect({std::string("4 get $LAB => xyl: cannot use 'lab.json': |") + damage.said});
  }
}

TEST(ControllerFile, IsMadeOnlyFromGoodDocuments) {
  Client client("demo");
  std::string whole = client.read("saved.xml");
  const Damage damages[] = {
      {"<ObjectID>1002<", "<ObjectID>1001<", "cannot use 'saved.xml': two disks have one id; correct"},
      {"<PD>1002<", "<PD>1009<", "a member does not list its virtual disk"},
      {"<EnclosureObjectID>301<", "<EnclosureObjectID>7<", "a disk is in an unknown enclosure"},
      {"Shelf 0<", "A name that is far too long for anything that sits in a rack or beside one<", "63"},
      {"</Adapter>", "</Adapter><Adapter/>", "more than one adapter"},
  };
  for (const Damage &damage : damages) {
    client.writeEdited("saved.xml", whole, damage.from, damage.to);
    client.expect({std::string("4 sim new --from saved.xml new.json => ") + damage.said});
  }
  // Gaps are filled so that the controller works.
  client.write("saved.xml", whole);
  client.expect(
      {"0 !sed -i '/<\\(MaxLDs\\|SlotCount\\|AccessPolicy\\|EnclosureDeviceID\\|State\\)>/d' saved.xml",
       "0 sim new --from saved.xml new.json",
       "0 sim show new.json => Enclosure 301, Shelf 0, 11 slots\n|  Online  VD 1\n",
       "1 restore saved.xml --rebuild --partial --no-backup --yes --controller new.json => to its end; what it left"});
}
