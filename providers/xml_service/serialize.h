// Tree to text.
#pragma once

#include "providers/xml_service/tree.h"

namespace xyl::xml_service {

// The text of root and all below it: a prologue, then a line per element. *text is a pool text that the caller owns;
// stays as it is with EFI_OUT_OF_RESOURCES, and with EFI_INVALID_PARAMETER when an attribute lacks its name or value.
EFI_STATUS treeToText(ServiceNode *root, CHAR8 **text);

} // namespace xyl::xml_service
