// The block device that a volume is for firmware.
#pragma once

#include "providers/volumes/state.h"

namespace xyl::volumes {

// Fills in the protocol and its media by the volume's map.
void makeBlockIo(Volume *volume);

} // namespace xyl::volumes
