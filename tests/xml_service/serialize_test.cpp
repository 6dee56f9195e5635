// What Serialize writes, and that Parse reads the same again.

#include "fixture.h"

TEST_F(XmlService, SerializeWritesBuiltTree) {
  XML_NODE *root = CreateXMLNode("root");
  AddXMLAttribute("z", "1", root);
  AddXMLAttribute("xmlns:a", "\"<&>'\t\n\r\x80\x01 \x7F", root);
  push(root, "c", "\"<&>'\t\n\r\xE9\x1F \x7F");
  XML_NODE *b = push(root, "b");
  push(b, "inner", "");
  AddXMLAttribute("empty", "", push(b, "inner"));
  push(root, "a", " text ");
  EXPECT_EQ(serialize(root), PROLOGUE + "<root z=\"1\" xmlns:a=\"&quot;&lt;&amp;&gt;'&#9;&#10;&#13;&#128;? \x7F\">\n"
                                        "  <a> text </a>\n"
                                        "  <b>\n"
                                        "    <inner empty=\"\"/>\n"
                                        "    <inner/>\n"
                                        "  </b>\n"
                                        "  <c>&quot;&lt;&amp;&gt;'\t\n&#13;&#233;? \x7F</c>\n"
                                        "</root>\n");
  EXPECT_EQ(serialize(b), PROLOGUE + "<b>\n  <inner empty=\"\"/>\n  <inner/>\n</b>\n"); // not b's sibling
  root->Content = textDuplicate("beside");
  EXPECT_EQ(serialize(root).find(">beside\n  <a>"), serialize(root).find("beside") - 1);
  FreeXMLNode(root);
}

// All characters that may stand in a document come back as they were, in texts and in attribute values.
TEST_F(XmlService, RoundTrip) {
  std::string all = "\t\n\r";
  for (int character = 0x20; character < 0x100; character++) {
    all += static_cast<char>(character);
  }
  XML_NODE *root = CreateXMLNode("root");
  AddXMLAttribute("all", all.c_str(), root);
  AddXMLAttribute("twice", (all + all).c_str(), root);
  push(root, "t", (all + all).c_str());
  push(root, "u", all.c_str());
  XML_NODE *read = parse(serialize(root));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(outlineOf(read), "root[all=" + all + "][twice=" + all + all + "]{u=" + all + " t=" + all + all + "}");
  EXPECT_EQ(serialize(read), serialize(root));
  FreeXMLNode(read);
  FreeXMLNode(root);
}
