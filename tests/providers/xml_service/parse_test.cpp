// What Parse accepts and the oracle cannot judge, and what it refuses.

#include "fixture.h"

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

TEST_F(XmlService, ParseRefuses) {
  const struct {
    const char *what;
    const char *documents; // see split
  } cases[] = {
      {"no single root",
       "| |text|<!-- c -->|<a/><b/>|<a/>text|text<a/>|<a/>&amp;|<a/><![CDATA[]]>|<![CDATA[x]]><a/>|&lt;a/>"},
      {"start tags", "<a>|<a|<|< a/>|<a/|<a/ >|<1/>|<-a/>|<a<b/>|<a//>|<>|<a><|<a$/>|<&amp;/>"},
      {"end tags", "<a></b>|<a></ab>|<ab></a>|<a></ a>|<a></a x='1'>|</a>|<a><b></a></b>|<a></a/>|<a></a|<a></A>"},
      {"attributes", "<a b/>|<a b=/>|<a b=1/>|<a b='1\"/>|<a b='1'c='2'/>|<a ='1'/>|<a b='<'/>|<a b='&'/>|<a b='1|"
                     "<a b='1'|<a/b='1'>|<a 1='x'/>|<a b&c='x'/>|<a b=='x'/>|<a 'x'/>|<a b=`1`/>|<a b=\"&quot\"/>"},
      {"an attribute twice", "<a b='1' b='1'/>|<a z='' b='1' c='2' d='3' y='' x='' b='4'/>"},
      {"named references", "<a>&</a>|<a>&amp</a>|<a>&unknown;</a>|<a>&AMP;</a>|<a>& amp;</a>|<a b='&x;'/>|<a>&;</a>|"
                           "<a>&l<!---->t;</a>"},
      {"numbers", "<a>&#;</a>|<a>&#x;</a>|<a>&#65</a>|<a>&#xG;</a>|<a>&#6A;</a>|<a>&#X41;</a>|<a>&#-65;</a>|"
                  "<a>&#0;</a>|<a>&#8;</a>|<a>&#x1F;</a>|<a>&#256;</a>|<a>&#x141;</a>|<a>&#4294967361;</a>|"
                  "<a>&#18446744073709551681;</a>|<a b='&#321;'/>"},
      {"forbidden characters", "<a>\x01</a>|<a>\x1F</a>|<a>\x0B</a>|<a b='\x08'/>|<a><!-- \x01 --></a>|"
                               "<a><?p \x01?></a>|<a b\x01='1'/>|<a><![CDATA[\x02]]></a>|\x01<a/>|<a\x01/>"},
      {"a section's end", "<a>]]></a>|<a>\r\n]]></a>|<a>]]]></a>"},
      {"comments", "<a><!--></a>|<a><!---></a>|<a><!--a--b--></a>|<a><! -- c --></a>|<a <!-- c -->/>|"
                   "<a></a <!-- c -->>|<a><!-- c ---></a>|<a><!- c --></a>|<!-- c|<a><!></a>"},
      {"sections", "<a><![CDATA [x]]></a>|<a><![CDATA[x]] ></a>|<a><![CDATA[x]]</a>|<a><![cdata[x]]></a>"},
      {"instructions", "<a><?\?></a>|<a><?1?></a>|<a><?p ? ></a>|<a><?xml version='1.0'?></a>|<a><?x</a>|"
                       "<a><? x?></a>|<a><?x!?></a>|<a/><?xml?>|<a><?XmL version='1.0'?></a>"},
      {"document types", "<!DOCTYPE a><a/>|<!doctype a><a/>|<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>|"
                         "<a><!ELEMENT a></a>"},
      {"starts", " <?xml version='1.0'?><a/>|<?XML version='1.0'?><a/>|\xEF\xBB<a/>|\xEF\xBB\xBF\xEF\xBB\xBF<a/>|"
                 "\xFE\xFF<a/>"},
      {"versions", "<?xml?><a/>|<?xml ?><a/>|<?xml version='2.0'?><a/>|<?xml version='1.'?><a/>|"
                   "<?xml version='1.0x'?><a/>|<?xml version=''?><a/>|<?xml version=1.0?><a/>|"
                   "<?xml version='1.0\"?><a/>|<?xml Version='1.0'?><a/>|<?xml version '1.0'?><a/>"},
      {"encodings", "<?xml encoding='UTF-8'?><a/>|<?xml version='1.0'encoding='UTF-8'?><a/>|"
                    "<?xml version='1.0' encoding='UTF-16'?><a/>|<?xml version='1.0' encoding='UTF-8x'?><a/>|"
                    "<?xml version='1.0' encoding=''?><a/>"},
      {"standalone", "<?xml version='1.0' standalone='maybe'?><a/>|<?xml version='1.0' standalone='Yes'?><a/>|"
                     "<?xml version='1.0' standalone='no' encoding='UTF-8'?><a/>"},
      {"ends of declarations", "<?xml version='1.0' other='1'?><a/>|<?xml version='1.0' version='1.0'?><a/>|"
                               "<?xml version='1.0'/><a/>|<?xml version='1.0' ? ><a/>|<?xml version='1.0'><a/>"},
  };
  for (const auto &row : cases) {
    for (const std::string &document : split(row.documents)) {
      EXPECT_EQ(outline(document), "") << row.what << ": " << document;
    }
  }
}
