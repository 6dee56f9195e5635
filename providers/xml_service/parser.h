// What the parser's files share. A routine that reads takes the place where it begins and returns the one behind what
// it read, or null when the document is not well-formed there (PARSER::failure then says what Parse returns).
#pragma once

#include "providers/xml_service/characters.h"
#include "providers/xml_service/tree.h"

// A pass over the tree's own copy of the document. What lies behind the place reached is rewritten: names and texts get
// their NUL, references and line ends shrink to what they stand for.
struct PARSER {
  PARSED_TREE *tree;
  SERVICE_NODE *root;
  SERVICE_NODE *open;     // the innermost element that is not ended, null outside the root
  SERVICE_NODE *previous; // the last child of open so far, or null
  CHAR8 *content;         // the character data of open since its start or last child, or null; not ended by a NUL
  CHAR8 *contentEnd;
  EFI_STATUS failure;
};

// Stops for want of memory.
inline CHAR8 *failWithoutMemory(PARSER *parser) {
  parser->failure = EFI_OUT_OF_RESOURCES;
  return nullptr;
}

// The first place from at on that is no white space, respectively no part of a name (at itself when no name begins
// there).
inline CHAR8 *skipBlanks(CHAR8 *at) {
  return skipClass(at, CLASS_BLANK);
}
inline CHAR8 *skipName(CHAR8 *at) {
  return isClass(*at, CLASS_NAME_START) ? skipClass(at + 1, CLASS_NAME) : at;
}

// The place behind mark when at begins with it, else null.
inline CHAR8 *skipMark(CHAR8 *at, const CHAR8 *mark) {
  for (; *mark != 0; mark++, at++) {
    if (*at != *mark) {
      return nullptr;
    }
  }
  return at;
}

// parse_text.cpp: character data up to the next "<", and a CDATA section behind its "<![CDATA["; both are added to the
// content of the open element.
CHAR8 *readCharacters(PARSER *parser, CHAR8 *at);
CHAR8 *readCData(PARSER *parser, CHAR8 *at);

// A quoted attribute value; *value is its text.
CHAR8 *readValue(CHAR8 *at, CHAR8 **value);

// parse_tag.cpp: a start tag or an empty element, and an end tag.
CHAR8 *readStartTag(PARSER *parser, CHAR8 *at);
CHAR8 *readEndTag(PARSER *parser, CHAR8 *at);

// attributes.cpp: whether no two attributes of a list linked by Next have the same name. Sets the Prev links if so.
bool attributeNamesDiffer(XML_ATTRIBUTE *first);
