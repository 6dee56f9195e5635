// The parser against libxml2 over generated documents, whole and damaged: whatever both accept is the same tree, and
// where one refuses what the other accepts, the reason is one of those listed here.

#include <libxml/parser.h>

#include <cstring>
#include <random>

#include "fixture.h"

// --- libxml2's tree, as an outline like the fixture's ---

struct OUTLINE_NODE {
  std::string start; // name and attributes
  std::string text;
  std::string children;
};

struct OUTLINE {
  std::vector<OUTLINE_NODE> open;
  std::string whole;
};

static OUTLINE &outlineBehind(void *context) {
  return *static_cast<OUTLINE *>(static_cast<xmlParserCtxtPtr>(context)->_private);
}

// libxml2 is told that every byte is a character, so that all of its characters are bytes again.
static std::string bytesOf(const xmlChar *text, size_t length) {
  std::string bytes;
  for (size_t i = 0; i < length; ++i) {
    bytes += static_cast<char>(text[i] < 0x80 ? text[i] : text[i] << 6 | (text[i + 1] & 0x3F));
    i += text[i] < 0x80 ? 0 : 1;
  }
  return bytes;
}

static std::string bytesOf(const xmlChar *text) {
  return bytesOf(text, static_cast<size_t>(xmlStrlen(text)));
}

static void onStart(void *context, const xmlChar *name, const xmlChar **attributes) {
  OUTLINE_NODE node = {bytesOf(name), {}, {}};
  for (; attributes != nullptr && *attributes != nullptr; attributes += 2) {
    node.start += "[" + bytesOf(attributes[0]) + "=" + bytesOf(attributes[1]) + "]";
  }
  outlineBehind(context).open.push_back(node);
}

static void onEnd(void *context, const xmlChar *) {
  OUTLINE &outline = outlineBehind(context);
  OUTLINE_NODE node = outline.open.back();
  outline.open.pop_back();
  bool isText = node.children.empty() && !node.text.empty();
  std::string done = node.start + (isText ? "=" + node.text : "");
  done += node.children.empty() ? "" : "{" + node.children + "}";
  std::string &place = outline.open.empty() ? outline.whole : outline.open.back().children;
  place += (place.empty() ? "" : " ") + done;
}

static void onText(void *context, const xmlChar *text, int length) {
  OUTLINE &outline = outlineBehind(context);
  if (!outline.open.empty()) {
    outline.open.back().text += bytesOf(text, static_cast<size_t>(length));
  }
}

