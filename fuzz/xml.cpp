// A document: what is parsed, serialised and parsed again is the same tree, and serialises to the same text.

#include <cstring>

#include "base/pool.h"
#include "driver/xml/xml.h"
#include "fuzz/pure.h"

using namespace xyl;
using namespace xyl::driver;

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
  mustBeRead(root, again);
  mustBeRead(again, root);
  CHAR8 *textAgain = XMLNodeToText(again);
  mustHold(std::strcmp(text, textAgain) == 0, "another text");
  poolFree(text);
  poolFree(textAgain);
  FreeXMLNode(root);
  FreeXMLNode(again);
}
