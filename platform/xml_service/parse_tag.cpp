#include "parser.h"

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

static bool readAttribute(PARSER *parser, XML_ATTRIBUTE *attribute) {
  attribute->Name = parser->at;
  CHAR8 *nameEnd = skipName(parser->at);
  CHAR8 *at = skipBlanks(nameEnd);
  if (nameEnd == parser->at || *at != '=') {
    return false;
  }
  *nameEnd = 0;
  parser->at = skipBlanks(at + 1);
  return readValue(parser, &attribute->Value);
}

// The attributes of node, and the blanks behind the last one.
static bool readAttributes(PARSER *parser, SERVICE_NODE *node) {
  XML_ATTRIBUTE *last = nullptr;
  for (;;) {
    CHAR8 *at = skipBlanks(parser->at);
    bool separated = at != parser->at;
    parser->at = at;
    if (!separated || *at == '>' || *at == '/') {
      return attributeNamesDiffer(node->Attributes);
    }
    XML_ATTRIBUTE *attribute = newParsedAttribute(parser->tree);
    if (attribute == nullptr) {
      return failWithoutMemory(parser);
    }
    (last != nullptr ? last->Next : node->Attributes) = attribute;
    last = attribute;
    if (!readAttribute(parser, attribute)) {
      return false;
    }
  }
}

bool readStartTag(PARSER *parser) {
  CHAR8 *name = parser->at + 1;
  CHAR8 *nameEnd = skipName(name);
  if (nameEnd == name) {
    return false;
  }
  SERVICE_NODE *node = newParsedNode(parser->tree);
  if (node == nullptr) {
    return failWithoutMemory(parser);
  }
  node->Name = name;
  linkNode(parser, node);
  parser->at = nameEnd;
  if (!readAttributes(parser, node)) {
    return false;
  }
  bool empty = *parser->at == '/';
  parser->at += empty ? 1 : 0;
  if (*parser->at != '>') {
    return false;
  }
  parser->at++;
  *nameEnd = 0;
  openNode(parser, node);
  if (empty) {
    closeNode(parser, node);
  }
  return true;
}

bool readEndTag(PARSER *parser) {
  SERVICE_NODE *node = parser->open;
  CHAR8 *nameEnd = skipMark(parser->at + 2, node->Name);
  CHAR8 *at = nameEnd != nullptr ? skipBlanks(nameEnd) : nullptr;
  if (at == nullptr || *at != '>') {
    return false;
  }
  parser->at = at + 1;
  if (node->FirstChild == nullptr && parser->content != nullptr && parser->contentEnd != parser->content) {
    *parser->contentEnd = 0;
    node->Content = parser->content;
  }
  closeNode(parser, node);
  return true;
}
