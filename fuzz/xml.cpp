// A document: what is parsed, serialised and parsed again is the same tree, and serialises to the same text.

#include "driver/xml/xml.h"
#include "base/text.h"
#include "fuzz/support.h"

static void judgeEqual(const CHAR8 *a, const CHAR8 *b, const char *what) {
  mustHold((a == nullptr) == (b == nullptr) && (a == nullptr || textEqual(a, b)), what);
}

static void judgeAttributes(const XML_ATTRIBUTE *a, const XML_ATTRIBUTE *b) {
  for (; a != nullptr && b != nullptr; a = a->Next, b = b->Next) {
    judgeEqual(a->Name, b->Name, "attribute name");
    judgeEqual(a->Value, b->Value, "attribute value");
    mustHold(a->Next == nullptr || a->Next->Prev == a, "attribute links");
  }
  mustHold(a == nullptr && b == nullptr, "attribute count");
}

// An input is small, so its depth is too.
static void judgeTrees(const XML_NODE *a, const XML_NODE *b) {
  judgeEqual(a->Name, b->Name, "name");
  judgeEqual(a->Content, b->Content, "content");
  mustHold(a->Content == nullptr || (*a->Content != 0 && a->FirstChild == nullptr), "content rule");
  judgeAttributes(a->Attributes, b->Attributes);
  const XML_NODE *childA = a->FirstChild;
  const XML_NODE *childB = b->FirstChild;
  for (; childA != nullptr && childB != nullptr; childA = childA->NextSibling, childB = childB->NextSibling) {
    mustHold(childA->NextSibling == nullptr || childA->NextSibling->PrevSibling == childA, "child links");
    judgeTrees(childA, childB);
  }
  mustHold(childA == nullptr && childB == nullptr, "child count");
}

FUZZ_TARGET(xml) {
  std::string document = input.text();
  getXMLProto();
  XML_NODE *root = nullptr;
  EFI_STATUS status = g_xmlProtocol->Parse(g_xmlProtocol, document.c_str(), &root);
  mustHold(status == (root != nullptr ? EFI_SUCCESS : EFI_INVALID_PARAMETER), "status of Parse");
  if (root == nullptr) {
    return;
  }
  CHAR8 *text = XMLNodeToText(root);
  XML_NODE *again = nullptr;
  mustHold(g_xmlProtocol->Parse(g_xmlProtocol, text, &again) == EFI_SUCCESS, std::string("not parsed again: ") + text);
  judgeTrees(root, again);
  CHAR8 *textAgain = XMLNodeToText(again);
  mustHold(textEqual(text, textAgain), "serialised differently");
  g_bootServices->FreePool(text);
  g_bootServices->FreePool(textAgain);
  FreeXMLNode(root);
  FreeXMLNode(again);
}
