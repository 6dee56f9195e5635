#include "client/transcript/transcript.h"

#include "base/crc32.h"
#include "base/text.h"

static constexpr UINTN LINE_LENGTH = 76;

// Blanks at the end of a line do not survive everywhere.
static bool isPlain(const CHAR8 *at, const CHAR8 *end) {
  bool endsLine = at + 1 == end || at[1] == '\n';
  return (*at > ' ' && *at < 0x7F && *at != '=') || (*at == ' ' && !endsLine);
}

static void sayBody(const XYL_HOST *host, const CHAR8 *at, const CHAR8 *end) {
  CHAR8 line[LINE_LENGTH + 4];
  UINTN length = 0;
  for (; at != end; ++at) {
    if (*at != '\n' && length + 4 > LINE_LENGTH) {
      line[length++] = '='; // the line goes on
      line[length++] = '\n';
      host->WriteOut(host, line, length);
      length = 0;
    }
    if (*at == '\n' || isPlain(at, end)) {
      line[length++] = *at;
    } else {
      line[length++] = '=';
      formatHex(line + length, static_cast<UINT8>(*at), 2);
      length += 2;
    }
    if (*at == '\n') {
      host->WriteOut(host, line, length);
      length = 0;
    }
  }
  if (length != 0) {
    line[length++] = '=';
    line[length++] = '\n';
    host->WriteOut(host, line, length);
  }
}

void sayFile(const XYL_HOST *host, const CHAR8 *name, const CHAR8 *data, UINTN size) {
  say(host, "%a%a\n", TRANSCRIPT_FILE, name);
  sayBody(host, data, data + size);
  say(host, "%a%lu %08X\n", TRANSCRIPT_END, size, crc32Of(data, size));
}
