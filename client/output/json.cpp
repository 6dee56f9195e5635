#include "client/output/json.h"

#include "base/text.h"
#include "client/output/utf8.h"

namespace xyl::client {

static bool g_isBegun = false;

bool jsonIsBegun() {
  return g_isBegun;
}

void jsonForget() {
  g_isBegun = false;
}

static void write(const Json *json, const CHAR8 *text) {
  json->front->writeOut(json->front, text, textLength(text));
}

static void beginLine(const Json *json) {
  write(json, "\n");
  for (UINTN i = 0; i < json->depth; ++i) {
    write(json, "  ");
  }
}

static void writeEscape(const Json *json, UINT32 character) {
  CHAR8 escape[7] = "\\u";
  formatHex(escape + 2, character, 4);
  write(json, escape);
}

static void writeText(const Json *json, const CHAR8 *text) {
  write(json, "\"");
  const CHAR8 *end = text + textLength(text);
  const CHAR8 *plain = text; // not written yet
  while (text != end) {
    UINT32 character = 0;
    UINTN length = utf8Decode(text, static_cast<UINTN>(end - text), &character);
    if (length != 0 && !isControl(character) && character != '"' && character != '\\') {
      text += length;
      continue;
    }
    json->front->writeOut(json->front, plain, static_cast<UINTN>(text - plain));
    writeEscape(json, character);
    text += length == 0 ? 1 : length;
    plain = text;
  }
  write(json, plain);
  write(json, "\"");
}

static void beginValue(Json *json, const CHAR8 *name) {
  if (json->depth != 0) {
    write(json, json->hasMembers ? "," : "");
    beginLine(json);
  }
  json->hasMembers = true;
  if (name != nullptr) {
    writeText(json, name);
    write(json, ": ");
  }
}

static void openContainer(Json *json, const CHAR8 *name, const CHAR8 *opening, CHAR8 closing) {
  beginValue(json, name);
  g_isBegun = true;
  write(json, opening);
  json->closing[json->depth++] = closing;
  json->hasMembers = false;
}

void jsonObject(Json *json, const CHAR8 *name) {
  openContainer(json, name, "{", '}');
}

void jsonArray(Json *json, const CHAR8 *name) {
  openContainer(json, name, "[", ']');
}

void jsonEnd(Json *json) {
  CHAR8 closing[2] = {json->closing[--json->depth], 0};
  if (json->hasMembers) {
    beginLine(json);
  }
  write(json, closing);
  json->hasMembers = true;
  if (json->depth == 0) {
    write(json, "\n");
  }
}

void jsonText(Json *json, const CHAR8 *name, const CHAR8 *text) {
  beginValue(json, name);
  writeText(json, text);
}

void jsonWide(Json *json, const CHAR8 *name, const CHAR16 *text) {
  CHAR8 narrow[256];
  textNarrow(narrow, text, sizeof(narrow) - 1);
  jsonText(json, name, narrow);
}

void jsonNumber(Json *json, const CHAR8 *name, UINT64 number) {
  CHAR8 digits[21];
  formatDecimal(digits, number);
  beginValue(json, name);
  write(json, digits);
}

void jsonBool(Json *json, const CHAR8 *name, bool value) {
  beginValue(json, name);
  write(json, value ? "true" : "false");
}

void jsonNull(Json *json, const CHAR8 *name) {
  beginValue(json, name);
  write(json, "null");
}

} // namespace xyl::client
