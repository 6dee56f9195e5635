// What Parse accepts, what it makes of it, and what it refuses.

#include "fixture.h"

struct ACCEPTED {
  const char *what;
  std::string document;
  std::string outline;
};

TEST_F(XmlService, ParseAccepts) {
  const ACCEPTED cases[] = {
      {"nesting", "<a><b><c/></b><d></d ></a>\n", "a{b{c} d}"},
      {"content", "<a><b>one two</b><c> </c></a>", "a{b=one two c= }"},
      {"white space between elements", "<a>\r\n  <b>1</b>\n\t<b>2</b>\n</a>", "a{b=1 b=2}"},
      {"text beside children", "<a>x<b/>y<b/>z</a>", "a{b b}"},
      {"no text", "<a><b><!-- c --></b><c><![CDATA[]]></c></a>", "a{b c}"},
      {"order mark and declaration", "\xEF\xBB\xBF<?xml version=\"1.0\"?><a/>", "a"},
      {"full declaration", "<?xml  version = '1.1' encoding='utf-8' standalone=\"no\" ?>\n<a/>", "a"},
      {"instruction like a declaration", "<?xml-q version='1.0'?><a/>", "a"},
      {"other encodings", "<?xml version=\"1.0\" encoding=\"Iso-8859-1\"?><a>\xE9</a>", "a=\xE9"},
      {"surroundings", " <!-- a - b --><?p x?>\n<a/>\t<!----><?xml-q?> ", "a"},
      {"comments and instructions inside", "<a>x<!-- <b> & -->y<?p <b> & ? ?>z<?q?></a>", "a=xyz"},
      {"sections", "<a>1<![CDATA[<b>&amp;]] ]>]]]>\r\n<![CDATA[\r\n\r]]>2</a>", "a=1<b>&amp;]] ]>]\n\n\n2"},
      {"named references", "<a b='&lt;&amp;&gt;&quot;&apos;'>&lt;&amp;&gt;&quot;&apos;</a>", "a[b=<&>\"']=<&>\"'"},
      {"numbers", "<a>&#65;&#x42;&#x00043;&#255;&#xfF;&#9;&#13;</a>", "a=ABC\xFF\xFF\t\r"},
      {"a section end in pieces", "<a>]]&gt; ]]<!---->> ]>]</a>", "a=]]> ]]> ]>]"},
      {"a bracket behind a gap", "<a>\r\n]> &amp;]></a>", "a=\n]> &]>"},
      {"line ends", "<a>1\r\n2\r3\n4\r\r\n5</a>", "a=1\n2\n3\n4\n\n5"},
      {"attributes", "<a b='1'\n\tc = \"'2'\" d='\"' e=''><f g='>]]>'/></a>", "a[b=1][c='2'][d=\"][e=]{f[g=>]]>]}"},
      {"attribute white space", "<a b=' 1\t2\n3\r\n4\r5&#10;&#9; '/>", "a[b= 1 2 3 4 5\n\t ]"},
      {"high bytes", "<\xC3\xA9 \xFF='\x80'>\xE2\x82\xAC</\xC3\xA9>", "\xC3\xA9[\xFF=\x80]=\xE2\x82\xAC"},
      {"names", "<_x:y-1.z :a='1' A='2' a='3' aa='4'/>", "_x:y-1.z[:a=1][A=2][a=3][aa=4]"},
      {"a reference is not read twice", "<a b='&#38;lt;'>&#38;#60;&amp;amp;</a>", "a[b=&lt;]=&#60;&amp;"},
      {"characters that need no reference", "<a b='>/='>>\"'/=-->?></a>", "a[b=>/=]=>\"'/=-->?>"},
      {"comments of odd ends", "<a><!-->--><!--->--><!--- -->1</a>", "a=1"},
      {"instructions of odd ends", "<a><?p ?\?><?p?><?p ? > ?>1</a>", "a=1"},
      {"declaration in double quotes", "<?xml\tversion=\"1.0\"\r\nstandalone=\"yes\"?><a/>", "a"},
      {"blanks in tags", "<a\n><b\tc='1'\r\n/></a\r>", "a{b[c=1]}"},
      {"a name like a keyword", "<xml:x xmlns='u'><CDATA/><a.xml/></xml:x>", "xml:x[xmlns=u]{CDATA a.xml}"},
      {"delete character", "<a>\x7F</a>", "a=\x7F"},
  };
  for (const ACCEPTED &test : cases) {
    SCOPED_TRACE(test.what);
    EXPECT_EQ(parsedOutline(test.document), test.outline);
  }
}

