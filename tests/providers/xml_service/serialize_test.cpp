// What Serialize writes. That Parse reads the same again is judged in fuzz/xml.cpp.

#include "fixture.h"

using namespace xyl;

TEST_F(XmlService, SerializeWritesBuiltTree) {
  char name[] = "root";
  XML_NODE *root = driver::CreateXMLNode(name);
  name[0] = 'x'; // the name is a copy
  driver::AddXMLAttribute("z", "1", root);
  driver::AddXMLAttribute("xmlns:a", "\"<&>'\t\n\r\x80\x01 \x7F", root);
  push(root, "c", "\"<&>'\t\n\r\xE9\x1F \x7F");
  XML_NODE *b = push(root, "b");
  push(b, "inner", "");
  driver::AddXMLAttribute("empty", "", push(b, "inner"));
  push(root, "a_name_of_more_letters", "sixteen letters, and no more & no less");
  push(root, "a", " text ");
  root->Content = textDuplicate("beside");
  EXPECT_EQ(serialize(root), prologue + "<root z=\"1\" xmlns:a=\"&quot;&lt;&amp;&gt;'&#9;&#10;&#13;&#128;? \x7F\">"
                                        "beside\n  <a> text </a>\n  <a_name_of_more_letters>"
                                        "sixteen letters, and no more &amp; no less</a_name_of_more_letters>\n  <b>\n  "
                                        "  <inner empty=\"\"/>\n    <inner/>\n"
                                        "  </b>\n  <c>&quot;&lt;&amp;&gt;'\t\n&#13;&#233;? \x7F</c>\n</root>\n");
  EXPECT_EQ(serialize(b), prologue + "<b>\n  <inner empty=\"\"/>\n  <inner/>\n</b>\n"); // not b's sibling
  driver::FreeXMLNode(root);
}
