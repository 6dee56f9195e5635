// The diagnostic log channel. It never changes a result, and without a log provider it does nothing.
#pragma once

#include "debug_log.h"

// The platform's log, or null; set once by the entry point.
extern DEBUG_LOG_PROTOCOL *g_debugLog;

// Logs one line under the calling routine's name. Integer arguments are 32 bits wide unless the conversion says l;
// texts and statuses as UEFI print conversions take them.
template <class... Arguments>
inline void LogPrint(UINT32 mask, const CHAR8 *function, const CHAR16 *format, Arguments... arguments) {
  if (g_debugLog != nullptr) {
    g_debugLog->LogPrint(mask, function, format, arguments...);
  }
}

inline void logEntered(const CHAR8 *function) {
  LogPrint(LOG_TRACE, function, u"Entered.");
}

// Logs "Exit. %r" and returns status.
inline EFI_STATUS logExit(const CHAR8 *function, EFI_STATUS status) {
  LogPrint(LOG_TRACE, function, u"Exit. %r", status);
  return status;
}
