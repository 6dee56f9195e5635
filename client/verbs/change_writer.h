// Writes change documents.
#pragma once

#include "client/output/output.h"

namespace xyl::client {

inline constexpr UINT32 writerDepthMax = 8;

// Begins as {}, with openMethod. Elements are closed from the innermost one on; the caller gives Text to freeText.
struct ChangeWriter {
  Text text;
  const CHAR8 *open[writerDepthMax];
  UINTN depth;
};

// Opens a method of that command, behind the ones before it.
void openMethod(ChangeWriter *writer, const CHAR8 *command, const CHAR8 *objectType);
// Opens the method's object: its element and the type in it.
void openObject(ChangeWriter *writer, const CHAR8 *element, const CHAR8 *objectType);
void openElement(ChangeWriter *writer, const CHAR8 *name);
void closeElement(ChangeWriter *writer);
// Closes all elements but the document's own.
void closeMethod(ChangeWriter *writer);
// Ends the document.
void closeDocument(ChangeWriter *writer);

void putElement(ChangeWriter *writer, const CHAR8 *name, const CHAR8 *text);
void putElement(ChangeWriter *writer, const CHAR8 *name, UINT64 number);

} // namespace xyl::client
