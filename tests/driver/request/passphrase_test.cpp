// What becomes of passphrases in a tree.
#include <cstring>

#include "driver/xml/xml.h"
#include "tests/driver/request/parsed.h"

using namespace xyl;

namespace {

const std::string encoded = PASSPHRASE_BASE64;

std::string method(const std::string &command, const std::string &children) {
  return "<Method name=\"" + command + "\">" + children + "</Method>";
}

int g_treesWithSecret;
EFI_STATUS(EFIAPI *g_freeNode)(XML_PROTOCOL *, XML_NODE *);

// A tree that is given back is also linked as the service made it.
bool isAsMade(const XML_NODE *parent) {
  const XML_NODE *last = nullptr;
  for (const XML_NODE *child = parent->FirstChild; child != nullptr; child = child->NextSibling) {
    if (child->PrevSibling != last || !isAsMade(child)) {
      return false;
    }
    last = child;
  }
  return true;
}

bool holdsSecret(const XML_NODE *node) {
  bool found = node->Content != nullptr && strstr(node->Content, encoded.c_str()) != nullptr;
  found |= node->Attributes != nullptr && encoded == node->Attributes->Value;
  for (const XML_NODE *child = node->FirstChild; child != nullptr; child = child->NextSibling) {
    found |= holdsSecret(child);
  }
  return found;
}

EFI_STATUS EFIAPI lookAndFree(XML_PROTOCOL *service, XML_NODE *node) {
  g_treesWithSecret += holdsSecret(node) || !isAsMade(node) ? 1 : 0;
  return g_freeNode(service, node);
}

// A service that gives texts back as they are must find nothing in them, whatever came before the key.
TEST(Keys, TextsAreWiped) {
  ReadingWorld world;
  const std::string key = "<Key><Mode>LKM</Mode><Passphrase>" + encoded + "</Passphrase></Key>";
  const std::string object = "<Object>" + key + "</Object>", lock = method("Lock", object);
  const std::string shapes[] = {
      lock + method("Lock", "<Object><Key><Passphrase>" + encoded + "</Passphrase><Mode/></Key></Object>"),
      method("lock", object),
      method(encoded, ""),
      "<Adapter/>" + lock,
      method("Lock", "<Object><x/>" + key + "</Object>"),
      method("Lock", "<Object/>" + object),
      method("Lock", "<Object><key><passphrase>" + encoded + "</passphrase></key></Object>" + key),
      "<Adapter><LearnMode/></Adapter>" + lock,
      "</raidData><raidData>" + lock,
      "<Adapter><x/>" + lock + "<x/></Adapter>",
      "</raidData><raiddata><Methods>" + lock + "</Methods></raiddata><raidData>",
      method("Lock", method("Lock", "<a><b><c><d>" + lock + "</d></c></b></a>")),
  };
  driver::getXMLProto();
  g_freeNode = driver::g_xmlProtocol->FreeNode;
  driver::g_xmlProtocol->FreeNode = lookAndFree;
  for (const std::string &shape : shapes) {
    g_treesWithSecret = 0;
    Parsed parsed("<xylComponent><Configuration><raidData>" + shape + "</raidData></Configuration></xylComponent>");
    EXPECT_EQ(g_treesWithSecret, 0) << shape;
  }
  driver::g_xmlProtocol->FreeNode = g_freeNode;
}

} // namespace
