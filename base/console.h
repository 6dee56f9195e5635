// The console.
#pragma once

#include "uefi/types.h"

namespace xyl {

// Writes up to three texts, one behind the other, to the console in one call, if there is one; what is beyond 319
// characters is cut. An image that prints nothing else does without the formatting.
void printText(const CHAR8 *text, const CHAR8 *second = "", const CHAR8 *third = "");

// Formats at most 319 characters and writes them to the console, if there is one. Returns the number of characters
// formatted.
UINTN EFIAPI Print(const CHAR16 *format, ...);

} // namespace xyl
