#include "parse.h"

#include "base/text.h"
#include "parser.h"

CHAR8 *skipBlanks(CHAR8 *at) {
  while (isClass(*at, CLASS_BLANK)) {
    at++;
  }
  return at;
}

CHAR8 *skipName(CHAR8 *at) {
  if (isClass(*at, CLASS_NAME_START)) {
    do {
      at++;
    } while (isClass(*at, CLASS_NAME));
  }
  return at;
}

CHAR8 *skipMark(CHAR8 *at, const CHAR8 *mark) {
  for (; *mark != 0; mark++, at++) {
    if (*at != *mark) {
      return nullptr;
    }
  }
  return at;
}

// The place behind the first mark from at on, or null when there is none before the document's end or a forbidden
// character.
static CHAR8 *skipBehind(CHAR8 *at, const CHAR8 *mark) {
  for (; isClass(*at, CLASS_ALLOWED); at++) {
    CHAR8 *behind = skipMark(at, mark);
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
    text++;
    lower++;
  }
  return *text == 0 && *lower == 0;
}

static bool isVersion(const CHAR8 *value) {
  if (value[0] != '1' || value[1] != '.' || value[2] == 0) {
    return false;
  }
  for (value += 2; *value >= '0' && *value <= '9';) {
    value++;
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

struct DECLARATION_ITEM {
  const CHAR8 *name;
  bool (*accepts)(const CHAR8 *value);
  bool required;
};

static constexpr DECLARATION_ITEM g_declarationItems[] = {
    {"version", isVersion, true},
    {"encoding", isEncoding, false},
    {"standalone", isStandalone, false},
};

// The XML declaration behind its "<?xml".
static bool readDeclaration(PARSER *parser) {
  for (const DECLARATION_ITEM &item : g_declarationItems) {
    CHAR8 *name = skipBlanks(parser->at);
    CHAR8 *at = name != parser->at ? skipMark(name, item.name) : nullptr;
    if (at == nullptr) {
      if (item.required) {
        return false;
      }
      continue;
    }
    at = skipBlanks(at);
    if (*at != '=') {
      return false;
    }
    parser->at = skipBlanks(at + 1);
    CHAR8 *value = nullptr;
    if (!readValue(parser, &value) || !item.accepts(value)) {
      return false;
    }
  }
  parser->at = skipMark(skipBlanks(parser->at), "?>");
  return parser->at != nullptr;
}

// A byte order mark and an XML declaration, which may stand at the very start only.
static bool readStart(PARSER *parser) {
  CHAR8 *at = skipMark(parser->at, "\xEF\xBB\xBF");
  if (at != nullptr) {
    parser->at = at;
  }
  at = skipMark(parser->at, "<?xml");
  if (at == nullptr || !isClass(*at, CLASS_BLANK)) {
    return true;
  }
  parser->at = at;
  return readDeclaration(parser);
}

// A comment behind its "<!--".
static bool skipComment(PARSER *parser) {
  CHAR8 *at = skipBehind(parser->at, "--");
  if (at == nullptr || *at != '>') {
    return false;
  }
  parser->at = at + 1;
  return true;
}

// A processing instruction behind its "<?".
static bool skipInstruction(PARSER *parser) {
  CHAR8 *target = parser->at;
  CHAR8 *at = skipName(target);
  bool isXml =
      at - target == 3 && lowerCase(target[0]) == 'x' && lowerCase(target[1]) == 'm' && lowerCase(target[2]) == 'l';
  bool ended = isClass(*at, CLASS_BLANK) || skipMark(at, "?>") != nullptr;
  if (at == target || isXml || !ended) {
    return false;
  }
  parser->at = skipBehind(at, "?>");
  return parser->at != nullptr;
}

// Markup that leaves no trace in the tree. Returns whether what stood there was well-formed; *skipped whether anything
// did.
static bool skipComments(PARSER *parser, bool *skipped) {
  CHAR8 *comment = skipMark(parser->at, "<!--");
  CHAR8 *instruction = skipMark(parser->at, "<?");
  *skipped = comment != nullptr || instruction != nullptr;
  if (comment != nullptr) {
    parser->at = comment;
    return skipComment(parser);
  }
  if (instruction != nullptr) {
    parser->at = instruction;
    return skipInstruction(parser);
  }
  return true;
}

// What may surround the root element.
static bool skipSurroundings(PARSER *parser) {
  bool skipped = true;
  while (skipped) {
    parser->at = skipBlanks(parser->at);
    if (!skipComments(parser, &skipped)) {
      return false;
    }
  }
  return true;
}

// The next piece of the open element: text, a tag, or what is skipped.
static bool readPiece(PARSER *parser) {
  if (*parser->at != '<') {
    return readCharacters(parser);
  }
  CHAR8 next = parser->at[1];
  if (next == '/') {
    return readEndTag(parser);
  }
  if (next != '!' && next != '?') {
    return readStartTag(parser);
  }
  CHAR8 *section = skipMark(parser->at, "<![CDATA[");
  if (section != nullptr) {
    parser->at = section;
    return readCData(parser);
  }
  bool skipped = false;
  return skipComments(parser, &skipped) && skipped;
}

static bool readDocument(PARSER *parser) {
  if (!readStart(parser) || !skipSurroundings(parser) || *parser->at != '<' || !readStartTag(parser)) {
    return false;
  }
  while (parser->open != nullptr) {
    if (!readPiece(parser)) {
      return false;
    }
  }
  return skipSurroundings(parser) && *parser->at == 0;
}

EFI_STATUS textToTree(const CHAR8 *text, XML_NODE **root) {
  PARSER parser = {};
  parser.tree = newParsedTree(text);
  if (parser.tree == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  parser.at = treeText(parser.tree);
  parser.failure = EFI_INVALID_PARAMETER;
  if (!readDocument(&parser)) {
    releaseParsedTree(parser.tree);
    return parser.failure;
  }
  *root = parser.root;
  return EFI_SUCCESS;
}
