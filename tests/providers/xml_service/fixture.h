// Loads the XML service into the host firmware and requires at the end that it left nothing behind.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/text.h"
#include "driver/xml/xml.h"
#include "host/firmware/firmware.h"
#include "providers/xml_service/xml_service.h"
#include "tests/providers/xml_service/outline.h"

using namespace xyl;

// What Serialize writes in front of the root element.
inline const std::string prologue = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

inline const EFI_GUID g_xmlGuid = XML_PROTOCOL_GUID;

// The pieces of a text between bars, which no document here needs.
inline std::vector<std::string> split(const std::string &text) {
  std::vector<std::string> pieces(1);
  for (char character : text) {
    if (character == '|') {
      pieces.emplace_back();
    } else {
      pieces.back() += character;
    }
  }
  return pieces;
}

class XmlService : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(firmware.loadImage(xml_service::XmlServiceEntry, &image), EFI_SUCCESS);
    void *interface = nullptr;
    ASSERT_EQ(firmware.bootServices()->LocateProtocol(&g_xmlGuid, nullptr, &interface), EFI_SUCCESS);
    xml = static_cast<XML_PROTOCOL *>(interface);
  }

  void TearDown() override {
    expectBalanced("at the end");
    EXPECT_EQ(firmware.unloadImage(image), EFI_SUCCESS);
    EXPECT_EQ(firmware.complaints(), std::vector<std::string>());
  }

  // Nothing of the service's is in the pool, nor of anybody else.
  void expectBalanced(const std::string &when) { EXPECT_EQ(firmware.pool().liveAllocations, 0u) << when; }

  // The root of document, null when it is refused.
  XML_NODE *parse(const std::string &document) {
    XML_NODE *root = reinterpret_cast<XML_NODE *>(this); // anything but null
    EFI_STATUS status = xml->Parse(xml, document.c_str(), &root);
    EXPECT_EQ(status, root != nullptr ? EFI_SUCCESS : EFI_INVALID_PARAMETER);
    return root;
  }

  // The outline of a document's tree, empty when it is refused.
  std::string outline(const std::string &document) {
    XML_NODE *root = parse(document);
    std::string text = root == nullptr ? "" : outlineOf(root);
    EXPECT_TRUE(root == nullptr || readAgain(root)) << document;
    driver::FreeXMLNode(root);
    expectBalanced(document);
    return text;
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
    XML_NODE *child = content != nullptr ? driver::CreateXMLTextNode(name, content) : driver::CreateXMLNode(name);
    driver::PushXMLChild(parent, child);
    return child;
  }

  host::Firmware firmware;
  EFI_HANDLE image = nullptr;
  XML_PROTOCOL *xml = nullptr;
};
