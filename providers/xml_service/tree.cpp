#include "providers/xml_service/tree.h"

namespace xyl::xml_service {

// One release: users may link what lies in a document nowhere else, but when they do, the pool must not hear of it.
struct Release {
  Document *emptied;
  const Block *found; // what was looked for lay there, as the next will, or null
  EFI_STATUS status;
};

// Gives memory back that the element of that block held, unless it lies in a document. Most lies in the block itself.
static inline void freeHeld(Release *release, const Block *block, void *memory) {
  if (memory == nullptr || liesIn(block, memory)) {
    return;
  }
  if (release->found == nullptr || !liesIn(release->found, memory)) {
    release->found = parsedBlock(memory);
  }
  if (release->found == nullptr) {
    poolFree(memory);
  } else if (release->found->document != block->document) {
    release->status = EFI_INVALID_PARAMETER;
  }
}

static void freeAttributes(Release *release, const Block *block, XML_ATTRIBUTE *attribute) {
  while (attribute != nullptr) {
    XML_ATTRIBUTE *next = attribute->Next;
    freeHeld(release, block, attribute->Value);
    freeHeld(release, block, attribute->Name);
    freeHeld(release, block, attribute);
    attribute = next;
  }
}

static inline void freeNode(Release *release, ServiceNode *node) {
  const Block *block = static_cast<Block *>(node->ServiceOwn);
  Document *document = block->document;
  freeHeld(release, block, node->Content);
  freeAttributes(release, block, node->Attributes);
  --document->liveNodes;
  if (document->liveNodes == 0) {
    document->emptied = release->emptied;
    release->emptied = document;
  }
}

// Parsing has set most parents already, and what is not written does not go back to memory.
static void setParent(ServiceNode *node, ServiceNode *parent) {
  if (node->parent != parent) {
    node->parent = parent;
  }
}

// The first element below node that has no children, or node itself.
static ServiceNode *firstLeaf(ServiceNode *node) {
  while (node->FirstChild != nullptr) {
    ServiceNode *child = serviceNode(node->FirstChild);
    setParent(child, node);
    node = child;
  }
  return node;
}

EFI_STATUS freeTree(ServiceNode *root) {
  Release release = {nullptr, nullptr, EFI_SUCCESS};
  ServiceNode *node = firstLeaf(root);
  while (node != root) {
    ServiceNode *parent = node->parent;
    ServiceNode *next = serviceNode(node->NextSibling);
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
    Document *document = release.emptied;
    release.emptied = document->emptied;
    releaseDocument(document);
  }
  return release.status;
}

} // namespace xyl::xml_service
