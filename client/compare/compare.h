// What differs between two configuration documents, in plain words.
#pragma once

#include "client/compare/differences.h"

// Compares two documents by the field tables. Disks are the same that have the same WWN or serial number wherever they
// are, else the same place; virtual disks that have the same FQDD and name, the same name, the same members, or the
// same FQDD and a member in common. Ids do not count as differences. The caller gives *differences, also of a failed
// call, to freeDifferences before it frees the trees.
//   EFI_INVALID_PARAMETER  a document has no adapter
//   EFI_OUT_OF_RESOURCES   no memory
EFI_STATUS diffDocuments(const XML_NODE *oldRoot, const XML_NODE *newRoot, DIFFERENCES *differences);

// The commands diff and verify.
XYL_RESULT runDiff(const XYL_CONTEXT &context);
XYL_RESULT runVerify(const XYL_CONTEXT &context);
