// Giving trees back.
#pragma once

#include "providers/xml_service/blocks.h"

namespace xyl::xml_service {

// Releases root with its content, attributes and descendants. EFI_INVALID_PARAMETER when there were texts or attributes
// among them that lie in the memory of another document: these stay, all else is released.
EFI_STATUS freeTree(ServiceNode *root);

} // namespace xyl::xml_service
