#include "providers/xml_service/blocks.h"

#include "base/text.h"

// A document's blocks double, so that a small one takes little and a large one asks for few. From some size on they are
// a part of the document: there are never very many of them.
static constexpr UINTN FIRST_SIZE = EFI_PAGE_SIZE;
static constexpr UINTN USUAL_SIZE = UINTN{32} * EFI_PAGE_SIZE;
static constexpr UINTN PART = 64;

static DOCUMENT *g_created; // the one that is being filled, or null

void forgetDocuments() {
  forgetParsedBlocks();
  g_created = nullptr;
}

// An empty block with room for so many bytes at least, or null.
static BLOCK *newBlock(UINTN size, UINTN room) {
  UINTN least = sizeof(BLOCK) + room;
  UINTN pages = ((size < least ? least : size) + EFI_PAGE_SIZE - 1) / EFI_PAGE_SIZE;
  size = pages * EFI_PAGE_SIZE;
  BLOCK *block = static_cast<BLOCK *>(pagesAllocate(pages));
  if (block != nullptr) {
    UINT8 *end = reinterpret_cast<UINT8 *>(block) + size;
    *block = {nullptr, nullptr, blockTexts(block), end, end, nullptr, nullptr};
  }
  return block;
}

static void putBlock(DOCUMENT *document, BLOCK *block) {
  block->document = document;
  block->next = document->block;
  document->block = block;
  document->size += blockSize(block);
  if (document->isParsed) {
    addParsedBlock(block);
  }
}

static DOCUMENT *newSizedDocument(UINTN size, UINTN room) {
  BLOCK *block = newBlock(size, room + sizeof(DOCUMENT));
  if (block == nullptr) {
    return nullptr;
  }
  DOCUMENT *document = carve<DOCUMENT>(block);
  putBlock(document, block);
  return document;
}

DOCUMENT *newDocument() {
  return newSizedDocument(FIRST_SIZE, 0);
}

DOCUMENT *newParsedDocument() {
  DOCUMENT *document = newDocument();
  if (document != nullptr) {
    document->isParsed = true;
    addParsedBlock(document->block);
  }
  return document;
}

bool addBlock(DOCUMENT *document, UINTN room) {
  UINTN part = document->size / PART;
  UINTN size = document->size < USUAL_SIZE ? document->size : USUAL_SIZE;
  BLOCK *block = newBlock(size < part ? part : size, room);
  if (block == nullptr) {
    return false;
  }
  putBlock(document, block);
  return true;
}

void releaseDocument(DOCUMENT *document) {
  if (document == g_created) {
    g_created = nullptr;
  }
  bool isParsed = document->isParsed; // which goes with its block
  for (BLOCK *block = document->block; block != nullptr;) {
    BLOCK *next = block->next;
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

SERVICE_NODE *newNode(const CHAR8 *name) {
  UINTN nameSize = textLength(name) + 1;
  UINTN room = nameSize + sizeof(SERVICE_NODE);
  if (g_created == nullptr || freeBytes(g_created->block) < room) {
    UINTN size = g_created == nullptr ? FIRST_SIZE : 2 * g_created->size;
    DOCUMENT *document = newSizedDocument(size < USUAL_SIZE ? size : USUAL_SIZE, room);
    if (document == nullptr) {
      return nullptr;
    }
    g_created = document;
  }
  SERVICE_NODE *node = takeNode(g_created);
  BLOCK *block = g_created->block;
  node->Name = block->texts;
  copyBytes(block->texts, name, nameSize);
  block->texts += nameSize;
  return node;
}
