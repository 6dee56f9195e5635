// Methods, their objects, keys, and what becomes of passphrases.
#include <cstring>

#include "driver/xml/xml.h"
#include "tests/request/parsed.h"

namespace {

const std::string PLAIN = PASSPHRASE;
const std::string ENCODED = PASSPHRASE_BASE64;
const std::string LONGEST = "YWJjZGVmZ2hpamtsbW5vcHFyc3R1dnd4eXowMTIzNDU="; // 32 bytes

std::string method(const std::string &command, const std::string &children) {
  return "<Method name=\"" + command + "\">" + children + "</Method>";
}

std::string inObject(const std::string &object, const std::string &children) {
  return "<Object><" + object + ">" + children + "</" + object + "></Object>";
}

std::string keyObject(const std::string &children) {
  return inObject("Key", children);
}

TEST(Methods, BecomeCommandsOrAreDropped) {
  ReadingWorld world;
  const std::string disk = "<Object><PD><VD>1</VD></PD></Object>";
  const UINT32 dropped = ~0U;
  const UINT32 change = RAID_COMMAND_CHANGE;
  const std::string twoPDs = "<PD/><Enclosure/><VD/><Keyid>k</Keyid><PD><VD>1</VD></PD>";
  const std::string badPD = "<FQDD>f</FQDD><PD><FQDD>n</FQDD><Protocol/></PD>";
  const std::string noCaps = "<ObjectType>Tape</ObjectType>";
  const std::string ids = "<ObjectType>Virtual Disk</ObjectType><OID>2</OID><x/><OID> 5</OID>";
  struct {
    std::string attributes, children;
    UINT32 command, objectType, revision;
    std::vector<UINT32> ids;
    const char *logLine;
  } cases[] = {
      {"name='Delete'", ids, RAID_COMMAND_DELETE, 4, 0, {2, 5}, "parseMethod: Found OID..."},
      {"id='Get' name='create' name2='Get'", "", dropped, 0, 0, {}, "Couldn't located method name!"},
      {"", "<OID>1</OID>", dropped, 0, 0, {}, "No attributes on method!"},
      {"name='GetReconfigCaps'", noCaps, RAID_COMMAND_GET_RECONFIG_CAPS, ~0U, 0, {}, "Found Object Type..."},
      {"name='Change'", "<Object>text</Object>", dropped, 0, 0, {}, "Invalid object parameter format!"},
      {"name='Change'", "<Object><Disk/></Object>", dropped, 0, 0, {}, "parseMethod: Exit. Invalid Parameter"},
      {"name='Change'", inObject("Adapter", twoPDs), change, 0, 0, {}, "parseAdapter: Exit. Success"},
      {"name='Change'", inObject("Adapter", "<PD/><LearnMode/>"), dropped, 0, 0, {}, "parseMethod: Exit. Not Found"},
      {"name='Change'", inObject("Enclosure", badPD), dropped, 0, 0, {}, "parseMethod: Exit. Not Found"},
      {"name='Change'", inObject("VD", "<PD>1</PD><FQDD>f</FQDD>"), change, 0, 0, {}, "parseVD: Exit. Success"},
      {"name='Lock'", inObject("Key", "<x/>") + disk, RAID_COMMAND_LOCK, 0, 0, {}, "parsePD: Exit. Success"},
      {"name='Rekey'", disk + inObject("Key", "<x/>"), RAID_COMMAND_REKEY, 0, 3, {}, "GetKeyFromXML: ReKey"},
      {"name='Rekey'", disk + inObject("Key", "<Mode/>"), dropped, 0, 0, {}, "Security Mode for rekey method fails"},
  };
  for (const auto &row : cases) {
    const std::string element = "<Method " + row.attributes + ">" + row.children + "</Method>";
    {
      SCOPED_TRACE(element);
      world.clearLog();
      Parsed parsed("<raidData>" + method("Get", "") + element + method("Check", "") + "<Adapter/></raidData>");
      EXPECT_EQ(name(parsed.status), name(EFI_SUCCESS));
      ASSERT_EQ(parsed.config->commandCount, row.command == dropped ? 2U : 3U);
      EXPECT_NE(world.log().find(row.logLine), std::string::npos) << world.log();
      const RAID_CMD_BLOCK &command = parsed.config->commands[1];
      EXPECT_EQ(command.Command, row.command == dropped ? static_cast<UINT32>(RAID_COMMAND_CHECK) : row.command);
      EXPECT_EQ(command.Revision, row.revision);
      EXPECT_EQ(command.ObjectType, row.objectType);
      EXPECT_EQ(std::vector<UINT32>(command.ObjectIds, command.ObjectIds + command.ObjectIdCount), row.ids);
      EXPECT_EQ(command.ObjectData != nullptr, row.command != dropped && element.find("<Object>") != std::string::npos);
    }
    world.expectBalanced(element);
  }
}

TEST(Methods, LackOfMemoryIsSaid) {
  ReadingWorld world;
  const std::string text = "<raidData>" + method("Get", "<OID>1</OID>") + method("Lock", keyObject("<x/>"));
  bool failed = true;
  for (uint64_t n = 1; failed; ++n) {
    world.clearLog();
    world.firmware.failAllocation(n);
    Parsed parsed(text + "</raidData>");
    failed = world.firmware.allocationFailed();
    size_t leftOut = countOf(world.log(), "ERROR ParseRAIDData: Out of memory, a method is left out");
    EXPECT_TRUE(EFI_ERROR(parsed.status) || parsed.config->commandCount + leftOut == 2) << n;
    EXPECT_TRUE(failed || n > 4);
  }
}

TEST(Keys, AreBuiltOrRefused) {
  ReadingWorld world;
  const std::string passphrase = "<Passphrase>" + ENCODED + "</Passphrase>";
  const std::string both = "<NewPassphrase>" + ENCODED + "</NewPassphrase><OldPassphrase>QUJD</OldPassphrase>";
  const std::string longest = "<Passphrase>" + LONGEST + "</Passphrase>";
  const std::string tooLong = "<Passphrase>" + LONGEST + "Nj</Passphrase>";
  const size_t refused = ~0ULL;
  struct {
    const char *command;
    std::string children;
    const char *logLine;
    size_t offset;    // in the data
    std::string text; // there, with a NUL behind it
  } cases[] = {
      {"Lock", passphrase + "<Passphrase>QUJD</Passphrase>", "Base64Decode: Exit. Done.", 256, "ABC"},
      {"Lock", "<Mode>RKM</Mode>", "Parsing Mode", 289, "\2"},
      {"Lock", "<KeyID>" + std::string(300, 'k') + "</KeyID>", "Parsing KeyID", 0, std::string(256, 'k')},
      {"Lock", longest, "Parsing Passphrase", 256, "abcdefghijklmnopqrstuvwxyz012345"},
      {"Rekey", both, "GetKeyFromXML: ReKey", 256, PLAIN},
      {"Rekey", both, "Parsing OldPassphrase", 548, "ABC"},
      {"Lock", passphrase + tooLong, "Parsing Passphrase", refused, ""},
      {"Lock", passphrase + both, "NewPassphrase unexpected in key/lock method!", refused, ""},
      {"Rekey", both + passphrase, "Passphrase unexpected in rekey method!", refused, ""},
      {"Lock", passphrase + "<Mode>RKM Pending</Mode>", "Mode for key/lock method fails", refused, ""},
      {"Lock", "", "Not a key or rekey!", refused, ""},
  };
  for (const auto &row : cases) {
    {
      world.clearLog();
      Parsed parsed("<raidData>" + method(row.command, keyObject(row.children)) + "</raidData>");
      EXPECT_EQ(name(parsed.status), name(EFI_SUCCESS));
      EXPECT_NE(world.log().find(row.logLine), std::string::npos) << row.children << world.log();
      ASSERT_EQ(parsed.config->commandCount, row.offset == refused ? 0U : 1U) << row.children;
      if (row.offset != refused) {
        EXPECT_EQ(parsed.config->commands[0].Revision, 3U);
        const char *data = static_cast<const char *>(parsed.config->commands[0].ObjectData);
        EXPECT_EQ(memcmp(data + row.offset, row.text.c_str(), row.text.size() + 1), 0) << row.children;
      }
    }
    world.expectBalanced(row.children);
  }
}

int g_treesWithSecret;
EFI_STATUS(EFIAPI *g_freeNode)(XML_PROTOCOL *, XML_NODE *);

bool holdsSecret(const XML_NODE *node) {
  bool found = node->Content != nullptr && strstr(node->Content, ENCODED.c_str()) != nullptr;
  found |= node->Attributes != nullptr && ENCODED == node->Attributes->Value;
  for (const XML_NODE *child = node->FirstChild; child != nullptr; child = child->NextSibling) {
    found |= holdsSecret(child);
  }
  return found;
}

EFI_STATUS EFIAPI lookAndFree(XML_PROTOCOL *service, XML_NODE *node) {
  g_treesWithSecret += holdsSecret(node) ? 1 : 0;
  return g_freeNode(service, node);
}

// A service that gives texts back as they are must find nothing in them, whatever came before the key.
TEST(Keys, TextsAreWiped) {
  ReadingWorld world;
  const std::string key = "<Key><Mode>LKM</Mode><Passphrase>" + ENCODED + "</Passphrase></Key>";
  const std::string object = "<Object>" + key + "</Object>", lock = method("Lock", object);
  const std::string shapes[] = {
      lock + method("Lock", "<Object><Key><Passphrase>" + ENCODED + "</Passphrase><Mode/></Key></Object>"),
      method("lock", object),
      method(ENCODED, ""),
      "<Adapter/>" + lock,
      method("Lock", "<Object><x/>" + key + "</Object>"),
      method("Lock", "<Object/>" + object),
      method("Lock", "<Object><key><passphrase>" + ENCODED + "</passphrase></key></Object>" + key),
      "<Adapter><LearnMode/></Adapter>" + lock,
      "</raidData><raidData>" + lock,
  };
  getXMLProto();
  g_freeNode = g_xmlProtocol->FreeNode;
  g_xmlProtocol->FreeNode = lookAndFree;
  for (const std::string &shape : shapes) {
    g_treesWithSecret = 0;
    Parsed parsed("<xylComponent><Configuration><raidData>" + shape + "</raidData></Configuration></xylComponent>");
    EXPECT_EQ(g_treesWithSecret, 0) << shape;
  }
  g_xmlProtocol->FreeNode = g_freeNode;
}

} // namespace
