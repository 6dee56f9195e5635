// Tree to text.
#pragma once

#include "providers/xml_service/tree.h"

// The text of root and all below it: a prologue, then a line per element. *text is a pool text that the caller owns;
// stays as it is with EFI_OUT_OF_RESOURCES, and with EFI_INVALID_PARAMETER when an attribute lacks its name or value.
EFI_STATUS treeToText(SERVICE_NODE *root, CHAR8 **text);
