// The parser against libxml2 over generated documents, whole and damaged: whatever both accept is the same tree, and
// where one refuses what the other accepts, the reason is one of those listed here.

#include <libxml/parser.h>

#include <cstring>
#include <map>
#include <random>
#include <regex>

#include "fixture.h"

// --- libxml2's tree, as an outline like the fixture's ---

struct OutlineNode {
  std::string start; // name and attributes
  std::string text;
  std::string children;
};

// The elements that are open, behind one that stands for the document.
static std::vector<OutlineNode> &openNodes(void *context) {
  return *static_cast<std::vector<OutlineNode> *>(static_cast<xmlParserCtxtPtr>(context)->_private);
}

// libxml2 is told that every byte is a character, so that all of its characters are bytes again.
static std::string bytesOf(const xmlChar *text, int length = -1) {
  std::string bytes;
  for (int i = 0; i < (length < 0 ? xmlStrlen(text) : length); ++i) {
    bool high = text[i] >= 0x80;
    bytes += static_cast<char>(high ? text[i] << 6 | (text[i + 1] & 0x3F) : text[i]);
    i += high ? 1 : 0;
  }
  return bytes;
}

static void onStart(void *context, const xmlChar *name, const xmlChar **attributes) {
  OutlineNode node = {bytesOf(name), {}, {}};
  for (; attributes != nullptr && *attributes != nullptr; attributes += 2) {
    node.start += "[" + bytesOf(attributes[0]) + "=" + bytesOf(attributes[1]) + "]";
  }
  openNodes(context).push_back(node);
}

static void onEnd(void *context, const xmlChar *) {
  OutlineNode node = openNodes(context).back();
  openNodes(context).pop_back();
  std::string inside = !node.children.empty() ? "{" + node.children + "}" : node.text.empty() ? "" : "=" + node.text;
  std::string &place = openNodes(context).back().children;
  place += (place.empty() ? "" : " ") + node.start + inside;
}

static void onText(void *context, const xmlChar *text, int length) {
  openNodes(context).back().text += bytesOf(text, length);
}

