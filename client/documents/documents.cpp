#include "client/documents/documents.h"

#include "base/pool.h"
#include "base/text.h"
#include "driver/request/request.h"

namespace xyl::client {

static const EFI_GUID g_xmlGuid = XML_PROTOCOL_GUID;

// Why the bytes are no document that the driver could read, or null.
static const CHAR8 *whyNoText(const DocumentText &document) {
  if (document.size == 0) {
    return "the file is empty";
  }
  UINT8 first = static_cast<UINT8>(document.text[0]);
  UINT8 second = static_cast<UINT8>(document.text[1]);
  if ((first == 0xFF && second == 0xFE) || (first == 0xFE && second == 0xFF)) {
    return "the file is UTF-16; write documents with 'xyl get -o FILE' instead of '>'";
  }
  if (textLength(document.text) != document.size) {
    return "the file holds NUL bytes, so it is no XML document";
  }
  return nullptr;
}

void releaseDocument(DocumentText *document) {
  if (document->text != nullptr) {
    wipeBytes(document->text, document->size);
    poolFree(document->text);
  }
  *document = {};
}

Result readDocument(const Context &context, const CHAR8 *file, DocumentText *document) {
  *document = {};
  EFI_STATUS status = context.front->readFile(context.front, file, &document->text, &document->size);
  if (EFI_ERROR(status)) {
    complain(context.front, "cannot read '%a': %a", file, statusWords(status));
    document->text = nullptr;
    return status == EFI_NOT_FOUND ? notFound() : failed(status);
  }
  const CHAR8 *reason = whyNoText(*document);
  if (reason != nullptr) {
    complain(context.front, "cannot use '%a': %a", file, reason);
    releaseDocument(document);
    return failed(EFI_INVALID_PARAMETER, Reason::document);
  }
  return succeeded();
}

Result readInventory(const Context &context, RAID_XYL_PROTOCOL *operations, DocumentText *document) {
  *document = {};
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER output = {};
  EFI_STATUS status = operations->Get_Live(operations, &parameter, &output);
  if (EFI_ERROR(status)) {
    complain(context.front, "the inventory cannot be read: %a", statusWords(status));
    return failed(status);
  }
  document->text = static_cast<CHAR8 *>(output.Data);
  document->size = output.Size - 1;
  return succeeded();
}

static Result findXmlService(const Context &context, XML_PROTOCOL **xml) {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->LocateProtocol(&g_xmlGuid, nullptr, &found);
  *xml = static_cast<XML_PROTOCOL *>(found);
  if (EFI_ERROR(status)) {
    complain(context.front, "there is no XML service; load XmlService.efi");
    return failed(status);
  }
  return succeeded();
}

Result needXmlService(const Context &context) {
  XML_PROTOCOL *xml = nullptr;
  return findXmlService(context, &xml);
}

Result parseTree(const Context &context, const CHAR8 *name, const CHAR8 *text, XML_NODE **root) {
  *root = nullptr;
  XML_PROTOCOL *xml = nullptr;
  Result result = findXmlService(context, &xml);
  if (isFailure(result)) {
    return result;
  }
  EFI_STATUS status = xml->Parse(xml, text, root);
  if (*root == nullptr) {
    complain(context.front, "%a is not a well-formed XML document", name);
    return failed(EFI_ERROR(status) ? status : EFI_INVALID_PARAMETER, Reason::document);
  }
  return succeeded();
}

// Overwrites the texts of all elements below root. They end up as one row of children of root: a walk without recursion
// or memory of its own. The XML service of a platform need not do this by itself.
static void wipeTexts(XML_NODE *root) {
  for (XML_NODE *node = root->FirstChild; node != nullptr; node = node->NextSibling) {
    if (node->Content != nullptr) {
      wipeBytes(node->Content, textLength(node->Content));
    }
    XML_NODE *last = node->FirstChild;
    if (last == nullptr) {
      continue;
    }
    while (last->NextSibling != nullptr) {
      last = last->NextSibling;
    }
    last->NextSibling = node->NextSibling;
    if (node->NextSibling != nullptr) {
      node->NextSibling->PrevSibling = last;
    }
    node->NextSibling = node->FirstChild;
    node->NextSibling->PrevSibling = node;
    node->FirstChild = nullptr;
  }
}

void freeTree(XML_NODE *root) {
  void *found = nullptr;
  if (root != nullptr && !EFI_ERROR(g_bootServices->LocateProtocol(&g_xmlGuid, nullptr, &found))) {
    wipeTexts(root);
    XML_PROTOCOL *xml = static_cast<XML_PROTOCOL *>(found);
    xml->FreeNode(xml, root);
  }
}

Result readConfiguration(const Context &context, const CHAR8 *name, const CHAR8 *text, RAID_CONFIG **config) {
  *config = nullptr;
  UINT32 count = 1;
  EFI_STATUS status = driver::ParseXMLBlob(text, config, &count);
  if (!EFI_ERROR(status) && (*config == nullptr || (*config)->adapter == nullptr)) {
    status = EFI_INVALID_PARAMETER;
  }
  if (EFI_ERROR(status)) {
    driver::releaseConfig(*config);
    *config = nullptr;
    const CHAR8 *element = driver::g_unreadElement.text;
    complain(context.front, "%a is no usable configuration: %a%a%a; 'xyl get -o FILE' writes one", name,
             statusWords(status), *element != 0 ? " at the element " : "", element);
    return failed(status, Reason::document);
  }
  return succeeded();
}

// The first of the siblings from node on that has the name, or null.
static const XML_NODE *firstNamed(const XML_NODE *node, const CHAR8 *name) {
  while (node != nullptr && !textEqual(node->Name, name)) {
    node = node->NextSibling;
  }
  return node;
}

const XML_NODE *childNamed(const XML_NODE *parent, const CHAR8 *name) {
  return parent != nullptr ? firstNamed(parent->FirstChild, name) : nullptr;
}

const XML_NODE *nextSame(const XML_NODE *node) {
  return firstNamed(node->NextSibling, node->Name);
}

const CHAR8 *nodeText(const XML_NODE *node) {
  return node != nullptr && node->Content != nullptr ? node->Content : "";
}

const CHAR8 *childText(const XML_NODE *parent, const CHAR8 *name) {
  return nodeText(childNamed(parent, name));
}

const XML_NODE *raidDataOf(const XML_NODE *root) {
  return textEqual(root->Name, "raidData") ? root : childNamed(childNamed(root, "Configuration"), "raidData");
}

const XML_NODE *adapterOf(const XML_NODE *root) {
  return childNamed(raidDataOf(root), "Adapter");
}

Result countMethods(const Context &context, const CHAR8 *name, const CHAR8 *text, UINT32 *count) {
  *count = 0;
  XML_NODE *root = nullptr;
  Result result = parseTree(context, name, text, &root);
  if (isFailure(result)) {
    return result;
  }
  const XML_NODE *method = childNamed(raidDataOf(root), "Method");
  for (; method != nullptr; method = nextSame(method)) {
    ++*count;
  }
  freeTree(root);
  return succeeded();
}

} // namespace xyl::client
