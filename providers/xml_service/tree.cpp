#include "providers/xml_service/tree.h"

#include "base/text.h"

// Smaller blocks would not spare memory: firmware gives out pages.
static constexpr UINTN MINIMUM_BLOCK_SIZE = 4096;

// Zeros behind the document, so that the parser may look at eight characters at once.
static constexpr UINTN TEXT_PADDING = 8;

PARSED_TREE *newParsedTree(const CHAR8 *text) {
  UINTN textSize = textLength(text) + 1;
  PARSED_TREE *tree = static_cast<PARSED_TREE *>(poolAllocate(sizeof(PARSED_TREE) + textSize + TEXT_PADDING));
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
  zeroBytes(treeText(tree) + textSize, TEXT_PADDING);
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

bool addBlock(PARSED_TREE *tree) {
  RECORD_BLOCK *block = static_cast<RECORD_BLOCK *>(poolAllocate(tree->blockSize));
  if (block == nullptr) {
    return false;
  }
  block->next = tree->blocks;
  tree->blocks = block;
  tree->blockUsed = sizeof(RECORD_BLOCK);
  return true;
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

// Parsing has set most parents already, and what is not written does not go back to memory.
static void setParent(SERVICE_NODE *node, SERVICE_NODE *parent) {
  if (node->parent != parent) {
    node->parent = parent;
  }
}

// The first element below node that has no children, or node itself.
static SERVICE_NODE *firstLeaf(SERVICE_NODE *node) {
  while (node->FirstChild != nullptr) {
    SERVICE_NODE *child = serviceNode(node->FirstChild);
    setParent(child, node);
    node = child;
  }
  return node;
}

void freeTree(SERVICE_NODE *root) {
  SERVICE_NODE *node = firstLeaf(root);
  while (node != root) {
    SERVICE_NODE *parent = node->parent;
    SERVICE_NODE *next = serviceNode(node->NextSibling);
    freeNode(node);
    node = parent;
    if (next != nullptr) {
      setParent(next, parent);
      node = firstLeaf(next);
    }
  }
  freeNode(root);
}
