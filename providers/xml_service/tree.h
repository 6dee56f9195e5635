// The memory of document trees.
//
// A node from CreateNode is one pool allocation with its name behind it. A parsed tree takes few allocations: a copy of
// the document, in which the parser ends and decodes names and texts where they stand, and blocks of records. They go
// back with the last node of the tree, while content and attributes that a user linked in go back one by one.
#pragma once

#include "base/pool.h"
#include "xml_protocol.h"

// A piece of memory that nodes and attributes of a parsed tree are taken from, front to back.
struct RECORD_BLOCK {
  RECORD_BLOCK *next;
};

// What the nodes of one parsed document share; a pool allocation with the copy of the document behind it.
struct PARSED_TREE {
  PARSED_TREE *previous; // of all living ones
  PARSED_TREE *next;
  PARSED_TREE *emptied; // the next of those that a release left without nodes
  UINTN liveNodes;
  RECORD_BLOCK *blocks; // all blocks, the one being filled first
  UINTN blockUsed;      // bytes of the first block
  UINTN blockSize;      // bytes of every block
  UINTN textSize;       // bytes, with the NUL
};

// A node as the service allocates it. ServiceOwn is the PARSED_TREE that the node lies in, null for a created one.
struct SERVICE_NODE : XML_NODE {
  SERVICE_NODE *parent; // set by whoever walks the tree, for the time of the walk: users do not keep it
};

inline SERVICE_NODE *serviceNode(XML_NODE *node) {
  return static_cast<SERVICE_NODE *>(node);
}

// The tree's copy of the document.
inline CHAR8 *treeText(PARSED_TREE *tree) {
  return reinterpret_cast<CHAR8 *>(tree + 1);
}

// Forgets the trees of an earlier life of the image in the same process.
void forgetParsedTrees();

// A tree without nodes that holds a copy of text, or null without memory. The caller owns it until it has nodes and
// gives the root away.
PARSED_TREE *newParsedTree(const CHAR8 *text);

// Gives back all memory of the tree whatever its nodes point to; the copy of the document is overwritten before, since
// documents carry passphrases.
void releaseParsedTree(PARSED_TREE *tree);

// Puts an unused block in front of the others; false without memory.
bool addBlock(PARSED_TREE *tree);

// A zero-filled record that belongs to tree, or null without memory.
template <class T> inline T *takeRecord(PARSED_TREE *tree) {
  if (sizeof(T) > tree->blockSize - tree->blockUsed && !addBlock(tree)) {
    return nullptr;
  }
  T *record = reinterpret_cast<T *>(reinterpret_cast<UINT8 *>(tree->blocks) + tree->blockUsed);
  tree->blockUsed += sizeof(T);
  *record = {};
  return record;
}

inline SERVICE_NODE *newParsedNode(PARSED_TREE *tree) {
  SERVICE_NODE *node = takeRecord<SERVICE_NODE>(tree);
  if (node != nullptr) {
    node->ServiceOwn = tree;
    tree->liveNodes++;
  }
  return node;
}

// A node that belongs to no parsed tree, with a copy of name, or null without memory.
SERVICE_NODE *newNode(const CHAR8 *name);

// Releases root with its content, attributes and descendants. EFI_INVALID_PARAMETER when there were texts or attributes
// among them that lie in the memory of another document: these stay, all else is released.
EFI_STATUS freeTree(SERVICE_NODE *root);
