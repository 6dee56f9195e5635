// What commands print, and the results they return.
#pragma once

#include "client/client.h"
#include "client/output/json.h"
#include "client/output/secret.h"
#include "client/output/table.h"
#include "client/output/text.h"
#include "client/output/utf8.h"

namespace xyl::client {

// Nothing but line feeds of a format, and colours, reaches a terminal that it could take for a command: other control
// characters and bytes from 0x7F to 0x9F, unless these are part of valid UTF-8, are written as \xNN.

// Writes to the standard output; conversions of base/format.h. A line above 700 characters is cut.
void EFIAPI say(const Front *front, const CHAR8 *format, ...);

// Writes "xyl: ", the message and a line feed to the error output.
void EFIAPI complain(const Front *front, const CHAR8 *format, ...);

// Writes a text of any length to the standard output.
void sayText(const Front *front, const CHAR8 *text);

// Likewise one of several lines, which may hold line feeds and tabs; to the error output.
void sayLines(const Front *front, const CHAR8 *text);
void complainLines(const Front *front, const CHAR8 *text);

// Writes a document as it is, to a terminal as sayLines does.
void sayDocument(const Front *front, const CHAR8 *text, UINTN length);

// Writes a word for a state or result, padded to width, in a colour of its own where the front has colours.
void sayMarked(const Front *front, const CHAR8 *word, UINTN width);

// The words for a status, also for one without a name.
const CHAR8 *statusWords(EFI_STATUS status);

inline constexpr UINTN sizeTextCapacity = 32;
// A number of bytes in decimal units with two places, as "1.20 TB".
void formatSize(CHAR8 (&buffer)[sizeTextCapacity], UINT64 bytes);

// The bytes of a size as people write it: "600GB", "1.2 TB" (decimal), "64KiB", "8GiB" (binary), or in bytes. 0 for
// what is none, or 10^18 and up.
UINT64 parseSize(const CHAR8 *text);

// Whether a size has digits only and can hardly be meant in bytes, being below a megabyte.
bool lacksUnit(const CHAR8 *size);

inline Result succeeded() {
  return {outcomeSuccess, EFI_SUCCESS};
}
inline Result different() {
  return {outcomeDifferent, EFI_ERROR_CODE(27)};
}
inline Result wrongUsage() {
  return {outcomeUsage, EFI_INVALID_PARAMETER};
}
inline Result notFound() {
  return {outcomeNotFound, EFI_NOT_FOUND};
}
inline Result failed(EFI_STATUS status, Reason reason = Reason::other) {
  return {outcomeFailed, status, reason};
}

} // namespace xyl::client
