// Texts of any length in pool memory that grow as they are written.
#pragma once

#include "client/client.h"

// Starts empty ({}). Without memory Failed is set and the text stays as it was.
struct TEXT {
  CHAR8 *Chars; // NUL-terminated, or null while empty
  UINTN Length;
  UINTN Capacity;
  bool Failed;
};

// Append at the end.
void putText(TEXT *text, const CHAR8 *more);
void putBytes(TEXT *text, const CHAR8 *bytes, UINTN length);
void putNumber(TEXT *text, UINT64 number);

// The characters written; "" for none.
const CHAR8 *textOf(const TEXT &text);

// What only prints gets a host that appends to the text; it has nothing else.
XYL_FRONT capturingFront(TEXT *text, XYL_FRONTS kind);

// Overwrites the memory, gives it back and empties the text.
void freeText(TEXT *text);
