#include "providers/xml_service/serialize.h"

#include "base/text.h"
#include "providers/xml_service/blocks.h"
#include "providers/xml_service/characters.h"
#include "providers/xml_service/runs.h"

namespace xyl::xml_service {

static constexpr CHAR8 prologue[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// Two blanks a level; deeper levels are not indented further, or a deep tree's text would grow with the square of its
// depth.
static constexpr UINTN indentedLevels = 16;
static constexpr UINTN indentationSize = 2 * indentedLevels;

// The text grows in a document's blocks, since to learn its length first would take as long as to write it.
struct Writer {
  Document *document;
  CHAR8 *at;         // where it goes on
  EFI_STATUS status; // after an error nothing more is written
};

// Makes sure that there is room for count bytes and another vector; false without memory.
static bool reserve(Writer *writer, UINTN count) {
  Block *block = writer->document->block;
  count += vectorSize;
  if (static_cast<UINTN>(block->records - reinterpret_cast<UINT8 *>(writer->at)) >= count) {
    return true;
  }
  block->texts = writer->at;
  if (!addBlock(writer->document, count)) {
    writer->status = EFI_OUT_OF_RESOURCES;
    writer->at = blockTexts(block); // there is room for what still comes and is dropped
    return false;
  }
  writer->at = writer->document->block->texts;
  return true;
}

static void putBytes(Writer *writer, const CHAR8 *bytes, UINTN count) {
  if (reserve(writer, count)) {
    copyBytes(writer->at, bytes, count);
    writer->at += count;
  }
}

// Writes a few characters of markup where another vector has room.
template <UINTN size> static inline void putMarkup(Writer *writer, const CHAR8 (&markup)[size]) {
  copyBytes(writer->at, markup, size - 1);
  writer->at += size - 1;
}

static void putReference(Writer *writer, UINT8 character) {
  CHAR8 number[21];
  UINTN digits = formatDecimal(number, character);
  putBytes(writer, "&#", 2);
  putBytes(writer, number, digits);
  putBytes(writer, ";", 1);
}

static void putEscape(Writer *writer, CHAR8 character) {
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
  if (isClass(character, classAllowed)) {
    putReference(writer, static_cast<UINT8>(character));
  } else {
    putBytes(writer, "?", 1);
  }
}

// Writes text, which has length characters; what is not of the class plain is escaped.
static void putEscaped(Writer *writer, const CHAR8 *text, UINTN length, CharacterClass plain) {
  if (!reserve(writer, length)) {
    return;
  }
  // The copy may be looked at in vectors: what lies behind it is ours, too.
  copyBytes(writer->at, text, length);
  UINTN clean = 0;
  UINTN clear = vectorSize;
  for (; clean < length && clear == vectorSize; clean += clear) {
    clear = charactersBefore(maskEscapes(loadVector(writer->at + clean)));
  }
  if (clean >= length) {
    writer->at += length;
    return;
  }
  writer->at += clean;
  for (const CHAR8 *at = text + clean; *at != 0;) {
    const CHAR8 *run = at;
    at = skipClass(at, plain);
    putBytes(writer, run, static_cast<UINTN>(at - run));
    if (*at != 0) {
      putEscape(writer, *at);
      ++at;
    }
  }
}

static void putAttributes(Writer *writer, const XML_ATTRIBUTE *attribute) {
  for (; attribute != nullptr && !EFI_ERROR(writer->status); attribute = attribute->Next) {
    if (attribute->Name == nullptr || attribute->Value == nullptr) {
      writer->status = EFI_INVALID_PARAMETER;
      return;
    }
    putMarkup(writer, " ");
    putBytes(writer, attribute->Name, textLength(attribute->Name));
    putMarkup(writer, "=\"");
    putEscaped(writer, attribute->Value, textLength(attribute->Value), classPlainValue);
    putMarkup(writer, "\"");
  }
}

static void putIndentation(Writer *writer, UINTN level) {
  if (reserve(writer, indentationSize)) {
    __builtin_memset(writer->at, ' ', indentationSize);
    writer->at += 2 * (level < indentedLevels ? level : indentedLevels);
  }
}

static void putName(Writer *writer, const CHAR8 *name) {
  // Names lie in blocks, in front of a record or of room for more.
  Vector vector = loadVector(name);
  UINTN length = charactersBefore(vector == 0);
  if (length == vectorSize) {
    putBytes(writer, name, textLength(name));
  } else if (reserve(writer, vectorSize)) {
    storeVector(writer->at, vector);
    writer->at += length;
  }
}

static void putEndTag(Writer *writer, const CHAR8 *name) {
  putMarkup(writer, "</");
  putName(writer, name);
  putMarkup(writer, ">\n");
}

// The start tag and the text, and for an element without children also its end.
static void putElement(Writer *writer, const ServiceNode *node, UINTN level) {
  bool hasText = node->Content != nullptr && *node->Content != 0;
  putIndentation(writer, level);
  putMarkup(writer, "<");
  putName(writer, node->Name);
  putAttributes(writer, node->Attributes);
  if (!hasText && node->FirstChild == nullptr) {
    putMarkup(writer, "/>\n");
    return;
  }
  putMarkup(writer, ">");
  if (hasText) {
    putEscaped(writer, node->Content, textLength(node->Content), classPlainText);
  }
  if (node->FirstChild == nullptr) {
    putEndTag(writer, node->Name);
  } else {
    putMarkup(writer, "\n");
  }
}

static void putTree(Writer *writer, ServiceNode *root) {
  putBytes(writer, prologue, sizeof(prologue) - 1);
  ServiceNode *node = root;
  UINTN level = 0;
  for (;;) {
    putElement(writer, node, level);
    if (node->FirstChild != nullptr) {
      ServiceNode *child = serviceNode(node->FirstChild);
      child->parent = node;
      node = child;
      ++level;
      continue;
    }
    while (node != root && node->NextSibling == nullptr) {
      node = node->parent;
      --level;
      putIndentation(writer, level);
      putEndTag(writer, node->Name);
    }
    if (node == root || EFI_ERROR(writer->status)) {
      return;
    }
    ServiceNode *next = serviceNode(node->NextSibling);
    next->parent = node->parent;
    node = next;
  }
}

// The text of the writer's blocks as one, or null without memory.
static CHAR8 *joined(const Document *document) {
  UINTN length = 0;
  for (const Block *block = document->block; block != nullptr; block = block->next) {
    length += static_cast<UINTN>(block->texts - blockTexts(block));
  }
  CHAR8 *text = static_cast<CHAR8 *>(poolAllocate(length + 1));
  if (text == nullptr) {
    return nullptr;
  }
  text[length] = 0;
  for (const Block *block = document->block; block != nullptr; block = block->next) {
    UINTN size = static_cast<UINTN>(block->texts - blockTexts(block));
    length -= size;
    copyBytes(text + length, blockTexts(block), size);
  }
  return text;
}

EFI_STATUS treeToText(ServiceNode *root, CHAR8 **text) {
  Writer writer = {newDocument(), nullptr, EFI_SUCCESS};
  if (writer.document == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  writer.at = writer.document->block->texts;
  putTree(&writer, root);
  writer.document->block->texts = writer.at;
  if (!EFI_ERROR(writer.status)) {
    *text = joined(writer.document);
    writer.status = *text != nullptr ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
  }
  releaseDocument(writer.document);
  return writer.status;
}

} // namespace xyl::xml_service
