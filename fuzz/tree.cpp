// Trees made, changed, written, read and released through the XML service. What was made stands where it was put, and
// what is written is read as the same tree.

#include <cstring>
#include <vector>

#include "base/pool.h"
#include "base/text.h"
#include "driver/xml/xml.h"
#include "fuzz/pure.h"
#include "host_firmware/state.h"

struct PLACE {
  XML_NODE *node, *parent;
  size_t root; // whose tree it is in
};

static std::vector<XML_NODE *> g_roots;

static size_t sizeOf(const XML_NODE *node) {
  size_t size = 1;
  for (const XML_NODE *child = node->FirstChild; child != nullptr; child = child->NextSibling) {
    size += sizeOf(child);
  }
  return size;
}

// The number-th element of a tree, in document order.
static PLACE pick(XML_NODE *node, XML_NODE *parent, size_t root, size_t &number) {
  PLACE found = {number-- == 0 ? node : nullptr, parent, root};
  for (XML_NODE *child = node->FirstChild; child != nullptr && found.node == nullptr; child = child->NextSibling) {
    found = pick(child, node, root, number);
  }
  return found;
}

static std::string textOr(const CHAR8 *text) {
  return text == nullptr ? "" : text;
}

// A tree that was read has no content beside children.
static void compare(const XML_NODE *made, const XML_NODE *read) {
  std::string content = made->FirstChild != nullptr ? "" : textOr(made->Content);
  mustHold(textOr(made->Name) == read->Name && content == textOr(read->Content), "name or content");
  const XML_ATTRIBUTE *a = made->Attributes, *b = read->Attributes;
  for (; a != nullptr && b != nullptr; a = a->Next, b = b->Next) {
    mustHold(std::strcmp(a->Name, b->Name) == 0 && std::strcmp(a->Value, b->Value) == 0, "attributes");
  }
  const XML_NODE *child = made->FirstChild, *twin = read->FirstChild, *last = nullptr;
  for (; child != nullptr && twin != nullptr; child = child->NextSibling, twin = twin->NextSibling) {
    mustHold(twin->PrevSibling == last, "children");
    compare(child, twin);
    last = twin;
  }
  mustHold(a == nullptr && b == nullptr && child == nullptr && twin == nullptr, "more or less than was put in");
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

static void linkOut(const PLACE &place) {
  XML_NODE *node = place.node, *next = node->NextSibling;
  (node->PrevSibling != nullptr ? node->PrevSibling->NextSibling : place.parent->FirstChild) = next;
  next != nullptr ? void(next->PrevSibling = node->PrevSibling) : void();
  node->NextSibling = node->PrevSibling = nullptr;
  g_roots.push_back(node);
}

// What is not memory of a parsed document.
static void freeOwn(void *memory) {
  g_firmware->pool.holds(memory) ? poolFree(memory) : void();
}

static void replaceText(CHAR8 *&text, const std::string &value) {
  freeOwn(text);
  text = textDuplicate(value.c_str());
}

// A name that is there gets another value, or goes.
static void setAttribute(XML_NODE *node, const std::string &name, const std::string &value, bool goes) {
  XML_ATTRIBUTE **link = &node->Attributes;
  while (*link != nullptr && name != (*link)->Name) {
    link = &(*link)->Next;
  }
  XML_ATTRIBUTE *attribute = *link;
  if (attribute == nullptr) {
    AddXMLAttribute(name.c_str(), value.c_str(), node);
    mustHold(*link != nullptr && name == (*link)->Name && value == (*link)->Value && (*link)->Next == nullptr, "added");
  } else if (!goes) {
    replaceText(attribute->Value, value);
  } else {
    *link = attribute->Next;
    freeOwn(attribute->Value);
    freeOwn(attribute->Name);
    freeOwn(attribute);
  }
}

// Written and read again: a tree of its own.
static XML_NODE *copyOf(XML_NODE *node) {
  CHAR8 *text = XMLNodeToText(node);
  mustHold(text != nullptr, "a tree that is not written");
  XML_NODE *root = nullptr;
  mustHold(g_xmlProtocol->Parse(g_xmlProtocol, text, &root) == EFI_SUCCESS,
           "a text that is not read: " + std::string(text));
  poolFree(text);
  compare(node, root);
  return root;
}

static void step(FuzzInput &input) {
  static const std::string NAMES[] = {"a", "PD", "Name-of-more-than-16-characters", "\xC3\xA4:_"};
  constexpr size_t MOST = 200;
  uint8_t what = input.byte(), number = input.byte();
  size_t at = number % MOST;
  PLACE place = {};
  for (size_t i = 0; i < g_roots.size() && place.node == nullptr; ++i) {
    place = pick(g_roots[i], nullptr, i, at);
  }
  XML_NODE *node = place.node;
  const std::string &name = NAMES[what / 8 % 4];
  if (node == nullptr || what % 8 == 0) {
    g_roots.push_back(made(name));
  } else if (what % 8 == 1) {
    linkIn(node, made(name), what / 8 % 2 == 0);
  } else if (what % 8 == 2 && place.parent != nullptr) {
    linkOut(place);
  } else if (what % 8 == 3 && place.root + 1 != g_roots.size()) {
    linkIn(node, g_roots.back(), what / 8 % 2 == 0);
    g_roots.pop_back();
  } else if (what % 8 == 4 || what % 8 == 5) {
    std::string text = input.text();
    for (char &letter : text) { // what no document holds is a "?"
      bool isAllowed = static_cast<unsigned char>(letter) >= ' ' || std::strchr("\t\n\r", letter) != nullptr;
      letter = isAllowed ? letter : '?';
    }
    what % 8 == 5 ? setAttribute(node, name, text, what >= 128) : replaceText(node->Content, text);
  } else if (what % 8 == 6 && sizeOf(node) < MOST / 2 && g_roots.size() < MOST) {
    g_roots.push_back(copyOf(node));
  } else if (what % 8 == 7) {
    FreeXMLNode(g_roots[place.root]);
    g_roots.erase(g_roots.begin() + static_cast<ptrdiff_t>(place.root));
  }
}

// Two bytes copy a tree of up to a hundred elements.
constexpr FUZZ_LIMITS LIMITS = {{1 << 20, 32768}, {1 << 20, 65536}, {50000000, 1000000}};

FUZZ_PURE_TARGET(tree, LIMITS) {
  while (!input.atEnd()) {
    step(input);
  }
  for (XML_NODE *root : g_roots) {
    FreeXMLNode(root);
  }
  g_roots.clear();
}
