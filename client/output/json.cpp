#include "client/output/json.h"

#include "base/text.h"
#include "client/output/utf8.h"

static bool g_isBegun = false;

bool jsonIsBegun() {
  return g_isBegun;
}

void jsonForget() {
  g_isBegun = false;
}

static void write(const JSON *json, const CHAR8 *text) {
  json->Front->WriteOut(json->Front, text, textLength(text));
}

static void beginLine(const JSON *json) {
  write(json, "\n");
  for (UINTN i = 0; i < json->Depth; ++i) {
    write(json, "  ");
  }
}

static void writeEscape(const JSON *json, UINT32 character) {
  CHAR8 escape[7] = "\\u";
  formatHex(escape + 2, character, 4);
  write(json, escape);
}

static void writeText(const JSON *json, const CHAR8 *text) {
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
    json->Front->WriteOut(json->Front, plain, static_cast<UINTN>(text - plain));
    writeEscape(json, character);
    text += length == 0 ? 1 : length;
    plain = text;
  }
  write(json, plain);
  write(json, "\"");
}

static void beginValue(JSON *json, const CHAR8 *name) {
  if (json->Depth != 0) {
    write(json, json->HasMembers ? "," : "");
    beginLine(json);
  }
  json->HasMembers = true;
  if (name != nullptr) {
    writeText(json, name);
    write(json, ": ");
  }
}

static void openContainer(JSON *json, const CHAR8 *name, const CHAR8 *opening, CHAR8 closing) {
  beginValue(json, name);
  g_isBegun = true;
  write(json, opening);
  json->Closing[json->Depth++] = closing;
  json->HasMembers = false;
}

void jsonObject(JSON *json, const CHAR8 *name) {
  openContainer(json, name, "{", '}');
}

void jsonArray(JSON *json, const CHAR8 *name) {
  openContainer(json, name, "[", ']');
}

void jsonEnd(JSON *json) {
  CHAR8 closing[2] = {json->Closing[--json->Depth], 0};
  if (json->HasMembers) {
    beginLine(json);
  }
  write(json, closing);
  json->HasMembers = true;
  if (json->Depth == 0) {
    write(json, "\n");
  }
}

void jsonText(JSON *json, const CHAR8 *name, const CHAR8 *text) {
  beginValue(json, name);
  writeText(json, text);
}

void jsonWide(JSON *json, const CHAR8 *name, const CHAR16 *text) {
  CHAR8 narrow[256];
  textNarrow(narrow, text, sizeof(narrow) - 1);
  jsonText(json, name, narrow);
}

void jsonNumber(JSON *json, const CHAR8 *name, UINT64 number) {
  CHAR8 digits[21];
  formatDecimal(digits, number);
  beginValue(json, name);
  write(json, digits);
}

void jsonBool(JSON *json, const CHAR8 *name, bool value) {
  beginValue(json, name);
  write(json, value ? "true" : "false");
}

void jsonNull(JSON *json, const CHAR8 *name) {
  beginValue(json, name);
  write(json, "null");
}
