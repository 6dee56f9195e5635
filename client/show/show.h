// A configuration as JSON.
#pragma once

#include "client/documents/documents.h"

// Writes the adapter, all that is nested in it, and the PCI location of the inventory (null: none). Members are called
// as the documents' elements.
void writeConfiguration(const XYL_FRONT *front, const XML_NODE *adapter, const XML_NODE *inventory);

// The command.
XYL_RESULT runShow(const XYL_CONTEXT &context);
