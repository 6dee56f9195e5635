#include "base/console.h"

#include "base/format.h"
#include "base/pool.h"
#include "base/text.h"

namespace xyl {

static constexpr UINTN printCapacity = 320;

static void putConsole(CHAR16 *text) {
  if (g_systemTable->ConOut != nullptr) {
    g_systemTable->ConOut->OutputString(g_systemTable->ConOut, text);
  }
}

void printText(const CHAR8 *text, const CHAR8 *second, const CHAR8 *third) {
  const CHAR8 *parts[] = {text, second, third};
  CHAR16 line[printCapacity];
  UINTN length = 0;
  for (const CHAR8 *part : parts) {
    length += textWiden(line + length, part, printCapacity - 1 - length);
  }
  putConsole(line);
}

UINTN EFIAPI Print(const CHAR16 *format, ...) {
  CHAR16 buffer[printCapacity];
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  UINTN length = formatText(buffer, printCapacity, format, arguments);
  EFI_VA_END(arguments);
  putConsole(buffer);
  return length;
}

} // namespace xyl
