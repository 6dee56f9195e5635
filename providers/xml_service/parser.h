// What the parser's files share. A routine that reads takes the place where it begins and returns the one behind what
// it read, or null when the document is not well-formed there (Parser::failure then says what Parse returns).
#pragma once

#include "base/vector.h"
#include "providers/xml_service/blocks.h"
#include "providers/xml_service/characters.h"

namespace xyl::xml_service {

// A pass over the user's text. One text at a time is made of it, a name, a value or a content, at the place where the
// document's texts go on; it counts when it is ended. What is left open, the next one overwrites.
struct Parser {
  const CHAR8 *end; // the NUL of the user's text
  Document *document;
  ServiceNode *root;
  ServiceNode *open;      // the innermost element that is not ended, null outside the root
  ServiceNode *previous;  // the last child of open so far, or null
  ServiceNode *predicted; // what the next child of open is expected to be like, or null
  const CHAR8 *name;      // of open, in its start tag
  UINTN nameLength;       // 0 when open has a child
  CHAR8 *contentEnd;      // the end of what open's content has so far, or null before it begins
  EFI_STATUS failure;
};

// Stops for want of memory.
inline const CHAR8 *failWithoutMemory(Parser *parser) {
  parser->failure = EFI_OUT_OF_RESOURCES;
  return nullptr;
}

// The first place from at on that is no white space, respectively no part of a name (at itself when no name begins
// there).
inline const CHAR8 *skipBlanks(const CHAR8 *at) {
  return skipClass(at, classBlank);
}
inline const CHAR8 *skipName(const CHAR8 *at) {
  return isClass(*at, classNameStart) ? skipClass(at + 1, className) : at;
}

// The place behind markup when at begins with it, else null.
inline const CHAR8 *skipMarkup(const CHAR8 *at, const CHAR8 *markup) {
  for (; *markup != 0; ++markup, at++) {
    if (*at != *markup) {
      return nullptr;
    }
  }
  return at;
}

// Whether a vector of the user's text may be read.
inline bool hasVector(const Parser *parser, const CHAR8 *at) {
  return static_cast<UINTN>(parser->end - at) >= vectorSize;
}

// Skips a line feed and the blanks behind it: most of what stands between two tags.
inline const CHAR8 *skipIndentation(const Parser *parser, const CHAR8 *at) {
  if (*at != '\n') {
    return at;
  }
  ++at;
  UINTN length = vectorSize;
  while (length == vectorSize && hasVector(parser, at)) {
    length = charactersBefore(loadVector(at) != ' ');
    at += length;
  }
  return at;
}

// guessSize bytes must be there to be read for a guess.
inline constexpr UINTN guessSize = 2 * vectorSize + 1;

// Links node behind the last child of the open element.
inline void linkNode(Parser *parser, ServiceNode *node) {
  node->parent = parser->open;
  node->PrevSibling = parser->previous;
  if (parser->previous != nullptr) {
    parser->previous->NextSibling = node;
  } else if (parser->open != nullptr) {
    parser->open->FirstChild = node;
  } else {
    parser->root = node;
  }
}

// What is expected behind node. One that came as a surprise keeps the element that was expected there.
inline ServiceNode *predictedBehind(const ServiceNode *node) {
  ServiceNode *predicted = node->predicted;
  return predicted != nullptr && predicted->Name == node->Name ? serviceNode(predicted->NextSibling) : predicted;
}

// Ends node, the last child of what is open then.
inline void closeNode(Parser *parser, ServiceNode *node) {
  parser->open = node->parent;
  parser->previous = node;
  parser->predicted = predictedBehind(node);
  parser->nameLength = 0;
  parser->contentEnd = nullptr;
}

// prediction.cpp: how long the name is that stands at at, and ends its tag there, when it is that of the element which
// is expected there, or of one near it; that is *predicted. 0 when the name comes as a surprise; *predicted then is
// what was expected, or null.
UINTN findPredicted(const Parser *parser, const CHAR8 *at, ServiceNode **predicted);

// parse_text.cpp

// Ends the text that was made up to end, and returns it.
CHAR8 *endText(Parser *parser, CHAR8 *end);

// A name, and how long it is.
const CHAR8 *readName(Parser *parser, const CHAR8 *at, CHAR8 **name, UINTN *length);

// A quoted attribute value; *value is its text.
const CHAR8 *readValue(Parser *parser, const CHAR8 *at, CHAR8 **value);

// Character data up to the next "<", and a CDATA section behind its "<![CDATA["; both are added to the content of the
// open element.
const CHAR8 *readCharacters(Parser *parser, const CHAR8 *at);
const CHAR8 *readCData(Parser *parser, const CHAR8 *at);

// parse_tag.cpp: a start tag or an empty element, and an end tag.
const CHAR8 *readStartTag(Parser *parser, const CHAR8 *at);
const CHAR8 *readEndTag(Parser *parser, const CHAR8 *at);

// parse_leaf.cpp: as many children of the plainest form as stand there. At itself when there is none.
const CHAR8 *readLeaves(Parser *parser, const CHAR8 *at);

// attributes.cpp: whether no two attributes of a list linked by Next have the same name. Sets the Prev links if so.
bool attributeNamesDiffer(XML_ATTRIBUTE *first);

} // namespace xyl::xml_service
