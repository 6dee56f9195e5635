// Tree to text.
#pragma once

#include "providers/xml_service/tree.h"

// The text of root and all below it: a prologue, then a line per element. A pool text that the caller owns, or null
// without memory.
CHAR8 *treeToText(SERVICE_NODE *root);
