#include "providers/xml_service/parser.h"
#include "providers/xml_service/runs.h"

namespace xyl::xml_service {

struct NamedReference {
  const CHAR8 *text; // behind the "&"
  CHAR8 character;
};

static constexpr NamedReference g_namedReferences[] = {
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
static const CHAR8 *readNumber(const CHAR8 *at, CHAR8 *character) {
  UINT32 base = 10;
  if (*at == 'x') {
    base = 16;
    ++at;
  }
  UINT32 value = 0; // stays without digits, and is forbidden then
  for (; digitValue(*at) < base && value <= 0xFF; ++at) {
    value = value * base + digitValue(*at);
  }
  *character = static_cast<CHAR8>(value);
  return *at == ';' && value <= 0xFF && isClass(*character, classAllowed) ? at + 1 : nullptr;
}

// Reads the reference at the "&" that at stands on. Returns the place behind it, or null when it is none.
static const CHAR8 *readReference(const CHAR8 *at, CHAR8 *character) {
  if (at[1] == '#') {
    return readNumber(at + 2, character);
  }
  for (const NamedReference &reference : g_namedReferences) {
    const CHAR8 *behind = skipMarkup(at + 1, reference.text);
    if (behind != nullptr) {
      *character = reference.character;
      return behind;
    }
  }
  return nullptr;
}

// The place behind the line end that begins with the carriage return at stands on.
static const CHAR8 *skipLineEnd(const CHAR8 *at) {
  return at[1] == '\n' ? at + 2 : at + 1;
}

static bool isSectionEnd(const CHAR8 *at) {
  return at[0] == ']' && at[1] == ']' && at[2] == '>';
}

// What a text's place has room for at every moment: a vector, a character behind a vector's end, and the NUL.
static constexpr UINTN textRoom = vectorSize + 8;

// Takes the text that is being made to a block with room for twice of it. Returns where it ends there, or null.
static CHAR8 *moveText(Parser *parser, const CHAR8 *end) {
  const CHAR8 *text = parser->document->block->texts;
  UINTN length = static_cast<UINTN>(end - text);
  if (!addBlock(parser->document, 2 * length + 2 * textRoom)) {
    failWithoutMemory(parser);
    return nullptr;
  }
  CHAR8 *moved = parser->document->block->texts;
  copyBytes(moved, text, length);
  return moved + length;
}

// Adds a run of characters that mean themselves to the text that ends at *to. ends marks at least what is not of the
// class plain.
template <VectorMask ends(Vector vector), CharacterClass plain>
static const CHAR8 *takeRun(Parser *parser, const CHAR8 *at, CHAR8 **end) {
  CHAR8 *to = *end;
  for (;;) {
    if (static_cast<UINTN>(parser->document->block->records - reinterpret_cast<UINT8 *>(to)) < textRoom) {
      to = moveText(parser, to);
      if (to == nullptr) {
        return nullptr;
      }
    }
    if (hasVector(parser, at)) {
      Vector vector = loadVector(at);
      storeVector(to, vector);
      UINTN length = charactersBefore(ends(vector));
      at += length;
      to += length;
      if (length == vectorSize) {
        continue;
      }
    }
    if (!isClass(*at, plain)) {
      *end = to;
      return at;
    }
    *to = *at;
    ++to;
    ++at;
  }
}

CHAR8 *endText(Parser *parser, CHAR8 *end) {
  Block *block = parser->document->block;
  CHAR8 *text = block->texts;
  *end = 0;
  block->texts = end + 1;
  return text;
}

const CHAR8 *readName(Parser *parser, const CHAR8 *at, CHAR8 **name, UINTN *length) {
  if (!isClass(*at, classNameStart)) {
    return nullptr;
  }
  CHAR8 *end = parser->document->block->texts;
  at = takeRun<maskNameEnds, className>(parser, at, &end);
  if (at != nullptr) {
    *length = static_cast<UINTN>(end - parser->document->block->texts);
    *name = endText(parser, end);
  }
  return at;
}

static void beginContent(Parser *parser) {
  if (parser->contentEnd == nullptr) {
    parser->contentEnd = parser->document->block->texts;
  }
}

const CHAR8 *readCharacters(Parser *parser, const CHAR8 *at) {
  // Nobody sees what stands between children, and in front of the first one.
  const CHAR8 *tag = skipIndentation(parser, at);
  if (*tag == '<' && (parser->previous != nullptr || isClass(tag[1], classNameStart))) {
    return tag;
  }
  beginContent(parser);
  at = takeRun<maskTextEnds, classText>(parser, at, &parser->contentEnd);
  while (at != nullptr && *at != '<') {
    if (*at == '&') {
      at = readReference(at, parser->contentEnd);
      if (at == nullptr) {
        return nullptr;
      }
    } else if (*at == '\r') {
      at = skipLineEnd(at);
      *parser->contentEnd = '\n';
    } else if (*at == ']' && !isSectionEnd(at)) {
      *parser->contentEnd = *at;
      ++at;
    } else {
      return nullptr;
    }
    ++parser->contentEnd;
    at = takeRun<maskTextEnds, classText>(parser, at, &parser->contentEnd);
  }
  return at;
}

const CHAR8 *readCData(Parser *parser, const CHAR8 *at) {
  beginContent(parser);
  at = takeRun<maskTextEnds, classText>(parser, at, &parser->contentEnd);
  while (at != nullptr && !isSectionEnd(at)) {
    if (*at == '\r') {
      at = skipLineEnd(at);
      *parser->contentEnd = '\n';
    } else if (isClass(*at, classAllowed)) {
      *parser->contentEnd = *at;
      ++at;
    } else {
      return nullptr;
    }
    ++parser->contentEnd;
    at = takeRun<maskTextEnds, classText>(parser, at, &parser->contentEnd);
  }
  return at != nullptr ? at + 3 : nullptr;
}

const CHAR8 *readValue(Parser *parser, const CHAR8 *at, CHAR8 **value) {
  CHAR8 quote = *at;
  if (quote != '"' && quote != '\'') {
    return nullptr;
  }
  CHAR8 *to = parser->document->block->texts;
  at = takeRun<maskValueEnds, classValue>(parser, at + 1, &to);
  while (at != nullptr && *at != quote) {
    if (*at == '&') {
      at = readReference(at, to);
      if (at == nullptr) {
        return nullptr;
      }
    } else if (isClass(*at, classBlank)) {
      at = *at == '\r' ? skipLineEnd(at) : at + 1;
      *to = ' ';
    } else if (*at == '"' || *at == '\'') {
      *to = *at;
      ++at;
    } else {
      return nullptr;
    }
    ++to;
    at = takeRun<maskValueEnds, classValue>(parser, at, &to);
  }
  if (at == nullptr) {
    return nullptr;
  }
  *value = endText(parser, to);
  return at + 1;
}

} // namespace xyl::xml_service
