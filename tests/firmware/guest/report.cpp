#include "report.h"
#include "base/pool.h"
#include "base/print.h"
#include "base/text.h"
#include "files.h"
#include "machine.h"

static constexpr UINTN LINE_UNITS = 256;
static constexpr UINTN LINES_SIZE = 64 * 1024;

static CHAR8 g_lines[LINES_SIZE];
static UINTN g_linesLength;
static UINT32 g_checks;
static UINT32 g_failures;

static void addLine(const CHAR8 *prefix, const CHAR16 *format, EFI_VA_LIST arguments) {
  CHAR16 wide[LINE_UNITS];
  CHAR8 line[LINE_UNITS + 16];
  formatText(wide, LINE_UNITS, format, arguments);
  UINTN length = textLength(prefix);
  copyBytes(line, prefix, length);
  length += textNarrow(line + length, wide, LINE_UNITS);
  line[length] = '\n';
  line[length + 1] = 0;
  machineText(line);
  if (length + 1 <= LINES_SIZE - g_linesLength) {
    copyBytes(g_lines + g_linesLength, line, length + 1);
    g_linesLength += length + 1;
  }
}

void EFIAPI report(const CHAR16 *format, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  addLine("", format, arguments);
  EFI_VA_END(arguments);
}

bool EFIAPI check(bool passed, const CHAR16 *format, ...) {
  g_checks += 1;
  g_failures += passed ? 0 : 1;
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  addLine(passed ? "pass " : "FAIL ", format, arguments);
  EFI_VA_END(arguments);
  return passed;
}

bool anyCheckFailed() {
  return g_failures != 0;
}

EFI_STATUS reportEnd(const CHAR16 *name, EFI_FILE_PROTOCOL *root) {
  report(u"end %s: %u checks, %u failed", name, g_checks, g_failures);
  return appendFile(root, u"\\out\\fwtest.txt", g_lines, g_linesLength);
}
