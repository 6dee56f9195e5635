#include "client/output/output.h"

#include "base/format.h"
#include "base/pool.h"
#include "base/status_text.h"
#include "base/text.h"
#include "client/output/utf8.h"

namespace xyl::client {

static constexpr UINTN lineCapacity = 701;

using Write = void (*)(const Front *front, const CHAR8 *text, UINTN length);

// Stands for a line feed of a format while the line is made, so that those of arguments are told from it.
static constexpr CHAR16 lineBreak = 0xFFFF;

// Writes what a terminal may take for a command as \xNN; line feeds and tabs may be allowed.
static void writeShown(const Front *front, Write write, const CHAR8 *text, UINTN length, bool allowsLines) {
  UINTN plain = 0; // begins what is not written yet
  for (UINTN i = 0; i < length;) {
    UINT32 character = 0;
    UINTN bytes = utf8Decode(text + i, length - i, &character);
    bytes = bytes == 0 ? 1 : bytes;
    if (isControl(character) && !(allowsLines && (character == '\n' || character == '\t'))) {
      CHAR8 escape[5] = "\\x";
      formatHex(escape + 2, character, 2);
      write(front, text + plain, i - plain);
      write(front, escape, 4);
      plain = i + bytes;
    }
    i += bytes;
  }
  write(front, text + plain, length - plain);
}

static void writeFormatted(const Front *front, Write write, const CHAR8 *format, EFI_VA_LIST arguments) {
  CHAR16 marked[lineCapacity];
  CHAR16 wide[lineCapacity];
  CHAR8 line[lineCapacity];
  UINTN end = 0;
  for (; format[end] != 0 && end + 1 < lineCapacity; ++end) {
    marked[end] = format[end] == '\n' ? lineBreak : static_cast<UINT8>(format[end]);
  }
  marked[end] = 0;
  formatText(wide, lineCapacity, marked, arguments);
  for (const CHAR16 *at = wide; *at != 0; ++at) {
    UINTN length = 0;
    for (; *at != 0 && *at != lineBreak; ++at) {
      line[length++] = static_cast<CHAR8>(*at);
    }
    writeShown(front, write, line, length, /* allowsLines= */ false);
    if (*at == 0) {
      return;
    }
    write(front, "\n", 1);
  }
}

void EFIAPI say(const Front *front, const CHAR8 *format, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  writeFormatted(front, front->writeOut, format, arguments);
  EFI_VA_END(arguments);
}

void EFIAPI complain(const Front *front, const CHAR8 *format, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  front->writeError(front, "xyl: ", 5);
  writeFormatted(front, front->writeError, format, arguments);
  front->writeError(front, "\n", 1);
  EFI_VA_END(arguments);
}

void sayText(const Front *front, const CHAR8 *text) {
  writeShown(front, front->writeOut, text, textLength(text), /* allowsLines= */ false);
}

void sayLines(const Front *front, const CHAR8 *text) {
  writeShown(front, front->writeOut, text, textLength(text), /* allowsLines= */ true);
}

void complainLines(const Front *front, const CHAR8 *text) {
  writeShown(front, front->writeError, text, textLength(text), /* allowsLines= */ true);
}

void sayDocument(const Front *front, const CHAR8 *text, UINTN length) {
  if (front->terminal) {
    writeShown(front, front->writeOut, text, length, /* allowsLines= */ true);
  } else {
    front->writeOut(front, text, length);
  }
}

static constexpr struct {
  const CHAR8 *word;
  const CHAR8 *colour;
} g_marks[] = {
    {"Success", "\x1b[32m"}, {"Online", "\x1b[32m"},   {"Fail", "\x1b[31m"},    {"Failed", "\x1b[31m"},
    {"Offline", "\x1b[31m"}, {"Degraded", "\x1b[33m"}, {"Foreign", "\x1b[33m"},
};

void sayMarked(const Front *front, const CHAR8 *word, UINTN width) {
  const CHAR8 *colour = "";
  for (const auto &mark : g_marks) {
    if (front->colours && textEqual(word, mark.word)) {
      colour = mark.colour;
    }
  }
  front->writeOut(front, colour, textLength(colour));
  sayText(front, word);
  front->writeOut(front, "\x1b[0m", *colour != 0 ? 4 : 0);
  for (UINTN length = textLength(word); length < width; ++length) {
    sayText(front, " ");
  }
}

const CHAR8 *statusWords(EFI_STATUS status) {
  const CHAR8 *words = statusText(status);
  return words != nullptr ? words : "unknown status";
}

struct SizeUnit {
  UINT64 bytes;
  const CHAR8 *name;
};

static constexpr SizeUnit g_sizeUnits[] = {{1000000000000, " TB"}, {1000000000, " GB"}, {1000000, " MB"}};

void formatSize(CHAR8 (&buffer)[sizeTextCapacity], UINT64 bytes) {
  const SizeUnit *unit = g_sizeUnits;
  while (bytes < unit->bytes && unit != &g_sizeUnits[2]) {
    ++unit;
  }
  UINT64 hundredths = bytes % unit->bytes * 100 / unit->bytes;
  UINTN length = formatDecimal(buffer, bytes / unit->bytes);
  buffer[length++] = '.';
  buffer[length++] = static_cast<CHAR8>('0' + hundredths / 10);
  buffer[length++] = static_cast<CHAR8>('0' + hundredths % 10);
  copyBytes(buffer + length, unit->name, 4);
}

static constexpr UINT64 sizeLimit = 1000000000000000000ULL;

// The bytes of a unit, whose letters may be large or small; 0 for another text.
static UINT64 unitOf(const CHAR8 *text) {
  static constexpr struct {
    const CHAR8 *name;
    UINT64 bytes;
  } units[] = {{"", 1},
               {"KB", 1000},
               {"MB", 1000000},
               {"GB", 1000000000},
               {"TB", 1000000000000},
               {"KIB", 1ULL << 10},
               {"MIB", 1ULL << 20},
               {"GIB", 1ULL << 30},
               {"TIB", 1ULL << 40}};
  for (const auto &unit : units) {
    UINTN i = 0;
    while (unit.name[i] != 0 && (text[i] == unit.name[i] || text[i] == unit.name[i] - 'A' + 'a')) {
      ++i;
    }
    if (unit.name[i] == 0 && text[i] == 0) {
      return unit.bytes;
    }
  }
  return 0;
}

// The same fraction in its lowest terms: 1.5 of a binary unit is whole, too.
static void reduce(UINT64 *number, UINT64 *scale) {
  UINT64 divisor = *scale;
  for (UINT64 rest = *number; rest != 0;) {
    UINT64 next = divisor % rest;
    divisor = rest;
    rest = next;
  }
  *number /= divisor;
  *scale /= divisor;
}

UINT64 parseSize(const CHAR8 *text) {
  UINT64 number = 0;
  UINT64 scale = 1;
  bool isFraction = false;
  for (; (*text >= '0' && *text <= '9') || (*text == '.' && !isFraction); ++text) {
    if (*text == '.') {
      isFraction = true;
      continue;
    }
    if (number >= sizeLimit / 10 || scale >= sizeLimit / 10) {
      return 0;
    }
    number = number * 10 + static_cast<UINT64>(*text - '0');
    scale *= isFraction ? 10 : 1;
  }
  text += *text == ' ' ? 1 : 0;
  UINT64 unit = unitOf(text);
  if (unit > 1 && unit % 1000 != 0) {
    reduce(&number, &scale);
  }
  if (unit == 0 || unit % scale != 0) {
    return 0; // no unit, or a part of a byte
  }
  return number < (sizeLimit + unit / scale - 1) / (unit / scale) ? number * (unit / scale) : 0;
}

bool lacksUnit(const CHAR8 *size) {
  UINTN digits = 0;
  while (size[digits] >= '0' && size[digits] <= '9') {
    ++digits;
  }
  return digits != 0 && size[digits] == 0 && parseDecimal(size) < 1000000;
}

} // namespace xyl::client
