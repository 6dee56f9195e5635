// The fast way through what most documents consist of: children on lines of their own, each a short text between tags
// without attributes. It takes nothing that it does not recognise whole, and parse_tag.cpp and parse_text.cpp take the
// rest.
#include "providers/xml_service/parser.h"
#include "providers/xml_service/runs.h"

// What is looked at from a tag's name on: two pieces of text between two names, and what encloses them.
static constexpr UINTN LEAF_SIZE = 2 * GUESS_SIZE + 3 * PIECE_SIZE;

// What a leaf takes of a block at most: a name of one piece, a text of two, and their ends.
static constexpr UINTN LEAF_ROOM = sizeof(SERVICE_NODE) + 3 * PIECE_SIZE + 2;

// Puts up to two pieces of text at to. Returns the place behind the text.
static const CHAR8 *takeText(const CHAR8 *at, CHAR8 *to) {
  UINTN length = PIECE_SIZE;
  for (int i = 0; i < 2 && length == PIECE_SIZE; i++) {
    PIECE piece = loadPiece(at);
    storePiece(to, piece);
    length = charactersBefore(markTextEnds(piece));
    at += length;
    to += length;
  }
  return at;
}

// Whether the same characters stand at a and b, and a tag's end behind a.
static inline bool isEndTag(const CHAR8 *a, const CHAR8 *b, UINTN length) {
  UINTN same = charactersBefore(loadPiece(a) != loadPiece(b));
  if (same == PIECE_SIZE && length > PIECE_SIZE) {
    same += charactersBefore(loadPiece(a + PIECE_SIZE) != loadPiece(b + PIECE_SIZE));
  }
  return same >= length && a[length] == '>';
}

// The leaf whose tag begins in front of start.
static const CHAR8 *readLeaf(PARSER *parser, const CHAR8 *start) {
  BLOCK *block = parser->document->block;
  if (static_cast<UINTN>(parser->end - start) < LEAF_SIZE || freeBytes(block) < LEAF_ROOM) {
    return nullptr;
  }
  SERVICE_NODE *twin = nullptr;
  UINTN nameLength = findTwin(parser, start, &twin);
  CHAR8 *name = block->texts;
  CHAR8 *content = name;
  if (nameLength != 0) {
    name = twin->Name; // nobody changes a name
  } else {
    PIECE piece = loadPiece(start);
    nameLength = charactersBefore(markNameEnds(piece));
    if (nameLength == 0 || nameLength == PIECE_SIZE || start[nameLength] != '>') {
      return nullptr;
    }
    storePiece(name, piece);
    name[nameLength] = 0;
    content = name + nameLength + 1;
  }
  const CHAR8 *text = start + nameLength + 1;
  const CHAR8 *end = takeText(text, content);
  if (end == text || end[0] != '<' || end[1] != '/' || !isEndTag(end + 2, start, nameLength)) {
    return nullptr;
  }
  SERVICE_NODE *node = takeNode(parser->document);
  node->Name = name;
  node->twin = twin;
  node->Content = content;
  block->texts = content + (end - text);
  *block->texts++ = 0;
  linkNode(parser, node);
  closeNode(parser, node);
  return end + 3 + nameLength;
}

const CHAR8 *readLeaves(PARSER *parser, const CHAR8 *at) {
  for (;;) {
    const CHAR8 *tag = skipIndentation(parser, at);
    const CHAR8 *behind = nullptr;
    if (tag[0] == '<' && tag[1] != '/') {
      behind = readLeaf(parser, tag + 1);
    }
    if (behind == nullptr) {
      return at;
    }
    at = behind;
  }
}
