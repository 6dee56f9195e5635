// The fast way through what most documents consist of: children on lines of their own, each a short text between tags
// without attributes. It takes nothing that it does not recognise whole, and parse_tag.cpp and parse_text.cpp take the
// rest.
#include "providers/xml_service/parser.h"
#include "providers/xml_service/runs.h"

namespace xyl::xml_service {

// What is looked at from a tag's name on: two vectors of text between two names, and what encloses them.
static constexpr UINTN leafSize = 2 * guessSize + 3 * vectorSize;

// What a leaf takes of a block at most: a name of one vector, a text of two, and their ends.
static constexpr UINTN leafRoom = sizeof(ServiceNode) + 3 * vectorSize + 2;

// Puts up to two vectors of text at to. Returns the place behind the text.
static const CHAR8 *takeText(const CHAR8 *at, CHAR8 *to) {
  UINTN length = vectorSize;
  for (int i = 0; i < 2 && length == vectorSize; ++i) {
    Vector vector = loadVector(at);
    storeVector(to, vector);
    length = charactersBefore(maskTextEnds(vector));
    at += length;
    to += length;
  }
  return at;
}

// Whether the same characters stand at a and b, and a tag's end behind a.
static inline bool isEndTag(const CHAR8 *a, const CHAR8 *b, UINTN length) {
  UINTN same = charactersBefore(loadVector(a) != loadVector(b));
  if (same == vectorSize && length > vectorSize) {
    same += charactersBefore(loadVector(a + vectorSize) != loadVector(b + vectorSize));
  }
  return same >= length && a[length] == '>';
}

// The leaf whose tag begins in front of start.
static const CHAR8 *readLeaf(Parser *parser, const CHAR8 *start) {
  Block *block = parser->document->block;
  if (static_cast<UINTN>(parser->end - start) < leafSize || freeBytes(block) < leafRoom) {
    return nullptr;
  }
  ServiceNode *predicted = nullptr;
  UINTN nameLength = findPredicted(parser, start, &predicted);
  CHAR8 *name = block->texts;
  CHAR8 *content = name;
  if (nameLength != 0) {
    name = predicted->Name; // nobody changes a name
  } else {
    Vector vector = loadVector(start);
    nameLength = charactersBefore(maskNameEnds(vector));
    if (nameLength == 0 || nameLength == vectorSize || start[nameLength] != '>') {
      return nullptr;
    }
    storeVector(name, vector);
    name[nameLength] = 0;
    content = name + nameLength + 1;
  }
  const CHAR8 *text = start + nameLength + 1;
  const CHAR8 *end = takeText(text, content);
  if (end == text || end[0] != '<' || end[1] != '/' || !isEndTag(end + 2, start, nameLength)) {
    return nullptr;
  }
  ServiceNode *node = takeNode(parser->document);
  node->Name = name;
  node->predicted = predicted;
  node->Content = content;
  block->texts = content + (end - text);
  *block->texts++ = 0;
  linkNode(parser, node);
  closeNode(parser, node);
  return end + 3 + nameLength;
}

const CHAR8 *readLeaves(Parser *parser, const CHAR8 *at) {
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

} // namespace xyl::xml_service
