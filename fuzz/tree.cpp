// Trees made, changed, written, read and released through the XML service. What was made stands where it was put, and
// what is written is read as the same tree.

#include <cstring>
#include <vector>

#include "base/pool.h"
#include "base/text.h"
#include "driver/xml/xml.h"
#include "fuzz/pure.h"
#include "host/firmware/state.h"

using namespace xyl;
using namespace xyl::driver;

static std::vector<XML_NODE *> g_roots;

static size_t sizeOf(const XML_NODE *node) {
  size_t size = 1;
  for (const XML_NODE *child = node->FirstChild; child != nullptr; child = child->NextSibling) {
    size += sizeOf(child);
  }
  return size;
}

// The number-th element of a tree in document order, or null.
static XML_NODE *pick(XML_NODE *node, size_t &number) {
  XML_NODE *found = number-- == 0 ? node : nullptr;
  for (XML_NODE *child = node->FirstChild; child != nullptr && found == nullptr; child = child->NextSibling) {
    found = pick(child, number);
  }
  return found;
}

static XML_NODE *made(const std::string &name) {
  XML_NODE *node = CreateXMLNode(name.c_str());
  mustHold(node != nullptr && name == node->Name && node->Content == nullptr && node->Attributes == nullptr, "made");
  return node;
}

static void linkIn(XML_NODE *parent, XML_NODE *node, bool first) {
  first ? PushXMLChild(parent, node) : AppendXMLChild(parent, node);
  const XML_NODE *child = parent->FirstChild;
  mustHold(child->PrevSibling == nullptr && (!first || child == node), "first child");
  for (; child->NextSibling != nullptr; child = child->NextSibling) {
    mustHold(child->NextSibling->PrevSibling == child, "children badly linked");
  }
  mustHold(first || child == node, "last child");
}

// What is not memory of a parsed document.
static void replaceText(CHAR8 *&text, const std::string &value) {
  host::g_firmware->pool.holds(text) ? poolFree(text) : void();
  text = textDuplicate(value.c_str());
}

// A name that is there gets another value.
static void setAttribute(XML_NODE *node, const std::string &name, const std::string &value) {
  XML_ATTRIBUTE *attribute = node->Attributes;
  while (attribute != nullptr && name != attribute->Name) {
    attribute = attribute->Next;
  }
  attribute != nullptr ? replaceText(attribute->Value, value) : AddXMLAttribute(name.c_str(), value.c_str(), node);
}

// Written and read again: a tree of its own.
static XML_NODE *copyOf(XML_NODE *node) {
  CHAR8 *text = XMLNodeToText(node);
  mustHold(text != nullptr, "a tree that is not written");
  XML_NODE *root = nullptr;
  mustHold(g_xmlProtocol->Parse(g_xmlProtocol, text, &root) == EFI_SUCCESS,
           "a text that is not read: " + std::string(text));
  poolFree(text);
  mustBeRead(node, root);
  return root;
}

static void step(FuzzInput &input) {
  static const std::string nodeNames[] = {"a", "PD", "Name-of-more-than-16-characters", "\xC3\xA4:_"};
  constexpr size_t most = 200;
  uint8_t what = input.byte();
  size_t number = input.byte() % most, root = 0;
  XML_NODE *node = nullptr;
  for (; root < g_roots.size() && (node = pick(g_roots[root], number)) == nullptr; ++root) {
  }
  const std::string &name = nodeNames[what / 8 % 4];
  bool first = what / 8 % 2 == 0;
  if (node == nullptr || what % 8 == 0) {
    g_roots.push_back(made(name));
  } else if (what % 8 < 3) {
    linkIn(node, made(name), first);
  } else if (what % 8 == 3 && root + 1 != g_roots.size()) {
    linkIn(node, g_roots.back(), first);
    g_roots.pop_back();
  } else if (what % 8 == 4 || what % 8 == 5) {
    std::string text = input.text();
    for (char &letter : text) { // what no document holds is a "?"
      bool isAllowed = static_cast<unsigned char>(letter) >= ' ' || std::strchr("\t\n\r", letter) != nullptr;
      letter = isAllowed ? letter : '?';
    }
    what % 8 == 5 ? setAttribute(node, name, text) : replaceText(node->Content, text);
  } else if (what % 8 == 6 && sizeOf(node) < most / 2 && g_roots.size() < most) {
    g_roots.push_back(copyOf(node));
  } else if (what % 8 == 7) {
    FreeXMLNode(g_roots[root]);
    g_roots.erase(g_roots.begin() + static_cast<ptrdiff_t>(root));
  }
}

// Two bytes copy a tree of up to a hundred elements.
constexpr FuzzLimits limits = {{1 << 20, 32768}, {1 << 20, 65536}, {50000000, 1000000}};

FUZZ_PURE_TARGET(tree, limits) {
  while (!input.atEnd()) {
    step(input);
  }
  for (XML_NODE *root : g_roots) {
    FreeXMLNode(root);
  }
  g_roots.clear();
}
