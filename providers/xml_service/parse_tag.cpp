#include "providers/xml_service/parser.h"

namespace xyl::xml_service {

static void openNode(Parser *parser, ServiceNode *node, const CHAR8 *name, UINTN nameLength) {
  parser->open = node;
  parser->name = name;
  parser->previous = nullptr;
  parser->predicted = node->predicted != nullptr ? serviceNode(node->predicted->FirstChild) : nullptr;
  parser->nameLength = nameLength;
  parser->contentEnd = nullptr;
}

static const CHAR8 *readAttribute(Parser *parser, XML_ATTRIBUTE *attribute, const CHAR8 *at) {
  UINTN length = 0;
  at = readName(parser, at, &attribute->Name, &length);
  if (at == nullptr) {
    return nullptr;
  }
  at = skipBlanks(at);
  return *at == '=' ? readValue(parser, skipBlanks(at + 1), &attribute->Value) : nullptr;
}

// The attributes of node, and the blanks behind the last one.
static const CHAR8 *readAttributes(Parser *parser, ServiceNode *node, const CHAR8 *at) {
  XML_ATTRIBUTE *last = nullptr;
  for (;;) {
    const CHAR8 *next = skipBlanks(at);
    if (next == at || *next == '>' || *next == '/') {
      return attributeNamesDiffer(node->Attributes) ? next : nullptr;
    }
    XML_ATTRIBUTE *attribute = takeRecord<XML_ATTRIBUTE>(parser->document);
    if (attribute == nullptr) {
      return failWithoutMemory(parser);
    }
    (last != nullptr ? last->Next : node->Attributes) = attribute;
    last = attribute;
    at = readAttribute(parser, attribute, next);
    if (at == nullptr) {
      return nullptr;
    }
  }
}

const CHAR8 *readStartTag(Parser *parser, const CHAR8 *start) {
  CHAR8 *name = nullptr;
  ServiceNode *predicted = nullptr;
  UINTN nameLength = findPredicted(parser, start + 1, &predicted);
  const CHAR8 *at = start + 1 + nameLength;
  if (nameLength != 0) {
    name = predicted->Name; // nobody changes a name
  } else {
    at = readName(parser, at, &name, &nameLength);
    if (at == nullptr) {
      return nullptr;
    }
  }
  ServiceNode *node = takeNode(parser->document);
  if (node == nullptr) {
    return failWithoutMemory(parser);
  }
  node->Name = name;
  node->predicted = predicted;
  linkNode(parser, node);
  if (*at != '>') {
    at = readAttributes(parser, node, at);
    if (at == nullptr) {
      return nullptr;
    }
    if (at[0] == '/' && at[1] == '>') {
      closeNode(parser, node);
      return at + 2;
    }
    if (*at != '>') {
      return nullptr;
    }
  }
  openNode(parser, node, start + 1, nameLength);
  return at + 1;
}

// The place behind the open element's name, or null when another one stands at at. A leaf's start tag is at hand; its
// copy may still be on the way to memory, and reading it back would have to wait.
static inline const CHAR8 *skipOpenName(const Parser *parser, const CHAR8 *at) {
  UINTN length = parser->nameLength;
  if (length - 1 >= vectorSize || !hasVector(parser, at)) {
    return skipMarkup(at, parser->open->Name);
  }
  return charactersBefore(loadVector(at) != loadVector(parser->name)) >= length ? at + length : nullptr;
}

const CHAR8 *readEndTag(Parser *parser, const CHAR8 *at) {
  ServiceNode *node = parser->open;
  at = skipOpenName(parser, at + 2);
  if (at == nullptr) {
    return nullptr;
  }
  if (*at != '>') {
    at = skipBlanks(at);
    if (*at != '>') {
      return nullptr;
    }
  }
  // Only now does the content count: an element with children has none.
  if (node->FirstChild == nullptr && parser->contentEnd != nullptr &&
      parser->contentEnd != parser->document->block->texts) {
    node->Content = endText(parser, parser->contentEnd);
  }
  closeNode(parser, node);
  return at + 1;
}

} // namespace xyl::xml_service
