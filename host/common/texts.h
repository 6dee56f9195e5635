// Texts of the host program: UTF-8 on the command line and in files, 16-bit and Latin-1 ones in the state.
#pragma once

#include <string>

#include "driver/xml/xml.h"

namespace xyl::host {

std::string toUtf8(const CHAR16 *text);
std::string toUtf8(const CHAR8 *text);
// A member of fixed width in a record, without its padding.
std::string fixedText(const CHAR8 *member, size_t width);
template <size_t width> std::string fixedText(const CHAR8 (&member)[width]) {
  return fixedText(member, width);
}
// Characters beyond the 16-bit ones become 0xFFFD; a byte that begins no valid sequence is one by itself.
std::u16string fromUtf8(const std::string &text);

// In lower case and without what is no letter or digit, so that "Device Error" and device-error are one.
std::string normalised(const std::string &text);

// The value that the table has for a name, whatever its case and blanks; valueNotFound for another one.
UINT64 valueNamed(const std::string &name, const driver::VALUE_NAME_TABLE *table);
// The error status of that name, likewise; EFI_SUCCESS for another name.
EFI_STATUS errorNamed(const std::string &name);

// A number of bytes as "1.20 TB".
std::string sizeText(UINT64 bytes);

} // namespace xyl::host
