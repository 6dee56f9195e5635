// What differs between two documents, and who is compared with whom.
#include "client.h"

TEST(Diff, SaysWhatHappened) {
  const struct {
    std::vector<std::string> done;
    const char *said; // the whole output
  } stories[] = {
      {{"0 !true"}, "no difference\n"},
      {{"0 !sed -i 's/\"Normal\"/\"Stop On Error\"/; s/\"Value\": 12$/\"Value\": 13/; "
        "s/\"PCIBus\": 3/\"PCIBus\": 4/; s/demo-key-1/other/' lab.json",
        "0 sim firmware lab.json 2"},
       "adapter changed, firmware version: 21.3.4-0001 -> 2\n"
       "adapter changed, check consistency mode: Normal -> Stop On Error\n"
       "adapter changed, rate Spin Up Delay, value: 12 -> 13\n"
       "adapter changed, key id: demo-key-1 -> other\n"
       "adapter changed, place, PCI bus: 3 -> 4\ndifferences: 5\n"},
      {{"0 sim pull lab.json 1008", "0 sim insert lab.json 1008 302:9", "0 sim fail lab.json 1001"},
       "disk 1001 changed, state: Online -> Failed\n"
       "disk 1008 moved: enclosure 301, slot 7 -> enclosure 302, slot 9\n"
       "disk 1008 changed, hotspare: Global -> -\n"
       "virtual disk 1 \"System\" changed, state: Online -> Degraded\ndifferences: 4\n"},
      {{"0 sim pull lab.json 1007", "0 sim insert lab.json new 302:9 --size 5TB --model archive"},
       "disk 1007 removed: HARRIER HS10K Enterprise, HS000003EF, 2.00 TB, Ready, enclosure 301, slot 6\n"
       "disk 1021 added: KESTREL KT7200 Archive, KT000003FD, 5.00 TB, Ready, enclosure 302, slot 9\ndifferences: 2\n"},
      // Another disk in the place is told once, and its new id makes no other member of it.
      {{"0 sim replace-disk lab.json 1009"},
       "disk 1021 replaced: HARRIER HS10K SED, HE000003F1, 900.18 GB, Ready -> HARRIER HS10K SED, HE000003FD, "
       "900.18 GB, Ready\ndifferences: 1\n"},
      {{"0 delete Fast --yes --controller lab.json"},
       "disk 1016 changed, free size: 876544 (0.87 MB) -> 480103981056 (480.10 GB)\n"
       "disk 1016 changed, used size: 480103104512 (480.10 GB) -> 0 (0.00 MB)\n"
       "disk 1016 changed, state: Online -> Ready\n"
       "disk 1017 changed, free size: 876544 (0.87 MB) -> 480103981056 (480.10 GB)\n"
       "disk 1017 changed, used size: 480103104512 (480.10 GB) -> 0 (0.00 MB)\n"
       "disk 1017 changed, state: Online -> Ready\n"
       "virtual disk 5 \"Fast\" removed: RAID 1, 480.10 GB, Online\ndifferences: 7\n"},
  };
  for (const auto &story : stories) {
    Client client("demo");
    client.expect(story.done);
    std::string code = std::string(story.said) == "no difference\n" ? "0" : "1";
    std::string said = client.expect({code + " diff saved.xml --controller lab.json => Controller: |, PCI "});
    EXPECT_EQ(said.substr(said.find('\n') + 1), story.said);
  }
}

// The same document with some texts replaced, each in all places.
struct EDIT {
  std::string from, to;
};

static std::string edited(std::string text, const std::vector<EDIT> &edits) {
  for (const EDIT &edit : edits) {
    EXPECT_NE(text.find(edit.from), std::string::npos) << edit.from;
    for (size_t at = 0; (at = text.find(edit.from, at)) != std::string::npos; at += edit.to.size()) {
      text.replace(at, edit.from.size(), edit.to);
    }
  }
  return text;
}

