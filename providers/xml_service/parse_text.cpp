#include "providers/xml_service/parser.h"

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
static inline CHAR8 *takeRun(CHAR8 *at, CHAR8 **to, CHARACTER_CLASS plain) {
  CHAR8 *run = at;
  at = skipClass(at, plain);
  UINTN size = static_cast<UINTN>(at - run);
  if (*to != run) {
    __builtin_memmove(*to, run, size);
  }
  *to += size;
  return at;
}

// Skips a line feed and the blanks behind it, eight at a time: most of what stands between two tags. The zeros behind
// the document (see newParsedTree) end it at the latest.
static inline CHAR8 *skipIndentation(CHAR8 *at) {
  if (*at != '\n') {
    return at;
  }
  at++;
  UINT64 others = 0;
  do {
    copyBytes(&others, at, sizeof(others));
    others ^= 0x2020202020202020;
    at += others == 0 ? sizeof(others) : __builtin_ctzll(others) / 8; // the first character is the lowest byte
  } while (others == 0);
  return at;
}

static void beginContent(PARSER *parser, CHAR8 *at) {
  if (parser->content == nullptr) {
    parser->content = at;
    parser->contentEnd = at;
  }
}

CHAR8 *readCharacters(PARSER *parser, CHAR8 *at) {
  beginContent(parser, at);
  CHAR8 *to = parser->contentEnd;
  if (to == at) {
    at = skipIndentation(at);
    to = at;
  }
  at = takeRun(at, &to, CLASS_TEXT);
  while (*at != '<') {
    if (*at == '&') {
      at = readReference(at, to);
      if (at == nullptr) {
        return nullptr;
      }
    } else if (*at == '\r') {
      at = skipLineEnd(at);
      *to = '\n';
    } else if (*at == ']' && !isSectionEnd(at)) {
      *to = *at;
      at++;
    } else {
      return nullptr;
    }
    to++;
    at = takeRun(at, &to, CLASS_TEXT);
  }
  parser->contentEnd = to;
  return at;
}

CHAR8 *readCData(PARSER *parser, CHAR8 *at) {
  beginContent(parser, at);
  CHAR8 *to = parser->contentEnd;
  at = takeRun(at, &to, CLASS_TEXT);
  while (!isSectionEnd(at)) {
    if (*at == '\r') {
      at = skipLineEnd(at);
      *to = '\n';
    } else if (isClass(*at, CLASS_ALLOWED)) {
      *to = *at;
      at++;
    } else {
      return nullptr;
    }
    to++;
    at = takeRun(at, &to, CLASS_TEXT);
  }
  parser->contentEnd = to;
  return at + 3;
}

CHAR8 *readValue(CHAR8 *at, CHAR8 **value) {
  CHAR8 quote = *at;
  if (quote != '"' && quote != '\'') {
    return nullptr;
  }
  CHAR8 *to = at + 1;
  *value = to;
  at = takeRun(to, &to, CLASS_VALUE);
  while (*at != quote) {
    if (*at == '&') {
      at = readReference(at, to);
      if (at == nullptr) {
        return nullptr;
      }
    } else if (isClass(*at, CLASS_BLANK)) {
      at = *at == '\r' ? skipLineEnd(at) : at + 1;
      *to = ' ';
    } else if (*at == '"' || *at == '\'') {
      *to = *at;
      at++;
    } else {
      return nullptr;
    }
    to++;
    at = takeRun(at, &to, CLASS_VALUE);
  }
  *to = 0;
  return at + 1;
}
