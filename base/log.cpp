#include "base/log.h"

DEBUG_LOG_PROTOCOL *g_debugLog;
