#include "report.h"
#include "base/format.h"
#include "base/text.h"
#include "machine.h"

using namespace xyl;

static constexpr UINTN lineUnits = 256;

static UINT32 g_checks;
static UINT32 g_failures;

static void addLine(const CHAR8 *prefix, const CHAR16 *format, EFI_VA_LIST arguments) {
  CHAR16 wide[lineUnits];
  CHAR8 line[lineUnits];
  formatText(wide, lineUnits, format, arguments);
  textNarrow(line, wide, lineUnits - 1);
  machineText(prefix);
  machineText(line);
  machineText("\n");
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

EFI_STATUS reportEnd(const CHAR16 *name) {
  report(u"end %s: %u checks, %u failed", name, g_checks, g_failures);
  return g_failures == 0 ? EFI_SUCCESS : EFI_ABORTED;
}
