// A document: what is parsed, serialised and parsed again is the same tree, and serialises to the same text.

#include "fuzz/support.h"
#include "tests/xml_service/outline.h"

FUZZ_TARGET(xml) {
  std::string document = input.text();
  getXMLProto();
  XML_NODE *root = nullptr;
  EFI_STATUS status = g_xmlProtocol->Parse(g_xmlProtocol, document.c_str(), &root);
  mustHold(status == (root != nullptr ? EFI_SUCCESS : EFI_INVALID_PARAMETER), "status of Parse");
  if (root != nullptr) {
    mustHold(readAgain(root), "not the same when read again");
    FreeXMLNode(root);
  }
}
