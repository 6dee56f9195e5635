// Ownership, want of memory, size: the pool holds what it held before, whatever trees are made of.

#include <algorithm>
#include <cstring>
#include <random>

#include "fixture.h"
#include "tests/support/world.h"

using namespace xyl;
using namespace xyl::driver;

TEST_F(XmlService, EveryAllocationMayFail) {
  std::string attributes;
  for (size_t i = 0; i < 3000; i++) {
    attributes += " a" + std::to_string(i) + "='" + std::string(i % 7, 'v') + "'";
  }
  // Each needs several blocks, of records or for one text.
  const std::string documents[] = {
      "<root a='1' b='2'>" + repeated(300, "<a>x</a>") + "</root>",
      "<a" + attributes + "/>",
      "<" + repeated(6000, "n") + "/>",
      "<a b='" + repeated(6000, "&lt;") + "'/>",
      "<a>" + repeated(6000, "&lt;") + "</a>",
      "<a><![CDATA[" + repeated(6000, "\r\n") + "]]></a>",
      repeated(1000, "<a>") + repeated(1000, "</a>"),
  };
  for (const std::string &document : documents) {
    SCOPED_TRACE(document.substr(0, 20));
    CHAR8 *text = nullptr;
    for (uint64_t nth = 1; text == nullptr; nth++) {
      XML_NODE *root = reinterpret_cast<XML_NODE *>(this), *node = root;
      firmware.failAllocation(nth, host::FailMode::fromThenOn);
      EFI_STATUS parsed = xml->Parse(xml, document.c_str(), &root);
      EFI_STATUS created = xml->CreateNode(xml, "a", &node);
      EFI_STATUS written = root == nullptr ? parsed : xml->Serialize(xml, root, &text);
      EXPECT_EQ(parsed, root == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS) << nth;
      EXPECT_EQ(created, node == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS) << nth;
      EXPECT_EQ(written, text == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS) << nth;
      EXPECT_EQ(firmware.allocationFailed(), text == nullptr) << nth;
      EXPECT_TRUE(text == nullptr || nth > 5) << nth;
      firmware.failAllocation(0);
      FreeXMLNode(root);
      FreeXMLNode(node);
      EXPECT_EQ(firmware.pool().liveAllocations, text == nullptr ? 0u : 1u) << nth;
    }
    firmware.bootServices()->FreePool(text);
  }
}

// Users link pool texts, attributes and nodes into parsed trees and parsed trees into created ones.
TEST_F(XmlService, MixedTreeGoesBackWhole) {
  XML_NODE *parsed = parse("<p a='1'><q b='2'>text</q><r/></p>");
  XML_NODE *q = parsed->FirstChild;
  q->Content = textDuplicate("in place of the parsed text");
  q->Attributes->Value = textDuplicate("in place of the parsed value");
  q->NextSibling->Content = textDuplicate("new");
  AddXMLAttribute("c", "3", q->NextSibling);
  AddXMLAttribute("d", "4", parsed);
  parsed->Attributes->Next->Prev = parsed->Attributes;
  PushXMLChild(push(q->NextSibling, "created", "made"), parse("<other>tree</other>"));
  XML_NODE *root = CreateXMLNode("root");
  PushXMLChild(root, parsed);
  EXPECT_EQ(outlineOf(root), "root{p[a=1][d=4]{q[b=in place of the parsed value]=in place of the parsed text "
                             "r[c=3]=new{created=made{other=tree}}}}");
  FreeXMLNode(root);
}

// The pool never hears of an address inside a document, whatever users do with it: the fixture asks the books.
TEST_F(XmlService, WhatLiesInADocumentIsNotFreedAlone) {
  const struct {
    const char *what;
    EFI_STATUS status;
    void (*change)(XML_NODE *parsed, XML_NODE *other);
  } cases[] = {
      {"replaced name", EFI_SUCCESS,
       [](XML_NODE *parsed, XML_NODE *) { parsed->Attributes->Name = textDuplicate("replaced"); }},
      {"texts within a document", EFI_SUCCESS,
       [](XML_NODE *parsed, XML_NODE *) { std::swap(parsed->Content, parsed->Attributes->Value); }},
      {"moved content", EFI_INVALID_PARAMETER,
       [](XML_NODE *parsed, XML_NODE *other) { std::swap(parsed->Content, other->Content); }},
      {"moved attributes", EFI_INVALID_PARAMETER,
       [](XML_NODE *parsed, XML_NODE *other) { std::swap(parsed->Attributes, other->Attributes); }},
  };
  for (const auto &row : cases) {
    for (bool created : {true, false}) {
      for (bool together : {true, false}) {
        SCOPED_TRACE(std::string(row.what) + (created ? ", created" : ", parsed") + (together ? ", together" : ""));
        XML_NODE *parsed = parse("<p a='1' b='2'>text</p>"), *other = created ? CreateXMLNode("o") : parse("<o/>");
        row.change(parsed, other);
        if (together) {
          XML_NODE *root = CreateXMLNode("root");
          AppendXMLChild(root, parsed); // goes first
          AppendXMLChild(root, other);
          EXPECT_EQ(xml->FreeNode(xml, root), row.status);
        } else {
          EXPECT_EQ(xml->FreeNode(xml, other), row.status);
          EXPECT_EQ(xml->FreeNode(xml, parsed), EFI_SUCCESS);
        }
        expectBalanced(row.what);
      }
    }
  }
  for (CHAR8 *XML_ATTRIBUTE::*member : {&XML_ATTRIBUTE::Name, &XML_ATTRIBUTE::Value}) {
    XML_NODE *broken = parse("<p a='1'/>");
    CHAR8 *text = nullptr;
    broken->Attributes->*member = nullptr;
    EXPECT_EQ(xml->Serialize(xml, broken, &text), EFI_INVALID_PARAMETER);
    FreeXMLNode(broken);
  }
}

