// Trees made, changed, written, read and released through the XML service, beside plain ones in which the same was
// done.

#include <cstring>
#include <memory>
#include <vector>

#include "base/pool.h"
#include "base/text.h"
#include "driver/xml/xml.h"
#include "fuzz/pure.h"

struct PLAIN {
  struct ATTRIBUTE {
    std::string name, value;
    bool isOwn, hasOwnValue; // not the memory of a parsed document
  };
  XML_NODE *node;
  std::string name, content;
  bool hasOwnContent = false;
  std::vector<ATTRIBUTE> attributes = {};
  PLAIN *parent = nullptr;
  std::vector<std::unique_ptr<PLAIN>> children = {};
};
using OWNER = std::unique_ptr<PLAIN>;

static std::vector<OWNER> g_roots;

static size_t sizeOf(const PLAIN &plain) {
  size_t size = 1;
  for (const OWNER &child : plain.children) {
    size += sizeOf(*child);
  }
  return size;
}

// The number-th element below, in document order.
static PLAIN *pick(PLAIN &plain, size_t &number) {
  PLAIN *found = number-- == 0 ? &plain : nullptr;
  for (size_t i = 0; i < plain.children.size() && found == nullptr; ++i) {
    found = pick(*plain.children[i], number);
  }
  return found;
}

static PLAIN &rootOf(PLAIN &plain) {
  return plain.parent == nullptr ? plain : rootOf(*plain.parent);
}

// The tree that plain says; one that was read has no content beside children, and what no document holds is a "?".
static void compare(const PLAIN &plain, const XML_NODE *node, bool isRead) {
  std::string content = isRead && !plain.children.empty() ? "" : plain.content;
  mustHold(plain.name == node->Name && content == (node->Content == nullptr ? "" : node->Content), "name or content");
  const XML_ATTRIBUTE *attribute = node->Attributes;
  for (const PLAIN::ATTRIBUTE &row : plain.attributes) {
    if (attribute == nullptr || row.name != attribute->Name || row.value != attribute->Value) {
      fuzzFault("attributes");
    }
    attribute = attribute->Next;
  }
  const XML_NODE *child = node->FirstChild, *last = nullptr;
  for (const OWNER &row : plain.children) {
    if (child == nullptr || child->PrevSibling != last) {
      fuzzFault("children");
    }
    compare(*row, child, isRead);
    last = child;
    child = child->NextSibling;
  }
  mustHold(attribute == nullptr && child == nullptr, "more than was put in");
}

// Takes over a tree that was read.
static OWNER adopt(XML_NODE *node, PLAIN *parent) {
  auto plain = std::make_unique<PLAIN>(PLAIN{node, node->Name, node->Content == nullptr ? "" : node->Content});
  plain->parent = parent;
  for (XML_ATTRIBUTE *attribute = node->Attributes; attribute != nullptr; attribute = attribute->Next) {
    plain->attributes.push_back({attribute->Name, attribute->Value, false, false});
  }
  for (XML_NODE *child = node->FirstChild; child != nullptr; child = child->NextSibling) {
    plain->children.push_back(adopt(child, plain.get()));
  }
  return plain;
}

static OWNER takeRoot(const PLAIN &root) {
  size_t at = 0;
  while (g_roots[at].get() != &root) {
    ++at;
  }
  OWNER owner = std::move(g_roots[at]);
  g_roots.erase(g_roots.begin() + static_cast<ptrdiff_t>(at));
  return owner;
}

static void linkIn(PLAIN &parent, OWNER child, size_t place) {
  XML_NODE *node = child->node;
  place %= parent.children.size() + 1;
  child->parent = &parent;
  if (place == 0) {
    PushXMLChild(parent.node, node);
    node->PrevSibling = nullptr;
  } else if (place == parent.children.size()) {
    node->NextSibling = nullptr;
    AppendXMLChild(parent.node, node);
  } else {
    XML_NODE *before = parent.children[place - 1]->node;
    node->NextSibling = before->NextSibling;
    node->NextSibling->PrevSibling = node;
    node->PrevSibling = before;
    before->NextSibling = node;
  }
  parent.children.insert(parent.children.begin() + static_cast<ptrdiff_t>(place), std::move(child));
}

static void linkOut(PLAIN &plain) {
  XML_NODE *node = plain.node, *next = node->NextSibling;
  (node->PrevSibling != nullptr ? node->PrevSibling->NextSibling : plain.parent->node->FirstChild) = next;
  next != nullptr ? void(next->PrevSibling = node->PrevSibling) : void();
  node->NextSibling = node->PrevSibling = nullptr;
  auto &row = plain.parent->children;
  size_t at = 0;
  while (row[at].get() != &plain) {
    ++at;
  }
  plain.parent = nullptr;
  g_roots.push_back(std::move(row[at]));
  row.erase(row.begin() + static_cast<ptrdiff_t>(at));
}

