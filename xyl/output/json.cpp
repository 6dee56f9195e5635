#include "xyl/output/json.h"

#include "base/text.h"

static void write(const JSON *json, const CHAR8 *text) {
  json->Host->WriteOut(json->Host, text, textLength(text));
}

static void beginLine(const JSON *json) {
  write(json, "\n");
  for (UINTN i = 0; i < json->Depth; ++i) {
    write(json, "  ");
  }
}

// The bytes of the valid UTF-8 sequence at text, which is not ASCII; 0 for none.
static UINTN sequenceLength(const UINT8 *text) {
  UINTN length = text[0] >= 0xC2 && text[0] < 0xE0 ? 2 : (text[0] & 0xF0) == 0xE0 ? 3 : 0;
  if (text[0] >= 0xF0 && text[0] < 0xF5) {
    length = 4;
  }
  for (UINTN i = 1; i < length; ++i) {
    if ((text[i] & 0xC0) != 0x80) {
      return 0;
    }
  }
  bool overlong = (text[0] == 0xE0 && text[1] < 0xA0) || (text[0] == 0xF0 && text[1] < 0x90);
  bool beyond = (text[0] == 0xED && text[1] > 0x9F) || (text[0] == 0xF4 && text[1] > 0x8F);
  return overlong || beyond ? 0 : length;
}

static void writeEscape(const JSON *json, UINT8 byte) {
  CHAR8 escape[7] = "\\u00";
  formatHex(escape + 4, byte, 2);
  write(json, escape);
}

static void writeText(const JSON *json, const CHAR8 *text) {
  write(json, "\"");
  const CHAR8 *plain = text; // not written yet
  while (*text != 0) {
    UINT8 byte = static_cast<UINT8>(*text);
    UINTN length = byte < 0x80 ? 1 : sequenceLength(reinterpret_cast<const UINT8 *>(text));
    if (length != 0 && byte >= 0x20 && byte != 0x7F && byte != '"' && byte != '\\') {
      text += length;
      continue;
    }
    json->Host->WriteOut(json->Host, plain, static_cast<UINTN>(text - plain));
    writeEscape(json, byte);
    plain = ++text;
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
