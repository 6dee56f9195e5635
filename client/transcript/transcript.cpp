#include "client/transcript/transcript.h"

#include "base/crc32.h"
#include "base/text.h"

static constexpr UINTN LINE_LENGTH = 76;

// Blanks at the end of a line do not survive everywhere.
static bool isPlain(const CHAR8 *at, const CHAR8 *end) {
  bool endsLine = at + 1 == end || at[1] == '\n';
  return (*at > ' ' && *at < 0x7F && *at != '=') || (*at == ' ' && !endsLine);
}

struct LINE {
  const XYL_FRONT *Front;
  UINTN Length;
  CHAR8 Chars[LINE_LENGTH + 1];
};

static void endLine(LINE *line) {
  line->Chars[line->Length++] = '\n';
  line->Front->WriteOut(line->Front, line->Chars, line->Length);
  line->Length = 0;
}

// Ends the line, which goes on in the next one.
static void breakLine(LINE *line) {
  line->Chars[line->Length++] = '=';
  endLine(line);
}

static void putQuoted(LINE *line, const CHAR8 *at, const CHAR8 *end) {
  if (line->Length + 4 > LINE_LENGTH) {
    breakLine(line);
  }
  if (isPlain(at, end)) {
    line->Chars[line->Length++] = *at;
    return;
  }
  line->Chars[line->Length++] = '=';
  formatHex(line->Chars + line->Length, static_cast<UINT8>(*at), 2);
  line->Length += 2;
}

// A console may wrap a long line, and may not have every letter.
static void sayName(const XYL_FRONT *front, const CHAR8 *name) {
  LINE line = {front, sizeof(TRANSCRIPT_FILE) - 1, TRANSCRIPT_FILE};
  const CHAR8 *end = name + textLength(name);
  for (; name != end; ++name) {
    putQuoted(&line, name, end);
  }
  endLine(&line);
}

static void sayBody(const XYL_FRONT *front, const CHAR8 *at, const CHAR8 *end) {
  LINE line = {front, 0, ""};
  for (; at != end; ++at) {
    if (*at == '\n') {
      endLine(&line);
    } else {
      putQuoted(&line, at, end);
    }
  }
  if (line.Length != 0) {
    breakLine(&line);
  }
}

void sayFile(const XYL_FRONT *front, const CHAR8 *name, const CHAR8 *data, UINTN size) {
  sayName(front, name);
  sayBody(front, data, data + size);
  say(front, "%a%lu %08X\n", TRANSCRIPT_END, size, crc32Of(data, size));
}
