// What differs between two configuration documents, in plain words.
#pragma once

#include "client/compare/differences.h"

namespace xyl::client {

// Compares two documents by the field tables. Disks are the same that have the same WWN or serial number wherever they
// are, else the same place; virtual disks that have the same FQDD and name, the same name, the same members, or the
// same FQDD and a member in common. Ids do not count as differences. The caller gives *differences, also of a failed
// call, to freeDifferences before it frees the trees.
//   EFI_INVALID_PARAMETER  a document has no adapter
//   EFI_OUT_OF_RESOURCES   no memory
EFI_STATUS diffDocuments(const XML_NODE *oldRoot, const XML_NODE *newRoot, Differences *differences);

// The commands diff and verify.
Result runDiff(const Context &context);
Result runVerify(const Context &context);

} // namespace xyl::client
