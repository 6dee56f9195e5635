// Texts in a record's members of fixed width.
#pragma once

#include "uefi/types.h"

namespace xyl::sim {

// Writes text into a member, padded with blanks, or with zeros when it is empty; false when it is too long, which
// changes nothing.
bool setFixed(CHAR8 *member, UINTN width, const CHAR8 *text);

// How many characters of a member are text.
UINTN fixedLength(const CHAR8 *member, UINTN width);

} // namespace xyl::sim
