#include "client/transcript/transcript.h"

#include "base/crc32.h"
#include "base/text.h"

namespace xyl::client {

static constexpr UINTN lineLength = 76;

// Blanks at the end of a line do not survive everywhere.
static bool isPlain(const CHAR8 *at, const CHAR8 *end) {
  bool endsLine = at + 1 == end || at[1] == '\n';
  return (*at > ' ' && *at < 0x7F && *at != '=') || (*at == ' ' && !endsLine);
}

struct Line {
  const Front *front;
  UINTN length;
  CHAR8 chars[lineLength + 1];
};

static void endLine(Line *line) {
  line->chars[line->length++] = '\n';
  line->front->writeOut(line->front, line->chars, line->length);
  line->length = 0;
}

// Ends the line, which goes on in the next one.
static void breakLine(Line *line) {
  line->chars[line->length++] = '=';
  endLine(line);
}

static void putQuoted(Line *line, const CHAR8 *at, const CHAR8 *end) {
  if (line->length + 4 > lineLength) {
    breakLine(line);
  }
  if (isPlain(at, end)) {
    line->chars[line->length++] = *at;
    return;
  }
  line->chars[line->length++] = '=';
  formatHex(line->chars + line->length, static_cast<UINT8>(*at), 2);
  line->length += 2;
}

// A console may wrap a long line, and may not have every letter.
static void sayName(const Front *front, const CHAR8 *name) {
  Line line = {front, sizeof(transcriptFile) - 1, {}};
  copyBytes(line.chars, transcriptFile, sizeof(transcriptFile));
  const CHAR8 *end = name + textLength(name);
  for (; name != end; ++name) {
    putQuoted(&line, name, end);
  }
  endLine(&line);
}

static void sayBody(const Front *front, const CHAR8 *at, const CHAR8 *end) {
  Line line = {front, 0, ""};
  for (; at != end; ++at) {
    if (*at == '\n') {
      endLine(&line);
    } else {
      putQuoted(&line, at, end);
    }
  }
  if (line.length != 0) {
    breakLine(&line);
  }
}

void sayFile(const Front *front, const CHAR8 *name, const CHAR8 *data, UINTN size) {
  sayName(front, name);
  sayBody(front, data, data + size);
  say(front, "%a%lu %08X\n", transcriptEnd, size, crc32Of(data, size));
}

} // namespace xyl::client
