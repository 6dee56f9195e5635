// 8-bit and UCS-2 texts. Lengths count characters without the terminating NUL; null texts count as given per routine.
#pragma once

#include "uefi/types.h"

namespace xyl {

UINTN textLength(const CHAR8 *text);
UINTN textLength(const CHAR16 *text);

// Exact, case-sensitive comparison; neither text may be null.
inline bool textEqual(const CHAR8 *a, const CHAR8 *b) {
  return __builtin_strcmp(a, b) == 0;
}
bool textEqual(const CHAR16 *a, const CHAR16 *b);

// Below zero, zero or above zero as a is lower than, equal to or higher than b, by the first differing unit.
int textCompare(const CHAR16 *a, const CHAR16 *b);

// A pool copy that the caller owns, or null for a null text or without memory.
CHAR8 *textDuplicate(const CHAR8 *text);
CHAR16 *textDuplicate(const CHAR16 *text);

// Copies the low bytes of at most limit units of from, up to its NUL, and a NUL; to has room for limit + 1 bytes. A
// null from gives an empty text. Returns the length.
UINTN textNarrow(CHAR8 *to, const CHAR16 *from, UINTN limit);

// Copies at most limit bytes of from, up to its NUL, as units, and a NUL; to has room for limit + 1 units. Returns the
// length.
UINTN textWiden(CHAR16 *to, const CHAR8 *from, UINTN limit);

// A pool text of the low bytes of from that the caller owns; an empty text for null; null without memory.
CHAR8 *textNarrowDuplicate(const CHAR16 *from);

// A pool text with every byte as one sign-extended unit (0x80 gives 0xFF80) that the caller owns; null for a null text
// or without memory.
CHAR16 *textWidenDuplicate(const CHAR8 *from);

// Writes value in decimal with a NUL; buffer has room for 21 characters. Returns the length.
UINTN formatDecimal(CHAR8 *buffer, UINT64 value);

// Writes value with exactly digits (1 to 16) upper-case hexadecimal digits and a NUL.
void formatHex(CHAR8 *buffer, UINT64 value, unsigned digits);

// Writes value with as many upper-case hexadecimal digits as it needs (at most 16) and a NUL. Returns the length.
UINTN formatShortHex(CHAR8 *buffer, UINT64 value);

// Leading blanks (0x20) are skipped, then decimal digits are read up to another character. Over 64 bits gives all ones,
// no digits or a null text 0.
UINT64 parseDecimal(const CHAR8 *text);

// Leading blanks, then "0" characters, then one "x" or "X" are skipped, then hexadecimal digits of either case are
// read. Over 64 bits gives all ones, no digits or a null text 0.
UINT64 parseHex(const CHAR8 *text);

} // namespace xyl
