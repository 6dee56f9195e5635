// What Parse accepts and the oracle cannot judge, and what it refuses.

#include <sstream>

#include "fixture.h"
#include "tests/support/world.h"

TEST_F(XmlService, ParseAcceptsMarksAndEncodings) {
  const struct {
    std::string document, outline;
  } cases[] = {
      {"\xEF\xBB\xBF<?xml\tversion=\"1.0\"\r\nstandalone=\"yes\"?><a/>", "a"},
      {"<?xml  version = '1.1' encoding='utf-8' standalone=\"no\" ?>\n<a/>", "a"},
      {"<?xml version=\"1.0\" encoding=\"Iso-8859-1\"?><a>\xE9</a>", "a=\xE9"},
      {"<?xml version='1.0' encoding='US-ASCII'?><a/>", "a"},
      {"<?abc?><?xyz x?><?xmk?><a/>", "a"},
      {"<\xC3\xA9 \xFF='\x80'>\xE2\x82\xAC\x7F</\xC3\xA9>", "\xC3\xA9[\xFF=\x80]=\xE2\x82\xAC\x7F"},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(outline(row.document), row.outline) << row.document;
  }
}

// Those that a text file can hold, refused.txt, and those that it cannot.
TEST_F(XmlService, ParseRefuses) {
  std::vector<std::string> rows = {
      "<a>\x01</a>|<a>\x1F</a>|<a>\x0B</a>|<a b='\x08'/>|<a><!-- \x01 --></a>|"
      "<a><?p \x01?></a>|<a b\x01='1'/>|<a><![CDATA[\x02]]></a>|\x01<a/>|<a\x01/>",
      "<a>]]></a>|<a>\r\n]]></a>|<a>]]]></a>",
      " <?xml version='1.0'?><a/>|<?XML version='1.0'?><a/>|\xEF\xBB<a/>|\xEF\xBB\xBF\xEF\xBB\xBF<a/>|"
      "\xFE\xFF<a/>",
  };
  std::istringstream file(sourceFile("tests/providers/xml_service/refused.txt"));
  for (std::string line; std::getline(file, line);) {
    line.empty() || line[0] == '#' ? void() : rows.push_back(line);
  }
  for (const std::string &row : rows) {
    for (const std::string &document : split(row)) {
      EXPECT_EQ(outline(document), "") << document;
    }
  }
}
