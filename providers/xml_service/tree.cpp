#include "providers/xml_service/tree.h"

#include "base/text.h"

// Smaller blocks would not spare memory: firmware gives out pages.
static constexpr UINTN MINIMUM_BLOCK_SIZE = 4096;

// Zeros behind the document, so that the parser may look at eight characters at once.
static constexpr UINTN TEXT_PADDING = 8;

static PARSED_TREE *g_parsedTrees;

void forgetParsedTrees() {
  g_parsedTrees = nullptr;
}

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
  tree->next = g_parsedTrees;
  if (tree->next != nullptr) {
    tree->next->previous = tree;
  }
  g_parsedTrees = tree;
  return tree;
}

void releaseParsedTree(PARSED_TREE *tree) {
  (tree->previous != nullptr ? tree->previous->next : g_parsedTrees) = tree->next;
  if (tree->next != nullptr) {
    tree->next->previous = tree->previous;
  }
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

static bool liesIn(const void *address, const void *memory, UINTN size) {
  return reinterpret_cast<UINTN>(address) - reinterpret_cast<UINTN>(memory) < size;
}

// There are never many blocks (see newParsedTree).
static bool isRecordOf(const PARSED_TREE *tree, const void *address) {
  const RECORD_BLOCK *block = tree == nullptr ? nullptr : tree->blocks;
  while (block != nullptr && !liesIn(address, block, tree->blockSize)) {
    block = block->next;
  }
  return block != nullptr;
}

static bool isTextOf(PARSED_TREE *tree, const void *address) {
  return tree != nullptr && liesIn(address, treeText(tree), tree->textSize);
}

// Whether address lies in the memory of any living document, of which there are few.
static bool isParsed(const void *address) {
  PARSED_TREE *tree = g_parsedTrees;
  while (tree != nullptr && !isTextOf(tree, address) && !isRecordOf(tree, address)) {
    tree = tree->next;
  }
  return tree != nullptr;
}

// One release: users may link what lies in a document nowhere else, but when they do, the pool must not hear of it.
struct RELEASE {
  PARSED_TREE *emptied;
  EFI_STATUS status;
};

static void freeLinked(RELEASE *release, void *memory) {
  if (isParsed(memory)) {
    release->status = EFI_INVALID_PARAMETER;
  } else {
    poolFree(memory);
  }
}

static void freeText(RELEASE *release, PARSED_TREE *tree, CHAR8 *text) {
  if (text != nullptr && !isTextOf(tree, text)) {
    freeLinked(release, text);
  }
}

static void freeAttributes(RELEASE *release, PARSED_TREE *tree, XML_ATTRIBUTE *attribute) {
  while (attribute != nullptr) {
    XML_ATTRIBUTE *next = attribute->Next;
    freeText(release, tree, attribute->Value);
    freeText(release, tree, attribute->Name);
    if (!isRecordOf(tree, attribute)) {
      freeLinked(release, attribute);
    }
    attribute = next;
  }
}

static void freeNode(RELEASE *release, SERVICE_NODE *node) {
  PARSED_TREE *tree = static_cast<PARSED_TREE *>(node->ServiceOwn);
  freeText(release, tree, node->Content);
  freeAttributes(release, tree, node->Attributes);
  if (tree == nullptr) {
    poolFree(node);
    return;
  }
  tree->liveNodes--;
  if (tree->liveNodes == 0) {
    tree->emptied = release->emptied;
    release->emptied = tree;
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

EFI_STATUS freeTree(SERVICE_NODE *root) {
  RELEASE release = {nullptr, EFI_SUCCESS};
  SERVICE_NODE *node = firstLeaf(root);
  while (node != root) {
    SERVICE_NODE *parent = node->parent;
    SERVICE_NODE *next = serviceNode(node->NextSibling);
    freeNode(&release, node);
    node = parent;
    if (next != nullptr) {
      setParent(next, parent);
      node = firstLeaf(next);
    }
  }
  freeNode(&release, root);
  // Only now, since until the end something may be met that lies in one of them.
  while (release.emptied != nullptr) {
    PARSED_TREE *tree = release.emptied;
    release.emptied = tree->emptied;
    releaseParsedTree(tree);
  }
  return release.status;
}
