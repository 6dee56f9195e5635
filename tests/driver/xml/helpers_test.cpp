#include "base/pool.h"
#include "driver/xml/xml.h"
#include "tests/support/world.h"

using namespace xyl;
using namespace xyl::driver;

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
  world.get();
  EXPECT_EQ(world.firmware.serviceCalls("LocateProtocol"), before + 1);
}

TEST(Base64, WantsAllItsArguments) {
  World world({.preset = nullptr, .connect = false});
  UINT8 out[4] = {1, 1, 1, 1};
  UINT64 length = 99;
  Base64Decode(nullptr, out, &length);
  Base64Decode("QUJD", nullptr, &length);
  Base64Decode("QUJD", out, nullptr);
  EXPECT_TRUE(length == 99 && out[0] == 1);
  EXPECT_EQ(countOf(world.log(), "Exit. NULL params"), 3U);
  EXPECT_EQ(Base64DecodedLength(nullptr), 0U);
}

TEST(Records, ACopyOfOneWithoutTextsHasNone) {
  World world({.preset = nullptr, .connect = false});
  RAID_PD_RECORD disk = {};
  auto *copy = static_cast<RAID_PD_RECORD *>(copyRecord(&disk, RAID_OBJECT_PHYSICAL_DISK));
  ASSERT_NE(copy, nullptr);
  EXPECT_TRUE(copy->Name == nullptr && copy->FQDD == nullptr);
  poolFree(copy);
}
