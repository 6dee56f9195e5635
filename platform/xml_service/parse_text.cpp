#include "parser.h"

struct NAMED_REFERENCE {
  const CHAR8 *text; // behind the "&"
  CHAR8 character;
};

static constexpr NAMED_REFERENCE g_namedReferences[] = {
    {"amp;", '&'}, {"lt;", '<'}, {"gt;", '>'}, {"quot;", '"'}, {"apos;", '\''},
};

static UINT32 digitValue(CHAR8 digit) {
  if (digit >= '0' && digit <= '9') {
    return static_cast<UINT32>(digit - '0');
  }
  if (digit >= 'a' && digit <= 'f') {
    return static_cast<UINT32>(digit - 'a') + 10;
  }
  if (digit >= 'A' && digit <= 'F') {
    return static_cast<UINT32>(digit - 'A') + 10;
  }
  return 16;
}

// Reads a numeric reference from behind its "&#". Only characters of one byte exist here, so it may not exceed 255.
static CHAR8 *readNumber(CHAR8 *at, CHAR8 *character) {
  UINT32 base = 10;
  if (*at == 'x') {
    base = 16;
    at++;
  }
  UINT32 value = 0; // stays without digits, and is forbidden then
  for (; digitValue(*at) < base && value <= 0xFF; at++) {
    value = value * base + digitValue(*at);
  }
  *character = static_cast<CHAR8>(value);
  return *at == ';' && value <= 0xFF && isClass(*character, CLASS_ALLOWED) ? at + 1 : nullptr;
}

// Reads the reference at the "&" that at stands on. Returns the place behind it, or null when it is none.
static CHAR8 *readReference(CHAR8 *at, CHAR8 *character) {
  if (at[1] == '#') {
    return readNumber(at + 2, character);
  }
  for (const NAMED_REFERENCE &reference : g_namedReferences) {
    CHAR8 *behind = skipMark(at + 1, reference.text);
    if (behind != nullptr) {
      *character = reference.character;
      return behind;
    }
  }
  return nullptr;
}

// The place behind the line end that begins with the carriage return at stands on.
static CHAR8 *skipLineEnd(CHAR8 *at) {
  return at[1] == '\n' ? at + 2 : at + 1;
}

static bool isSectionEnd(const CHAR8 *at) {
  return at[0] == ']' && at[1] == ']' && at[2] == '>';
}

// Skips a run of characters that mean themselves and closes the gap between it and the text before, which ends at *to.
static CHAR8 *takeRun(CHAR8 *at, CHAR8 **to, CHARACTER_CLASS plain) {
  CHAR8 *run = at;
  while (isClass(*at, plain)) {
    at++;
  }
  UINTN size = static_cast<UINTN>(at - run);
  if (*to != run) {
    __builtin_memmove(*to, run, size);
  }
  *to += size;
  return at;
}

static void beginContent(PARSER *parser) {
  if (parser->content == nullptr) {
    parser->content = parser->at;
    parser->contentEnd = parser->at;
  }
}

bool readCharacters(PARSER *parser) {
  beginContent(parser);
  CHAR8 *to = parser->contentEnd;
  CHAR8 *at = takeRun(parser->at, &to, CLASS_TEXT);
  while (*at != '<') {
    if (*at == '&') {
      at = readReference(at, to);
      if (at == nullptr) {
        return false;
      }
    } else if (*at == '\r') {
      at = skipLineEnd(at);
      *to = '\n';
    } else if (*at == ']' && !isSectionEnd(at)) {
      *to = *at;
      at++;
    } else {
      return false;
    }
    to++;
    at = takeRun(at, &to, CLASS_TEXT);
  }
  parser->at = at;
  parser->contentEnd = to;
  return true;
}

bool readCData(PARSER *parser) {
  beginContent(parser);
  CHAR8 *to = parser->contentEnd;
  CHAR8 *at = takeRun(parser->at, &to, CLASS_TEXT);
  while (!isSectionEnd(at)) {
    if (*at == '\r') {
      at = skipLineEnd(at);
      *to = '\n';
    } else if (isClass(*at, CLASS_ALLOWED)) {
      *to = *at;
      at++;
    } else {
      return false;
    }
    to++;
    at = takeRun(at, &to, CLASS_TEXT);
  }
  parser->at = at + 3;
  parser->contentEnd = to;
  return true;
}

bool readValue(PARSER *parser, CHAR8 **value) {
  CHAR8 quote = *parser->at;
  if (quote != '"' && quote != '\'') {
    return false;
  }
  CHAR8 *to = parser->at + 1;
  *value = to;
  CHAR8 *at = takeRun(to, &to, CLASS_VALUE);
  while (*at != quote) {
    if (*at == '&') {
      at = readReference(at, to);
      if (at == nullptr) {
        return false;
      }
    } else if (isClass(*at, CLASS_BLANK)) {
      at = *at == '\r' ? skipLineEnd(at) : at + 1;
      *to = ' ';
    } else if (*at == '"' || *at == '\'') {
      *to = *at;
      at++;
    } else {
      return false;
    }
    to++;
    at = takeRun(at, &to, CLASS_VALUE);
  }
  *to = 0;
  parser->at = at + 1;
  return true;
}
