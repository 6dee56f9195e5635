// Base64 (RFC 4648, standard alphabet), lenient: characters outside the alphabet count as 0, the missing ones of a
// short last group as "=". A group yields one byte when its third character is "=", two when its fourth is, else three.
#pragma once

#include "uefi/types.h"

namespace xyl::driver {

// The number of bytes that Base64Decode writes for text; 0 for null.
UINT64 Base64DecodedLength(const CHAR8 *text);

// Writes the decoded bytes to out, which has room for them, and their number to *outLength. Nothing is written when an
// argument is null.
void Base64Decode(const CHAR8 *text, UINT8 *out, UINT64 *outLength);

} // namespace xyl::driver