// The outline by libxml2, or empty when it refuses the document.
static std::string oracleOutline(const std::string &document) {
  xmlParserCtxtPtr parser = xmlNewParserCtxt();
  OUTLINE outline;
  parser->_private = &outline;
  std::memset(parser->sax, 0, sizeof(*parser->sax));
  parser->sax->initialized = 1; // names as they stand, without namespaces
  parser->sax->startElement = onStart;
  parser->sax->endElement = onEnd;
  parser->sax->characters = onText;
  parser->sax->ignorableWhitespace = onText;
  parser->sax->cdataBlock = onText;
  xmlDocPtr tree = xmlCtxtReadMemory(parser, document.data(), static_cast<int>(document.size()), nullptr, "ISO-8859-1",
                                     XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
  xmlFreeDoc(tree);
  bool accepted = parser->wellFormed != 0;
  xmlFreeParserCtxt(parser);
  return accepted ? outline.whole : "";
}

// --- Known reasons ---

static bool contains(const std::string &document, const char *part) {
  return document.find(part) != std::string::npos;
}

static bool hasDocumentType(const std::string &document) {
  return contains(document, "<!DOCTYPE");
}

static bool hasLargeReference(const std::string &document) {
  for (size_t at = document.find("&#"); at != std::string::npos; at = document.find("&#", at + 1)) {
    bool hex = document[at + 2] == 'x';
    if (std::strtoull(document.c_str() + at + (hex ? 3 : 2), nullptr, hex ? 16 : 10) > 255) {
      return true;
    }
  }
  return false;
}

static bool hasOtherEncoding(const std::string &document) {
  return contains(document, "encoding");
}

static bool hasShortVersion(const std::string &document) {
  return contains(document, "1.'") || contains(document, "1.\"");
}

static bool hasHighName(const std::string &document) {
  for (unsigned char byte : document) {
    if (byte >= 0x80) {
      return true;
    }
  }
  return false;
}

struct KNOWN_REASON {
  const char *what;
  bool weAccept;
  const char *sample;
  bool (*applies)(const std::string &document);
};

static const KNOWN_REASON g_reasons[] = {
    {"document types are refused", false, "<!DOCTYPE a><a/>", hasDocumentType},
    {"a reference is one byte", false, "<a>&#256;</a>", hasLargeReference},
    {"encodings other than the 8-bit ones are refused", false, "<?xml version='1.0' encoding='KOI8-R'?><a/>",
     hasOtherEncoding},
    {"a version ends in digits", false, "<?xml version='1.'?><a/>", hasShortVersion},
    {"all bytes above 0x7F may stand in names", true, "<\x80/>", hasHighName},
};

static const char *reasonFor(const std::string &document, bool weAccept) {
  for (const KNOWN_REASON &reason : g_reasons) {
    if (reason.weAccept == weAccept && reason.applies(document)) {
      return reason.what;
    }
  }
  return nullptr;
}

// --- Documents ---

class Generator {
public:
  explicit Generator(unsigned seed) : random_(seed) {}

  std::string document() {
    std::string text = oneOf({"", "", "<?xml version=\"1.0\"?>", "<?xml version='1.0' encoding='UTF-8'?>\n",
                              "<?xml version=\"1.0\"\tstandalone = 'no' ?>"});
    return text + surroundings() + element(0) + surroundings();
  }

  // A few pieces of text removed, doubled, exchanged or put in.
  std::string damaged(std::string text) {
    for (size_t left = 1 + below(3); left != 0; --left) {
      size_t at = below(text.size() + 1);
      size_t length = std::min<size_t>(below(6), text.size() - at);
      switch (below(4)) {
      case 0:
        text.erase(at, length);
        break;
      case 1:
        text.insert(at, text.substr(at, length));
        break;
      case 2:
        text.replace(at, length, piece());
        break;
      default:
        text.insert(at, piece());
        break;
      }
    }
    return text.substr(0, text.find('\0'));
  }

private:
  size_t below(size_t limit) { return random_() % limit; }
  bool chance(unsigned percent) { return below(100) < percent; }

  std::string oneOf(const std::vector<std::string> &choices) { return choices[below(choices.size())]; }

  std::string repeat(size_t limit, std::string (Generator::*part)()) {
    std::string text;
    for (size_t left = below(limit); left != 0; --left) {
      text += (this->*part)();
    }
    return text;
  }

  std::string piece() {
    if (chance(15)) {
      return std::string(1, static_cast<char>(1 + below(255)));
    }
    return oneOf({"<",      ">",     "&",       ";",    "\"",  "'",    "=",    "/",      "]]>",       "--",
                  "<!--",   "-->",   "<?",      "?>",   "</",  "/>",   "<a>",  "</a>",   "<![CDATA[", "]",
                  " ",      "\r\n",  "\r",      "&#",   "&#x", "&lt;", "&#0;", "&#256;", "&x;",       "<?xml ?>",
                  "xml",    "a='1'", " b",      "-",    "!",   "[",    "1",    ":",      ".",         "<!DOCTYPE a>",
                  "&#x1F;", "&#31;", "version", "\x7F", "\t",  "&amp"});
  }

  std::string blank() { return oneOf({" ", "\t", "\n", "\r\n", "\r", "  \n "}); }

  std::string comment() { return "<!--" + oneOf({"", " c ", "-c", "<b> & ]]>", "c\r\nd", ">"}) + "-->"; }

  std::string instruction() { return "<?" + oneOf({"p", "q r", "xml-s a='1'", "p ? > <", "p\n&"}) + "?>"; }

  std::string surrounding() { return chance(40) ? blank() : chance(50) ? comment() : instruction(); }
  std::string surroundings() { return repeat(3, &Generator::surrounding); }

  std::string name() { return oneOf({"a", "b", "ab", "a-b", "_", "a:b", "B1", "x.y", ":", "xml", "long_name"}); }

  std::string reference() {
    return oneOf({"&lt;", "&gt;", "&amp;", "&quot;", "&apos;", "&#65;", "&#x41;", "&#9;", "&#xA;", "&#13;", "&#38;",
                  "&#60;", "&#xE9;", "&#255;", "&#000128;"});
  }

  std::string characters() {
    return oneOf({"x", "1 2", "]", "]]", ">", "]>", "\"'", "=", "\xE9", "\xC3\xA9", "\x80", "\x7F", "--", "?>", "!"});
  }

  std::string valuePart() {
    return chance(30) ? reference() : chance(30) ? blank() : oneOf({"v", "1", ">", "]]>", "/"});
  }

  std::string attribute() {
    std::string quote = oneOf({"'", "\""});
    std::string other = quote == "'" ? "\"" : "'";
    std::string value = repeat(4, &Generator::valuePart) + (chance(20) ? other : "");
    return blank() + name() + (chance(20) ? blank() : "") + "=" + (chance(20) ? blank() : "") + quote + value + quote;
  }

  std::string section() { return "<![CDATA[" + oneOf({"", "x", "<b>&amp;", "]]", "\r\n\r", "]>", "\xE9"}) + "]]>"; }

  std::string contentPart() {
    switch (below(6)) {
    case 0:
      return reference();
    case 1:
      return section();
    case 2:
      return comment() + (chance(50) ? instruction() : "");
    case 3:
      return blank();
    default:
      return characters();
    }
  }

  std::string element(unsigned depth) {
    std::string tag = name();
    std::string text = "<" + tag + repeat(3, &Generator::attribute) + (chance(20) ? blank() : "");
    if (chance(20)) {
      return text + "/>";
    }
    text += ">";
    for (size_t left = below(5); left != 0; --left) {
      text += depth < 4 && chance(45) ? element(depth + 1) : repeat(3, &Generator::contentPart);
    }
    return text + "</" + tag + (chance(20) ? blank() : "") + ">";
  }

  std::mt19937 random_;
};

// --- Tests ---

class XmlOracle : public XmlService {
protected:
  // Empty for a document that the service refuses.
  std::string ourOutline(const std::string &document) {
    XML_NODE *root = nullptr;
    if (EFI_ERROR(xml->Parse(xml, document.c_str(), &root))) {
      return {};
    }
    std::string outline = outlineOf(root);
    FreeXMLNode(root);
    return outline;
  }

  void compare(const std::string &document) {
    std::string ours = ourOutline(document);
    std::string theirs = oracleOutline(document);
    if (ours.empty() == theirs.empty()) {
      EXPECT_EQ(ours, theirs) << document;
      (ours.empty() ? bothRefused : bothAccepted) += 1;
    } else {
      EXPECT_NE(reasonFor(document, theirs.empty()), nullptr)
          << (theirs.empty() ? "accepted: " : "refused: ") << document;
    }
  }

  unsigned bothAccepted = 0;
  unsigned bothRefused = 0;
};

TEST_F(XmlOracle, ReasonsToDifferHold) {
  for (const KNOWN_REASON &reason : g_reasons) {
    EXPECT_EQ(ourOutline(reason.sample).empty(), !reason.weAccept) << reason.what;
    EXPECT_EQ(oracleOutline(reason.sample).empty(), reason.weAccept) << reason.what;
    EXPECT_STREQ(reasonFor(reason.sample, reason.weAccept), reason.what);
  }
}

TEST_F(XmlOracle, GeneratedDocumentsAreTheSameTree) {
  constexpr unsigned DOCUMENTS = 2000;
  for (unsigned seed = 0; seed < DOCUMENTS && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Generator generator(seed);
    std::string document = generator.document();
    compare(document);
    for (unsigned i = 0; i < 4; ++i) {
      compare(generator.damaged(document));
    }
  }
  EXPECT_GT(bothAccepted, DOCUMENTS);
  EXPECT_GT(bothRefused, DOCUMENTS);
}
