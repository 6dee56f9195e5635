#include "driver/xml/xml.h"
#include "tests/support/world.h"

// The helpers' own duties: order of children and attributes, and nothing left behind when memory runs out.
TEST(XmlHelpers, ChildrenAndAttributesKeepTheirOrder) {
  World world;
  XML_NODE *root = CreateXMLNode("root");
  ASSERT_NE(root, nullptr);
  for (const char *name : {"C", "B", "A"}) {
    PushXMLChild(root, CreateXMLTextNode(name, name));
  }
  for (const char *name : {"D", "E"}) {
    AppendXMLChild(root, CreateXMLNode(name));
    AddXMLAttribute(name, "v", root);
  }
  AddXMLAttribute("F", nullptr, root);
  std::string backwards;
  for (XML_NODE *node = LastXMLChild(root); node != nullptr; node = node->PrevSibling) {
    backwards += node->Name;
  }
  EXPECT_EQ(backwards, "EDCBA");
  CHAR8 *text = XMLNodeToText(root);
  EXPECT_STREQ(text, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root D=\"v\" E=\"v\">\n  <A>A</A>\n  <B>B</B>\n"
                     "  <C>C</C>\n  <D/>\n  <E/>\n</root>\n");
  poolFree(text);
  FreeXMLNode(root);
  EXPECT_EQ(CreateXMLTextNode("name", nullptr), nullptr);
  EXPECT_EQ(CreateXMLNode(nullptr), nullptr);
  EXPECT_EQ(XMLNodeToText(nullptr), nullptr);
  EXPECT_EQ(NewXMLAttribute(nullptr, "value"), nullptr);
  AddXMLAttribute("name", "value", nullptr);
}

TEST(XmlHelpers, WithoutTheServiceNothingIsDone) {
  World world({.preset = nullptr, .xmlService = false});
  XML_NODE node = {};
  FreeXMLNode(&node);
  EXPECT_EQ(XMLNodeToText(&node), nullptr);
  EXPECT_EQ(CreateXMLNode("name"), nullptr);
}

TEST(XmlHelpers, TheServiceIsLocatedOnce) {
  World world;
  uint64_t before = world.firmware.serviceCalls("LocateProtocol");
  world.get();
  uint64_t first = world.firmware.serviceCalls("LocateProtocol");
  world.get();
  EXPECT_EQ(first, before + 1);
  EXPECT_EQ(world.firmware.serviceCalls("LocateProtocol"), first);
}
