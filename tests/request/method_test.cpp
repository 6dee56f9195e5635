// Methods, their objects, keys, and what becomes of passphrases.
#include <cstring>

#include "tests/request/parsed.h"
#include "xml/xml.h"

namespace {

const std::string PLAIN = "Tarn-Secret-0815";
const std::string ENCODED = "VGFybi1TZWNyZXQtMDgxNQ==";
const std::string LONGEST = "YWJjZGVmZ2hpamtsbW5vcHFyc3R1dnd4eXowMTIzNDU="; // 32 bytes

std::string method(const std::string &command, const std::string &children) {
  return "<Method name=\"" + command + "\">" + children + "</Method>";
}

std::string keyObject(const std::string &children) {
  return "<Object><Key>" + children + "</Key></Object>";
}

struct METHOD_CASE {
  std::string element;
  bool accepted;
  RAID_CMD_BLOCK block; // pointers unused
  std::vector<UINT32> ids;
  const char *logLine;
};

RAID_CMD_BLOCK block(UINT32 command, UINT32 objectType = 0, UINT32 revision = 0) {
  RAID_CMD_BLOCK result = {};
  result.Revision = revision;
  result.Command = command;
  result.ObjectType = objectType;
  return result;
}

TEST(Methods, BecomeCommandsOrAreDropped) {
  ReadingWorld world;
  const std::string twoPDs =
      "<Object><Adapter><PD/><Enclosure/><VD/><Keyid>k</Keyid><PD><VD>1</VD></PD></Adapter></Object>";
  const METHOD_CASE cases[] = {
      {method("Delete", "<ObjectType>Virtual Disk</ObjectType><OID>2</OID><x/><OID> 5</OID>"),
       true,
       block(RAID_COMMAND_DELETE, 4),
       {2, 5},
       "parseMethod: Found OID..."},
      {"<Method id=\"Get\" name=\"create\" name2=\"Get\"/>", false, {}, {}, "Couldn't located method name!"},
      {"<Method id=\"1\" name=\"Create\"/>", true, block(RAID_COMMAND_CREATE), {}, "Found method name, it is Create"},
      {"<Method><OID>1</OID></Method>", false, {}, {}, "No attributes on method!"},
      {method("Sort", ""), false, {}, {}, "Found method name, it is Sort"},
      {method("GetReconfigCaps", "<ObjectType>Tape</ObjectType>"),
       true,
       block(RAID_COMMAND_GET_RECONFIG_CAPS, 0xFFFFFFFF),
       {},
       "Found Object Type..."},
      {method("Change", "<OID>1</OID><Object/>"), false, {}, {}, "Invalid object parameter format!"},
      {method("Change", "<OID>1</OID><Object>text</Object>"), false, {}, {}, "Invalid object parameter format!"},
      {method("Change", "<OID>1</OID><Object><Disk/></Object>"), false, {}, {}, "parseMethod: Exit. Invalid Parameter"},
      {method("Change", twoPDs), true, block(RAID_COMMAND_CHANGE), {}, "parseAdapter: Exit. Success"},
      {method("Change", "<Object><Adapter><PD/><Keyid/><LearnMode/></Adapter></Object>"),
       false,
       {},
       {},
       "parseMethod: Exit. Not Found"},
      {method("Change", "<Object><Enclosure><FQDD>f</FQDD><PD><Name>n</Name></PD></Enclosure></Object>"),
       true,
       block(RAID_COMMAND_CHANGE),
       {},
       "parseEnclosure: Exit. Success"},
      {method("Change", "<Object><Enclosure><FQDD>f</FQDD><PD><FQDD>n</FQDD><Protocol/></PD></Enclosure></Object>"),
       false,
       {},
       {},
       "parseMethod: Exit. Not Found"},
      {method("Change", "<Object><PD><VD>1</VD><FQDD>f</FQDD></PD><VD/></Object>"),
       true,
       block(RAID_COMMAND_CHANGE),
       {},
       "parsePD: Exit. Success"},
      {method("Change", "<Object><VD><PD>1</PD><FQDD>f</FQDD><RAIDLevel/></VD></Object>"),
       false,
       {},
       {},
       "parseMethod: Exit. Not Found"},
      {method("Lock", keyObject("<Mode>LKM</Mode>")), true, block(RAID_COMMAND_LOCK, 0, 3), {}, "Found Key..."},
      {method("Lock", keyObject("<Mode>LKM</Mode>") + "<Object><PD><VD>1</VD></PD></Object>"),
       true,
       block(RAID_COMMAND_LOCK, 0, 0),
       {},
       "parsePD: Exit. Success"},
      {method("Rekey", "<Object><PD><VD>1</VD></PD></Object>" + keyObject("<KeyID>k</KeyID>")),
       true,
       block(RAID_COMMAND_REKEY, 0, 3),
       {},
       "GetKeyFromXML: ReKey"},
      {method("Rekey", "<Object><VD><PD>1</PD></VD></Object>" + keyObject("<Mode>x</Mode>")),
       false,
       {},
       {},
       "Parse Security Mode for rekey method fails"},
  };
  for (const METHOD_CASE &row : cases) {
    {
      world.clearLog();
      Parsed parsed("<raidData>" + method("Get", "") + row.element + method("Check", "") + "<Adapter/></raidData>");
      EXPECT_EQ(name(parsed.status), name(EFI_SUCCESS));
      ASSERT_EQ(parsed.config->commandCount, row.accepted ? 3U : 2U) << row.element;
      std::string log = world.log();
      EXPECT_NE(log.find(row.logLine), std::string::npos) << row.element << log;
      EXPECT_NE(log.find(row.accepted ? "Command[2] is 7" : "Command[1] is 7"), std::string::npos) << log;
      const RAID_CMD_BLOCK &command = parsed.config->commands[1];
      if (row.accepted) {
        EXPECT_EQ(command.Revision, row.block.Revision) << row.element;
        EXPECT_EQ(command.Command, row.block.Command) << row.element;
        EXPECT_EQ(command.ObjectType, row.block.ObjectType) << row.element;
        EXPECT_EQ(std::vector<UINT32>(command.ObjectIds, command.ObjectIds + command.ObjectIdCount), row.ids);
        EXPECT_EQ(command.ObjectData != nullptr, row.element.find("<Object>") != std::string::npos);
      }
    }
    world.expectBalanced(row.element);
  }
  EXPECT_EQ(name(parseMethod(nullptr, nullptr)), name(EFI_INVALID_PARAMETER));
}

struct KEY_CASE {
  const char *command;
  std::string children;
  const char *logLine;
  // Of an accepted key: text at an offset of the data, and the byte behind it.
  bool accepted;
  size_t offset = 0;
  std::string text = {};
};

TEST(Keys, AreBuiltOrRefused) {
  ReadingWorld world;
  const std::string passphrase = "<Passphrase>" + ENCODED + "</Passphrase>";
  const std::string both = "<NewPassphrase>" + ENCODED + "</NewPassphrase><OldPassphrase>QUJD</OldPassphrase>";
  const KEY_CASE cases[] = {
      {"Lock", "<Mode>LKM</Mode><KeyID>abcd</KeyID>" + passphrase, "Parsing Passphrase", true, 256, PLAIN},
      {"Lock", passphrase + "<Passphrase>QUJD</Passphrase>", "Base64Decode: Exit. Done.", true, 256, "ABC"},
      {"Lock", "<Mode>RKM</Mode>", "Parsing Mode", true, 289, "\2"},
      {"Lock", "<KeyID>" + std::string(300, 'k') + "</KeyID>", "Parsing KeyID", true, 0, std::string(256, 'k')},
      {"Lock", "<x/><y/>", "GetKeyFromXML: Key", true, 0, ""},
      {"Lock", "<Passphrase/>", "Base64Decode: Exit. NULL params", true, 256, ""},
      {"Lock", "<Passphrase>" + LONGEST + "</Passphrase>", "Parsing Passphrase", true, 256,
       "abcdefghijklmnopqrstuvwxyz012345"},
      {"Rekey", both, "GetKeyFromXML: ReKey", true, 256, PLAIN},
      {"Rekey", both, "Parsing OldPassphrase", true, 548, "ABC"},
      {"Rekey", "<Mode>RKM</Mode>", "Parsing Mode", true, 289, "\2"},
      {"Lock", passphrase + "<Passphrase>" + LONGEST + "Nj" + "</Passphrase>", "Parsing Passphrase", false},
      {"Lock", passphrase + std::string("<Passphrase>") + std::string(60000, 'Q') + "</Passphrase>", "Entered", false},
      {"Lock", passphrase + both, "NewPassphrase unexpected in key/lock method!", false},
      {"Lock", passphrase + both.substr(both.find("<Old")), "OldPassphrase unexpected in key/lock method!", false},
      {"Rekey", both + passphrase, "Passphrase unexpected in rekey method!", false},
      {"Lock", passphrase + "<Mode>RKM Pending</Mode>", "Parse Security Mode for key/lock method fails", false},
      {"Rekey", both + "<Mode/>", "Parse Security Mode for rekey method fails", false},
      {"Lock", "", "Not a key or rekey!", false},
  };
  for (const KEY_CASE &row : cases) {
    {
      world.clearLog();
      Parsed parsed("<raidData>" + method(row.command, keyObject(row.children)) + "</raidData>");
      EXPECT_EQ(name(parsed.status), name(EFI_SUCCESS));
      EXPECT_EQ(parsed.count, 0U);
      EXPECT_NE(world.log().find(row.logLine), std::string::npos) << row.children << world.log();
      ASSERT_EQ(parsed.config->commandCount, row.accepted ? 1U : 0U) << row.children;
      if (row.accepted) {
        EXPECT_EQ(parsed.config->commands[0].Revision, 3U);
        const char *data = static_cast<const char *>(parsed.config->commands[0].ObjectData);
        EXPECT_EQ(memcmp(data + row.offset, row.text.data(), row.text.size()), 0) << row.children;
        EXPECT_EQ(data[row.offset + row.text.size()], 0) << row.children;
      }
    }
    world.expectBalanced(row.children);
  }
}

// Notes every block that goes back to the pool with a passphrase in it, decoded or not.
struct SecretWatch {
  explicit SecretWatch(Firmware &firmware) {
    firmware.onFree([this](const void *memory, uint64_t size) {
      for (const std::string &secret : {PLAIN.substr(0, 8), ENCODED.substr(0, 8)}) {
        seen += memmem(memory, size, secret.data(), secret.size()) != nullptr ? 1 : 0;
      }
    });
  }
  int seen = 0;
};

std::string secretDocument() {
  const std::string passphrase = "<Passphrase>" + ENCODED + "</Passphrase>";
  const std::string oldOne = "<OldPassphrase>" + ENCODED + "</OldPassphrase>";
  const std::string newOne = "<NewPassphrase>" + ENCODED + "</NewPassphrase>";
  const std::string disk = "<Object><PD><Name>n</Name><FQDD>f</FQDD><VD>1</VD></PD></Object>";
  return "<raidData>" + method("Lock", keyObject("<Mode>LKM</Mode>" + passphrase)) +
         method("Rekey", "<OID>1</OID><OID>2</OID>" + keyObject(oldOne + newOne)) +
         method("Lock", keyObject(passphrase + "<Mode>x</Mode>")) + method("Lock", keyObject(passphrase + oldOne)) +
         method("Rekey", keyObject(oldOne + passphrase)) + method("Lock", keyObject(passphrase) + disk) +
         method("Lock", keyObject(passphrase + passphrase) + keyObject(passphrase)) +
         method("Lock", keyObject("<Passphrase>" + ENCODED + ENCODED + ENCODED + "</Passphrase>")) +
         method("lock", keyObject(passphrase)) + "<Other><Key>" + passphrase + "</Key></Other>" +
         method("Change", "<Object><VD><Name>n</Name><PD>1</PD><PD>2</PD></VD></Object>") +
         "<Adapter><Name>a</Name><Keyid>k</Keyid></Adapter>" + method("Lock", keyObject(passphrase)) + "</raidData>";
}

TEST(Keys, PassphrasesLeaveNoTrace) {
  ReadingWorld world;
  SecretWatch watch(world.firmware);
  std::string document = secretDocument();
  {
    Parsed parsed(document);
    ASSERT_EQ(name(parsed.status), name(EFI_SUCCESS));
    ASSERT_EQ(parsed.config->commandCount, 5U);
    EXPECT_NE(memmem(parsed.config->commands[1].ObjectData, 584, PLAIN.data(), PLAIN.size()), nullptr);
  }
  EXPECT_EQ(watch.seen, 0);
  std::string said = world.log() + world.console();
  EXPECT_EQ(said.find(PLAIN.substr(0, 8)), std::string::npos);
  EXPECT_EQ(said.find(ENCODED.substr(0, 8)), std::string::npos);
  void *control = world.firmware.poolText(PLAIN);
  world.services->FreePool(control);
  EXPECT_EQ(watch.seen, 1) << "the watch sees nothing at all";
}

// A service that gives texts back as they are must find nothing in them.
TEST(Keys, TheElementsThemselvesAreOverwritten) {
  ReadingWorld world;
  for (const char *last : {"Mode", "Passphrase"}) { // a key that is refused, and one that is built
    XML_NODE *key = CreateXMLNode("Key");
    AppendXMLChild(key, CreateXMLTextNode("Passphrase", ENCODED.c_str()));
    AppendXMLChild(key, CreateXMLTextNode(last, ENCODED.c_str()));
    AppendXMLChild(key, CreateXMLTextNode("NewPassphrase", ENCODED.c_str()));
    RAID_KEY_RECORD *record = reinterpret_cast<RAID_KEY_RECORD *>(key);
    EXPECT_TRUE(EFI_ERROR(GetKeyFromXML(key, &record, nullptr)));
    EXPECT_EQ(record, nullptr);
    EXPECT_STREQ(key->FirstChild->Content, "");
    EXPECT_STREQ(key->FirstChild->NextSibling->NextSibling->Content, "");
    FreeXMLNode(key);
  }
  XML_NODE *empty = CreateXMLNode("Key");
  EXPECT_EQ(name(GetKeyFromXML(empty, nullptr, nullptr)), name(EFI_INVALID_PARAMETER));
  EXPECT_EQ(name(GetKeyFromXML(nullptr, nullptr, nullptr)), name(EFI_INVALID_PARAMETER));
  FreeXMLNode(empty);
}

TEST(Keys, NoAllocationFailureLeavesATrace) {
  int seen = 0;
  std::unique_ptr<SecretWatch> watch;
  sweepAllocations({.world = {.preset = nullptr, .connect = false},
                    .keepsWorld = true,
                    .prepare = [&](World &world) { watch = std::make_unique<SecretWatch>(world.firmware); },
                    .operation = [](World &) { return Parsed(secretDocument()).status; },
                    .afterFailure =
                        [&](World &, EFI_STATUS status) {
                          // A method without memory is dropped like any other bad one.
                          EXPECT_TRUE(status == EFI_OUT_OF_RESOURCES || status == EFI_SUCCESS) << name(status);
                          seen += watch->seen;
                        }});
  EXPECT_EQ(seen, 0);
}

} // namespace
