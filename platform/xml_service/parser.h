// What the parser's files share. A routine that reads from PARSER::at moves it behind what it read and returns true, or
// returns false when the document is not well-formed there (PARSER::failure then says what Parse returns).
#pragma once

#include "characters.h"
#include "tree.h"

// A pass over the tree's own copy of the document. What lies behind `at` is rewritten in place: names and texts get
// their NUL, references and line ends shrink to what they stand for.
struct PARSER {
  CHAR8 *at;
  PARSED_TREE *tree;
  SERVICE_NODE *root;
  SERVICE_NODE *open;     // the innermost element that is not ended, null outside the root
  SERVICE_NODE *previous; // the last child of open so far, or null
  CHAR8 *content;         // the character data of open since its start or last child, or null; not ended by a NUL
  CHAR8 *contentEnd;
  EFI_STATUS failure;
};

// Stops for want of memory.
inline bool failWithoutMemory(PARSER *parser) {
  parser->failure = EFI_OUT_OF_RESOURCES;
  return false;
}

// Each returns the first place from at on that is no white space, respectively no part of a name (at itself when no
// name begins there).
CHAR8 *skipBlanks(CHAR8 *at);
CHAR8 *skipName(CHAR8 *at);

// The place behind mark when at begins with it, else null.
CHAR8 *skipMark(CHAR8 *at, const CHAR8 *mark);

// parse_text.cpp: character data up to the next "<", and a CDATA section behind its "<![CDATA["; both are added to the
// content of the open element.
bool readCharacters(PARSER *parser);
bool readCData(PARSER *parser);

// A quoted attribute value; *value is its text.
bool readValue(PARSER *parser, CHAR8 **value);

// parse_tag.cpp: a start tag or an empty element, and an end tag.
bool readStartTag(PARSER *parser);
bool readEndTag(PARSER *parser);

// attributes.cpp: whether no two attributes of a list linked by Next have the same name. Sets the Prev links if so.
bool attributeNamesDiffer(XML_ATTRIBUTE *first);
