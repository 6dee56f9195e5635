// Disks whose volumes this controller has deleted since it was started. What they still hold is what the volumes held,
// which nobody wants any more: such a disk may take part in a new volume. It is remembered in memory only, so that
// later on, when somebody may have gone on with what is there, it counts as something else's.
#pragma once

#include "providers/disk_controller/model/view.h"

void forgetFreed();

// Remembers the disks of a view that a change has freed, with what is on them now. freed: by disk.
void rememberFreed(const VIEW &view, const UINT8 *freed);

// Lets the disks that were freed, and hold what they held then, count as empty.
void clearFreed(VIEW *view);
