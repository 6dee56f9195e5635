#include "base/log.h"

#include "base/text.h"

namespace xyl {

static constexpr UINTN formatCapacity = 128;

DEBUG_LOG_PROTOCOL *g_debugLog;
bool g_logPaused;

template <class... Arguments>
static void logWidened(UINT32 mask, const CHAR8 *function, const CHAR8 *format, Arguments... arguments) {
  if (!isLogging()) {
    return;
  }
  CHAR16 wide[formatCapacity];
  textWiden(wide, format, formatCapacity - 1);
  g_debugLog->LogPrint(mask, function, wide, arguments...);
}

void logLine(UINT32 mask, const CHAR8 *function, const CHAR8 *format) {
  logWidened(mask, function, format);
}

void logLine(UINT32 mask, const CHAR8 *function, const CHAR8 *format, UINT64 argument) {
  logWidened(mask, function, format, argument);
}

void logLine(UINT32 mask, const CHAR8 *function, const CHAR8 *format, UINT64 first, UINT64 second, UINT64 third) {
  logWidened(mask, function, format, first, second, third);
}

} // namespace xyl
