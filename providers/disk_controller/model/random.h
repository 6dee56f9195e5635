// Numbers by chance.
#pragma once

#include "providers/disk_controller/model/view.h"

namespace xyl::disk_controller {

// Makes the numbers that follow depend on the time, on the disks and what they hold, and on a count of the firmware
// that never comes back.
void stirRandom(const View &view);

// The next number.
UINT32 nextRandom();

} // namespace xyl::disk_controller
