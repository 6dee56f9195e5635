// Loads the XML service into the host firmware and requires at the end that it left nothing behind.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/text.h"
#include "platform/firmware/firmware.h"
#include "platform/xml_service/xml_service.h"
#include "xml/xml.h"

// What Serialize writes in front of the root element.
inline const std::string PROLOGUE = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

inline const EFI_GUID g_xmlGuid = XML_PROTOCOL_GUID;

class XmlService : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(firmware.loadImage(XmlServiceEntry, &image), EFI_SUCCESS);
    void *interface = nullptr;
    ASSERT_EQ(firmware.bootServices()->LocateProtocol(&g_xmlGuid, nullptr, &interface), EFI_SUCCESS);
    xml = static_cast<XML_PROTOCOL *>(interface);
    liveBefore = firmware.pool().liveAllocations;
  }

  void TearDown() override {
    expectBalanced("at the end");
    EXPECT_EQ(firmware.unloadImage(image), EFI_SUCCESS);
    EXPECT_EQ(firmware.complaints(), std::vector<std::string>());
  }

  void expectBalanced(const std::string &when) { EXPECT_EQ(firmware.pool().liveAllocations, liveBefore) << when; }

  // The root of document; the test fails and null comes back when Parse refuses it.
  XML_NODE *parse(const std::string &document) {
    XML_NODE *root = nullptr;
    EXPECT_EQ(xml->Parse(xml, document.c_str(), &root), EFI_SUCCESS) << document.substr(0, 200);
    return root;
  }

  void expectRefused(const std::string &document) {
    XML_NODE *root = reinterpret_cast<XML_NODE *>(this); // anything but null
    EXPECT_EQ(xml->Parse(xml, document.c_str(), &root), EFI_INVALID_PARAMETER) << document;
    EXPECT_EQ(root, nullptr) << document;
    expectBalanced(document);
  }

  // As parse; the document's outline, see outlineOf.
  std::string parsedOutline(const std::string &document) {
    XML_NODE *root = parse(document);
    std::string outline = outlineOf(root);
    FreeXMLNode(root);
    return outline;
  }

  std::string serialize(XML_NODE *node) {
    CHAR8 *text = nullptr;
    EXPECT_EQ(xml->Serialize(xml, node, &text), EFI_SUCCESS);
    std::string copy = text != nullptr ? text : "";
    firmware.bootServices()->FreePool(text);
    return copy;
  }

  // A new child in front of parent's others; no content for null.
  static XML_NODE *push(XML_NODE *parent, const char *name, const char *content = nullptr) {
    XML_NODE *child = content != nullptr ? CreateXMLTextNode(name, content) : CreateXMLNode(name);
    PushXMLChild(parent, child);
    return child;
  }

  // One line: name, [attribute=value] each, "=" and the content if there is any, children in braces. Checks the
  // backward links on the way.
  static std::string outlineOf(const XML_NODE *node) {
    if (node == nullptr) {
      return "null";
    }
    std::string outline = node->Name;
    const XML_ATTRIBUTE *lastAttribute = nullptr;
    for (const XML_ATTRIBUTE *attribute = node->Attributes; attribute != nullptr; attribute = attribute->Next) {
      outline += "[" + std::string(attribute->Name) + "=" + attribute->Value + "]";
      EXPECT_EQ(attribute->Prev, lastAttribute);
      lastAttribute = attribute;
    }
    if (node->Content != nullptr) {
      outline += "=" + std::string(node->Content);
    }
    const XML_NODE *lastChild = nullptr;
    for (const XML_NODE *child = node->FirstChild; child != nullptr; child = child->NextSibling) {
      outline += (lastChild == nullptr ? "{" : " ") + outlineOf(child);
      EXPECT_EQ(child->PrevSibling, lastChild);
      lastChild = child;
    }
    return outline + (lastChild != nullptr ? "}" : "");
  }

  Firmware firmware;
  EFI_HANDLE image = nullptr;
  XML_PROTOCOL *xml = nullptr;
  uint64_t liveBefore = 0;
};
