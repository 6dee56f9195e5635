// Formatting with UEFI conversions.
#pragma once

#include "uefi/types.h"

namespace xyl {

// Formats into buffer, which has room for capacity units including the NUL (at least 1); longer output is cut. Returns
// the number of characters stored.
//
// A conversion is % flags width .precision modifiers type. Flags: - 0 + blank and , (thousands, %d only). Width and
// precision are digits, or * for one from the arguments; a precision is the least number of digits, or the most
// characters of a text. Integers have 32 bits; with l, L or z 64, with h 16, with hh 8. Types:
//   d i u      decimal
//   x X        upper-case hexadecimal; a width pads X with zeros
//   p          as lX
//   a, s S     8-bit text, UCS-2 text
//   c          one UCS-2 character
//   r          EFI_STATUS as text; one without a name as 16 hexadecimal digits
//   g, t       EFI_GUID *, EFI_TIME *
//   %          a percent sign, without an argument
// Another type prints its letter and passes over one argument. Null texts print as "<null string>".
UINTN formatText(CHAR16 *buffer, UINTN capacity, const CHAR16 *format, EFI_VA_LIST arguments);

} // namespace xyl
