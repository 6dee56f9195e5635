// Writes change documents.
#pragma once

#include "client/output/output.h"

#define WRITER_DEPTH_MAX 8

// Begins as {}, with openMethod. Elements are closed from the innermost one on; the caller gives Text to freeText.
struct CHANGE_WRITER {
  TEXT Text;
  const CHAR8 *Open[WRITER_DEPTH_MAX];
  UINTN Depth;
};

// Opens a method of that command, behind the ones before it.
void openMethod(CHANGE_WRITER *writer, const CHAR8 *command, const CHAR8 *objectType);
// Opens the method's object: its element and the type in it.
void openObject(CHANGE_WRITER *writer, const CHAR8 *element, const CHAR8 *objectType);
void openElement(CHANGE_WRITER *writer, const CHAR8 *name);
void closeElement(CHANGE_WRITER *writer);
// Closes all elements but the document's own.
void closeMethod(CHANGE_WRITER *writer);
// Ends the document.
void closeDocument(CHANGE_WRITER *writer);

void putElement(CHANGE_WRITER *writer, const CHAR8 *name, const CHAR8 *text);
void putElement(CHANGE_WRITER *writer, const CHAR8 *name, UINT64 number);