// The outline by libxml2, or empty when it refuses the document.
static std::string oracleOutline(const std::string &document) {
  xmlParserCtxtPtr parser = xmlNewParserCtxt();
  std::vector<OutlineNode> open(1);
  parser->_private = &open;
  std::memset(parser->sax, 0, sizeof(*parser->sax));
  parser->sax->initialized = 1; // names as they stand, without namespaces
  parser->sax->startElement = onStart;
  parser->sax->endElement = onEnd;
  parser->sax->characters = parser->sax->ignorableWhitespace = parser->sax->cdataBlock = onText;
  xmlFreeDoc(xmlCtxtReadMemory(parser, document.data(), static_cast<int>(document.size()), nullptr, "ISO-8859-1",
                               XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  bool accepted = parser->wellFormed != 0;
  xmlFreeParserCtxt(parser);
  return accepted ? open[0].children : "";
}

static const struct {
  const char *what;
  bool weAccept;
  const char *sample;
  const char *pattern; // of documents that it may hold for
} g_reasons[] = {
    {"document types are refused", false, "<!DOCTYPE a><a/>", "<!DOCTYPE"},
    {"a reference is one byte", false, "<a>&#256;</a>",
     "&#(0*(25[6-9]|2[6-9]\\d|[3-9]\\d\\d|[1-9]\\d{3,})|x0*[1-9A-Fa-f][\\dA-Fa-f]{2,});"},
    {"encodings other than the 8-bit ones are refused", false, "<?xml version='1.0' encoding='KOI8-R'?><a/>",
     "encoding"},
    {"a version ends in digits", false, "<?xml version='1.'?><a/>", "1\\.['\"]"},
    {"all bytes above 0x7F may stand in names", true, "<\x80/>", "[^\x01-\x7F]"},
};

// --- Documents ---

// What a symbol may become; "$" and a symbol stand for what that becomes in turn, $M for the latest $N again. Deep down
// only the first choice is taken.
static const std::map<char, std::vector<std::string>> g_grammar = {
    {'D', split("$S$E$S|$S$E$S$S|<?xml version=\"1.0\"?>$S$E|<?xml version='1.0' encoding='UTF-8'?>\n$E$S|"
                "<?xml version=\"1.0\"\tstandalone = 'no' ?>$S$E|<r>$Q$Q$Q$Q$Q$Q$Q</r>|<r>$Q$Q$Q$Q$Q$Q$Q</r>")},
    {'Q',
     split("\n <ab>$Y</ab>|<ab>$Y</ab>|\n  <list>$Q$Q$Q$Q</list>|\n  <list>$Q$Q$Q</list>|$Y\n <ab>$Y</ab>$Y|"
           "\n <sixteen_letters_>$Y</sixteen_letters_>|\n\t<nameof_24_characters_abc>$Y</nameof_24_characters_abc>|"
           "\n <nameof_33_characters_abcdefghijklm>$Y</nameof_33_characters_abcdefghijklm>|<ab a='1'>$Y</ab>|<ab/>")},
    {'Y',
     split("|x|$T|fifteen letters|sixteen letters!|thirty-one letters, one by one.|thirty-two letters, one by one..|"
           "more than thirty-two letters, one by one|x&amp;y")},
    {'S', split("|$B|<!--$K-->|<?$P?>")}, // around the root
    {'B', split(" |\t|\n|\r\n|\r|  \n ")},
    {'O', split("|||$B")},
    {'K', split("| c |-c|<b> & ]]>|c\r\nd|>")},
    {'P', split("p|q r|xml-s a='1'|p ? > <|p\n&")},
    {'N', split("a|b|ab|a-b|_|a:b|B1|x.y|:|xml|long_name")},
    {'E', split("<$N$A$O/>|<$N$A$A$O>$C$C$C</$M$O>|<$N$A>$C$E$C$E</$M>|<$N>$E$B$E$E</$M>|<$N$A$O>$E$C$S</$M>")},
    {'A', split("||$B$N='$V'|$B$N$O=$O\"$V$V\"|$B$N=\"$V'$V\"|$B$N$O=$O'$V$V\"'")},
    {'V', split("|v|1|>|]]>|/|$B|$R|$R")},
    {'R', split("&lt;|&gt;|&amp;|&quot;|&apos;|&#65;|&#x41;|&#9;|&#xA;|&#13;|&#38;|&#60;|&#xE9;|&#255;|&#000128;")},
    {'C', split("|$R|$R$T|<![CDATA[$X]]>|$S|$B|$T|$T$C|$T$S$T$C")},
    {'X', split("|x|<b>&amp;|]]|\r\n\r|]>|\xE9")},
    {'T', split("x|1 2|]|]]|>|]>|\"'|=|\xE9|\xC3\xA9|\x80|\x7F|--|?>|!")},
    {'Z',
     split("<|>|&|;|\"|'|=|/|]]>|--|<!--|-->|<?|?>|</|/>|<a>|</a>|<![CDATA[|]| |\r\n|\r|&#|&#x|&lt;|&#0;|&#256;|&x;|"
           "<?xml ?>|xml|a='1'| b|-|!|[|1|:|.|<!DOCTYPE a>|&#x1F;|&#31;|version|\x7F|\t|&amp|\x01|\x0B|\x1F|\xFF")},
};

class XmlOracle : public XmlService {
protected:
  size_t below(size_t limit) { return random() % limit; }

  std::string expand(char symbol, unsigned depth = 0) {
    const std::vector<std::string> &choices = g_grammar.at(symbol);
    std::string form = choices[depth > 12 ? 0 : below(choices.size())], text, name;
    for (size_t i = 0; i < form.size(); ++i) {
      if (form[i] != '$') {
        text += form[i];
        continue;
      }
      char part = form[++i];
      std::string piece = part == 'M' ? name : expand(part, depth + 1);
      name = part == 'N' && name.empty() ? piece : name;
      text += piece;
    }
    return text;
  }

  // A few pieces of text removed, doubled, exchanged or put in.
  std::string damaged(std::string text) {
    for (size_t left = 1 + below(3); left != 0; --left) {
      size_t at = below(text.size() + 1);
      size_t length = std::min<size_t>(below(6), text.size() - at);
      const std::string pieces[] = {"", text.substr(at, length) + text.substr(at, length), expand('Z'),
                                    expand('Z') + text.substr(at, length)};
      text.replace(at, length, pieces[below(4)]);
    }
    return text;
  }

  void compare(const std::string &document) {
    std::string ours = outline(document), theirs = oracleOutline(document);
    if (ours.empty() == theirs.empty()) {
      EXPECT_EQ(ours, theirs) << document;
      (ours.empty() ? bothRefused : bothAccepted) += 1;
      return;
    }
    bool known = false;
    for (const auto &reason : g_reasons) {
      known |= reason.weAccept == theirs.empty() && std::regex_search(document, std::regex(reason.pattern));
    }
    EXPECT_TRUE(known) << (theirs.empty() ? "accepted: " : "refused: ") << document;
  }

  std::mt19937 random;
  unsigned bothAccepted = 0;
  unsigned bothRefused = 0;
};

TEST_F(XmlOracle, ReasonsToDifferHold) {
  for (const auto &reason : g_reasons) {
    EXPECT_EQ(outline(reason.sample).empty(), !reason.weAccept) << reason.what;
    EXPECT_EQ(oracleOutline(reason.sample).empty(), reason.weAccept) << reason.what;
    EXPECT_TRUE(std::regex_search(reason.sample, std::regex(reason.pattern))) << reason.what;
  }
}

TEST_F(XmlOracle, GeneratedDocumentsAreTheSameTree) {
  constexpr unsigned documents = 2000;
  for (unsigned seed = 0; seed < documents && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    random.seed(seed);
    std::string document = expand('D');
    compare(document);
    document += "<!--" + std::string(200, '-' + 1) + "-->"; // far from its end a document is read in another way
    compare(document);
    for (unsigned i = 0; i < 4; ++i) {
      compare(damaged(document));
    }
  }
  EXPECT_GT(bothAccepted, documents);
  EXPECT_GT(bothRefused, documents);
}
