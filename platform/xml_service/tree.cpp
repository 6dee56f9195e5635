#include "tree.h"

#include "base/text.h"

// A piece of memory that nodes and attributes of a parsed tree are taken from, front to back.
struct RECORD_BLOCK {
  RECORD_BLOCK *next;
};

// Smaller blocks would not spare memory: firmware gives out pages.
static constexpr UINTN MINIMUM_BLOCK_SIZE = 4096;

PARSED_TREE *newParsedTree(const CHAR8 *text) {
  UINTN textSize = textLength(text) + 1;
  PARSED_TREE *tree = static_cast<PARSED_TREE *>(poolAllocate(sizeof(PARSED_TREE) + textSize));
  if (tree == nullptr) {
    return nullptr;
  }
  *tree = {};
  // Blocks as large as the document keep their number bounded: no element or attribute takes more than sixteen bytes of
  // record for a byte of text.
  tree->blockSize = (textSize < MINIMUM_BLOCK_SIZE ? MINIMUM_BLOCK_SIZE : textSize);
  tree->blockUsed = tree->blockSize;
  tree->textSize = textSize;
  copyBytes(treeText(tree), text, textSize);
  return tree;
}

void releaseParsedTree(PARSED_TREE *tree) {
  while (tree->blocks != nullptr) {
    RECORD_BLOCK *block = tree->blocks;
    tree->blocks = block->next;
    poolFree(block);
  }
  wipeBytes(treeText(tree), tree->textSize);
  poolFree(tree);
}

static void *takeRecord(PARSED_TREE *tree, UINTN size) {
  if (size > tree->blockSize - tree->blockUsed) {
    RECORD_BLOCK *block = static_cast<RECORD_BLOCK *>(poolAllocate(tree->blockSize));
    if (block == nullptr) {
      return nullptr;
    }
    block->next = tree->blocks;
    tree->blocks = block;
    tree->blockUsed = sizeof(RECORD_BLOCK);
  }
  void *record = reinterpret_cast<UINT8 *>(tree->blocks) + tree->blockUsed;
  tree->blockUsed += size;
  zeroBytes(record, size);
  return record;
}

SERVICE_NODE *newParsedNode(PARSED_TREE *tree) {
  SERVICE_NODE *node = static_cast<SERVICE_NODE *>(takeRecord(tree, sizeof(SERVICE_NODE)));
  if (node != nullptr) {
    node->ServiceOwn = tree;
    tree->liveNodes++;
  }
  return node;
}

XML_ATTRIBUTE *newParsedAttribute(PARSED_TREE *tree) {
  return static_cast<XML_ATTRIBUTE *>(takeRecord(tree, sizeof(XML_ATTRIBUTE)));
}

SERVICE_NODE *newNode(const CHAR8 *name) {
  UINTN nameSize = textLength(name) + 1;
  SERVICE_NODE *node = static_cast<SERVICE_NODE *>(poolAllocate(sizeof(SERVICE_NODE) + nameSize));
  if (node == nullptr) {
    return nullptr;
  }
  *node = {};
  node->Name = reinterpret_cast<CHAR8 *>(node + 1);
  copyBytes(node->Name, name, nameSize);
  return node;
}

static bool isTreeText(PARSED_TREE *tree, const CHAR8 *text) {
  return tree != nullptr && reinterpret_cast<UINTN>(text) - reinterpret_cast<UINTN>(treeText(tree)) < tree->textSize;
}

static void freeText(PARSED_TREE *tree, CHAR8 *text) {
  if (!isTreeText(tree, text)) {
    poolFree(text);
  }
}

// The record of a parsed attribute is told by its name, which lies in the document.
static void freeAttributes(PARSED_TREE *tree, XML_ATTRIBUTE *attribute) {
  while (attribute != nullptr) {
    XML_ATTRIBUTE *next = attribute->Next;
    freeText(tree, attribute->Value);
    if (!isTreeText(tree, attribute->Name)) {
      poolFree(attribute->Name);
      poolFree(attribute);
    }
    attribute = next;
  }
}

static void freeNode(SERVICE_NODE *node) {
  PARSED_TREE *tree = static_cast<PARSED_TREE *>(node->ServiceOwn);
  freeText(tree, node->Content);
  freeAttributes(tree, node->Attributes);
  if (tree == nullptr) {
    poolFree(node);
    return;
  }
  tree->liveNodes--;
  if (tree->liveNodes == 0) {
    releaseParsedTree(tree);
  }
}

void freeTree(SERVICE_NODE *node) {
  node->parent = nullptr;
  while (node != nullptr) {
    if (node->FirstChild != nullptr) {
      SERVICE_NODE *child = serviceNode(node->FirstChild);
      node->FirstChild = child->NextSibling;
      child->parent = node;
      node = child;
    } else {
      SERVICE_NODE *parent = node->parent;
      freeNode(node);
      node = parent;
    }
  }
}
