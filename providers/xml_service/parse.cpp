#include "providers/xml_service/parse.h"

#include "base/text.h"
#include "providers/xml_service/parser.h"

namespace xyl::xml_service {

// The place behind the first mark from at on, or null when there is none before the document's end or a forbidden
// character.
static const CHAR8 *skipBehind(const CHAR8 *at, const CHAR8 *mark) {
  for (; isClass(*at, classAllowed); ++at) {
    const CHAR8 *behind = skipMarkup(at, mark);
    if (behind != nullptr) {
      return behind;
    }
  }
  return nullptr;
}

static CHAR8 lowerCase(CHAR8 character) {
  return character >= 'A' && character <= 'Z' ? static_cast<CHAR8>(character | 0x20) : character;
}

// Whether text is lower, which is written in lower case, in any case.
static bool equalInAnyCase(const CHAR8 *text, const CHAR8 *lower) {
  while (*lower != 0 && lowerCase(*text) == *lower) {
    ++text;
    ++lower;
  }
  return *text == 0 && *lower == 0;
}

static bool isVersion(const CHAR8 *value) {
  if (value[0] != '1' || value[1] != '.' || value[2] == 0) {
    return false;
  }
  for (value += 2; *value >= '0' && *value <= '9';) {
    ++value;
  }
  return *value == 0;
}

// The encodings whose bytes up to 0x7F are ASCII and whose others are not interpreted.
static bool isEncoding(const CHAR8 *value) {
  return equalInAnyCase(value, "utf-8") || equalInAnyCase(value, "us-ascii") || equalInAnyCase(value, "iso-8859-1");
}

static bool isStandalone(const CHAR8 *value) {
  return textEqual(value, "yes") || textEqual(value, "no");
}

struct DeclarationItem {
  const CHAR8 *name;
  bool (*accepts)(const CHAR8 *value);
  bool required;
};

static constexpr DeclarationItem g_declarationItems[] = {
    {"version", isVersion, true},
    {"encoding", isEncoding, false},
    {"standalone", isStandalone, false},
};

// The XML declaration behind its "<?xml".
static const CHAR8 *readDeclaration(Parser *parser, const CHAR8 *at) {
  for (const DeclarationItem &item : g_declarationItems) {
    const CHAR8 *name = skipBlanks(at);
    const CHAR8 *nameEnd = name != at ? skipMarkup(name, item.name) : nullptr;
    if (nameEnd == nullptr) {
      if (item.required) {
        return nullptr;
      }
      continue;
    }
    const CHAR8 *equals = skipBlanks(nameEnd);
    if (*equals != '=') {
      return nullptr;
    }
    CHAR8 *value = nullptr;
    at = readValue(parser, skipBlanks(equals + 1), &value);
    if (at == nullptr || !item.accepts(value)) {
      return nullptr;
    }
  }
  return skipMarkup(skipBlanks(at), "?>");
}

// A byte order mark and an XML declaration, which may stand at the very start only.
static const CHAR8 *readStart(Parser *parser, const CHAR8 *at) {
  const CHAR8 *behind = skipMarkup(at, "\xEF\xBB\xBF");
  at = behind != nullptr ? behind : at;
  behind = skipMarkup(at, "<?xml");
  return behind != nullptr && isClass(*behind, classBlank) ? readDeclaration(parser, behind) : at;
}

// A comment behind its "<!--".
static const CHAR8 *skipComment(const CHAR8 *at) {
  at = skipBehind(at, "--");
  return at != nullptr && *at == '>' ? at + 1 : nullptr;
}

// A processing instruction behind its "<?".
static const CHAR8 *skipInstruction(const CHAR8 *target) {
  const CHAR8 *at = skipName(target);
  bool isXml =
      at - target == 3 && lowerCase(target[0]) == 'x' && lowerCase(target[1]) == 'm' && lowerCase(target[2]) == 'l';
  bool ended = isClass(*at, classBlank) || skipMarkup(at, "?>") != nullptr;
  return at == target || isXml || !ended ? nullptr : skipBehind(at, "?>");
}

// Markup that leaves no trace in the tree. Where none begins, at itself.
static const CHAR8 *skipComments(const CHAR8 *at) {
  const CHAR8 *comment = skipMarkup(at, "<!--");
  if (comment != nullptr) {
    return skipComment(comment);
  }
  const CHAR8 *instruction = skipMarkup(at, "<?");
  return instruction != nullptr ? skipInstruction(instruction) : at;
}

// What may surround the root element.
static const CHAR8 *skipSurroundings(const CHAR8 *at) {
  const CHAR8 *begin = nullptr;
  while (at != nullptr && at != begin) {
    begin = skipBlanks(at);
    at = skipComments(begin);
  }
  return at;
}

// The next part of the open element: text, a tag, or what is skipped.
static const CHAR8 *readPart(Parser *parser, const CHAR8 *at) {
  if (*at != '<') {
    return readCharacters(parser, at);
  }
  if (at[1] == '/') {
    return readEndTag(parser, at);
  }
  if (at[1] != '!' && at[1] != '?') {
    return readStartTag(parser, at);
  }
  const CHAR8 *section = skipMarkup(at, "<![CDATA[");
  if (section != nullptr) {
    return readCData(parser, section);
  }
  const CHAR8 *behind = skipComments(at);
  return behind != at ? behind : nullptr;
}

static bool readDocument(Parser *parser, const CHAR8 *at) {
  at = readStart(parser, at);
  at = at != nullptr ? skipSurroundings(at) : nullptr;
  at = at != nullptr && *at == '<' ? readStartTag(parser, at) : nullptr;
  while (at != nullptr && parser->open != nullptr) {
    at = readPart(parser, readLeaves(parser, at));
  }
  at = at != nullptr ? skipSurroundings(at) : nullptr;
  return at != nullptr && *at == 0;
}

EFI_STATUS textToTree(const CHAR8 *text, XML_NODE **root) {
  Parser parser = {};
  parser.document = newParsedDocument();
  if (parser.document == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  parser.end = text + textLength(text);
  parser.failure = EFI_INVALID_PARAMETER;
  if (!readDocument(&parser, text)) {
    releaseDocument(parser.document);
    return parser.failure;
  }
  *root = parser.root;
  return EFI_SUCCESS;
}

} // namespace xyl::xml_service
