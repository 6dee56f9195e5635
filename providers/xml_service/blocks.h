// The memory of elements: blocks of whole pages that are filled from both ends, with texts from the head on and with
// records, of elements and attributes, from the end.
//
// A parsed document has as many blocks as it needs; they go back with its last element, since a text may be used by any
// of its elements. Elements of CreateNode lie in documents of one block, which are filled one after the other, whoever
// creates: such a block goes back with the last of its elements.
#pragma once

#include "base/pool.h"
#include "xml_protocol.h"

namespace xyl::xml_service {

struct Document;

struct Block {
  Document *document;
  Block *next;    // the one before it of the same document
  CHAR8 *texts;   // where the next text begins
  UINT8 *records; // the last record that was taken; what lies between is free
  UINT8 *end;
  Block *lower; // parsed documents': see parsed_blocks.cpp
  Block *higher;
};

// Lies in its first block.
struct Document {
  Document *emptied; // the next of those that a release left without elements
  UINTN liveNodes;
  UINTN size;   // bytes of all blocks
  Block *block; // the newest one, from which is taken
  bool isParsed;
};

// An element as the service allocates it. ServiceOwn is the Block that it lies in.
struct ServiceNode : XML_NODE {
  ServiceNode *parent;    // set by whoever walks the tree, for the time of the walk: users do not keep it
  ServiceNode *predicted; // Parse's: an earlier element of the same name that this one will resemble, or null
};

inline ServiceNode *serviceNode(XML_NODE *node) {
  return static_cast<ServiceNode *>(node);
}

// Forgets the documents of an earlier life of the image in the same process.
void forgetDocuments();

// A document without elements, or null without memory. The caller owns it until it has elements and gives the root
// away. Other elements' texts are looked for in a parsed one.
Document *newDocument();
Document *newParsedDocument();

// Gives back all memory of the document whatever its elements point to; texts are overwritten before, since documents
// carry passphrases.
void releaseDocument(Document *document);

// A new block with that much room for texts becomes the one from which is taken; false without memory.
bool addBlock(Document *document, UINTN room);

// A block's first text.
inline CHAR8 *blockTexts(Block *block) {
  return reinterpret_cast<CHAR8 *>(block + 1);
}
inline const CHAR8 *blockTexts(const Block *block) {
  return reinterpret_cast<const CHAR8 *>(block + 1);
}

inline UINTN freeBytes(const Block *block) {
  return static_cast<UINTN>(block->records - reinterpret_cast<UINT8 *>(block->texts));
}

// A zero-filled record of a block that has room for it.
template <class T> inline T *carve(Block *block) {
  block->records -= sizeof(T);
  T *record = reinterpret_cast<T *>(block->records);
  *record = {};
  return record;
}

// A zero-filled record of the document, or null without memory.
template <class T> inline T *takeRecord(Document *document) {
  if (freeBytes(document->block) < sizeof(T) && !addBlock(document, /* room= */ 0)) {
    return nullptr;
  }
  return carve<T>(document->block);
}

inline ServiceNode *takeNode(Document *document) {
  ServiceNode *node = takeRecord<ServiceNode>(document);
  if (node != nullptr) {
    node->ServiceOwn = document->block;
    ++document->liveNodes;
  }
  return node;
}

// An element that belongs to no parsed document, with a copy of name, or null without memory.
ServiceNode *newNode(const CHAR8 *name);

inline UINTN blockSize(const Block *block) {
  return static_cast<UINTN>(block->end - reinterpret_cast<const UINT8 *>(block));
}

inline bool liesIn(const Block *block, const void *address) {
  return reinterpret_cast<UINTN>(address) - reinterpret_cast<UINTN>(block) < blockSize(block);
}

// parsed_blocks.cpp: the blocks of all parsed documents, found by address however many there are.
void forgetParsedBlocks();
void addParsedBlock(Block *block);
void removeParsedBlock(Block *block);
// The block that address lies in, or null.
Block *parsedBlock(const void *address);

} // namespace xyl::xml_service
