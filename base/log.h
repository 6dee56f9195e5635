// The diagnostic log channel. It never changes a result, and without a log provider it does nothing.
#pragma once

#include "debug_log.h"

namespace xyl {

// The platform's log, or null; set once by the entry point. An image that never sets it holds no log lines: the linker
// sees that they go nowhere.
extern DEBUG_LOG_PROTOCOL *g_debugLog;

// Whether the log stands still, for work that only tries something out.
extern bool g_logPaused;

inline bool isLogging() {
  return g_debugLog != nullptr && !g_logPaused;
}

// What LogPrint calls: formats are kept in 8 bits, and widened for the provider. Every argument takes a place of 64
// bits, of which the provider reads as many as its conversion says.
void logLine(UINT32 mask, const CHAR8 *function, const CHAR8 *format);
void logLine(UINT32 mask, const CHAR8 *function, const CHAR8 *format, UINT64 argument);
void logLine(UINT32 mask, const CHAR8 *function, const CHAR8 *format, UINT64 first, UINT64 second, UINT64 third = 0);

template <class T> inline UINT64 logArgument(T value) {
  return static_cast<UINT64>(value);
}
template <class T> inline UINT64 logArgument(T *text) {
  return reinterpret_cast<UINTN>(text);
}

// Logs one line, of at most 127 characters before formatting, under the calling routine's name. Integer arguments are
// 32 bits wide unless the conversion says l; texts and statuses as UEFI print conversions take them.
template <class... Arguments>
inline void LogPrint(UINT32 mask, const CHAR8 *function, const CHAR8 *format, Arguments... arguments) {
  logLine(mask, function, format, logArgument(arguments)...);
}

inline void logEntered(const CHAR8 *function) {
  LogPrint(LOG_TRACE, function, "Entered.");
}

// Logs "Exit. %r" and returns status.
inline EFI_STATUS logExit(const CHAR8 *function, EFI_STATUS status) {
  LogPrint(LOG_TRACE, function, "Exit. %r", status);
  return status;
}

} // namespace xyl
