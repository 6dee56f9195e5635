#include "providers/xml_service/parser.h"

// Links node behind the last child of the open element.
static void linkNode(PARSER *parser, SERVICE_NODE *node) {
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

static void openNode(PARSER *parser, SERVICE_NODE *node) {
  parser->open = node;
  parser->previous = nullptr;
  parser->content = nullptr;
}

static void closeNode(PARSER *parser, SERVICE_NODE *node) {
  parser->open = node->parent;
  parser->previous = node;
  parser->content = nullptr;
}

static CHAR8 *readAttribute(XML_ATTRIBUTE *attribute, CHAR8 *at) {
  CHAR8 *nameEnd = skipName(at);
  CHAR8 *equals = skipBlanks(nameEnd);
  if (nameEnd == at || *equals != '=') {
    return nullptr;
  }
  *nameEnd = 0;
  attribute->Name = at;
  return readValue(skipBlanks(equals + 1), &attribute->Value);
}

// The attributes of node, and the blanks behind the last one.
static CHAR8 *readAttributes(PARSER *parser, SERVICE_NODE *node, CHAR8 *at) {
  XML_ATTRIBUTE *last = nullptr;
  for (;;) {
    CHAR8 *next = skipBlanks(at);
    if (next == at || *next == '>' || *next == '/') {
      return attributeNamesDiffer(node->Attributes) ? next : nullptr;
    }
    XML_ATTRIBUTE *attribute = takeRecord<XML_ATTRIBUTE>(parser->tree);
    if (attribute == nullptr) {
      return failWithoutMemory(parser);
    }
    (last != nullptr ? last->Next : node->Attributes) = attribute;
    last = attribute;
    at = readAttribute(attribute, next);
    if (at == nullptr) {
      return nullptr;
    }
  }
}

CHAR8 *readStartTag(PARSER *parser, CHAR8 *at) {
  CHAR8 *name = at + 1;
  CHAR8 *nameEnd = skipName(name);
  if (nameEnd == name) {
    return nullptr;
  }
  SERVICE_NODE *node = newParsedNode(parser->tree);
  if (node == nullptr) {
    return failWithoutMemory(parser);
  }
  node->Name = name;
  linkNode(parser, node);
  at = *nameEnd == '>' ? nameEnd : readAttributes(parser, node, nameEnd);
  if (at == nullptr) {
    return nullptr;
  }
  bool empty = *at == '/';
  at += empty ? 1 : 0;
  if (*at != '>') {
    return nullptr;
  }
  *nameEnd = 0;
  openNode(parser, node);
  if (empty) {
    closeNode(parser, node);
  }
  return at + 1;
}

CHAR8 *readEndTag(PARSER *parser, CHAR8 *at) {
  SERVICE_NODE *node = parser->open;
  CHAR8 *nameEnd = skipMark(at + 2, node->Name);
  at = nameEnd != nullptr ? skipBlanks(nameEnd) : nullptr;
  if (at == nullptr || *at != '>') {
    return nullptr;
  }
  if (node->FirstChild == nullptr && parser->content != nullptr && parser->contentEnd != parser->content) {
    *parser->contentEnd = 0;
    node->Content = parser->content;
  }
  closeNode(parser, node);
  return at + 1;
}
