// The verbs: the documents that they write, what these do, and what is refused before anything is sent.
#include "tests/client/client.h"
#include "tests/support/paths.h"

// Each document is valid, showing it changes nothing, and what it does is found in the inventory.
TEST(Verbs, WriteDocumentsThatWork) {
  Client client("demo");
  client.write("key", "new phrase\nnot this\n");
  client.write("old", "Tall-Grass-42");
  const struct {
    const char *verb, *shown, *now;
  } cases[] = {
      {"create --level 1 --disks disk-07.enclosure-1.adapter-0,1:6 --name 'A<&>B' --size 0.5TB --stripe 128k "
       "--cache 'write through,enabled' --spare 1020",
       "<OID>1019<|<OID>1018<|<Name>A&lt;&amp;&gt;B<|<Size>500000000000<|128 Kb|<CachePolicy>Direct I/O<|Write "
       "Through<|Adaptive Read Ahead<|"
       "<DiskPolicy>Enabled<|<OID>1020<|Dedicated<|<VD>1048576<",
       "<ObjectID>1020<|Dedicated<|<VD>6<|<ObjectID>6<|A&lt;&amp;&gt;B<|RAID 1<|500000000000<|128 Kb<|Write Through<"},
      // Three of 4 TB there are, and two of 900 GB that are smaller.
      {"create --level 5 --count 3", "<OID>1018<", "<TargetID>5<|<RAIDLevel>RAID 5<|<PD>1020<|<PD>1019<|<PD>1018<"},
      {"create --level raid0 --count 2", "<OID>1009<", "<TargetID>5<|<RAIDLevel>RAID 0<|<PD>1010<|<PD>1009<"},
      {"create --level 0 --count 2 --size 2TB", "<OID>1018<|<OID>1019<", "<TargetID>5<|<Size>2000000000000<|<PD>1019<"},
      {"delete Scratch 5", "Delete|<OID>3<|<OID>5<", "<ObjectID>1015<|<State>Ready<"},
      {"spare 301:8 1010 --for System", "<OID>1009<|<OID>1010<|Dedicated<|<VD>1<", nullptr},
      {"spare 302:8", "<OID>1020<|Global<", "<ObjectID>1020<|Global<"},
      {"spare 1008 1007 --remove", "<OID>1008<|Not Hotspare<", nullptr},
      {"set 'copy back=off' rebuild=44% patrolread=manual 'patrol read=20'",
       "<CopyBackMode>Off<|<CorrectUnconfiguredAreas>True<|<PatrolReadMode>Manual<|<Name>Rebuild<|<Value>44<|<Name>"
       "Patrol Read<|<Value>20<",
       "<CopyBackMode>Off<|<CorrectUnconfiguredAreas>True<|<PatrolReadMode>Manual<|<Value>44<|<Value>20<"},
      {"set correct=false", "<PatrolReadMode>Auto<", "<CopyBackMode>On w/ SMART</CopyBackMode>\n"},
      {"key rekey --key-id k2 --passphrase-file key --old-passphrase-file old",
       "Rekey|<KeyID>k2<|<OldPassphrase></OldPassphrase>|<NewPassphrase></NewPassphrase>", "<Keyid>k2<"},
      {"key erase", "SecureErase", "</Adapter>"},
      {"identify --disk 301:2 --disk 1001 1002", "Identify|<OID>1002<|<OID>1003<|<OID>1001<", nullptr},
  };
  for (const auto &row : cases) {
    const std::string verb = std::string(row.verb) + " $LAB", yes = verb[0] == 'i' ? "" : " --yes";
    client.expect({"0 sim new --preset demo lab.json --force", "0 !cp lab.json before.json",
                   "0 !xyl " + verb + " --show | tee shown => " + row.shown,
                   "0 !xmllint --noout --schema " + sourceDir() + "/schema/changes.xsd shown 2>/dev/null",
                   "0 !cmp lab.json before.json", "0 " + verb + yes + " => Success|succeeded on Harrier"});
    if (row.now != nullptr) {
      client.expect({std::string("0 get $LAB => ") + row.now});
    }
  }
  client.expect(
      {"0 sim new --preset demo lab.json --force", "0 delete Scratch 5 --yes $LAB",
       "0 create --level 5 --count 3 $LAB => Picked 3 of the kind SATA solid state disk, 480.10 GB: 1011 "
       "(301:10), 1016 (302:4), 1017 (302:5)\n|virtual disk, RAID 5, disks 1011, ",
       "0 spare 1010 1009 $LAB => disk 1010, hot spare Global\n|disk 1009, hot spare Global\n",
       "4 key rekey --key-id k --passphrase-file old --old-passphrase-file key $LAB => the old passphrase is not",
       "0 sim new --preset empty lab.json --force", "0 key lock --key-id k --passphrase-file key $LAB",
       "0 get $LAB => <Keyid>k<"});
}

TEST(Verbs, PassphrasesAreTypedUnseen) {
  Client client("demo");
  const std::string line = "cd '" + client.folder() + "' && " + binaryDir() +
                           "/bin/xyl key rekey --key-id typed --controller lab.json; stty -a | grep -o -- '-*echo '";
  const struct {
    std::vector<std::string> answers;
    const char *said;
  } cases[] = {{{"Tall-Grass-42\r", "one\r", "two\r"}, "the two passphrases differ"},
               {{"Tall\x03"}, "no passphrase was given"},
               {{"Tall-Grass-42\r", std::string(33, 'x') + "\r"}, "at most 32 bytes"},
               {{"Tall-Grass-43\1772\r", "n\303\251\177w\r", "nw\r"}, "the key change succeeded"}};
  for (const auto &row : cases) {
    std::string text = onTerminal(line, row.answers);
    EXPECT_NE(text.find(row.said), std::string::npos) << text;
    EXPECT_EQ(text.find("Tall"), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with("\necho \r\n")) << text;
  }
  client.expect({"0 get $LAB => <Keyid>typed<"});
  std::string ended =
      onTerminal("cd '" + client.folder() + "'; " + binaryDir() +
                 "/bin/xyl key rekey --key-id k --controller lab.json & sleep 1; kill $!; wait; stty -a "
                 "| grep -o -- '-*echo '");
  EXPECT_TRUE(ended.ends_with("\necho \r\n")) << ended;
}
