#include "xyl/output/output.h"

#include "base/pool.h"
#include "base/print.h"
#include "base/text.h"

static constexpr UINTN LINE_CAPACITY = 701;

using WRITE = void (*)(const XYL_HOST *host, const CHAR8 *text, UINTN length);

static void writeFormatted(const XYL_HOST *host, WRITE write, const CHAR16 *format, EFI_VA_LIST arguments) {
  CHAR16 wide[LINE_CAPACITY];
  CHAR8 line[LINE_CAPACITY];
  formatText(wide, LINE_CAPACITY, format, arguments);
  UINTN length = textNarrow(line, wide, LINE_CAPACITY - 1);
  write(host, line, length);
}

void EFIAPI say(const XYL_HOST *host, const CHAR16 *format, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  writeFormatted(host, host->WriteOut, format, arguments);
  EFI_VA_END(arguments);
}

void EFIAPI complain(const XYL_HOST *host, const CHAR16 *format, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  host->WriteError(host, "xyl: ", 5);
  writeFormatted(host, host->WriteError, format, arguments);
  host->WriteError(host, "\n", 1);
  EFI_VA_END(arguments);
}

void sayText(const XYL_HOST *host, const CHAR8 *text) {
  host->WriteOut(host, text, textLength(text));
}

static constexpr struct {
  const CHAR8 *Word;
  const CHAR8 *Colour;
} g_marks[] = {
    {"Success", "\x1b[32m"}, {"Online", "\x1b[32m"},   {"Fail", "\x1b[31m"},    {"Failed", "\x1b[31m"},
    {"Offline", "\x1b[31m"}, {"Degraded", "\x1b[33m"}, {"Foreign", "\x1b[33m"},
};

void sayMarked(const XYL_HOST *host, const CHAR8 *word, UINTN width) {
  const CHAR8 *colour = "";
  for (const auto &mark : g_marks) {
    if (host->Colours && textEqual(word, mark.Word)) {
      colour = mark.Colour;
    }
  }
  sayText(host, colour);
  sayText(host, word);
  sayText(host, *colour != 0 ? "\x1b[0m" : "");
  for (UINTN length = textLength(word); length < width; ++length) {
    sayText(host, " ");
  }
}

const CHAR8 *statusWords(EFI_STATUS status) {
  const CHAR8 *words = statusText(status);
  return words != nullptr ? words : "unknown status";
}

struct SIZE_UNIT {
  UINT64 Bytes;
  const CHAR8 *Name;
};

static constexpr SIZE_UNIT g_sizeUnits[] = {{1000000000000, " TB"}, {1000000000, " GB"}, {1000000, " MB"}};

void formatSize(CHAR8 (&buffer)[SIZE_TEXT_CAPACITY], UINT64 bytes) {
  const SIZE_UNIT *unit = g_sizeUnits;
  while (bytes < unit->Bytes && unit != &g_sizeUnits[2]) {
    ++unit;
  }
  UINT64 hundredths = bytes % unit->Bytes * 100 / unit->Bytes;
  UINTN length = formatDecimal(buffer, bytes / unit->Bytes);
  buffer[length++] = '.';
  buffer[length++] = static_cast<CHAR8>('0' + hundredths / 10);
  buffer[length++] = static_cast<CHAR8>('0' + hundredths % 10);
  copyBytes(buffer + length, unit->Name, 4);
}
