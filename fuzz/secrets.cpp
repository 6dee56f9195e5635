// Passphrases in memory that goes back to the pool: those of a document's methods, as the document has them, decoded,
// and either of it widened.

#include <algorithm>
#include <cstring>
#include <set>
#include <vector>

#include "driver/xml/xml.h"
#include "fuzz/support.h"

using namespace xyl;

static constexpr size_t secretPart = 8; // of a secret that is looked for: its beginning

static std::vector<std::string> g_needles;
static bool g_freed;

static void watch(const std::string &secret) {
  if (secret.size() < secretPart ||
      std::set<char>(secret.begin(), secret.begin() + secretPart).size() < secretPart / 2) {
    return; // what memory is filled with, or found anywhere
  }
  std::string wide;
  for (char unit : secret.substr(0, secretPart)) {
    wide += {unit, '\0'};
  }
  g_needles.push_back(secret.substr(0, secretPart));
  g_needles.push_back(wide);
}

// Only what the documents have in no other place is a secret, and what looks like no word of driver or controller.
static void watchContent(const std::string &content, const std::string &documents) {
  static const std::string usual = fuzzWorld().get().text;
  std::string part = content.substr(0, secretPart);
  auto has = [&part](int (*kind)(int)) {
    return std::any_of(part.begin(), part.end(), [kind](unsigned char unit) { return kind(unit) != 0; });
  };
  if (countOf(documents, part) != countOf(documents, "assphrase>" + part) || countOf(usual, part) != 0 ||
      !has(std::isupper) || !has(std::islower)) {
    return;
  }
  watch(content);
  std::string decoded(driver::Base64DecodedLength(content.c_str()), '\0');
  UINT64 length = 0;
  driver::Base64Decode(content.c_str(), reinterpret_cast<UINT8 *>(decoded.data()), &length);
  if (decoded.size() >= secretPart && countOf(documents, decoded.substr(0, secretPart)) == 0) {
    watch(decoded);
  }
}

static void watchBelow(const XML_NODE *parent, bool inMethod, const std::string &documents) {
  for (const XML_NODE *child = parent->FirstChild; child != nullptr; child = child->NextSibling) {
    if (inMethod && child->Content != nullptr && std::string_view(child->Name).ends_with("assphrase")) {
      watchContent(child->Content, documents);
    }
    watchBelow(child, inMethod || std::strcmp(child->Name, "Method") == 0, documents);
  }
}

static void lookInto(const void *memory, uint64_t size) {
  g_freed = g_freed || std::any_of(g_needles.begin(), g_needles.end(), [=](const std::string &needle) {
              return memmem(memory, size, needle.data(), needle.size()) != nullptr;
            });
}

void watchSecrets(const std::string &document, const std::string &others) {
  XML_NODE *root = nullptr;
  if (document.find("assphrase>") == std::string::npos ||
      EFI_ERROR(driver::g_xmlProtocol->Parse(driver::g_xmlProtocol, document.c_str(), &root))) {
    return;
  }
  watchBelow(root, /* inMethod= */ false, document + others);
  driver::FreeXMLNode(root);
  if (!g_needles.empty()) {
    fuzzWorld().firmware.onFree(lookInto);
  }
}

void forgetSecrets() {
  fuzzWorld().firmware.onFree(nullptr);
  g_needles.clear();
  g_freed = false;
}

bool secretsFreed() {
  return g_freed;
}