TEST_F(XmlService, ParseRefuses) {
  const std::vector<const char *> groups[] = {
      // no single root
      {"", " ", "text", "<!-- c -->", "<a/><b/>", "<a/>text", "text<a/>", "<a/>&amp;", "<a/><![CDATA[]]>",
       "<a></a></a>"},
      // start tags
      {"<a>", "<a", "<", "< a/>", "<a/", "<a/ >", "<1/>", "<-a/>", "<a<b/>", "<a//>", "<>", "<a><", "<a$/>"},
      // end tags
      {"<a></b>", "<a></ab>", "<ab></a>", "<a></ a>", "<a></a x='1'>", "</a>", "<a><b></a></b>", "<a></>", "<a></a/>",
       "<a></a", "<a></A>", "<a/></a>"},
      // attributes
      {"<a b/>",           "<a b=/>",
       "<a b=1/>",         "<a b='1\"/>",
       "<a b='1'c='2'/>",  "<a ='1'/>",
       "<a b='<'/>",       "<a b='&'/>",
       "<a b='1' b='1'/>", "<a z='' b='1' c='2' d='3' y='' x='' b='4'/>",
       "<a b c='1'/>",     "<a b='1",
       "<a b='1'",         "<a/b='1'>",
       "<a 1='x'/>",       "<a -b='x'/>",
       "<a b&c='x'/>",     "<a b=='x'/>",
       "<a 'x'/>",         "<a b='x' \"c\"/>",
       "<a b=\"&quot\"/>", "<a b=`1`/>"},
      // named references
      {"<a>&</a>", "<a>&amp</a>", "<a>&unknown;</a>", "<a>&AMP;</a>", "<a>& amp;</a>", "<a b='&x;'/>", "<a>&;</a>",
       "<a>&lt</a>", "<a>&l<!---->t;</a>", "<a>&amp ;</a>", "&lt;a/>", "<&amp;/>"},
      // numbers
      {"<a>&#;</a>", "<a>&#x;</a>", "<a>&#65</a>", "<a>&#xG;</a>", "<a>&#6A;</a>", "<a>&#X41;</a>", "<a>&#-65;</a>",
       "<a>&#0;</a>", "<a>&#8;</a>", "<a>&#x1F;</a>", "<a>&#256;</a>", "<a>&#x100;</a>", "<a>&#4294967361;</a>",
       "<a>&#18446744073709551681;</a>", "<a b='&#256;'/>"},
      // forbidden characters
      {"<a>\x01</a>", "<a>\x1F</a>", "<a>\x0B</a>", "<a b='\x08'/>", "<a><!-- \x01 --></a>", "<a><?p \x01?></a>",
       "<a b\x01='1'/>", "<a><![CDATA[\x02]]></a>", "\x01<a/>", "<a\x01/>"},
      // text
      {"<a>]]></a>", "<a>\r\n]]></a>", "<a>]]]></a>"},
      // comments, sections, instructions, document types
      {"<a><!--></a>",
       "<a><!---></a>",
       "<a><!--a--b--></a>",
       "<a><!-- --></a",
       "<a><! -- c --></a>",
       "<a <!-- c -->/>",
       "<a></a <!-- c -->>",
       "<a><![CDATA [x]]></a>",
       "<a><![CDATA[x]] ></a>",
       "<a><?\?></a>",
       "<a><?1?></a>",
       "<a><?p ? ></a>",
       "<a><?xml version='1.0'?></a>",
       "<a><!></a>",
       "<![CDATA[x]]><a/>",
       "<a><!-- -- --></a>",
       "<a><!-- c ---></a>",
       "<a><!- c --></a>",
       "<!-- c",
       "<a><![CDATA[x]]</a>",
       "<a><![cdata[x]]></a>",
       "<a><!ELEMENT a></a>",
       "<a><?x</a>",
       "<a><? x?></a>",
       "<a><?x!?></a>",
       "<a/><?xml?>",
       "<a><?XmL version='1.0'?></a>",
       "<!DOCTYPE a><a/>",
       "<!doctype a><a/>",
       "<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>"},
      // starts
      {" <?xml version='1.0'?><a/>", "<?XML version='1.0'?><a/>", "\xEF\xBB<a/>", "\xEF\xBB\xBF\xEF\xBB\xBF<a/>",
       "\xFE\xFF<a/>"},
      // declarations
      {"<?xml?><a/>",
       "<?xml ?><a/>",
       "<?xml version='2.0'?><a/>",
       "<?xml version='1.'?><a/>",
       "<?xml version='1.0x'?><a/>",
       "<?xml version='1.0'encoding='UTF-8'?><a/>",
       "<?xml encoding='UTF-8'?><a/>",
       "<?xml version='1.0' encoding='UTF-16'?><a/>",
       "<?xml version='1.0' encoding='UTF-8x'?><a/>",
       "<?xml version='1.0' encoding=''?><a/>",
       "<?xml version='1.0' standalone='maybe'?><a/>",
       "<?xml version='1.0' standalone='no' encoding='UTF-8'?><a/>",
       "<?xml version='1.0' other='1'?><a/>",
       "<?xml version=''?><a/>",
       "<?xml version=1.0?><a/>",
       "<?xml version='1.0\"?><a/>",
       "<?xml version='1.0' standalone='Yes'?><a/>",
       "<?xml version='1.0' standalone='yes'?",
       "<?xml version='1.0' version='1.0'?><a/>",
       "<?xml Version='1.0'?><a/>",
       "<?xml version='1.0'/><a/>",
       "<?xml version='1.0' ? ><a/>",
       "<?xmlversion='1.0'?>",
       "<?xml version='1.0'><a/>",
       "<?xml version '1.0'?><a/>"},
  };
  for (const std::vector<const char *> &group : groups) {
    for (const char *document : group) {
      expectRefused(document);
    }
  }
}

