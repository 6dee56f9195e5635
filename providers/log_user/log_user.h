// The platform's log for an image that is no RAID driver. The log's provider stays while its protocol is open in a
// driver's name.
#pragma once

#include "base/log.h"

namespace xyl::log_user {

// Sets g_debugLog to the platform's log, if there is one, and keeps it open in the image's name until it is closed.
void openLog(EFI_HANDLE image);
void closeLog(EFI_HANDLE image);

} // namespace xyl::log_user