// Nor when there are many documents, which come and go in any order.
TEST_F(XmlService, WhatLiesInOneOfManyDocumentsIsNotFreedAlone) {
  std::mt19937 random(33);
  std::vector<XML_NODE *> documents;
  for (size_t i = 0; i < 1000; i++) {
    size_t place = random() % (documents.size() + 1);
    documents.insert(documents.begin() + place, parse("<p>" + repeated(1 + random() % 200, "<q>text</q>") + "</p>"));
    XML_NODE *created = CreateXMLNode("o");
    XML_NODE *owner = documents[random() % documents.size()];
    created->Content = owner->FirstChild->Content;
    EXPECT_EQ(xml->FreeNode(xml, created), EFI_INVALID_PARAMETER);
    if (random() % 2 == 0) {
      FreeXMLNode(documents.back());
      documents.pop_back();
    }
  }
  std::for_each(documents.begin(), documents.end(), FreeXMLNode);
}

// Documents carry passphrases: what held one is overwritten before the pool gets it back.
TEST_F(XmlService, TextsAreOverwritten) {
  size_t blocks = 0;
  firmware.onFree([&](const void *memory, uint64_t size) {
    blocks++;
    EXPECT_EQ(memmem(memory, size, "cGFzcw", 6), nullptr);
  });
  FreeXMLNode(parse("<a p='cGFzcw==' q='cGFz&#99;w=='>&#99;GFzcw==<!-- cGFzcw== --></a>"));
  parse("<a>cGFzcw==");
  EXPECT_GE(blocks, 2u);
  firmware.onFree(nullptr);
}

// The serialised form of elements in each other; those below sixteen levels are not indented further.
static std::string nested(size_t levels) {
  auto line = [](size_t level, const char *tag) { return std::string(2 * std::min<size_t>(level, 16), ' ') + tag; };
  std::string open, close;
  for (size_t level = 0; level < levels - 1; level++) {
    open += line(level, "<a>\n");
    close += line(levels - 2 - level, "</a>\n");
  }
  return open + line(levels - 1, "<a/>\n") + close;
}

// A million of anything costs neither stack nor more than linear time, and few allocations; nor do created nodes.
TEST_F(XmlService, LargeDocuments) {
  constexpr size_t million = 1000000;
  std::string attributes;
  for (size_t i = 0; i < million / 5; i++) {
    attributes += " a" + std::to_string(i * 7919 % million) + "=\"\"";
  }
  const struct {
    std::string document, serialized; // without prologue
  } cases[] = {
      {repeated(million, "<a>") + repeated(million, "</a>"), nested(million)},
      {"<a>" + repeated(million, "<b/>") + "</a>", "<a>\n" + repeated(million, "  <b/>\n") + "</a>\n"},
      {"<a>" + repeated(million, "\r\n&lt;t") + "</a>", "<a>" + repeated(million, "\n&lt;t") + "</a>\n"},
      {"<a" + attributes + "/>", "<a" + attributes + "/>\n"},
  };
  for (const auto &test : cases) {
    uint64_t allocations = firmware.pool().totalAllocations;
    XML_NODE *root = parse(test.document);
    EXPECT_LT(firmware.pool().totalAllocations, allocations + 500);
    EXPECT_TRUE(serialize(root) == prologue + test.serialized) << test.document.substr(0, 20);
    FreeXMLNode(root);
    expectBalanced("large");
  }
  XML_NODE *created = CreateXMLNode("a"), *deepest = created;
  for (size_t level = 1; level < 300000; level++) {
    deepest = push(deepest, "a");
  }
  EXPECT_LT(firmware.pool().liveAllocations, 1000u);
  EXPECT_TRUE(serialize(created) == prologue + nested(300000));
  FreeXMLNode(created);
}
