// Provider of DEBUG_LOG_PROTOCOL (and DEBUG_LOG_RING_PROTOCOL): readable lines in a memory ring, and on the console if
// asked.
#pragma once

#include "uefi/tables.h"

namespace xyl::debug_log {

// Image entry point: publishes both protocols on the image handle and sets the image's Unload. Load options "console"
// switch the console on, "warn" or "error" raise the level. Returns the status of the install that failed, else
// EFI_SUCCESS. While a driver may hold the interface, Unload refuses with EFI_ACCESS_DENIED and names that driver on
// the console.
extern "C" EFI_STATUS EFIAPI DebugLogEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

} // namespace xyl::debug_log
