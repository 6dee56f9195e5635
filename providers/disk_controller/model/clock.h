// The firmware's clock, whose time zone does not matter here.
#pragma once

#include "uefi/tables.h"

namespace xyl::disk_controller {

// The time by the clock; false without a clock or for a time before 1980, or one that is none.
bool timeNow(EFI_TIME *time);

// The seconds since 1980; 0 without a clock.
UINT32 secondsSince1980();

} // namespace xyl::disk_controller
