#include "providers/xml_service/blocks.h"

#include "base/text.h"

namespace xyl::xml_service {

// A document's blocks double, so that a small one takes little and a large one asks for few. From some size on they are
// a part of the document: there are never very many of them.
static constexpr UINTN firstSize = EFI_PAGE_SIZE;
static constexpr UINTN usualSize = UINTN{32} * EFI_PAGE_SIZE;
static constexpr UINTN partSize = 64;

static Document *g_created; // the one that is being filled, or null

void forgetDocuments() {
  forgetParsedBlocks();
  g_created = nullptr;
}

// An empty block with room for so many bytes at least, or null.
static Block *newBlock(UINTN size, UINTN room) {
  UINTN least = sizeof(Block) + room;
  UINTN pages = ((size < least ? least : size) + EFI_PAGE_SIZE - 1) / EFI_PAGE_SIZE;
  size = pages * EFI_PAGE_SIZE;
  Block *block = static_cast<Block *>(pagesAllocate(pages));
  if (block != nullptr) {
    UINT8 *end = reinterpret_cast<UINT8 *>(block) + size;
    *block = {nullptr, nullptr, blockTexts(block), end, end, nullptr, nullptr};
  }
  return block;
}

static void putBlock(Document *document, Block *block) {
  block->document = document;
  block->next = document->block;
  document->block = block;
  document->size += blockSize(block);
  if (document->isParsed) {
    addParsedBlock(block);
  }
}

static Document *newSizedDocument(UINTN size, UINTN room) {
  Block *block = newBlock(size, room + sizeof(Document));
  if (block == nullptr) {
    return nullptr;
  }
  Document *document = carve<Document>(block);
  putBlock(document, block);
  return document;
}

Document *newDocument() {
  return newSizedDocument(firstSize, 0);
}

Document *newParsedDocument() {
  Document *document = newDocument();
  if (document != nullptr) {
    document->isParsed = true;
    addParsedBlock(document->block);
  }
  return document;
}

bool addBlock(Document *document, UINTN room) {
  UINTN part = document->size / partSize;
  UINTN size = document->size < usualSize ? document->size : usualSize;
  Block *block = newBlock(size < part ? part : size, room);
  if (block == nullptr) {
    return false;
  }
  putBlock(document, block);
  return true;
}

void releaseDocument(Document *document) {
  if (document == g_created) {
    g_created = nullptr;
  }
  bool isParsed = document->isParsed; // which goes with its block
  for (Block *block = document->block; block != nullptr;) {
    Block *next = block->next;
    if (isParsed) {
      removeParsedBlock(block);
    }
    // What is free may hold the rests of texts that were dropped.
    CHAR8 *texts = blockTexts(block);
    wipeBytes(texts, static_cast<UINTN>(reinterpret_cast<CHAR8 *>(block->records) - texts));
    pagesFree(block, blockSize(block) / EFI_PAGE_SIZE);
    block = next;
  }
}

ServiceNode *newNode(const CHAR8 *name) {
  UINTN nameSize = textLength(name) + 1;
  UINTN room = nameSize + sizeof(ServiceNode);
  if (g_created == nullptr || freeBytes(g_created->block) < room) {
    UINTN size = g_created == nullptr ? firstSize : 2 * g_created->size;
    Document *document = newSizedDocument(size < usualSize ? size : usualSize, room);
    if (document == nullptr) {
      return nullptr;
    }
    g_created = document;
  }
  ServiceNode *node = takeNode(g_created);
  Block *block = g_created->block;
  node->Name = block->texts;
  copyBytes(block->texts, name, nameSize);
  block->texts += nameSize;
  return node;
}

} // namespace xyl::xml_service
