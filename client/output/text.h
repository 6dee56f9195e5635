// Texts of any length in pool memory that grow as they are written.
#pragma once

#include "client/client.h"

namespace xyl::client {

// Starts empty ({}). Without memory Failed is set and the text stays as it was.
struct Text {
  CHAR8 *chars; // NUL-terminated, or null while empty
  UINTN length;
  UINTN capacity;
  bool failed;
};

// Append at the end.
void putText(Text *text, const CHAR8 *more);
void putBytes(Text *text, const CHAR8 *bytes, UINTN length);
void putNumber(Text *text, UINT64 number);

// The characters written; "" for none.
const CHAR8 *textOf(const Text &text);

// What only prints gets a host that appends to the text; it has nothing else.
Front capturingFront(Text *text, Fronts kind);

// Overwrites the memory, gives it back and empties the text.
void freeText(Text *text);

} // namespace xyl::client
