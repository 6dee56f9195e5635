#include "providers/xml_service/serialize.h"

#include "base/text.h"
#include "providers/xml_service/characters.h"

static constexpr CHAR8 PROLOGUE[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// Two blanks a level; deeper levels are not indented further, or a deep tree's text would grow with the square of its
// depth.
static constexpr CHAR8 INDENTATION[] = "                                ";
static constexpr UINTN INDENTED_LEVELS = (sizeof(INDENTATION) - 1) / 2;

// Takes the text twice: first without memory, to learn its length, then into memory of that size.
struct WRITER {
  CHAR8 *text; // null: only count
  UINTN length;
  bool broken; // an attribute lacks its name or value
};

static void putBytes(WRITER *writer, const CHAR8 *bytes, UINTN count) {
  if (writer->text != nullptr) {
    copyBytes(writer->text + writer->length, bytes, count);
  }
  writer->length += count;
}

static void putText(WRITER *writer, const CHAR8 *text) {
  putBytes(writer, text, textLength(text));
}

static void putReference(WRITER *writer, UINT8 character) {
  CHAR8 number[21];
  UINTN digits = formatDecimal(number, character);
  putBytes(writer, "&#", 2);
  putBytes(writer, number, digits);
  putBytes(writer, ";", 1);
}

static void putEscape(WRITER *writer, CHAR8 character) {
  switch (character) {
  case '&':
    putBytes(writer, "&amp;", 5);
    return;
  case '<':
    putBytes(writer, "&lt;", 4);
    return;
  case '>':
    putBytes(writer, "&gt;", 4);
    return;
  case '"':
    putBytes(writer, "&quot;", 6);
    return;
  default:
    break;
  }
  if (isClass(character, CLASS_ALLOWED)) {
    putReference(writer, static_cast<UINT8>(character));
  } else {
    putBytes(writer, "?", 1);
  }
}

// Writes text; what is not of the class plain is escaped.
static void putEscaped(WRITER *writer, const CHAR8 *text, CHARACTER_CLASS plain) {
  const CHAR8 *at = text;
  for (;;) {
    const CHAR8 *run = at;
    at = skipClass(at, plain);
    putBytes(writer, run, static_cast<UINTN>(at - run));
    if (*at == 0) {
      return;
    }
    putEscape(writer, *at);
    at++;
  }
}

static void putIndentation(WRITER *writer, UINTN level) {
  putBytes(writer, INDENTATION, 2 * (level < INDENTED_LEVELS ? level : INDENTED_LEVELS));
}

static void putAttributes(WRITER *writer, const XML_ATTRIBUTE *attribute) {
  for (; attribute != nullptr; attribute = attribute->Next) {
    if (attribute->Name == nullptr || attribute->Value == nullptr) {
      writer->broken = true;
      return;
    }
    putBytes(writer, " ", 1);
    putText(writer, attribute->Name);
    putBytes(writer, "=\"", 2);
    putEscaped(writer, attribute->Value, CLASS_PLAIN_VALUE);
    putBytes(writer, "\"", 1);
  }
}

static void putEndTag(WRITER *writer, const CHAR8 *name, UINTN nameLength) {
  putBytes(writer, "</", 2);
  putBytes(writer, name, nameLength);
  putBytes(writer, ">\n", 2);
}

// The start tag and the text, and for an element without children also its end.
static void putElement(WRITER *writer, const SERVICE_NODE *node, UINTN level) {
  bool hasText = node->Content != nullptr && *node->Content != 0;
  UINTN nameLength = textLength(node->Name);
  putIndentation(writer, level);
  putBytes(writer, "<", 1);
  putBytes(writer, node->Name, nameLength);
  putAttributes(writer, node->Attributes);
  if (!hasText && node->FirstChild == nullptr) {
    putBytes(writer, "/>\n", 3);
    return;
  }
  putBytes(writer, ">", 1);
  if (hasText) {
    putEscaped(writer, node->Content, CLASS_PLAIN_TEXT);
  }
  if (node->FirstChild == nullptr) {
    putEndTag(writer, node->Name, nameLength);
  } else {
    putBytes(writer, "\n", 1);
  }
}

static void putTree(WRITER *writer, SERVICE_NODE *root) {
  putBytes(writer, PROLOGUE, sizeof(PROLOGUE) - 1);
  SERVICE_NODE *node = root;
  UINTN level = 0;
  for (;;) {
    putElement(writer, node, level);
    if (node->FirstChild != nullptr) {
      SERVICE_NODE *child = serviceNode(node->FirstChild);
      child->parent = node;
      node = child;
      level++;
      continue;
    }
    while (node != root && node->NextSibling == nullptr) {
      node = node->parent;
      level--;
      putIndentation(writer, level);
      putEndTag(writer, node->Name, textLength(node->Name));
    }
    if (node == root) {
      return;
    }
    SERVICE_NODE *next = serviceNode(node->NextSibling);
    next->parent = node->parent;
    node = next;
  }
}

EFI_STATUS treeToText(SERVICE_NODE *root, CHAR8 **text) {
  WRITER writer = {};
  putTree(&writer, root);
  if (writer.broken) {
    return EFI_INVALID_PARAMETER;
  }
  writer.text = static_cast<CHAR8 *>(poolAllocate(writer.length + 1));
  if (writer.text == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  writer.length = 0;
  putTree(&writer, root);
  writer.text[writer.length] = 0;
  *text = writer.text;
  return EFI_SUCCESS;
}
