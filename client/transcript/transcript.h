// Files between lines of a console, so that they can be cut out of its log: by a front that has nowhere to write to,
// and by 'unpack' on the host. In between they are quoted-printable: short lines of plain letters, in which the marks
// cannot stand.
#pragma once

#include "client/output/output.h"

namespace xyl::client {

inline constexpr CHAR8 transcriptFile[] = "===== raidxyl file "; // and its name, quoted-printable too
inline constexpr CHAR8 transcriptEnd[] = "===== raidxyl end ";   // and its size in bytes and its CRC-32 in eight digits

// Writes the file to the standard output.
void sayFile(const Front *front, const CHAR8 *name, const CHAR8 *data, UINTN size);

} // namespace xyl::client