static void replaceText(CHAR8 *&text, bool &isOwn, const CHAR8 *value) {
  isOwn ? poolFree(text) : void();
  text = textDuplicate(value);
  isOwn = true;
}

static XML_ATTRIBUTE **attributeAt(PLAIN &plain, size_t at) {
  XML_ATTRIBUTE **link = &plain.node->Attributes;
  for (; at != 0; --at) {
    link = &(*link)->Next;
  }
  return link;
}

// A name that is there gets another value, or goes.
static void setAttribute(PLAIN &plain, const std::string &name, const std::string &value, bool goes) {
  size_t at = 0;
  while (at < plain.attributes.size() && plain.attributes[at].name != name) {
    ++at;
  }
  if (at == plain.attributes.size()) {
    AddXMLAttribute(name.c_str(), value.c_str(), plain.node);
    plain.attributes.push_back({name, value, true, true});
    return;
  }
  PLAIN::ATTRIBUTE &row = plain.attributes[at];
  XML_ATTRIBUTE **link = attributeAt(plain, at), *attribute = *link;
  if (!goes) {
    row.value = value;
    return replaceText(attribute->Value, row.hasOwnValue, value.c_str());
  }
  *link = attribute->Next;
  row.hasOwnValue ? poolFree(attribute->Value) : void();
  row.isOwn ? poolFree(attribute->Name), poolFree(attribute) : void();
  plain.attributes.erase(plain.attributes.begin() + static_cast<ptrdiff_t>(at));
}

// Written and read again: a tree of its own.
static void copyTree(const PLAIN &plain) {
  CHAR8 *text = XMLNodeToText(plain.node);
  mustHold(text != nullptr, "a tree that is not written");
  XML_NODE *root = nullptr;
  mustHold(g_xmlProtocol->Parse(g_xmlProtocol, text, &root) == EFI_SUCCESS,
           "a text that is not read: " + std::string(text));
  poolFree(text);
  compare(plain, root, /* isRead= */ true);
  g_roots.push_back(adopt(root, nullptr));
}

static void step(FuzzInput &input) {
  static const std::string NAMES[] = {"a", "PD", "Name-of-more-than-16-characters", "\xC3\xA4:_"};
  constexpr size_t MOST = 200;
  uint8_t what = input.byte(), number = input.byte();
  size_t at = number % MOST;
  PLAIN *plain = nullptr;
  for (size_t i = 0; i < g_roots.size() && plain == nullptr; ++i) {
    plain = pick(*g_roots[i], at);
  }
  const std::string &name = NAMES[what / 8 % 4];
  if (plain == nullptr || what % 8 == 0) {
    g_roots.push_back(std::make_unique<PLAIN>(PLAIN{CreateXMLNode(name.c_str()), name, ""}));
    return;
  }
  if (what % 8 == 1) {
    linkIn(*plain, std::make_unique<PLAIN>(PLAIN{CreateXMLNode(name.c_str()), name, ""}), what / 8);
  } else if (what % 8 == 2 && plain->parent != nullptr) {
    linkOut(*plain);
  } else if (what % 8 == 3 && &rootOf(*plain) != g_roots.back().get()) {
    linkIn(*plain, takeRoot(*g_roots.back()), what / 8);
  } else if (what % 8 == 4 || what % 8 == 5) {
    std::string text = input.text();
    for (char &letter : text) {
      bool isAllowed = static_cast<unsigned char>(letter) >= ' ' || std::strchr("\t\n\r", letter) != nullptr;
      letter = isAllowed ? letter : '?';
    }
    what % 8 == 5 ? setAttribute(*plain, name, text, what >= 128)
                  : (plain->content = text, replaceText(plain->node->Content, plain->hasOwnContent, text.c_str()));
  } else if (what % 8 == 6 && sizeOf(*plain) < MOST / 2 && g_roots.size() < MOST) {
    copyTree(*plain);
  } else if (what % 8 == 7) {
    PLAIN &root = rootOf(*plain);
    FreeXMLNode(root.node);
    takeRoot(root);
  }
}

// Two bytes copy a tree of up to a hundred elements.
constexpr FUZZ_LIMITS LIMITS = {{1 << 20, 32768}, {1 << 20, 65536}, {50000000, 1000000}};

FUZZ_PURE_TARGET(tree, LIMITS) {
  while (!input.atEnd()) {
    step(input);
  }
  for (const OWNER &root : g_roots) {
    compare(*root, root->node, /* isRead= */ false);
    FreeXMLNode(root->node);
  }
  g_roots.clear();
}