// White space is three of the characters below 0x20; the others may stand nowhere.
TEST_F(XmlService, ParseRefusesControlCharacters) {
  const std::pair<const char *, const char *> places[] = {{"<a>x", "y</a>"},
                                                          {"<a b='x", "y'/>"},
                                                          {"<a><!--x", "y--></a>"},
                                                          {"<a><?p x", "y?></a>"},
                                                          {"<a><![CDATA[x", "y]]></a>"},
                                                          {"<a", "/>"},
                                                          {"<a></a", ">"},
                                                          {"<a/>", ""},
                                                          {"", "<a/>"},
                                                          {"<a b=", "'1'/>"}};
  for (const auto &[before, after] : places) {
    for (char character = 1; character < 0x20; character++) {
      std::string document = before + std::string(1, character) + after;
      if (character == '\t' || character == '\n' || character == '\r') {
        FreeXMLNode(parse(document));
      } else {
        expectRefused(document);
      }
    }
  }
}

// Every beginning of a document lacks something.
TEST_F(XmlService, ParseRefusesCutDocument) {
  const std::string document =
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding='UTF-8' standalone='yes'?><!-- c --><?p q?>\r\n"
      "<root b='1&#9;&amp;' cd=\"2\">\r\n<!-- c --><a>x&lt;&#xFF;]]<![CDATA[<y>]]></a><b/><?p?>\n</root>";
  for (size_t length = 0; length < document.size(); length++) {
    expectRefused(document.substr(0, length));
  }
  EXPECT_EQ(parsedOutline(document), "root[b=1\t&][cd=2]{a=x<\xFF]]<y> b}");
}
