// A document: what is parsed, serialised and parsed again is the same tree, and serialises to the same text.

#include <cstring>

#include "base/pool.h"
#include "driver/xml/xml.h"
#include "fuzz/pure.h"

static bool sameText(const CHAR8 *one, const CHAR8 *other) {
  return one == nullptr || other == nullptr ? one == other : std::strcmp(one, other) == 0;
}

// Names, attributes, contents and order; also that both are linked as a parsed tree is.
static void mustBeSame(const XML_NODE *one, const XML_NODE *other) {
  mustHold(sameText(one->Name, other->Name) && sameText(one->Content, other->Content), "another element");
  mustHold(one->Content == nullptr || (one->Content[0] != '\0' && one->FirstChild == nullptr), "content that is none");
  const XML_ATTRIBUTE *a = one->Attributes, *b = other->Attributes;
  for (const XML_ATTRIBUTE *last = nullptr; a != nullptr && b != nullptr; last = a, a = a->Next, b = b->Next) {
    mustHold(sameText(a->Name, b->Name) && sameText(a->Value, b->Value), "another attribute");
    mustHold(a->Prev == last, "attributes badly linked");
  }
  mustHold(a == nullptr && b == nullptr, "attributes lost");
  const XML_NODE *child = one->FirstChild, *twin = other->FirstChild;
  for (const XML_NODE *last = nullptr; child != nullptr && twin != nullptr; twin = twin->NextSibling) {
    mustHold(child->PrevSibling == last, "children badly linked");
    mustBeSame(child, twin);
    last = child;
    child = child->NextSibling;
  }
  mustHold(child == nullptr && twin == nullptr, "children lost");
}

FUZZ_PURE_TARGET(xml) {
  CHAR8 *document = input.poolText();
  XML_NODE *root = nullptr, *again = nullptr;
  EFI_STATUS status = g_xmlProtocol->Parse(g_xmlProtocol, document, &root);
  mustHold(status == (root != nullptr ? EFI_SUCCESS : EFI_INVALID_PARAMETER), "status of Parse");
  poolFree(document);
  if (root == nullptr) {
    return;
  }
  CHAR8 *text = XMLNodeToText(root);
  g_xmlProtocol->Parse(g_xmlProtocol, text, &again);
  mustHold(again != nullptr, "not readable again");
  mustBeSame(root, again);
  CHAR8 *textAgain = XMLNodeToText(again);
  mustHold(sameText(text, textAgain), "another text");
  poolFree(text);
  poolFree(textAgain);
  FreeXMLNode(root);
  FreeXMLNode(again);
}