TEST(Diff, RecognisesThings) {
  const struct {
    const char *name;
    std::vector<EDIT> edits;
    const char *said;
  } cases[] = {
      // Ids are the controller's own business.
      {"other ids",
       {{">1003<", ">7003<"},
        {"<VD>2<", "<VD>92<"},
        {">301<", ">9301<"},
        {">Logical Disk</ObjectType>\n          <ObjectID>2<", ">Logical Disk</ObjectType>\n          <ObjectID>92<"}},
       "no difference"},
      {"a serial number without WWN",
       {{"5EED00000003EB00", "0000000000000000"}, {"<Slot>2<", "<Slot>22<"}},
       "disk 1003 moved: enclosure 301, slot 2 -> enclosure 301, slot 22\n"},
      {"another name and member",
       {{">Data<", ">Base<"}, {"<PD>1003</PD>", "<PD>1009</PD>"}},
       "virtual disk 2 \"Base\" changed, name: Data -> Base\nvirtual disk 2 \"Base\" changed, members: disk 1003, "
       "disk 1004, disk 1005, disk 1006 -> disk 1009, disk 1004,"},
      {"another name and FQDD",
       {{">Data<", ">Base<"}, {">volume-1.", ">volume-9."}},
       "virtual disk 2 \"Base\" changed, name: Data -> Base\nvirtual disk 2 \"Base\" changed, FQDD: "},
      {"another level of a virtual disk",
       {{"<RAIDLevel>RAID 10</RAIDLevel>\n          <R", "<RAIDLevel>RAID 1</RAIDLevel>\n          <R"},
        {"<RAIDLevel>RAID 10</RAIDLevel>\n            <MinDisks>4",
         "<RAIDLevel>RAID 1</RAIDLevel>\n            <MinDisks>2"}},
       "adapter changed, RAID level desc RAID 10: present -> -\nvirtual disk 4 \"Archive\" changed, RAID level: "
       "RAID 10 -> RAID 1\ndifferences: 2\n"},
      {"another level of the adapter",
       {{"<MaxDisks>256<", "<MaxDisks>255<"}},
       "adapter changed, RAID level desc RAID 10, max disks: 256 -> 255\n|RAID 50, max disks|RAID 60, max disks|"
       "virtual disk 4 \"Archive\" changed, level, max disks: 256 -> 255\n"},
      {"a rate less",
       {{"<Name>Reconstruct</Name>", "<Name>New</Name>"}},
       "rate Reconstruct: present -> -\nadapter changed, rate New: - -> present\ndifferences: 2\n"},
      {"an enclosure more",
       {{"<SlotCount>12<", "<SlotCount>24<"}},
       "enclosure 301 changed, slot count: 12 -> 24\nenclosure 302 changed, slot count: 12 -> 24\n"},
  };
  Client client("demo");
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    client.write("new.xml", edited(client.read("saved.xml"), row.edits));
    const char *code = std::string(row.said) == "no difference" ? "0" : "1";
    client.expect({std::string(code) + " diff saved.xml new.xml => " + row.said});
  }
  // A WWN of 0 is none, and what goes by one name twice is two things all the same.
  const std::string saved = client.read("saved.xml"), nameless = "0000000000000000";
  const std::string twins = edited(saved, {{">Scratch<", ">Data<"}});
  client.write("old.xml", edited(saved, {{"5EED00000003EB00", nameless}}));
  client.write("new.xml", edited(saved, {{"5EED00000003EC00", nameless}}));
  client.write("twins.xml", twins);
  client.write("moved.xml", edited(twins, {{">volume-1.", ">volume-8."}, {">volume-2.", ">volume-9."}}));
  client.expect(
      {"1 diff old.xml new.xml => disk 1003 changed, WWN: 0000000000000000 -> 5EED00000003EB00\n"
       "disk 1004 changed, WWN: 5EED00000003EC00 -> 0000000000000000\ndifferences: 2\n",
       "1 diff twins.xml moved.xml => virtual disk 2 \"Data\" changed, FQDD: |virtual disk 3 \"Data\" changed, "
       "FQDD: |differences: 2\n"});
  // Nothing differs from itself, whatever it lacks: members that are not there, or all that a virtual disk is known by.
  client.write("lone.xml", "<raidData><Adapter><ObjectType>Adapter</ObjectType><PD><ObjectID>1</ObjectID></PD>"
                           "<VD><ObjectID>3</ObjectID></VD><VD><ObjectID>4</ObjectID><PD>1</PD><PD>9</PD></VD>"
                           "</Adapter></raidData>");
  client.expect({"0 diff lone.xml lone.xml => no difference"});
  client.write("bare.xml", "<raidData/>");
  client.expect({"4 diff saved.xml bare.xml => bare.xml has no adapter",
                 "3 diff none.xml saved.xml => cannot read 'none.xml'", "2 diff saved.xml => no controller is given"});
}
