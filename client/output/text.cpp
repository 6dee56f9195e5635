#include "client/output/text.h"

#include "base/pool.h"
#include "base/text.h"

// Change documents may hold passphrases.
static void release(TEXT *text) {
  if (text->Chars != nullptr) {
    wipeBytes(text->Chars, text->Length);
    poolFree(text->Chars);
  }
}

static bool makeRoom(TEXT *text, UINTN length) {
  if (text->Length + length < text->Capacity) {
    return true;
  }
  UINTN capacity = 2 * (text->Length + length) + 32;
  CHAR8 *grown = static_cast<CHAR8 *>(poolAllocate(capacity));
  if (grown == nullptr) {
    text->Failed = true;
    return false;
  }
  if (text->Length != 0) {
    copyBytes(grown, text->Chars, text->Length);
  }
  release(text);
  text->Chars = grown;
  text->Capacity = capacity;
  return true;
}

void putBytes(TEXT *text, const CHAR8 *bytes, UINTN length) {
  if (makeRoom(text, length)) {
    copyBytes(text->Chars + text->Length, bytes, length);
    text->Length += length;
    text->Chars[text->Length] = 0;
  }
}

void putText(TEXT *text, const CHAR8 *more) {
  putBytes(text, more, textLength(more));
}

void putNumber(TEXT *text, UINT64 number) {
  CHAR8 digits[21];
  formatDecimal(digits, number);
  putText(text, digits);
}

const CHAR8 *textOf(const TEXT &text) {
  return text.Chars != nullptr ? text.Chars : "";
}

static void capture(const XYL_FRONT *front, const CHAR8 *text, UINTN length) {
  putBytes(static_cast<TEXT *>(front->Context), text, length);
}

XYL_FRONT capturingFront(TEXT *text, XYL_FRONTS kind) {
  XYL_FRONT front = {};
  front.Context = text;
  front.Kind = kind;
  front.WriteOut = capture;
  front.WriteError = capture;
  return front;
}

void freeText(TEXT *text) {
  release(text);
  *text = {};
}
