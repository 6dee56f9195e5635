#include "client/output/text.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::client {

// Change documents may hold passphrases.
static void release(Text *text) {
  if (text->chars != nullptr) {
    wipeBytes(text->chars, text->length);
    poolFree(text->chars);
  }
}

static bool makeRoom(Text *text, UINTN length) {
  if (text->length + length < text->capacity) {
    return true;
  }
  UINTN capacity = 2 * (text->length + length) + 32;
  CHAR8 *grown = static_cast<CHAR8 *>(poolAllocate(capacity));
  if (grown == nullptr) {
    text->failed = true;
    return false;
  }
  if (text->length != 0) {
    copyBytes(grown, text->chars, text->length);
  }
  release(text);
  text->chars = grown;
  text->capacity = capacity;
  return true;
}

void putBytes(Text *text, const CHAR8 *bytes, UINTN length) {
  if (makeRoom(text, length)) {
    copyBytes(text->chars + text->length, bytes, length);
    text->length += length;
    text->chars[text->length] = 0;
  }
}

void putText(Text *text, const CHAR8 *more) {
  putBytes(text, more, textLength(more));
}

void putNumber(Text *text, UINT64 number) {
  CHAR8 digits[21];
  formatDecimal(digits, number);
  putText(text, digits);
}

const CHAR8 *textOf(const Text &text) {
  return text.chars != nullptr ? text.chars : "";
}

static void capture(const Front *front, const CHAR8 *text, UINTN length) {
  putBytes(static_cast<Text *>(front->context), text, length);
}

Front capturingFront(Text *text, Fronts kind) {
  Front front = {};
  front.context = text;
  front.kind = kind;
  front.writeOut = capture;
  front.writeError = capture;
  return front;
}

void freeText(Text *text) {
  release(text);
  *text = {};
}

} // namespace xyl::client
