// A configuration as JSON.
#pragma once

#include "client/documents/documents.h"

namespace xyl::client {

// Writes the adapter, all that is nested in it, and the PCI location of the inventory (null: none). Members are called
// as the documents' elements.
void writeConfiguration(const Front *front, const XML_NODE *adapter, const XML_NODE *inventory);

// The command.
Result runShow(const Context &context);

} // namespace xyl::client
