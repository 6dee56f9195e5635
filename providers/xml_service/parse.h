// Text to tree: well-formed XML 1.0 without a document type declaration.
#pragma once

#include "xml_protocol.h"

namespace xyl::xml_service {

// Stores the root element of text in *root, which the caller releases as a tree, and returns EFI_SUCCESS. Leaves *root
// as it is and returns EFI_INVALID_PARAMETER when text is not well-formed, EFI_OUT_OF_RESOURCES without memory.
EFI_STATUS textToTree(const CHAR8 *text, XML_NODE **root);

} // namespace xyl::xml_service
